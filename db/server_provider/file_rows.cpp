#include "db/server_provider/file_rows.h"

#include "access/base/error.h"
#include "db/server_provider/row_loader.h"
#include "db/services.h"

namespace vnt::db {

ServerColumn ServerColumnOf(const jet::ColumnDef& column) {
  ServerColumn made;
  made.name = column.name;
  made.type = column.type;
  made.characters = column.type == jet::ColumnType::kText ? column.max_characters() : column.length;
  made.precision = column.precision;
  made.scale = column.scale;
  return made;
}

FileRows::FileRows(const std::string& file, const std::string& query) {
  const auto open = [](const std::string& path) {
    return std::shared_ptr<jet::Database>(jet::Database::Open(Files(), path, jet::OpenMode::kRead));
  };
  database_ = open(file);
  // The query still names the file, which is this one.
  session_ = std::make_unique<jet::sql::Session>(database_, [this](const std::string&) { return database_; });
  query_ = session_->Open(query);
}

std::vector<std::string> FileRows::names() const {
  std::vector<std::string> names;
  for (const auto& column : query_->columns()) names.push_back(column.name);
  return names;
}

std::vector<ServerColumn> FileRows::columns() const {
  std::vector<ServerColumn> columns;
  for (const auto& out : query_->columns()) {
    ServerColumn column;
    const auto table = out.table.empty() ? nullptr : database_->FindTable(out.table);
    const int position = table ? table->def().FindColumn(out.column) : -1;
    if (position >= 0) {
      column = ServerColumnOf(table->def().columns[position]);
    } else {
      column.type = out.type.value_or(jet::ColumnType::kMemo);
    }
    column.name = out.name;
    columns.push_back(std::move(column));
  }
  return columns;
}

std::int64_t FileRows::Load(ServerSession& session, const ServerTable& table,
                            const std::vector<int>& columns) {
  if (columns.size() != query_->columns().size()) {
    throw jet::Error(jet::ErrorKind::kInvalid, "The query gives another number of columns than are named.");
  }
  RowLoader loader(session, table, columns);
  std::vector<jet::Value> values(columns.size());
  while (query_->Step()) {
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = query_->Get(static_cast<int>(i));
    loader.Add(values);
  }
  session.NoteWrite(table.name);
  return loader.Finish();
}

}  // namespace vnt::db
