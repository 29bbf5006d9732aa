// What becomes of the room that rows leave: taken again soundly, and given back to the file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "access/base/error.h"
#include "access/store/data_page.h"
#include "access/store/database_impl.h"
#include "access/store/usage_map.h"
#include "tests/access/store/database_fixture.h"

namespace jet::testing {
namespace {

using ::testing::HasSubstr;

class Space : public ::testing::Test {
 protected:
  void MakeTable(const std::string& name, ColumnType type = ColumnType::kText) {
    db.InStatement([&] {
      db->CreateTable(name, {Col("id", ColumnType::kLong), Col("text", type)}, {Idx("id", {"id"})});
    });
  }
  // Rows of `length` bytes of text and some 20 others.
  std::vector<RowId> Insert(Table& table, int first, int count, std::size_t length = 60) {
    std::vector<RowId> ids;
    db.InStatement([&] {
      for (int i = 0; i < count; ++i) {
        ids.push_back(table.Insert({Value::Integer(first + i), Value::Text(std::string(length, 'x'))}));
      }
    });
    return ids;
  }
  void Delete(Table& table, const std::vector<RowId>& ids) {
    db.InStatement([&] {
      for (const RowId id : ids) table.Delete(id);
    });
  }
  std::vector<PageNo> OwnedPages(const std::string& name) {
    const auto table = db->FindTable(name);
    return UsageMap(Impl().context(), table->stored().layout().owned_map).Pages();
  }
  DatabaseImpl& Impl() { return db->impl(); }

  OpenDatabase db;
};

TEST_F(Space, RowsDeletedBeforeAKeysetOpensLeaveTheirPlacesToNewOnes) {
  MakeTable("t");
  const auto table = db->FindTable("t");
  std::vector<std::vector<RowId>> groups;
  for (int g = 0; g < 20; ++g) groups.push_back(Insert(*table, 100 * g, 40));
  PageNo pages = 0;
  for (int round = 0; round < 30; ++round) {
    for (std::size_t g = 0; g < groups.size(); ++g) {
      Delete(*table, groups[g]);
      table->HoldRowIds();
      groups[g] = Insert(*table, static_cast<int>(100 * g), 40);
      table->ReleaseRowIds();
    }
    db->Persist();
    if (round == 1) pages = db->pages().page_count();
  }
  EXPECT_LE(db->pages().page_count(), pages + 2) << "a page of the index may be split";
}

TEST_F(Space, AnIdentifierThatIsHeldNeverStandsForAnotherRow) {
  MakeTable("t");
  const auto table = db->FindTable("t");
  const std::vector<RowId> before = Insert(*table, 0, 200);
  table->HoldRowIds();
  table->HoldRowIds();
  const std::vector<RowId> seen = Insert(*table, 1000, 200);
  std::vector<RowId> gone;
  for (int i = 0; i < 200; i += 2) {
    gone.push_back(before[static_cast<std::size_t>(i)]);
    gone.push_back(seen[static_cast<std::size_t>(i)]);
  }
  Delete(*table, gone);
  table->ReleaseRowIds();  // the other one may hold them still
  for (int round = 0; round < 5; ++round) {
    const std::vector<RowId> fresh = Insert(*table, 2000, 100);
    for (const RowId id : fresh) EXPECT_EQ(std::count(gone.begin(), gone.end(), id), 0);
    Delete(*table, fresh);
    gone.insert(gone.end(), fresh.begin(), fresh.end());
    db->Persist();
  }
  Row row;
  for (const RowId id : gone) EXPECT_FALSE(table->Fetch(id, &row));
  table->ReleaseRowIds();
  const std::vector<RowId> fresh = Insert(*table, 2000, 100);
  EXPECT_TRUE(std::any_of(fresh.begin(), fresh.end(),
                          [&](RowId id) { return std::find(gone.begin(), gone.end(), id) != gone.end(); }));
}

TEST_F(Space, PagesThatHaveNoSlotLeftAreNotInTheWay) {
  // Rows so short that a page runs out of slots before it runs out of bytes.
  db.InStatement([&] { db->CreateTable("t", {Col("flag", ColumnType::kBoolean)}, {}); });
  const auto table = db->FindTable("t");
  const auto insert = [&] {
    std::vector<RowId> ids;
    db.InStatement([&] {
      for (int i = 0; i < 5000; ++i) ids.push_back(table->Insert({Value::Integer(-1)}));
    });
    return ids;
  };
  std::vector<RowId> ids = insert();
  db->Persist();
  const PageNo pages = db->pages().page_count();
  EXPECT_LE(OwnedPages("t").size(), 20U);
  for (int round = 0; round < 5; ++round) {
    // All but one row of each page go, while somebody looks on.
    table->HoldRowIds();
    std::vector<RowId> gone;
    for (const RowId id : ids) {
      if (id.slot() != 7) gone.push_back(id);
    }
    Delete(*table, gone);
    table->ReleaseRowIds();
    Delete(*table, [&] {
      std::vector<RowId> rest;
      for (const RowId id : ids) {
        if (id.slot() == 7) rest.push_back(id);
      }
      return rest;
    }());
    ids = insert();
    db->Persist();
  }
  EXPECT_EQ(db->pages().page_count(), pages);
}

TEST_F(Space, PagesWithoutRowsGoBackToTheFile) {
  MakeTable("t", ColumnType::kMemo);
  MakeTable("other");
  const auto table = db->FindTable("t");
  const std::vector<RowId> ids = Insert(*table, 0, 900, 900);
  db->Persist();
  const PageNo pages = db->pages().page_count();
  EXPECT_GT(OwnedPages("t").size(), 3U);
  table->HoldRowIds();
  Delete(*table, ids);
  db->Persist();
  EXPECT_GT(OwnedPages("t").size(), 3U) << "identifiers of its rows are held";
  table->ReleaseRowIds();
  db->Persist();
  EXPECT_TRUE(OwnedPages("t").empty());
  Insert(*db->FindTable("other"), 0, 1000);
  EXPECT_EQ(db->pages().page_count(), pages);
  db.CheckpointAndReopen();
  Insert(*db->FindTable("t"), 0, 20, 900);
  EXPECT_EQ(db->pages().page_count(), pages);
}

TEST_F(Space, ARolledBackStatementLeavesNoWrongIdeasOfRoom) {
  MakeTable("t");
  const auto table = db->FindTable("t");
  std::vector<RowId> ids = Insert(*table, 0, 500);
  for (int round = 0; round < 10; ++round) {
    {
      StatementScope scope(*db.db);
      for (const RowId id : ids) table->Delete(id);
      for (int i = 0; i < 700; ++i) table->Insert({Value::Integer(i), Value::Text(std::string(100, 'y'))});
    }
    EXPECT_EQ(table->row_count(), 500U);
    Delete(*table, {ids.begin() + 100, ids.begin() + 200});
    const std::vector<RowId> fresh = Insert(*table, 100, 100);
    std::copy(fresh.begin(), fresh.end(), ids.begin() + 100);
    db->Persist();
    std::set<RowId> met;
    TableCursor cursor(*table);
    Row row;
    for (RowId id; cursor.Next(&row, &id);) met.insert(id);
    EXPECT_EQ(met, std::set<RowId>(ids.begin(), ids.end()));
  }
}

// ---- A map of free pages that lies ----

class LyingMap : public Space {
 protected:
  // Calls a page free in the global map, which stands inline on page 1.
  void CallFree(PageNo page) {
    db.InStatement([&] {
      const MutablePageRef ref = db->pages().Write(1);
      const MapRow map = FindMapRow(Impl().context().format, ref.bytes(), {1, 0});
      ASSERT_FALSE(map.reference);
      ref.mutable_data()[map.row_offset + 5 + page / 8] |= static_cast<std::uint8_t>(1 << page % 8);
    });
    db.CheckpointAndReopen();
  }
};

TEST_F(LyingMap, APageThatSomethingOwnsIsNotGivenOut) {
  MakeTable("t", ColumnType::kMemo);
  Insert(*db->FindTable("t"), 0, 50, 900);
  db.CheckpointAndReopen();
  auto table = db->FindTable("t");
  const TableLayout layout = table->stored().layout();
  const PageNo root = table->def().indexes[0].root;
  table.reset();
  const PageNo rows = OwnedPages("t").front();
  const PageNo values =
      UsageMap(Impl().context(), layout.long_columns.begin()->second.owned_map).Pages().front();
  for (const PageNo page : {layout.tdef_page, layout.owned_map.page, rows, values, root}) {
    const std::string sound = db.files.Content(kFile);
    CallFree(page);
    const std::string before = db.files.Content(kFile);
    const auto [kind, text] =
        ErrorOf([&] { db.InStatement([&] { db->CreateTable("new", {Col("id", ColumnType::kLong)}, {}); }); });
    EXPECT_EQ(kind, ErrorKind::kCorrupt);
    EXPECT_THAT(text, HasSubstr("belongs to table \"t\"")) << page;
    db->Checkpoint();
    db.db.reset();
    EXPECT_TRUE(db.files.Content(kFile) == before) << page;
    db.files.SetContent(kFile, sound);
    db.Open();
  }
}

TEST_F(LyingMap, TheFirstThreePagesAreNeverGivenOut) {
  MakeTable("t");
  for (const PageNo page : {0, 1, 2}) CallFree(page);
  db.InStatement([&] { db->CreateTable("new", {Col("id", ColumnType::kLong)}, {}); });
  db.CheckpointAndReopen();
  EXPECT_NE(db->FindTable("t"), nullptr);
  EXPECT_NE(db->FindTable("new"), nullptr);
}

TEST(LyingMapOfAccess, IsNotTrusted) {
  int count = 0;
  for (const auto& path : Samples("hard")) {
    if (path.filename() != "testRefGlobalV2000.mdb") continue;
    ++count;
    const std::string before = ReadWhole(path);
    MemoryFileSystem files;
    files.SetContent(kFile, before);
    {
      const auto db = Database::Open(files, kFile, OpenMode::kReadWrite);
      std::string table;
      for (const CatalogEntry& entry : db->Catalog()) {
        if (entry.type == 1 && !entry.system()) table = entry.name;
      }
      const std::string column = db->FindTable(table)->def().columns[0].name;
      const auto [kind, text] = ErrorOf([&] {
        StatementScope scope(*db);
        db->CreateIndex(table, Idx("i", {column}));
        scope.Commit();
      });
      EXPECT_EQ(kind, ErrorKind::kCorrupt) << text;
      EXPECT_THAT(text, HasSubstr("belongs to"));
      db->Checkpoint();
    }
    EXPECT_TRUE(files.Content(kFile) == before);
  }
  if (count == 0) GTEST_SKIP() << "ACCESS_SAMPLES is not set";
}

}  // namespace
}  // namespace jet::testing
