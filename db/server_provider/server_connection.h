// A connection to a server, as the fixes use it.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "access/sql/ast.h"
#include "db/provider.h"
#include "db/server_provider/read_ahead.h"
#include "db/server_provider/server_session.h"

namespace vnt::db {

class ServerConnection final : public ProviderConnection {
 public:
  ServerConnection(std::shared_ptr<ServerSession> session, bool read_only,
                   std::function<void(std::int64_t)> tell_rows);
  ~ServerConnection() override;

  std::int64_t Execute(std::string_view sql, const std::vector<Value>& parameters) override;
  std::unique_ptr<ProviderRecordset> OpenRecordset(std::string_view sql, CursorType cursor,
                                                   LockType lock) override;
  // Of a fix that has changed nothing there is nothing to commit.
  void Persist() override {
    if (session_->is_dirty()) Checkpoint();
  }
  void Checkpoint() override;
  void Mark() override;
  bool RevertToMark() override;
  Durability GetDurability() override;
  bool IsSaved() override { return !session_->is_dirty(); }
  void SetDeferring(bool on) override;

  ServerSession& session() { return *session_; }

 private:
  std::int64_t Change(jet::sql::Statement& s, std::string_view text,
                      const std::vector<jet::Value>& parameters);
  std::int64_t ChangeRows(jet::sql::Statement& s, std::string_view text,
                          const std::vector<jet::Value>& parameters);
  std::int64_t InsertFromFile(const jet::sql::Statement& s, std::string_view text);
  void Define(const jet::sql::Statement& s);
  std::int64_t SelectInto(const jet::sql::Statement& s, std::string_view text,
                          const std::vector<jet::Value>& parameters);
  void RequireWritable() const;

  std::shared_ptr<ServerSession> session_;
  ReadAhead ahead_;
  bool read_only_;
  std::function<void(std::int64_t)> tell_rows_;
  bool marked_ = false;  // by a savepoint, since something had been done before
};

}  // namespace vnt::db
