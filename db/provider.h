// What a provider implements; one folder each (db/access_provider, db/odbc_provider).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "db/connection.h"

namespace jet {
class ChangedRows;
class File;
}  // namespace jet

namespace vnt::db {

class ProviderRecordset {
 public:
  virtual ~ProviderRecordset() = default;
  virtual bool Eof() const = 0;
  virtual bool Bof() const = 0;
  virtual void MoveNext() = 0;
  virtual void MovePrevious() = 0;
  virtual void MoveFirst() = 0;
  virtual void MoveLast() = 0;
  virtual std::int64_t RecordCount() const = 0;
  virtual int FieldCount() const = 0;
  virtual const std::string& FieldName(int index) const = 0;
  virtual Value Get(int index) const = 0;
  virtual void Set(int index, const Value& value) = 0;
  virtual void AddNew() = 0;
  // Number of rows written: 1, or 0 when nothing was set.
  virtual std::int64_t Update() = 0;
  virtual void CancelUpdate() = 0;
  virtual void Delete() = 0;
};

class ProviderConnection {
 public:
  virtual ~ProviderConnection() = default;
  virtual std::int64_t Execute(std::string_view sql, const std::vector<Value>& parameters) = 0;
  virtual std::unique_ptr<ProviderRecordset> OpenRecordset(std::string_view sql, CursorType cursor,
                                                           LockType lock) = 0;
  virtual void Checkpoint() = 0;
  virtual void Persist() { Checkpoint(); }
  // See Connection. False: the source cannot go back.
  virtual void Mark() {}
  virtual bool RevertToMark() { return false; }
  virtual std::optional<std::int64_t> ChangedRows(jet::ChangedRows* /*together*/) { return {}; }
  virtual Durability GetDurability() { return Durability::kAll; }
  virtual void Release() {}
  virtual void Resume() {}
  virtual jet::File* SavedFile() { return nullptr; }
  virtual bool IsSaved() { return true; }
  virtual std::unique_ptr<jet::File> SavedContent();
  virtual void SetDeferring(bool) {}
};

// Serves a connection in place of the provider that its string names; see services.h.
using ProviderFactory = std::function<std::shared_ptr<ProviderConnection>(const std::string& data_source)>;

}  // namespace vnt::db
