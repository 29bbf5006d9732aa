#include "tests/access/crash/work_database.h"

#include <fmt/format.h>

#include <algorithm>

#include "access/check/check.h"
#include "access/file/test_files.h"
#include "tests/access/base/value_text.h"

namespace jet::testing {
namespace {

std::string LongText(int seed) {
  return std::string(static_cast<std::size_t>(seed % 7) * 900, static_cast<char>('a' + seed % 26));
}

NewColumn Column(const char* name, ColumnType type, std::uint16_t characters = 0) {
  NewColumn column;
  column.name = name;
  column.type = type;
  column.characters = characters;
  return column;
}

std::vector<Value> GroupRow(int id) {
  return {Value::Integer(id),
          Value::Integer(1000 + id % 17),
          Value::Text(fmt::format("Beam {}", id * 7 % 50)),
          id % 9 == 0 ? Value::Null() : Value::Real(id * 1.25),
          id % 4 == 0 ? Value::Null() : Value::Text(LongText(id)),
          Value::Integer(id % 2 == 0 ? -1 : 0)};
}

// The rows in the order of their first column: not of their places, which depend on what was tried before.
std::vector<RowId> AllRows(Table& table) {
  std::vector<std::pair<std::int64_t, RowId>> rows;
  TableCursor cursor(table);
  Row row;
  RowId id;
  while (cursor.Next(&row, &id)) rows.emplace_back(row.GetInteger(0), id);
  std::sort(rows.begin(), rows.end());
  std::vector<RowId> ids;
  for (const auto& [key, row_id] : rows) ids.push_back(row_id);
  return ids;
}

void InsertGroups(Database& database, int from, int to) {
  const auto table = database.FindTable("grp");
  for (int id = from; id < to; ++id) {
    std::vector<Value> row = GroupRow(id);
    row.resize(table->def().columns.size());
    table->Insert(row);
  }
}

}  // namespace

std::string MakeWorkDatabase(Format format) {
  MemoryFileSystem files;
  Database::Create(files, "/w", format);
  {
    const auto database = Database::Open(files, "/w", OpenMode::kReadWrite);
    StatementScope scope(*database);
    database->CreateTable(
        "grp",
        {Column("grp_id", ColumnType::kLong), Column("ntc_id", ColumnType::kLong),
         Column("beam", ColumnType::kText, 20), Column("freq", ColumnType::kDouble),
         Column("note", ColumnType::kMemo), Column("done", ColumnType::kBoolean)},
        {{.name = "PrimaryKey", .columns = {{"grp_id", false}}, .unique = true, .primary = true},
         {.name = "ntc", .columns = {{"ntc_id", false}}},
         {.name = "beam_freq", .columns = {{"beam", false}, {"freq", true}}}});
    NewColumn id = Column("id", ColumnType::kLong);
    id.auto_number = true;
    database->CreateTable(
        "remark", {id, Column("txt", ColumnType::kText, 100)},
        {{.name = "PrimaryKey", .columns = {{"id", false}}, .unique = true, .primary = true},
         {.name = "txt", .columns = {{"txt", false}}, .unique = true}});
    InsertGroups(*database, 0, 90);
    const auto remark = database->FindTable("remark");
    for (int i = 0; i < 60; ++i)
      remark->Insert({Value::Null(), Value::Text(fmt::format("Remark number {}", i))});
    scope.Commit();
    database->Checkpoint();
  }
  return files.Content("/w");
}

std::vector<std::function<void(Database&)>> WorkStatements() {
  std::vector<std::function<void(Database&)>> work;
  for (int batch = 0; batch < 2; ++batch) {
    work.push_back([batch](Database& d) { InsertGroups(d, 1000 + 25 * batch, 1025 + 25 * batch); });
    work.push_back([batch](Database& d) {
      const auto table = d.FindTable("grp");
      const std::vector<RowId> ids = AllRows(*table);
      for (std::size_t i = static_cast<std::size_t>(batch); i < ids.size(); i += 6) {
        const int n = static_cast<int>(i) + 100 * batch;
        table->Update(ids[i], {{1, Value::Integer(n)},
                               {2, Value::Text(fmt::format("Moved {}", n * 31 % 70))},
                               {4, i % 5 == 0 ? Value::Null() : Value::Text(LongText(n))}});
      }
    });
    work.push_back([batch](Database& d) {
      const auto table = d.FindTable("grp");
      const std::vector<RowId> ids = AllRows(*table);
      for (std::size_t i = static_cast<std::size_t>(batch); i < ids.size(); i += 9) table->Delete(ids[i]);
    });
    work.push_back([batch](Database& d) {
      const auto table = d.FindTable("remark");
      for (int i = 0; i < 20; ++i) {
        table->Insert(
            {Value::Integer(500 + 100 * batch + i), Value::Text(fmt::format("Late {} of {}", i, batch))});
      }
    });
  }
  work.push_back([](Database& d) { d.CreateIndex("grp", {.name = "freq", .columns = {{"freq", false}}}); });
  work.push_back([](Database& d) { d.AddColumn("grp", Column("extra", ColumnType::kText, 10)); });
  work.push_back([](Database& d) {
    d.CreateTable("made", {Column("a", ColumnType::kLong), Column("b", ColumnType::kMemo)}, {});
    const auto table = d.FindTable("made");
    for (int i = 0; i < 30; ++i) table->Insert({Value::Integer(i), Value::Text(LongText(i))});
  });
  work.push_back([](Database& d) { InsertGroups(d, 5000, 5030); });
  work.push_back([](Database& d) { d.DropIndex("grp", "ntc"); });
  work.push_back([](Database& d) { d.DropTable("remark"); });
  return work;
}

std::string ContentText(Database& database) {
  std::string text;
  for (const CatalogEntry& entry : database.Catalog()) {
    if (entry.type != 1 || entry.system()) continue;
    const auto table = database.FindTable(entry.name);
    text += entry.name + ":";
    for (const ColumnDef& column : table->def().columns) text += " " + column.name;
    for (const IndexDef& index : table->def().indexes) text += " /" + index.name;
    text += '\n';
    std::vector<std::string> rows;
    TableCursor cursor(*table);
    Row row;
    RowId id;
    while (cursor.Next(&row, &id)) {
      std::string& line = rows.emplace_back();
      for (std::size_t c = 0; c < table->def().columns.size(); ++c) {
        line += ValueText(row.Get(static_cast<int>(c))) + "|";
      }
    }
    std::sort(rows.begin(), rows.end());
    for (const std::string& line : rows) text += line + '\n';
  }
  return text;
}

std::string Damage(Database& database) {
  std::string text;
  for (const Finding& finding : CheckDatabase(database)) {
    if (finding.fatal) text += fmt::format("page {}: {}\n", finding.page, finding.text);
  }
  return text;
}

}  // namespace jet::testing
