// Files that Access wrote: they read as an independent reader reads them, they are sound to the check, they
// stay sound when we change them, and what we do not change stays as it was.
//
// The files are in the folder that the environment variable ACCESS_SAMPLES names (subfolders jet3, jet4,
// ace12, ace14, refused). Changes are made to copies in memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "access/base/error.h"
#include "access/check/check.h"
#include "access/file/test_files.h"
#include "access/store/database.h"
#include "tests/access/samples/mdb_export.h"

namespace jet {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> Samples(std::initializer_list<const char*> folders) {
  std::vector<std::string> files;
  const char* root = std::getenv("ACCESS_SAMPLES");
  if (root == nullptr) return files;
  for (const char* folder : folders) {
    for (const auto& entry : fs::directory_iterator(fs::path(root) / folder)) {
      const auto extension = entry.path().extension();
      if (extension == ".mdb" || extension == ".accdb") files.push_back(entry.path().string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

#define SKIP_WITHOUT_SAMPLES()                                                     \
  if (std::getenv("ACCESS_SAMPLES") == nullptr) {                                  \
    GTEST_SKIP() << "ACCESS_SAMPLES names no folder with files that Access wrote"; \
  }

// A copy of the file in memory, open for writing.
std::unique_ptr<Database> OpenCopy(MemoryFileSystem& files, const std::string& file) {
  std::ifstream in(fs::path(file), std::ios::binary);
  const std::string copy = fs::path(file).filename().string();
  files.SetContent(copy, std::string(std::istreambuf_iterator<char>(in), {}));
  return Database::Open(files, copy, OpenMode::kReadWrite);
}

std::vector<std::string> TablesOf(Database& db, bool system) {
  std::vector<std::string> names;
  for (const CatalogEntry& entry : db.Catalog()) {
    if (entry.type == 1 && entry.system() == system) names.push_back(entry.name);
  }
  return names;
}

struct ReadRow {
  RowId id;
  std::vector<Value> values;
  bool operator==(const ReadRow&) const = default;
};

std::vector<ReadRow> ReadAll(Table& table) {
  std::vector<ReadRow> rows;
  TableCursor cursor(table);
  Row row;
  RowId id;
  while (cursor.Next(&row, &id)) {
    ReadRow read{id, {}};
    for (std::size_t c = 0; c < table.def().columns.size(); ++c)
      read.values.push_back(row.Get(static_cast<int>(c)));
    rows.push_back(std::move(read));
  }
  return rows;
}

// Where mdb-export says something else, and why it is not us who are wrong. An empty column: any.
enum class Difference { kValues, kOrder };
struct KnownDifference {
  const char* file;
  const char* table;
  const char* column;
  Difference difference;
  const char* reason;
};
constexpr KnownDifference kKnownDifferences[] = {
    {"oldDatesV2007.accdb", "Table1", "DateField", Difference::kValues,
     "mdb-export shows every date before 1900 as 1900-01-00"},
    {"unsupportedFieldsTestV2007.accdb", "Test", "UnknownVar", Difference::kValues,
     "columns of types that nobody knows: mdb-export shows Null, we give the stored bytes"},
    {"unsupportedFieldsTestV2007.accdb", "Test", "UnknownFix", Difference::kValues, "the same"},
    {"overflowTestV2000.mdb", "Table1", "", Difference::kOrder,
     "mdb-export shows moved rows where their bodies stand, we where their identifiers are"},
};

bool IsKnown(const std::string& file, const std::string& table, const std::string& column,
             Difference difference) {
  return std::any_of(std::begin(kKnownDifferences), std::end(kKnownDifferences),
                     [&](const KnownDifference& d) {
                       return difference == d.difference && fs::path(file).filename() == d.file &&
                              table == d.table && (*d.column == 0 || column == d.column);
                     });
}

std::string Show(const Value& value) {
  switch (value.kind()) {
    case ValueKind::kNull:
      return "Null";
    case ValueKind::kInteger:
      return std::to_string(value.integer());
    case ValueKind::kReal:
      return std::to_string(value.real());
    case ValueKind::kDecimal:
      return value.decimal().ToText();
    default:
      return value.bytes().substr(0, 200);
  }
}

// Brings the exported rows into the order of ours.
void Reorder(const Table& table, const std::vector<ReadRow>& rows, ExportedTable* exported) {
  const auto matches = [&](const ReadRow& row, const std::vector<std::optional<std::string>>& fields) {
    for (std::size_t c = 0; c < fields.size(); ++c) {
      const auto column = static_cast<std::size_t>(table.def().FindColumn(exported->columns[c]));
      if (!SaysTheSame(table.def().columns[column], row.values[column], fields[c])) return false;
    }
    return true;
  };
  for (std::size_t r = 0; r < rows.size(); ++r) {
    const auto from = exported->rows.begin() + static_cast<std::ptrdiff_t>(r);
    const auto found = std::find_if(from, exported->rows.end(),
                                    [&](const auto& fields) { return matches(rows[r], fields); });
    if (found != exported->rows.end()) std::iter_swap(from, found);
  }
}

void CompareTable(const std::string& file, Table& table) {
  const std::string& name = table.def().name;
  ExportedTable exported;
  ASSERT_TRUE(RunMdbExport(file, name, &exported)) << "mdb-export does not read it";
  const std::vector<ReadRow> rows = ReadAll(table);
  ASSERT_EQ(rows.size(), exported.rows.size());
  for (const std::string& column : exported.columns) ASSERT_GE(table.def().FindColumn(column), 0) << column;
  EXPECT_EQ(exported.columns.size(), table.def().columns.size());
  if (IsKnown(file, name, "", Difference::kOrder)) Reorder(table, rows, &exported);
  for (std::size_t c = 0; c < exported.columns.size(); ++c) {
    const auto column = static_cast<std::size_t>(table.def().FindColumn(exported.columns[c]));
    const ColumnDef& def = table.def().columns[column];
    if (IsKnown(file, name, def.name, Difference::kValues)) continue;
    for (std::size_t r = 0; r < rows.size(); ++r) {
      const Value& value = rows[r].values[column];
      ASSERT_LT(c, exported.rows[r].size());
      if (SaysTheSame(def, value, exported.rows[r][c])) continue;
      ADD_FAILURE() << "row " << r << ", column " << def.name << " of type " << static_cast<int>(def.type)
                    << ": mdb-export says " << exported.rows[r][c].value_or("Null").substr(0, 200)
                    << ", we read " << Show(value);
      break;
    }
  }
}

TEST(AccessSamples, ReadAsAnIndependentReaderReadsThem) {
  SKIP_WITHOUT_SAMPLES();
  if (!HaveMdbExport()) GTEST_SKIP() << "mdb-export is not installed";
  for (const std::string& file : Samples({"jet3", "jet4", "ace12", "ace14"})) {
    const auto db = Database::Open(PlatformFileSystem(), file, OpenMode::kRead);
    for (const std::string& name : TablesOf(*db, false)) {
      SCOPED_TRACE(file + " table " + name);
      const auto table = db->FindTable(name);
      ASSERT_TRUE(table);
      CompareTable(file, *table);
    }
  }
}

TEST(AccessSamples, AreSound) {
  SKIP_WITHOUT_SAMPLES();
  for (const std::string& file : Samples({"jet3", "jet4", "ace12", "ace14"})) {
    const auto db = Database::Open(PlatformFileSystem(), file, OpenMode::kRead);
    for (const Finding& finding : CheckDatabase(*db)) {
      if (finding.fatal) ADD_FAILURE() << file << ": " << finding.text;
    }
  }
}

TEST(AccessSamples, Access97IsReadOnly) {
  SKIP_WITHOUT_SAMPLES();
  for (const std::string& file : Samples({"jet3"})) {
    SCOPED_TRACE(file);
    MemoryFileSystem files;
    const auto db = OpenCopy(files, file);
    EXPECT_FALSE(db->writable());
    for (const std::string& name : TablesOf(*db, false)) {
      const auto table = db->FindTable(name);
      EXPECT_NE(table->def().read_only_reason, "");
      const std::vector<ReadRow> rows = ReadAll(*table);
      if (rows.empty()) continue;
      try {
        StatementScope scope(*db);
        table->Delete(rows[0].id);
        ADD_FAILURE() << name;
      } catch (const Error& error) {
        EXPECT_TRUE(error.kind() == ErrorKind::kReadOnly || error.kind() == ErrorKind::kNotSupported)
            << error.what();
      }
    }
  }
}

TEST(AccessSamples, ProtectedFilesAreRefused) {
  SKIP_WITHOUT_SAMPLES();
  int count = 0;
  for (const std::string& file : Samples({"refused"})) {
    ++count;
    try {
      Database::Open(PlatformFileSystem(), file, OpenMode::kRead);
      ADD_FAILURE() << file;
    } catch (const Error& error) {
      EXPECT_EQ(error.kind(), ErrorKind::kNotSupported);
      const std::string text = error.what();
      EXPECT_NE(text.find("password"), std::string::npos) << text;
    }
  }
  EXPECT_GT(count, 0);
}

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
      return Value::Real(old.is_null() ? 1.5 : old.real() + 1);
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

// Updates, deletes and inserts rows of a table; returns how many changes took place.
int ChangeTable(Database& db, Table& table) {
  int changes = 0;
  const std::vector<ReadRow> rows = ReadAll(table);
  const TableDef& def = table.def();
  for (std::size_t r = 0; r < rows.size() && r < 60; ++r) {
    for (std::size_t c = 0; c < def.columns.size(); ++c) {
      const Value fresh = Another(def.columns[c], rows[r].values[c]);
      const bool done = Try(db, [&] { table.Update(rows[r].id, {{static_cast<int>(c), fresh}}); });
      changes += done ? 1 : 0;
      Row row;
      EXPECT_TRUE(table.Fetch(rows[r].id, &row));
      EXPECT_TRUE(!done || row.IsNull(static_cast<int>(c)) == fresh.is_null());
    }
  }
  const std::vector<ReadRow> updated = ReadAll(table);
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
  int changes = 0;
  for (const std::string& file : Samples({"jet4", "ace12", "ace14"})) {
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
    for (const auto& [name, rows] : changed) EXPECT_TRUE(ReadAll(*db->FindTable(name)) == rows) << name;
    const std::vector<System> after = SystemRows(*db);
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
      EXPECT_EQ(after[i].name, before[i].name);
      EXPECT_TRUE(after[i].rows == before[i].rows) << before[i].name;
    }
  }
  EXPECT_GT(changes, 1000);
}

}  // namespace
}  // namespace jet
