// Tables under random work, beside a plain map of records.
#include <iterator>
#include <random>

#include "tests/access/store/wide_table.h"

namespace jet::testing {
namespace {

std::string RandomText(std::mt19937& random, std::size_t most) {
  std::string s(random() % (most + 1), 'x');
  for (char& c : s) c = static_cast<char>('A' + random() % 50);
  if (random() % 8 == 0) s += "\xE2\x82\xAC";
  return s;
}

Value RandomValue(std::mt19937& random, int column) {
  if (column > 1 && column != 4 && random() % 4 == 0) return Value::Null();
  switch (column) {
    case 0:
      return Value::Integer(random() % 60);
    case 1:
      return Value::Integer(random() % 60);
    case 2:
      return Value::Text(RandomText(random, random() % 3 == 0 ? 250 : 12));
    case 3:
      return Value::Text(RandomText(random, random() % 3 == 0 ? 6000 : 60));
    case 4:
      return Value::Integer(random() % 2 == 0 ? -1 : 0);
    case 5:
      return Value::Real(random() % 100 / 4.0);
    default:
      return Value::Blob(RandomText(random, random() % 4 == 0 ? 9000 : 80));
  }
}

using Model = std::map<RowId, Record>;

// Whether a unique index forbids the record.
bool Conflicts(const StoredTable& table, const Model& model, const Record& r, RowId self) {
  for (const auto& [id, other] : model) {
    if (id == self) continue;
    if (other[0] == r[0] && other[1] == r[1]) return true;
    if (r[5].is_null() && r[2].is_null()) continue;
    if (table.MakeKey(3, {other[5], other[2]}) == table.MakeKey(3, {r[5], r[2]})) return true;
  }
  return false;
}

// Inserts, changes or deletes a row.
void RandomChange(std::mt19937& random, StoredTable& table, Model& model) {
  const unsigned kind = random() % 10;
  if (kind < 5 || model.empty()) {
    Record r;
    for (int c = 0; c < 7; ++c) r.push_back(RandomValue(random, c));
    if (Conflicts(table, model, r, RowId())) {
      ASSERT_EQ(KindOfError([&] { table.Insert(r); }), ErrorKind::kDuplicate);
    } else {
      const RowId id = table.Insert(r);
      ASSERT_TRUE(model.emplace(id, r).second) << "a live row identifier was given again";
    }
    return;
  }
  auto at = model.begin();
  std::advance(at, random() % model.size());
  if (kind < 8) {
    std::vector<ColumnChange> changes;
    Record r = at->second;
    for (unsigned n = 0; n < 1 + random() % 3; ++n) {
      const int c = random() % 7;
      changes.push_back({c, RandomValue(random, c)});
      r[c] = changes.back().value;
    }
    if (Conflicts(table, model, r, at->first)) {
      ASSERT_EQ(KindOfError([&] { table.Update(at->first, changes); }), ErrorKind::kDuplicate);
    } else {
      table.Update(at->first, changes);
      at->second = r;
    }
    return;
  }
  const RowId gone = at->first;
  table.Delete(gone);
  model.erase(at);
  Row row;
  ASSERT_FALSE(table.Fetch(gone, &row));
}

// Random statements, some taken back, against a plain map of records.
TEST(TableTest, RandomStatementsAgainstAModel) {
  for (const unsigned seed : {1u, 2u, 3u, 4u}) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    TestFile file;
    file.Begin();
    auto table = file.MakeTable(WideColumns(), WideIndexes());
    file.Commit();
    Model model;
    for (int statement = 0; statement < 250; ++statement) {
      const auto before = model;
      file.Begin();
      const bool held = random() % 5 == 0;
      if (held) table->HoldRowIds();
      for (unsigned step = 0; step < 1 + random() % 12; ++step) RandomChange(random, *table, model);
      if (held) table->ReleaseRowIds();
      if (random() % 4 == 0) {
        file.Rollback();
        model = before;
      } else {
        file.Commit();
      }
      if (statement % 25 == 0) CheckConsistent(file, *table, model);
      if (::testing::Test::HasFatalFailure()) return;
    }
    CheckConsistent(file, *table, model);
    if (::testing::Test::HasFatalFailure()) return;
    // Nothing stays behind when the table goes.
    file.Begin();
    table->FreeData();
    file.Commit();
    EXPECT_EQ(file.FreePages() + 3, file.pages().page_count());
  }
}

}  // namespace
}  // namespace jet::testing
