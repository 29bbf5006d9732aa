#include "bench/sqlite_copy.h"

#include <sqlite3.h>

#include <stdexcept>

#include <fmt/format.h>

#include "access/store/database.h"

namespace vnt::bench {
namespace {

void Run(sqlite3* handle, const std::string& sql) {
  if (sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw std::runtime_error(fmt::format("{}: {}", sqlite3_errmsg(handle), sql));
  }
}

const char* TypeName(jet::ColumnType type) {
  switch (type) {
    case jet::ColumnType::kText:
    case jet::ColumnType::kMemo:
      return "TEXT";
    case jet::ColumnType::kSingle:
    case jet::ColumnType::kDouble:
    case jet::ColumnType::kDateTime:
      return "REAL";
    default:
      return "INTEGER";
  }
}

void CopyTable(sqlite3* handle, jet::Table& table) {
  const jet::TableDef& def = table.def();
  std::string columns, marks;
  for (const jet::ColumnDef& column : def.columns) {
    columns += fmt::format("{}\"{}\" {}", columns.empty() ? "" : ", ", column.name, TypeName(column.type));
    marks += marks.empty() ? "?" : ", ?";
  }
  Run(handle, fmt::format("CREATE TABLE \"{}\" ({})", def.name, columns));
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(handle, fmt::format("INSERT INTO \"{}\" VALUES ({})", def.name, marks).c_str(), -1,
                     &insert, nullptr);
  jet::TableCursor cursor(table);
  jet::Row row;
  jet::RowId id;
  std::string text;
  while (cursor.Next(&row, &id)) {
    for (int i = 0; i < static_cast<int>(def.columns.size()); ++i) {
      const jet::Value value = row.Get(i);
      switch (value.kind()) {
        case jet::ValueKind::kInteger:
          sqlite3_bind_int64(insert, i + 1, value.integer());
          break;
        case jet::ValueKind::kReal:
          sqlite3_bind_double(insert, i + 1, value.real());
          break;
        case jet::ValueKind::kText:
          sqlite3_bind_text(insert, i + 1, value.bytes().data(), static_cast<int>(value.bytes().size()),
                            SQLITE_TRANSIENT);
          break;
        default:
          sqlite3_bind_null(insert, i + 1);
      }
    }
    if (sqlite3_step(insert) != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(handle));
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  for (const jet::IndexDef& index : def.indexes) {
    std::string keys;
    for (const jet::IndexColumn& key : index.columns) {
      keys += fmt::format("{}\"{}\"{}", keys.empty() ? "" : ", ", def.columns[key.column].name,
                          key.descending ? " DESC" : "");
    }
    Run(handle, fmt::format("CREATE {}INDEX \"{}\" ON \"{}\" ({})", index.unique ? "UNIQUE " : "", index.name,
                            def.name, keys));
  }
}

}  // namespace

void CopyToSqlite(const std::string& access_file, const std::string& sqlite_file) {
  const auto database = jet::Database::Open(jet::PlatformFileSystem(), access_file, jet::OpenMode::kRead);
  sqlite3* handle = nullptr;
  if (sqlite3_open(sqlite_file.c_str(), &handle) != SQLITE_OK)
    throw std::runtime_error("cannot open " + sqlite_file);
  Run(handle, "BEGIN");
  for (const jet::CatalogEntry& entry : database->Catalog()) {
    if (entry.type != 1 || entry.system()) continue;
    CopyTable(handle, *database->FindTable(entry.name));
  }
  Run(handle, "COMMIT");
  sqlite3_close(handle);
}

}  // namespace vnt::bench
