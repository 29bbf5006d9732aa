#include "bench/sqlite_copy.h"

#include <vector>

#include <fmt/format.h>

#include "access/store/database.h"
#include "bench/sqlite_handle.h"

namespace vnt::bench {
namespace {

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
  Prepared insert(handle, fmt::format("INSERT INTO \"{}\" VALUES ({})", def.name, marks));
  jet::TableCursor cursor(table);
  jet::Row row;
  jet::RowId id;
  std::vector<jet::Value> values(def.columns.size());
  while (cursor.Next(&row, &id)) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      const int position = static_cast<int>(i) + 1;
      const jet::Value& value = values[i] = row.Get(static_cast<int>(i));
      switch (value.kind()) {
        case jet::ValueKind::kInteger:
          insert.Bind(position, value.integer());
          break;
        case jet::ValueKind::kReal:
          insert.Bind(position, value.real());
          break;
        case jet::ValueKind::kText:
          insert.Bind(position, std::string_view(value.bytes()));
          break;
        default:
          insert.BindNull(position);
      }
    }
    insert.Run();
  }
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
  const Handle handle = OpenHandle(sqlite_file);
  Run(handle.get(), "BEGIN");
  for (const jet::CatalogEntry& entry : database->Catalog()) {
    if (entry.type != 1 || entry.system()) continue;
    CopyTable(handle.get(), *database->FindTable(entry.name));
  }
  Run(handle.get(), "COMMIT");
}

}  // namespace vnt::bench
