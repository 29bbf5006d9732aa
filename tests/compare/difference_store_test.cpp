// Differences that are kept: by table, by notice, and their cells.
#include "compare/difference_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "access/file/test_files.h"
#include "access/sql/session.h"
#include "compare/diff_writers.h"

namespace vnt::compare {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Lines = std::vector<std::string>;

class DifferenceStoreTest : public testing::Test {
 protected:
  std::shared_ptr<jet::Database> Make(const std::string& name, const Lines& statements) {
    if (files_.Exists(name)) files_.Remove(name);  // of the comparison before
    jet::Database::Create(files_, name, jet::Format::kJet4);
    std::shared_ptr<jet::Database> database = jet::Database::Open(files_, name, jet::OpenMode::kReadWrite);
    jet::sql::Session session(database);
    for (const std::string& statement : statements) session.Execute(statement);
    return database;
  }
  DifferenceStore Compared(const Lines& old_statements, const Lines& new_statements,
                           Sides sides = Sides::kTwoDatabases) {
    const auto a = Make("a", old_statements);
    const auto b = Make("b", new_statements);
    DifferenceStore store(files_, {}, sides);
    store.KnowGroups(*a);
    store.KnowGroups(*b);
    Compare(*a, *b, {}, store);
    return store;  // the databases close here
  }
  // "kind key: mark old|new, ..."
  static std::string Text(DifferenceStore& store, std::size_t row) {
    const DifferenceStore::StoredRow stored = store.Read(row);
    const char* const kinds[] = {"removed", "added", "changed"};
    std::string text = std::string(kinds[static_cast<int>(stored.kind)]) + " " + stored.key + ":";
    for (const DifferenceStore::Cell& cell : stored.cells) {
      text += std::string(" ") + (cell.changed ? "*" : "") + cell.old_text + "|" + cell.new_text;
    }
    return text;
  }

  jet::MemoryFileSystem files_;
};

TEST_F(DifferenceStoreTest, KeepsRowsWithBothSides) {
  const std::string create = "create table t (a long primary key, b text(9), c long)";
  DifferenceStore store = Compared({create, "create table same (a long)", "insert into t values (1, 'x', 7)",
                                    "insert into t values (2, 'y', 8)"},
                                   {create, "create table same (a long)", "insert into t values (1, 'z', 7)",
                                    "insert into t values (3, null, 9)"});
  ASSERT_THAT(store.tables(), SizeIs(1)) << "equal tables are left out";
  const DifferenceStore::Table& table = store.tables().front();
  EXPECT_EQ(table.name, "t");
  EXPECT_THAT(table.columns, ElementsAre("a", "b", "c"));
  EXPECT_EQ(table.counts.changed, 1U);
  Lines rows;
  for (const std::size_t row : store.RowsOf(0, 0, 100)) rows.push_back(Text(store, row));
  EXPECT_THAT(rows, ElementsAre("changed a=1: 1|1 *\"x\"|\"z\" 7|7", "removed a=2: *2| *\"y\"| *8|",
                                "added a=3: *|3 *|Null *|9"));
  EXPECT_THAT(store.RowsOf(0, 0, 2), SizeIs(2));
}

TEST_F(DifferenceStoreTest, RowsOfANoticeByItsNumberOrItsGroups) {
  const Lines create = {"create table grp (grp_id long primary key, ntc_id long)",
                        "create table n (ntc_id long primary key, v long)",
                        "create table g (grp_id long, seq_no long, v long, primary key (grp_id, seq_no))",
                        "create table o (k long primary key, v long)",
                        "insert into grp values (10, 1)",
                        "insert into grp values (20, 2)",
                        "insert into n values (1, 0)",
                        "insert into n values (2, 0)",
                        "insert into g values (10, 1, 0)",
                        "insert into g values (20, 1, 0)",
                        "insert into o values (1, 0)"};
  Lines changed = create;
  for (const char* table : {"n", "g", "o"}) changed.push_back("update " + std::string(table) + " set v = 1");
  changed.push_back("insert into grp values (30, 2)");
  changed.push_back("insert into g values (30, 1, 0)");
  DifferenceStore store = Compared(create, changed);
  Lines found;
  for (std::size_t table = 0; table < store.tables().size(); ++table) {
    for (const std::int32_t notice : {0, 1, 2, 3}) {
      const auto rows = store.RowsOf(table, notice, 100);
      EXPECT_EQ(rows.size(), store.CountOf(table, notice));
      found.push_back(store.tables()[table].name + " " + std::to_string(notice) + ": " +
                      std::to_string(rows.size()));
    }
  }
  EXPECT_THAT(found, ElementsAre("g 0: 3", "g 1: 1", "g 2: 2", "g 3: 0", "grp 0: 1", "grp 1: 0", "grp 2: 1",
                                 "grp 3: 0", "n 0: 2", "n 1: 1", "n 2: 1", "n 3: 0", "o 0: 1", "o 1: 0",
                                 "o 2: 0", "o 3: 0"));
}

TEST_F(DifferenceStoreTest, TablesAndColumnsOfOneSideAreToldInWords) {
  const Lines before = {"create table t (a long primary key, b long, d long)", "create table gone (a long)",
                        "insert into t values (1, 5, 0)"};
  const Lines after = {"create table t (a long primary key, c text(3), d text(9))",
                       "create table new (a long)", "insert into t values (1, 'q', '0')"};
  const struct {
    Sides sides;
    Lines gone, added, columns;
  } cases[] = {
      {Sides::kTwoDatabases,
       {"Only the first database has this table."},
       {"Only the second database has this table."},
       {"Only the first database has the column b.", "The column d is LONG and TEXT(9).",
        "Only the second database has the column c."}},
      {Sides::kPreview,
       {"This table would be removed."},
       {"This table would be added."},
       {"The column b would be removed.", "The column d would be changed from LONG to TEXT(9).",
        "The column c would be added."}},
  };
  for (const auto& c : cases) {
    DifferenceStore store = Compared(before, after, c.sides);
    ASSERT_THAT(store.tables(), SizeIs(3));
    EXPECT_EQ(store.tables()[0].remarks, c.gone);
    EXPECT_EQ(store.tables()[1].remarks, c.added);
    EXPECT_EQ(store.tables()[2].remarks, c.columns);
    EXPECT_THAT(store.RowsOf(0, 0, 9), IsEmpty());
  }
}

// What is saved later is what a comparison writes at once.
TEST_F(DifferenceStoreTest, TellsAgainWhatItWasTold) {
  const auto a =
      Make("a", {"create table t (k long primary key, b text(9), c long, d double, e datetime, f memo)",
                 "create table gone (a long)", "create table same (a long)",
                 "create table free (a long, b text(20))", "insert into free values (1, 'x\ty')",
                 "insert into gone values (7)", "insert into t values (1, 'x', 7, 0.1, 38000.5, 'm')",
                 "insert into t values (2, null, 8, null, null, null)",
                 "insert into t values (4, 'same', 9, 1, 2, 'long')"});
  const auto b = Make(
      "b",
      {"create table t (k long primary key, b text(12), c double, d double, e datetime, g long)",
       "create table came (a long)", "create table same (a long)", "create table free (a long, b text(20))",
       "insert into free values (2, 'x')", "insert into t values (1, 'z', 7, 0.1000000001, 38000.5, 3)",
       "insert into t values (3, '', 9.5, -1, 1, null)", "insert into t values (4, 'same', 9, 1, 2, 5)"});
  DifferenceStore store(files_);
  store.KeepSummary(Compare(*a, *b, {}, store));
  for (const DiffFormat format : {DiffFormat::kText, DiffFormat::kCsv, DiffFormat::kJson}) {
    std::ostringstream at_once, later;
    const auto writer = MakeDiffWriter(format, {"old", "new"}, at_once);
    writer->Finish(Compare(*a, *b, {}, *writer));
    const auto again = MakeDiffWriter(format, {"old", "new"}, later);
    store.TellAgain(*again);
    again->Finish(store.summary());
    EXPECT_EQ(later.str(), at_once.str());
    EXPECT_GT(later.str().size(), 300U);
  }
}

// Past the buffer rows stand in the file alone.
TEST_F(DifferenceStoreTest, ManyRowsAreReadInAnyOrder) {
  const std::string text(200, 'x');
  Lines after = {"create table t (a long primary key, b text(255))",
                 "insert into t values (1, '" + text + "')"};
  for (int rows = 1; rows < 16384; rows *= 2) {
    after.push_back("insert into t (a, b) select a + " + std::to_string(rows) + ", b from t");
  }
  DifferenceStore store = Compared({after.front()}, after);
  ASSERT_EQ(store.CountOf(0, 0), 16384U);
  for (const std::size_t row : {16383U, 0U, 9000U}) {
    EXPECT_EQ(Text(store, row), "added a=" + std::to_string(row + 1) + ": *|" + std::to_string(row + 1) +
                                    " *|\"" + text + "\"");
  }
}

}  // namespace
}  // namespace vnt::compare
