// One connection on a shared engine, and the recordsets that are open on it.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "db/access_provider/access_provider.h"
#include "db/access_provider/engine_registry.h"
#include "db/provider.h"

namespace vnt::db {

class AccessConnection;

// What a recordset keeps of its connection. When the connection closes, every attachment on it lets go of the
// engine, so that the file is free although recordsets are still there.
class Attachment {
 public:
  explicit Attachment(AccessConnection& connection);
  virtual ~Attachment();
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;

  bool attached() const { return connection_ != nullptr; }
  // DbError kErrObjectClosed when the connection has closed.
  AccessConnection& connection() const;

 protected:
  // Lets go of queries and tables of the engine.
  virtual void Release() = 0;

 private:
  friend class AccessConnection;
  AccessConnection* connection_;
  Attachment* next_ = nullptr;
  Attachment** link_ = nullptr;  // what points here
};

class AccessConnection : public ProviderConnection {
 public:
  // Opens the file. jet::Error, DbError.
  AccessConnection(const std::string& path, AccessMode mode, AccessFormats formats);
  ~AccessConnection() override;

  std::int64_t Execute(std::string_view sql, const std::vector<Value>& parameters) override;
  std::unique_ptr<ProviderRecordset> OpenRecordset(std::string_view sql, CursorType cursor,
                                                   LockType lock) override;
  void Checkpoint() override;
  void Persist() override;
  void Mark() override;
  bool RevertToMark() override;
  std::optional<std::int64_t> ChangedRows(jet::ChangedRows* together) override;
  Durability GetDurability() override;
  void Release() override;
  void Resume() override;
  jet::File* SavedFile() override;
  bool IsSaved() override { return !database().has_changes(); }
  std::unique_ptr<jet::File> SavedContent() override;

  // Both open a file that was let go of.
  jet::Database& database() { return *engine().database; }
  jet::sql::Session& session() { return *engine().session; }
  // DbError kErrReadOnly when this connection may not change the file.
  void RequireWritable();

 private:
  friend class Attachment;
  AccessEngine& engine();
  bool CanWrite() { return mode_ != AccessMode::kRead && database().writable(); }
  void CloseRecordsets();

  std::string path_;
  AccessMode mode_;
  AccessFormats formats_;
  std::shared_ptr<AccessEngine> engine_;  // null: let go of
  bool was_writable_ = false;             // when it was opened last
  Attachment* attachments_ = nullptr;
};

}  // namespace vnt::db
