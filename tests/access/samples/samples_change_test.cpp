// Files that Access wrote: they stay sound when we change them, and what we do not change stays as it was.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "access/base/error.h"
#include "access/check/check.h"
#include "tests/access/samples/mdb_export.h"
#include "tests/access/samples/sample_files.h"

namespace jet {
namespace {

namespace fs = std::filesystem;

// A value of the column other than `old`, or `old` where there is no easy one.
Value Another(const ColumnDef& column, const Value& old) {
  switch (column.type) {
    case ColumnType::kByte:
      return Value::Integer(old.is_null() ? 1 : (old.integer() + 1) % 256);
    case ColumnType::kInteger:
    case ColumnType::kLong:
      return Value::Integer(old.is_null()           ? 7001
                            : old.integer() > 30000 ? old.integer() - 2
                                                    : old.integer() + 1);
    case ColumnType::kText: {
      std::string text = old.is_null() ? "" : old.bytes();
      if (text.size() + 2 > column.max_characters()) return Value::Text("z");
      return Value::Text(text + "z");
    }
    case ColumnType::kMemo:
      return Value::Text(std::string(old.is_null() ? 10 : old.bytes().size() * 2 + 100, 'm'));
    case ColumnType::kDouble:
    case ColumnType::kSingle:
    case ColumnType::kDateTime:
      return Value::Real(old.is_null() ? 1.5 : old.real() > 1e6 ? 2.5 : old.real() + 1);
    case ColumnType::kBoolean:
      return Value::Integer(old.integer() == 0 ? -1 : 0);
    case ColumnType::kBigInt:
      return Value::Integer(old.is_null() ? 7001 : old.integer() / 2);
    case ColumnType::kCurrency:
    case ColumnType::kDecimal: {
      // One more than nothing in the last digit.
      Decimal d = old.is_null() ? Decimal{} : old.decimal();
      d.scale = column.type == ColumnType::kCurrency ? 4 : column.scale;
      d.low = d.low == 1 ? 2 : 1;
      d.high = 0;
      d.negative = !d.negative;
      return Value::Dec(d);
    }
    case ColumnType::kGuid:
      return Value::Text("{00112233-4455-6677-8899-AABBCCDDEEFF}");
    case ColumnType::kDateTimeExtended:
      return Value::Text("1234-05-06 07:08:09.0123456");
    case ColumnType::kBinary: {
      std::string bytes = old.is_null() ? "" : old.bytes();
      if (bytes.size() < column.length && !column.fixed) return Value::Blob(bytes + '\x7F');
      if (!bytes.empty()) bytes[0] ^= 1;
      return Value::Blob(bytes);
    }
    case ColumnType::kOle:
      return Value::Blob(std::string(old.is_null() ? 30 : old.bytes().size() + 5000, '\x55'));
    default:
      return old;
  }
}

struct System {
  std::string name;
  std::vector<ReadRow> rows;
};
std::vector<System> SystemRows(Database& db) {
  std::vector<System> tables;
  for (const std::string& name : TablesOf(db, true)) {
    const auto table = db.FindTable(name);
    if (table) tables.push_back({name, ReadAll(*table)});
  }
  return tables;
}

// Performs one change in a statement of its own; a refusal for a constraint is no failure.
template <typename Action>
bool Try(Database& db, Action action) {
  try {
    StatementScope scope(db);
    action();
    scope.Commit();
    return true;
  } catch (const Error& error) {
    EXPECT_TRUE(error.kind() == ErrorKind::kConstraint || error.kind() == ErrorKind::kDuplicate)
        << error.what();
    return false;
  }
}

// Updates, deletes and inserts rows of a table; returns how many changes took place. Each column of a row
// gets another value, and in every second row Null at last; whatever is not changed must stay as it was.
int ChangeTable(Database& db, Table& table) {
  int changes = 0;
  std::vector<ReadRow> rows = ReadAll(table);
  const TableDef& def = table.def();
  for (std::size_t r = 0; r < rows.size() && r < 60; ++r) {
    for (std::size_t c = 0; c < def.columns.size(); ++c) {
      const ColumnDef& column = def.columns[c];
      std::vector<Value> news = {Another(column, rows[r].values[c])};
      if (r % 2 == 1 && column.type != ColumnType::kBoolean) news.push_back(Value::Null());
      for (const Value& fresh : news) {
        if (!Try(db, [&] { table.Update(rows[r].id, {{static_cast<int>(c), fresh}}); })) continue;
        ++changes;
        Row row;
        EXPECT_TRUE(table.Fetch(rows[r].id, &row));
        rows[r].values[c] = row.Get(static_cast<int>(c));
        EXPECT_EQ(rows[r].values[c], fresh) << column.name;
        EXPECT_EQ(row.IsNull(static_cast<int>(c)), fresh.is_null()) << column.name;
      }
    }
  }
  const std::vector<ReadRow> updated = ReadAll(table);
  EXPECT_TRUE(updated == rows) << "a change changed something else";
  const std::uint32_t before = table.row_count();
  std::uint32_t deleted = 0;
  for (std::size_t r = 0; r < updated.size() && r < 60; r += 2) {
    const bool done = Try(db, [&] { table.Delete(updated[r].id); });
    Row row;
    EXPECT_EQ(table.Fetch(updated[r].id, &row), !done);
    deleted += done ? 1 : 0;
  }
  EXPECT_EQ(table.row_count(), before - deleted);
  std::uint32_t inserted = 0;
  for (std::size_t r = 0; r < updated.size() && r < 60; r += 2) {
    const bool done = Try(db, [&] {
      const RowId id = table.Insert(updated[r].values);
      Row row;
      ASSERT_TRUE(table.Fetch(id, &row));
      for (std::size_t c = 0; c < def.columns.size(); ++c) {
        EXPECT_EQ(row.Get(static_cast<int>(c)), updated[r].values[c]) << def.columns[c].name;
      }
    });
    inserted += done ? 1 : 0;
  }
  EXPECT_EQ(table.row_count(), before - deleted + inserted);
  return changes + static_cast<int>(deleted + inserted);
}

// Lets mdb-export judge what we wrote; returns the number of tables.
int CompareChangedFile(MemoryFileSystem& files, Database& db) {
  // In a folder of its own: tests run at the same time, and the name of the file says what is known of it.
  std::random_device random;
  const fs::path folder = fs::temp_directory_path() /
                          ("vntfix-samples-" + std::to_string(random()) + "-" + std::to_string(random()));
  fs::create_directory(folder);
  const fs::path copy = folder / db.path();
  {
    std::ofstream out(copy, std::ios::binary);
    const std::string content = files.Content(db.path());
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
  }
  // Rows that have moved are shown elsewhere.
  int tables = 0;
  for (const std::string& name : TablesOf(db, false)) {
    SCOPED_TRACE("mdb-export, table " + name);
    const auto table = db.FindTable(name);
    ++tables;
    CompareTable(copy.string(), *table, false);
  }
  fs::remove_all(folder);
  return tables;
}

// These files have a relationship that cascades deletes (Table2 to Table1.otherfk1) and one that cascades
// updates (Table3 to Table1.otherfk2).
TEST(AccessSamples, EnforcedRelationshipsAreKept) {
  SKIP_WITHOUT_SAMPLES();
  int count = 0;
  for (const std::string& file : Samples({"jet4", "ace12", "ace14"})) {
    if (file.find("indexTestV20") == std::string::npos) continue;
    SCOPED_TRACE(file);
    ++count;
    MemoryFileSystem files;
    const auto db = OpenCopy(files, file);
    const auto related = db->FindTable("Table1"), deleting = db->FindTable("Table2"),
               updating = db->FindTable("Table3");
    const auto row_of = [](Table& table, std::int64_t key) {
      for (const ReadRow& row : ReadAll(table)) {
        if (row.values[0] == Value::Integer(key)) return row.id;
      }
      ADD_FAILURE() << "no row " << key;
      return RowId();
    };
    EXPECT_FALSE(Try(*db, [&] { updating->Delete(row_of(*updating, 11)); }));
    EXPECT_FALSE(Try(*db, [&] { deleting->Update(row_of(*deleting, 1), {{0, Value::Integer(99)}}); }));
    EXPECT_FALSE(Try(*db, [&] { related->Update(row_of(*related, 0), {{1, Value::Integer(98)}}); }));
    EXPECT_TRUE(Try(*db, [&] { updating->Update(row_of(*updating, 13), {{0, Value::Integer(99)}}); }));
    EXPECT_TRUE(Try(*db, [&] { deleting->Delete(row_of(*deleting, 1)); }));
    std::vector<std::string> left;
    for (const ReadRow& row : ReadAll(*related)) {
      left.push_back(std::to_string(row.values[0].integer()) + ">" + std::to_string(row.values[2].integer()));
    }
    EXPECT_EQ(left, (std::vector<std::string>{"0>10", "3>99"}));
    db->Checkpoint();
    for (const Finding& finding : CheckDatabase(*db)) {
      if (finding.fatal) ADD_FAILURE() << finding.text;
    }
  }
  EXPECT_GT(count, 1);
}

TEST(AccessSamples, StaySoundWhenChanged) {
  SKIP_WITHOUT_SAMPLES();
  int changes = 0, compared = 0;
  const bool judged = HaveMdbExport();
  for (const std::string& file : Samples({"jet4", "ace12", "ace14", "hard"})) {
    if (IsOddOnPurpose(file)) continue;
    SCOPED_TRACE(file);
    MemoryFileSystem files;
    auto db = OpenCopy(files, file);
    const std::vector<System> before = SystemRows(*db);
    const std::size_t untidy = CheckDatabase(*db).size();
    std::vector<std::pair<std::string, std::vector<ReadRow>>> changed;
    for (const std::string& name : TablesOf(*db, false)) {
      SCOPED_TRACE(name);
      const auto table = db->FindTable(name);
      if (table->def().read_only_reason.empty()) changes += ChangeTable(*db, *table);
    }
    // Only now: changes cascade to other tables.
    for (const std::string& name : TablesOf(*db, false)) {
      changed.emplace_back(name, ReadAll(*db->FindTable(name)));
    }
    db->Checkpoint();
    const std::string copy = db->path();
    db.reset();
    db = Database::Open(files, copy, OpenMode::kReadWrite);
    const std::vector<Finding> findings = CheckDatabase(*db);
    for (const Finding& finding : findings) {
      if (finding.fatal) ADD_FAILURE() << finding.text;
    }
    EXPECT_LE(findings.size(), untidy);
    if (judged) compared += CompareChangedFile(files, *db);
    for (const auto& [name, rows] : changed) EXPECT_TRUE(ReadAll(*db->FindTable(name)) == rows) << name;
    const std::vector<System> after = SystemRows(*db);
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
      EXPECT_EQ(after[i].name, before[i].name);
      EXPECT_TRUE(after[i].rows == before[i].rows) << before[i].name;
    }
  }
  EXPECT_GT(changes, 1000);
  EXPECT_TRUE(!judged || compared > 50);
}

// Files in which Access dropped columns: what is added later must not come to lie over their bytes. Tables of
// fixed columns only: the first variable column.
TEST(AccessSamples, AColumnIsAddedToEveryChangeableTable) {
  SKIP_WITHOUT_SAMPLES();
  const auto column_of = [](const char* name, ColumnType type) {
    NewColumn column;
    column.name = name;
    column.type = type;
    return column;
  };
  const std::pair<NewColumn, Value> added[] = {
      {column_of("added number", ColumnType::kDouble), Value::Real(0.5)},
      {column_of("added text", ColumnType::kText), Value::Text("text")},
      {column_of("added memo", ColumnType::kMemo), Value::Text(std::string(3000, 'm'))},
      {column_of("added switch", ColumnType::kBoolean), Value::Integer(-1)}};
  int tables = 0;
  for (const std::string& file : Samples({"jet4", "ace12", "ace14", "hard"})) {
    if (IsOddOnPurpose(file)) continue;
    SCOPED_TRACE(file);
    MemoryFileSystem files;
    auto db = OpenCopy(files, file);
    const std::size_t untidy = CheckDatabase(*db).size();
    for (const std::string& name : TablesOf(*db, false)) {
      SCOPED_TRACE(name);
      if (!db->FindTable(name)->def().read_only_reason.empty()) continue;
      ++tables;
      std::vector<ReadRow> rows = ReadAll(*db->FindTable(name));
      for (const auto& [column, value] : added) {
        SCOPED_TRACE(column.name);
        db->AddColumn(name, column);
        const auto table = db->FindTable(name);
        const auto at = static_cast<std::size_t>(table->def().FindColumn(column.name));
        ASSERT_EQ(at + 1, table->def().columns.size());
        for (ReadRow& row : rows) {
          row.values.push_back(column.type == ColumnType::kBoolean ? Value::Integer(0) : Value::Null());
        }
        EXPECT_TRUE(ReadAll(*table) == rows) << "the old rows have changed";
        StatementScope scope(*db);
        for (std::size_t r = 0; r < rows.size() && r < 300; r += 2) {
          table->Update(rows[r].id, {{static_cast<int>(at), value}});
          rows[r].values[at] = value;
        }
        scope.Commit();
        EXPECT_TRUE(ReadAll(*table) == rows) << "the changed rows";
      }
    }
    db->Checkpoint();
    const std::vector<Finding> findings = CheckDatabase(*db);
    EXPECT_LE(findings.size(), untidy);
    for (const Finding& finding : findings) {
      if (finding.fatal) ADD_FAILURE() << finding.text;
    }
    if (HaveMdbExport()) CompareChangedFile(files, *db);
  }
  EXPECT_GT(tables, 40);
}

}  // namespace
}  // namespace jet
