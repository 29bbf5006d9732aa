#include "tests/access/samples/sample_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "tests/access/base/value_text.h"
#include "tests/access/samples/mdb_export.h"

namespace jet {

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

std::vector<std::string> ReadableSamples() {
  std::vector<std::string> files = Samples({"jet3", "jet4", "ace12", "ace14", "hard"});
  EXPECT_GT(files.size(), 40U) << "ACCESS_SAMPLES names a folder without the files";
  return files;
}

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

bool IsOddOnPurpose(const std::string& file) { return fs::path(file).filename() == "testRefGlobalV2000.mdb"; }

namespace {

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
    {"extDateTestV2019.accdb", "Table1", "DateNormal", Difference::kValues,
     "mdb-export shows every date before 1900 as 1900-01-00"},
    {"overflowTestV2000.mdb", "Table1", "", Difference::kOrder,
     "mdb-export shows moved rows where their bodies stand, we where their identifiers are"},
    {"extDateTestV2019.accdb", "Table1", "", Difference::kOrder, "the same"},
};

bool IsKnown(const std::string& file, const std::string& table, const std::string& column,
             Difference difference) {
  return std::any_of(std::begin(kKnownDifferences), std::end(kKnownDifferences),
                     [&](const KnownDifference& d) {
                       return difference == d.difference && fs::path(file).filename() == d.file &&
                              table == d.table && (*d.column == 0 || column == d.column);
                     });
}

// Whether mdb-export can be asked for the column. It shows the frame of calculated values as value, and
// nothing for extended dates.
bool IsComparable(const std::string& file, const Table& table, const ColumnDef& column) {
  return !column.calculated && column.type != ColumnType::kDateTimeExtended &&
         !IsKnown(file, table.def().name, column.name, Difference::kValues);
}

// Brings the exported rows into the order of ours.
void Reorder(const std::string& file, const Table& table, const std::vector<ReadRow>& rows,
             ExportedTable* exported) {
  const auto matches = [&](const ReadRow& row, const std::vector<std::optional<std::string>>& fields) {
    for (std::size_t c = 0; c < fields.size(); ++c) {
      const auto column = static_cast<std::size_t>(table.def().FindColumn(exported->columns[c]));
      if (!IsComparable(file, table, table.def().columns[column])) continue;
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

}  // namespace

std::string Show(const Value& value) {
  if (value.kind() == ValueKind::kReal) return std::to_string(value.real());
  const bool has_bytes = value.kind() == ValueKind::kText || value.kind() == ValueKind::kBlob;
  return has_bytes ? value.bytes().substr(0, 200) : ValueText(value);
}

void CompareTable(const std::string& file, Table& table, bool in_order) {
  const std::string& name = table.def().name;
  ExportedTable exported;
  ASSERT_TRUE(RunMdbExport(file, name, &exported)) << "mdb-export does not read it";
  const std::vector<ReadRow> rows = ReadAll(table);
  ASSERT_EQ(rows.size(), exported.rows.size());
  for (const std::string& column : exported.columns) ASSERT_GE(table.def().FindColumn(column), 0) << column;
  EXPECT_EQ(exported.columns.size(), table.def().columns.size());
  if (!in_order || IsKnown(file, name, "", Difference::kOrder)) Reorder(file, table, rows, &exported);
  for (std::size_t c = 0; c < exported.columns.size(); ++c) {
    const auto column = static_cast<std::size_t>(table.def().FindColumn(exported.columns[c]));
    const ColumnDef& def = table.def().columns[column];
    if (!IsComparable(file, table, def)) continue;
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

}  // namespace jet
