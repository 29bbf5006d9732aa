// A connection to a data source: statements at once, commands through a few prepared statements kept ready.
#include <algorithm>
#include <list>
#include <memory>
#include <string>
#include <utility>

#include "access/base/text.h"
#include "db/odbc_provider/odbc_provider.h"
#include "db/odbc_provider/odbc_recordset.h"
#include "db/odbc_provider/session.h"
#include "db/odbc_provider/statement.h"

namespace vnt::db {
namespace {

class OdbcConnection final : public ProviderConnection {
 public:
  explicit OdbcConnection(std::shared_ptr<OdbcSession> session) : session_(std::move(session)) {}
  ~OdbcConnection() override { session_->MarkClosed(); }

  std::int64_t Execute(std::string_view sql, const std::vector<Value>& parameters) override {
    if (ChangesDefinitions(sql)) session_->ForgetPrimaryKeys();
    if (!parameters.empty()) return ExecutePrepared(sql, parameters);
    OdbcStatement statement(*session_);
    statement.ExecuteDirect(sql);
    return statement.RowCount();
  }

  std::unique_ptr<ProviderRecordset> OpenRecordset(std::string_view sql, CursorType cursor,
                                                   LockType lock) override {
    return OpenOdbcRecordset(session_, sql, cursor, lock);
  }

  // Every statement is committed by itself.
  void Checkpoint() override {}

 private:
  struct Prepared {
    std::string sql;
    std::unique_ptr<OdbcStatement> statement;
  };
  static constexpr std::size_t kPreparedKept = 4;

  static bool ChangesDefinitions(std::string_view sql) {
    const std::size_t start = std::min(sql.find_first_not_of(" \t\r\n"), sql.size());
    const std::string_view word = sql.substr(start, sql.find_first_of(" \t\r\n", start) - start);
    return jet::EqualWords(word, "create") || jet::EqualWords(word, "alter") || jet::EqualWords(word, "drop");
  }

  std::int64_t ExecutePrepared(std::string_view sql, const std::vector<Value>& parameters) {
    auto known =
        std::find_if(prepared_.begin(), prepared_.end(), [&](const Prepared& p) { return p.sql == sql; });
    if (known == prepared_.end()) {
      auto statement = std::make_unique<OdbcStatement>(*session_);
      statement->Prepare(sql);
      prepared_.push_front({std::string(sql), std::move(statement)});
      if (prepared_.size() > kPreparedKept) prepared_.pop_back();
    } else {
      prepared_.splice(prepared_.begin(), prepared_, known);
    }
    OdbcStatement& statement = *prepared_.front().statement;
    try {
      statement.Execute(parameters);
    } catch (...) {
      prepared_.pop_front();
      throw;
    }
    const std::int64_t rows = statement.RowCount();
    statement.CloseResult();
    return rows;
  }

  std::shared_ptr<OdbcSession> session_;
  std::list<Prepared> prepared_;  // the one used last first
};

}  // namespace

std::shared_ptr<ProviderConnection> OpenOdbc(const ConnectionSettings& settings) {
  return std::make_shared<OdbcConnection>(std::make_shared<OdbcSession>(settings));
}

}  // namespace vnt::db
