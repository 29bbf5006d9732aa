// Random inserts, updates, deletes and rolled back statements on tables with many indexes, against a plain
// model: the rows agree, every index range agrees, refusals agree, and the file is sound after each batch and
// after opening it again.
//
// The seed is printed; VNT_WORKLOAD_SEED repeats a run, VNT_WORKLOAD_BATCHES lengthens it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "access/base/error.h"
#include "access/check/check.h"
#include "access/file/test_files.h"
#include "access/store/compact.h"
#include "access/store/database.h"

namespace jet {
namespace {

constexpr char kPath[] = "work.mdb";

enum Column { kId, kGroup, kName, kCode, kSize, kWhen, kFlag, kPrice, kNote, kBlob, kColumns };

unsigned FromEnvironment(const char* name, unsigned otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

using ModelRow = std::vector<Value>;

// Keys compare as the index does: the model relies on the encoder, which has tests of its own.
struct Model {
  std::map<std::uint32_t, ModelRow> rows;  // by row identifier
};

class Workload {
 public:
  Workload(Format format, unsigned seed) : random_(seed) {
    Database::Create(files_, kPath, format);
    Open();
    StatementScope scope(*db_);
    CreateTable();
    scope.Commit();
    table_ = db_->FindTable("Work");
  }

  void RunBatch(int statements) {
    for (int i = 0; i < statements && !testing::Test::HasFailure(); ++i) Statement();
  }

  void Verify() {
    while (holds_ > 0) Release();
    if (Pick(2) == 0) db_->Persist();  // gives back the pages without rows
    const std::vector<Finding> findings = CheckDatabase(*db_);
    for (const Finding& finding : findings) ADD_FAILURE() << finding.text;
    EXPECT_EQ(table_->row_count(), model_.rows.size());
    VerifyRows();
    for (std::size_t i = 0; i < table_->def().indexes.size(); ++i) VerifyIndex(static_cast<int>(i));
  }

  void Compact() {
    db_->Checkpoint();
    const PageNo end = CompactTables(files_, *db_);
    db_->Checkpoint();
    db_->pages().CutOff(end);
    // The rows have other identifiers, in the same order.
    table_ = db_->FindTable("Work");
    Model moved;
    auto old = model_.rows.begin();
    TableCursor cursor(*table_);
    Row row;
    for (RowId id; cursor.Next(&row, &id) && old != model_.rows.end(); ++old)
      moved.rows[id.packed] = old->second;
    ASSERT_EQ(moved.rows.size(), model_.rows.size());
    model_ = std::move(moved);
  }

  void Reopen() {
    db_->Checkpoint();
    table_.reset();
    db_.reset();
    Open();
    table_ = db_->FindTable("Work");
  }

  std::size_t size() const { return model_.rows.size(); }

 private:
  void Open() {
    Database::Options options;
    options.pages.cache_bytes = 256u << 10;  // so that pages are spilled and read again
    db_ = Database::Open(files_, kPath, OpenMode::kReadWrite, options);
  }

  void CreateTable() {
    const auto column = [](const char* name, ColumnType type) {
      NewColumn c;
      c.name = name;
      c.type = type;
      return c;
    };
    std::vector<NewColumn> columns = {
        column("Id", ColumnType::kLong),      column("Group", ColumnType::kInteger),
        column("Name", ColumnType::kText),    column("Code", ColumnType::kText),
        column("Size", ColumnType::kDouble),  column("When", ColumnType::kDateTime),
        column("Flag", ColumnType::kBoolean), column("Price", ColumnType::kCurrency),
        column("Note", ColumnType::kMemo),    column("Blob", ColumnType::kOle)};
    columns[kName].characters = 120;
    columns[kCode].characters = 12;
    const auto index = [](const char* name, std::vector<std::pair<std::string, bool>> parts) {
      NewIndex i;
      i.name = name;
      i.columns = std::move(parts);
      return i;
    };
    std::vector<NewIndex> indexes = {index("PrimaryKey", {{"Id", false}}),
                                     index("UniqueCode", {{"Code", false}, {"Group", true}}),
                                     index("ByName", {{"Name", false}}),
                                     index("ByNameDown", {{"Name", true}, {"Id", false}}),
                                     index("BySize", {{"Size", true}}),
                                     index("ByGroup", {{"Group", false}, {"When", true}, {"Flag", false}}),
                                     index("ByPrice", {{"Price", false}}),
                                     index("BySparse", {{"When", false}})};
    indexes[0].primary = indexes[0].unique = true;
    indexes[1].unique = true;
    indexes[7].ignore_nulls = true;
    db_->CreateTable("Work", columns, indexes);
  }

  // Somebody holds row identifiers for a while, as a keyset does.
  void HoldOrRelease() {
    if (holds_ == 0 || Pick(3) == 0) {
      table_->HoldRowIds();
      ++holds_;
    } else {
      Release();
    }
  }
  void Release() {
    table_->ReleaseRowIds();
    Row row;
    for (const std::uint32_t id : gone_) EXPECT_FALSE(table_->Fetch(RowId::FromPacked(id), &row));
    if (--holds_ == 0) gone_.clear();
  }

  unsigned Pick(unsigned count) { return static_cast<unsigned>(random_() % count); }

  std::string RandomText(unsigned longest) {
    static const char* const kPieces[] = {"a", "B",      "c",      "Satellite", " ",      "-",
                                          "'", "\u00E9", "\u00DF", "\u0416",    "\u6771", "\U0001F600",
                                          "0", "9",      "zz",     "xxxxxxxxxx"};
    std::string text;
    std::size_t units = 0;
    const unsigned wanted = Pick(longest + 1);
    for (;;) {
      const char* piece = kPieces[Pick(Pick(2) == 0 ? 5 : 16)];
      std::size_t piece_units = 0;
      for (const char* p = piece; *p != 0; ++p) {
        const auto byte = static_cast<unsigned char>(*p);
        piece_units += (byte & 0xC0) != 0x80 ? (byte >= 0xF0 ? 2 : 1) : 0;
      }
      if (units + piece_units > wanted) return text;
      text += piece;
      units += piece_units;
    }
  }

  Value RandomValue(int column) {
    if (column != kId && column != kFlag && Pick(6) == 0) return Value::Null();
    switch (column) {
      case kId:
        return Value::Integer(Pick(3) == 0 ? static_cast<int>(random_()) : static_cast<int>(Pick(4000)));
      case kGroup:
        return Value::Integer(static_cast<int>(Pick(7)) - 3);
      case kName:
        return Value::Text(RandomText(Pick(3) == 0 ? 120 : 10));
      case kCode:
        return Value::Text(RandomText(Pick(2) == 0 ? 3 : 12));
      case kSize: {
        const double scale[] = {1, 1e-3, 1e12};
        return Value::Real((static_cast<int>(Pick(2000)) - 1000) * scale[Pick(3)]);
      }
      case kWhen:
        return Value::Real(static_cast<int>(Pick(60000)) / 4.0 - 100);
      case kFlag:
        return Value::Integer(Pick(2) == 0 ? 0 : -1);
      case kPrice:
        return Value::Dec(Decimal::FromScaledInt64(static_cast<int>(random_()), 4));
      case kNote: {
        const unsigned longest[] = {20, 200, 3000, 12000};
        return Value::Text(RandomText(longest[Pick(4)]));
      }
      default: {
        const unsigned longest[] = {10, 500, 5000, 20000};
        return Value::Blob(std::string(Pick(longest[Pick(4)]), static_cast<char>(Pick(256))));
      }
    }
  }

  std::string KeyOf(int index, const ModelRow& row, bool* all_null) const {
    std::vector<Value> values;
    *all_null = true;
    for (const IndexColumn& part : table_->def().indexes[static_cast<std::size_t>(index)].columns) {
      values.push_back(row[part.column]);
      *all_null = *all_null && row[part.column].is_null();
    }
    return table_->MakeKey(index, values);
  }

  // Whether the table must refuse a row like this (`self`: the row that it replaces).
  bool Violates(const ModelRow& row, std::optional<std::uint32_t> self) const {
    for (const int index : {0, 1}) {
      bool all_null = false;
      const std::string key = KeyOf(index, row, &all_null);
      if (index != 0 && all_null) continue;
      for (const auto& [id, other] : model_.rows) {
        bool ignored = false;
        if (id != self && KeyOf(index, other, &ignored) == key) return true;
      }
    }
    return false;
  }

  std::uint32_t RandomRow() {
    const std::uint64_t range = model_.rows.rbegin()->first + std::uint64_t{1};
    auto at = model_.rows.lower_bound(static_cast<std::uint32_t>(random_() % range));
    if (at == model_.rows.end()) at = model_.rows.begin();
    return at->first;
  }

  // Performs one change in both; false when both refused it.
  bool Change() {
    const unsigned kind = Pick(10);
    if (model_.rows.empty() || kind < (model_.rows.size() < 600 ? 6u : 3u)) {
      ModelRow row;
      for (int c = 0; c < kColumns; ++c) row.push_back(RandomValue(c));
      return Attempt(Violates(row, {}), [&] {
        const std::uint32_t id = table_->Insert(row).packed;
        EXPECT_EQ(gone_.count(id), 0u) << "a new row took an identifier that is held";
        model_.rows[id] = row;
      });
    }
    const std::uint32_t id = RandomRow();
    if (kind < 8) {
      ModelRow row = model_.rows[id];
      std::vector<ColumnChange> changes;
      for (unsigned n = 1 + Pick(3); n > 0; --n) {
        const int column = static_cast<int>(Pick(kColumns));
        row[static_cast<std::size_t>(column)] = RandomValue(column);
        std::erase_if(changes, [&](const ColumnChange& c) { return c.column == column; });
        changes.push_back({column, row[static_cast<std::size_t>(column)]});
      }
      return Attempt(Violates(row, id), [&] {
        table_->Update(RowId::FromPacked(id), changes);
        model_.rows[id] = row;
      });
    }
    return Attempt(false, [&] {
      table_->Delete(RowId::FromPacked(id));
      model_.rows.erase(id);
      if (holds_ > 0) gone_.insert(id);
    });
  }

  template <typename Action>
  bool Attempt(bool refused, Action action) {
    try {
      action();
      EXPECT_FALSE(refused) << "a duplicate was accepted";
      return true;
    } catch (const Error& error) {
      EXPECT_TRUE(refused) << error.what();
      EXPECT_EQ(error.kind(), ErrorKind::kDuplicate) << error.what();
      return false;
    }
  }

  // A statement of one or several changes, all of which are taken back when one is refused, or for no reason.
  void Statement() {
    const Model before = model_;
    const std::set<std::uint32_t> gone_before = gone_;
    const unsigned changes = Pick(4) == 0 ? 1 + Pick(20) : 1;
    bool good = true;
    {
      StatementScope scope(*db_);
      for (unsigned i = 0; i < changes && good; ++i) good = Change();
      good = good && Pick(12) != 0;
      if (good) scope.Commit();
    }
    if (!good) {
      model_ = before;
      gone_ = gone_before;
    }
    if (Pick(8) == 0) HoldOrRelease();
  }

  static bool Same(const Value& stored, const Value& expected) {
    // A currency comes back with four decimals.
    return stored == expected ||
           (expected.kind() == ValueKind::kDecimal && stored.kind() == ValueKind::kDecimal &&
            stored.decimal().ToText() == expected.decimal().ToText());
  }

  void VerifyRows() {
    TableCursor cursor(*table_);
    Row row;
    RowId id;
    std::size_t count = 0;
    while (cursor.Next(&row, &id)) {
      ++count;
      const auto expected = model_.rows.find(id.packed);
      ASSERT_NE(expected, model_.rows.end());
      for (int c = 0; c < kColumns; ++c) {
        const Value& wanted = expected->second[static_cast<std::size_t>(c)];
        ASSERT_TRUE(Same(row.Get(c), wanted)) << "column " << c;
        ASSERT_EQ(row.IsNull(c), wanted.is_null());
      }
    }
    EXPECT_EQ(count, model_.rows.size());
  }

  // All entries in order, and a range between two keys of rows.
  void VerifyIndex(int index) {
    std::vector<std::pair<std::string, std::uint32_t>> entries;
    for (const auto& [id, row] : model_.rows) {
      bool all_null = false;
      std::string key = KeyOf(index, row, &all_null);
      if (all_null && table_->def().indexes[static_cast<std::size_t>(index)].ignore_nulls) continue;
      entries.emplace_back(std::move(key), id);
    }
    std::sort(entries.begin(), entries.end());
    const auto walk = [&](IndexCursor::Bounds bounds, std::size_t from, std::size_t to) {
      IndexCursor cursor(*table_, index, std::move(bounds));
      RowId id;
      for (; from < to; ++from) {
        ASSERT_TRUE(cursor.Next(&id));
        ASSERT_EQ(id.packed, entries[from].second);
      }
      ASSERT_FALSE(cursor.Next(&id));
    };
    walk({}, 0, entries.size());
    if (entries.empty()) return;
    std::string low = entries[Pick(static_cast<unsigned>(entries.size()))].first;
    std::string high = entries[Pick(static_cast<unsigned>(entries.size()))].first;
    if (high < low) std::swap(low, high);
    const auto first_of = [&](const std::string& key) {
      return static_cast<std::size_t>(
          std::lower_bound(entries.begin(), entries.end(), std::make_pair(key, 0u)) - entries.begin());
    };
    const auto behind = [&](const std::string& key) {
      return static_cast<std::size_t>(
          std::upper_bound(entries.begin(), entries.end(), std::make_pair(key, ~0u)) - entries.begin());
    };
    walk({low, false, high, false}, first_of(low), behind(high));
    if (low != high) walk({low, true, high, true}, behind(low), first_of(high));
  }

  MemoryFileSystem files_;
  std::mt19937 random_;
  std::unique_ptr<Database> db_;
  std::shared_ptr<Table> table_;
  Model model_;
  int holds_ = 0;
  std::set<std::uint32_t> gone_;  // deleted while identifiers were held
};

class WorkloadTest : public testing::TestWithParam<Format> {};
INSTANTIATE_TEST_SUITE_P(Formats, WorkloadTest,
                         testing::Values(Format::kJet4, Format::kAce12, Format::kAce14));

TEST_P(WorkloadTest, AgreesWithTheModel) {
  const unsigned seed = FromEnvironment("VNT_WORKLOAD_SEED", 20261121);
  const unsigned batches = FromEnvironment("VNT_WORKLOAD_BATCHES", 12);
  std::printf("seed %u\n", seed);
  SCOPED_TRACE("VNT_WORKLOAD_SEED=" + std::to_string(seed));
  Workload work(GetParam(), seed);
  for (unsigned batch = 0; batch < batches && !HasFailure(); ++batch) {
    SCOPED_TRACE("batch " + std::to_string(batch));
    work.RunBatch(200);
    work.Verify();
    if (batch % 3 == 2) {
      work.Reopen();
      work.Verify();
    } else if (batch % 3 == 1) {
      work.Compact();
      work.Verify();
    }
  }
  EXPECT_GT(work.size(), 0u);
}

}  // namespace
}  // namespace jet
