// One connection on a shared engine, and the recordsets that are open on it.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

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
  AccessConnection(std::shared_ptr<AccessEngine> engine, AccessMode mode)
      : engine_(std::move(engine)), mode_(mode) {}
  ~AccessConnection() override;

  std::int64_t Execute(std::string_view sql, const std::vector<Value>& parameters) override;
  std::unique_ptr<ProviderRecordset> OpenRecordset(std::string_view sql, CursorType cursor,
                                                   LockType lock) override;
  void Checkpoint() override;
  void Persist() override;
  void Mark() override;
  bool RevertToMark() override;
  Durability GetDurability() override;

  jet::Database& database() { return *engine_->database; }
  jet::sql::Session& session() { return *engine_->session; }
  // DbError kErrReadOnly when this connection may not change the file.
  void RequireWritable() const;

 private:
  friend class Attachment;
  std::shared_ptr<AccessEngine> engine_;
  AccessMode mode_;
  Attachment* attachments_ = nullptr;
};

}  // namespace vnt::db
