#include <fmt/format.h>

#include "access/base/error.h"
#include "access/base/interruption.h"
#include "access/base/text.h"
#include "db/access_provider/values.h"
#include "db/server_provider/copied_database.h"
#include "db/server_provider/row_loader.h"
#include "db/server_provider/server_recordset.h"

namespace vnt::db {
namespace {

constexpr int kFetchedRows = 2000;
constexpr std::uint64_t kToldEvery = 2000;

class ServerReader final : public TableReader {
 public:
  ServerReader(ServerSession& session, const ServerTable& table, const std::string& where, int number)
      : session_(session), cursor_(fmt::format("vnt_copy_{}", number)) {
    const SqlDialect& dialect = session.dialect();
    std::string list;
    for (const ServerColumn& column : table.columns) {
      list += (list.empty() ? "" : ", ") + dialect.Read(dialect.Name(column.name), column.type);
      ServerOutput out;
      out.column_type = column.type;
      columns_.push_back(std::move(out));
    }
    std::string order;
    if (table.has_order) {
      order = dialect.Name(kOrderColumn);
    } else {
      for (const int column : table.key)
        order += (order.empty() ? "" : ", ") + dialect.Order(dialect.Name(table.columns[column].name), false);
    }
    // Fetched piece by piece: drivers would hold the whole result.
    session.Run(fmt::format("DECLARE {} NO SCROLL CURSOR FOR SELECT {} FROM {}{}{}", cursor_, list,
                            dialect.Name(table.name), where, order.empty() ? "" : " ORDER BY " + order));
  }

  bool Next(std::vector<jet::Value>* row) override {
    jet::ThrowIfInterrupted();
    if (ended_) return false;
    if (!statement_ || !statement_->Fetch(&values_)) {
      statement_ = session_.Open(fmt::format("FETCH {} FROM {}", kFetchedRows, cursor_));
      statement_->DescribeColumns();
      if (!statement_->Fetch(&values_)) {
        ended_ = true;
        statement_.reset();
        session_.Run("CLOSE " + cursor_);
        return false;
      }
    }
    row->resize(columns_.size());
    for (std::size_t i = 0; i < columns_.size(); ++i)
      (*row)[i] = ToColumn(FromServer(std::move(values_[i]), columns_[i]), *columns_[i].column_type);
    return true;
  }

 private:
  ServerSession& session_;
  std::string cursor_;
  std::vector<ServerOutput> columns_;
  std::unique_ptr<OdbcStatement> statement_;
  std::vector<Value> values_;
  bool ended_ = false;
};

class CopiedServer final : public CopiedDatabase {
 public:
  CopiedServer(std::shared_ptr<ServerSession> session, bool to_read) : session_(std::move(session)) {
    if (to_read) session_->Run("SET TRANSACTION ISOLATION LEVEL REPEATABLE READ, READ ONLY");
  }

  std::vector<ServerTablePtr> Tables() override { return session_->Tables(); }

  std::uint64_t CountRows(const ServerTable& table) override {
    const auto statement = session_->Open("SELECT count(*) FROM " + session_->dialect().Name(table.name));
    statement->DescribeColumns();
    std::vector<Value> row;
    return statement->Fetch(&row) ? static_cast<std::uint64_t>(row[0].ToDouble()) : 0;
  }

  std::unique_ptr<TableReader> Read(const ServerTable& table, std::int32_t notice) override {
    std::string where;
    const auto column = [&](const char* name) {
      const int found = table.FindColumn(name);
      return found < 0 ? std::string() : session_->dialect().Name(table.columns[found].name);
    };
    if (notice > 0 && !column("ntc_id").empty()) {
      where = fmt::format(" WHERE {} = {}", column("ntc_id"), notice);
    } else if (notice > 0 && !column("grp_id").empty()) {
      where =
          fmt::format(" WHERE {} IN (SELECT grp_id FROM grp WHERE ntc_id = {})", column("grp_id"), notice);
    }
    return std::make_unique<ServerReader>(*session_, table, where, next_cursor_++);
  }

  std::uint64_t Write(const ServerTable& table, TableReader& rows,
                      const std::function<void(std::uint64_t)>& told) override {
    try {
      const std::uint64_t count = WriteRows(table, rows, told);
      session_->Commit();
      return count;
    } catch (...) {
      session_->Rollback();
      throw;
    }
  }

 private:
  std::uint64_t WriteRows(const ServerTable& table, TableReader& rows,
                          const std::function<void(std::uint64_t)>& told) {
    const SqlDialect& dialect = session_->dialect();
    const ServerTablePtr existing = session_->Find(table.name);
    ServerTable target = existing ? *existing : table;
    std::vector<int> places;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      places.push_back(target.FindColumn(table.columns[i].name));
      if (places.back() < 0)
        throw jet::Error(jet::ErrorKind::kNoColumn,
                         fmt::format("No column '{}' in '{}'.", table.columns[i].name, table.name));
    }
    if (!existing) {
      for (const std::string& sql : dialect.CreateTable(target)) session_->Run(sql);
    }
    RowLoader loader(*session_, target, places);
    std::vector<jet::Value> row;
    std::uint64_t count = 0;
    while (rows.Next(&row)) {
      loader.Add(row);
      if (++count % kToldEvery == 0) told(count);
    }
    loader.Finish();
    if (!existing) {
      for (const std::string& sql : dialect.CreateIndexes(target)) session_->Run(sql);
      session_->ForgetTable(target.name);
    }
    return count;
  }

  std::shared_ptr<ServerSession> session_;
  int next_cursor_ = 0;
};

}  // namespace

std::unique_ptr<CopiedDatabase> CopyOfServer(std::shared_ptr<ServerSession> session, bool to_read) {
  return std::make_unique<CopiedServer>(std::move(session), to_read);
}

}  // namespace vnt::db
