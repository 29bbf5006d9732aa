// What counts as a changed row, wherever the pages of before are: in the file, in the journal, in memory.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "access/store/changed_rows.h"
#include "tests/access/store/database_fixture.h"

namespace jet::testing {
namespace {

constexpr int kRows = 200;

class ChangedRows : public ::testing::Test {
 protected:
  ChangedRows() {
    db.db.reset();
    db.db = Database::Open(db.files, kFile, OpenMode::kReadWrite, SmallStore());
    db.InStatement([&] {
      db->CreateTable(
          "keyed",
          {Col("id", ColumnType::kLong), Col("text", ColumnType::kText), Col("memo", ColumnType::kMemo)},
          {Idx("pk", {"id"}, true, true)});
      db->CreateTable("plain", {Col("a", ColumnType::kLong), Col("text", ColumnType::kText)}, {});
    });
    for (int i = 0; i < kRows; ++i) {
      db.InStatement([&] {
        ids.push_back(Keyed().Insert(RowOf(i)));
        plain_ids.push_back(Plain().Insert({Value::Integer(i / 2), Value::Text("x")}));
      });
    }
    db->Checkpoint();
  }

  // Little room, so that what pages were stands in the journal as well.
  static Database::Options SmallStore() {
    Database::Options options;
    options.pages.cache_bytes = 16 * 4096;
    options.pages.undo_bytes = 4 * 4096;
    return options;
  }
  static std::vector<Value> RowOf(int i) {
    return {Value::Integer(i), Value::Text(std::string(40, static_cast<char>('a' + i % 26))),
            Value::Text(std::string(i % 10 == 0 ? 3000 : 30, 'm'))};
  }
  Table& Keyed() { return *db->FindTable("keyed"); }
  Table& Plain() { return *db->FindTable("plain"); }
  void Set(int row, int column, Value value) { Keyed().Update(ids[row], {{column, std::move(value)}}); }

  OpenDatabase db;
  std::vector<RowId> ids, plain_ids;
};

TEST_F(ChangedRows, CountsWhatDiffersAndNothingElse) {
  struct Case {
    const char* what;
    std::int64_t rows;
    std::function<void()> work;
  };
  const Case cases[] = {
      {"nothing", 0, [] {}},
      {"rows that come", 3,
       [&] {
         for (int i = 0; i < 3; ++i) ids.push_back(Keyed().Insert(RowOf(1000 + i)));
       }},
      {"rows that go", 5,
       [&] {
         for (int i = 0; i < 5; ++i) Keyed().Delete(ids[i]);
       }},
      {"a row that comes and goes", 0, [&] { Keyed().Delete(Keyed().Insert(RowOf(5000))); }},
      {"a value", 1, [&] { Set(20, 1, Value::Text("other")); }},
      {"the same value", 0, [&] { Set(21, 1, Value::Text(std::string(40, 'v'))); }},
      {"a value there and back", 0,
       [&] {
         Set(22, 1, Value::Null());
         Set(22, 1, Value::Text(std::string(40, 'w')));
       }},
      {"a key", 2, [&] { Set(23, 0, Value::Integer(2023)); }},
      {"all rows moved", 0,
       [&] {
         for (int i = 30; i < 60; ++i) {
           Keyed().Delete(ids[i]);
         }
         for (int i = 59; i >= 30; --i) {
           ids[i] = Keyed().Insert(RowOf(i));
         }
       }},
      {"a row that leaves its page", 1, [&] { Set(61, 1, Value::Text(std::string(250, 'z'))); }},
      {"that row again, in place", 1, [&] { Set(61, 1, Value::Text(std::string(250, 'y'))); }},
      {"long value of the same length", 1, [&] { Set(70, 2, Value::Text(std::string(3000, 'n'))); }},
      {"the same long value", 0, [&] { Set(80, 2, Value::Text(std::string(3000, 'm'))); }},
      {"many rows", 100,
       [&] {
         for (int i = 100; i < kRows; ++i) Set(i, 1, Value::Text("many"));
       }},
      {"many rows there and back", 0,
       [&] {
         for (int i = 100; i < kRows; ++i) Set(i, 1, Value::Text("others"));
         for (int i = 100; i < kRows; ++i) Set(i, 1, Value::Text("many"));
       }},
      {"without a key one of two equal rows", 1, [&] { Plain().Delete(plain_ids[0]); }},
      {"without a key a value", 2,
       [&] {
         Plain().Update(plain_ids[7], {{1, Value::Text("y")}});
       }},
      {"a table that comes", 2,
       [&] {
         db->CreateTable("more", {Col("a", ColumnType::kLong)}, {});
         db->FindTable("more")->Insert({Value::Integer(1)});
         db->FindTable("more")->Insert({Value::Integer(1)});
       }},
      {"a column that comes", 0, [&] { db->AddColumn("more", Col("b", ColumnType::kLong)); }},
      {"a table that is made anew as it was", 0,
       [&] {
         db->DropTable("more");
         db->CreateTable("more", {Col("a", ColumnType::kLong), Col("b", ColumnType::kLong)}, {});
         for (int i = 0; i < 2; ++i) db->FindTable("more")->Insert({Value::Integer(1), Value::Null()});
       }},
      {"a table that goes", 2, [&] { db->DropTable("more"); }}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    db->Mark();
    db.InStatement(c.work);
    EXPECT_EQ(CountChangedRows(*db.db), c.rows);
  }
  EXPECT_EQ(WalkIndex(Keyed(), 0).size(), kRows + 3u - 5u);
}

TEST_F(ChangedRows, CountsSinceWhateverBorderCameLast) {
  const auto change = [&](int from, int to, const char* text) {
    db.InStatement([&] {
      for (int i = from; i < to; ++i) Set(i, 1, Value::Text(text));
    });
  };
  change(0, 50, "1");
  EXPECT_EQ(CountChangedRows(*db.db), 50);
  db->Persist();
  EXPECT_EQ(CountChangedRows(*db.db), 0);
  change(40, 90, "2");
  EXPECT_EQ(CountChangedRows(*db.db), 50);
  db->Mark();
  change(0, 10, "3");
  EXPECT_EQ(CountChangedRows(*db.db), 10);
  db->RevertToMark();
  EXPECT_EQ(CountChangedRows(*db.db), 0);
  change(0, 10, "1");  // as they were
  EXPECT_EQ(CountChangedRows(*db.db), 0);
  db->Checkpoint();
  {
    StatementScope undone(*db.db);
    Set(0, 1, Value::Text("4"));
  }
  EXPECT_EQ(CountChangedRows(*db.db), 0);
}

}  // namespace
}  // namespace jet::testing
