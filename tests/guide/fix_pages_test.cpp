// The guide's pages of the fixes: each is there, and what it says of tables and columns is so.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "guide/fix_page.h"
#include "tests/guide/guide_files.h"

namespace vnt::guide {
namespace {

using test::Content;
using test::kGuide;
using test::Matches;
using ::testing::HasSubstr;
using ::testing::IsSubsetOf;

FixProse ProseOf(int index) { return ReadProse(Content(kGuide / "fixes" / PageName(index))); }

class EachFix : public ::testing::TestWithParam<int> {
 protected:
  const FixEntry& fix_ = FixByIndex(GetParam());
  // Made once: a run on it writes nothing.
  static ExampleDatabases& Databases() {
    static ExampleDatabases databases;
    return databases;
  }
};
INSTANTIATE_TEST_SUITE_P(Guide, EachFix, ::testing::Range(0, kFixCount));

TEST_P(EachFix, HasProse) {
  const auto file = kGuide / "fixes" / PageName(GetParam());
  ASSERT_TRUE(std::filesystem::exists(file))
      << "docs/guide/fixes/" << PageName(GetParam()) << " is to be written";
  EXPECT_NO_THROW(ProseOf(GetParam()));
}

// A word in code that is the name of a table must be one that the fix reads or changes; table.column must be.
TEST_P(EachFix, ProseNamesOnlyTablesThatTheFixTouches) {
  const FixProse prose = ProseOf(GetParam());
  const std::set<std::string> touched = TablesOf(fix_, prose);
  std::map<std::string, std::set<std::string>> schema;
  for (auto& [table, columns] : Databases().Schema()) schema[table] = columns;
  const std::string text = prose.purpose + prose.working + prose.caution;
  for (const std::string& word : Matches(text, std::regex("`([a-z_0-9]+)`"))) {
    EXPECT_TRUE(!schema.contains(word) || touched.contains(word)) << "the fix does not touch " << word;
  }
  for (const std::string& word : Matches(text, std::regex("`([a-z_]+\\.[a-z_]+)`"))) {
    const std::string table = word.substr(0, word.find('.'));
    EXPECT_TRUE(schema[table].contains(word.substr(word.find('.') + 1))) << word;
    EXPECT_TRUE(touched.contains(table)) << "the fix does not touch " << table;
  }
}

// What the run on the sample changes, the page says it changes; and what it says of rows that are changed
// one by one, which no statement tells, is seen in the sample.
TEST_P(EachFix, ThePageTellsEveryTableAndColumnThatARunChanges) {
  const FixProse prose = ProseOf(GetParam());
  const Example example = Databases().Try(GetParam(), prose.example_query);
  std::map<std::string, std::set<std::string>> told;  // "*": whole rows
  for (const TableChange& change : ChangesOf(fix_, prose)) {
    if (change.kind != ChangeKind::kUpdate) told[change.table].insert("*");
    for (const std::string& column : change.columns) told[change.table].insert(LowerCase(column));
  }
  std::set<std::string> seen;
  for (const ExampleTable& table : example.tables) {
    const std::string name = LowerCase(table.name);
    seen.insert(name);
    ASSERT_TRUE(told.contains(name)) << "the page does not name " << name;
    if (told[name].contains("*")) continue;
    EXPECT_THAT(table.changed_columns, IsSubsetOf(told[name])) << name;
    // Rows without a primary key come and go when they are changed.
    EXPECT_TRUE(!table.rows_come_or_go || name == "provn" || name == "tr_provn") << name;
  }
  for (const auto& rows : {prose.rows_first, prose.rows}) {
    for (const TableChange& change : rows)
      EXPECT_TRUE(seen.contains(LowerCase(change.table))) << change.table;
  }
  EXPECT_EQ(example.tables.empty(), fix_.routine_count == 0) << "the sample shows nothing of it";
  EXPECT_TRUE(prose.example_query.empty() || example.before != example.after);
}

TEST_P(EachFix, ThePageHasAllItsParts) {
  const FixProse prose = ProseOf(GetParam());
  const std::string page = FixPage(fix_, prose, Databases().Try(GetParam(), prose.example_query));
  EXPECT_THAT(page, HasSubstr(std::string("\n") + std::string(fix_.summary)));
  for (const char* title :
       {"What it is for", "What it changes", "When not to use it", "An example", "Its statements"})
    EXPECT_THAT(page, HasSubstr("\n## " + std::string(title) + "\n\n"));
  for (int i = 0; i < fix_.routine_count; ++i) {
    const std::string routine(fix_.routines[static_cast<std::size_t>(i)].name);
    EXPECT_TRUE(fix_.routine_count == 1 ||
                page.find(" of " + std::to_string(fix_.routine_count) + ": " + routine) != std::string::npos);
  }
  EXPECT_EQ(page.find("### 1 of") != std::string::npos, fix_.routine_count > 1);
  EXPECT_EQ(page.find("reaches further: it " + std::string(fix_.reach)) != std::string::npos,
            !fix_.reach.empty());
}

TEST(FixPages, TheListIsThatOfTheCatalogue) {
  EXPECT_TRUE(Content(kGuide / "fixes.md") == FixListPage())
      << "docs/guide/fixes.md is written by the build: copy guide/pages/fixes.md there";
}

TEST(FixPages, AStatementTellsWhatItTouches) {
  const struct {
    const char* statement;
    TableChange change;
    std::set<std::string> read;
  } cases[] = {
      {"UPDATE  Assgn SET a = 1, b = 2 where grp_id in (select grp_id from grp where ntc_id = <ntc_id>)",
       {ChangeKind::kUpdate, "assgn", {"a", "b"}},
       {"assgn", "grp"}},
      {"UPDATE com_el INNER JOIN geo ON com_el.x = geo.x SET com_el.y = geo.y",
       {ChangeKind::kUpdate, "com_el", {"y"}},
       {"com_el", "geo"}},
      {" DELETE From emiss  Where a Is Null", {ChangeKind::kDelete, "emiss", {}}, {"emiss"}},
      {"insert into d (g, t) values (<g>, 'SA')", {ChangeKind::kInsert, "d", {"g", "t"}}, {}},
      {"INSERT INTO freq values (<computed from the rows that were read>)",
       {ChangeKind::kInsert, "freq", {}},
       {}},
      {" SELECT * Into n From r in 'f.mdb'", {ChangeKind::kMakeTable, "n", {}}, {"r"}},
      {"drop table t ", {ChangeKind::kDropTable, "t", {}}, {}},
  };
  for (const auto& c : cases) {
    const StatementTouch touch = TouchOf(c.statement);
    EXPECT_EQ(touch.change, c.change) << c.statement;
    EXPECT_EQ(touch.read, c.read) << c.statement;
  }
  EXPECT_FALSE(TouchOf("select a from b").change);
}

TEST(FixPages, ProseThatLacksAPartIsRefused) {
  const std::string head = "---\nrows: grp a b\n---\n";
  const std::string whole = head + "\n## What it is for\n\nA.\n\n## When not to use it\n\nB.\n";
  const FixProse prose = ReadProse(whole);
  EXPECT_EQ(prose.purpose, "A.");
  EXPECT_EQ(prose.caution, "B.");
  EXPECT_EQ(prose.rows, (std::vector<TableChange>{{ChangeKind::kUpdate, "grp", {"a", "b"}}}));
  for (const std::string& text :
       {std::string(), head, head + "\n## What it is for\n\nA.\n", head + "\n## When not to use it\n\nB.\n",
        whole + "\n## Another\n\nC.\n", "---\nrow: grp a\n" + whole.substr(4), whole.substr(4)}) {
    EXPECT_THROW(ReadProse(text), std::runtime_error) << text;
  }
}

}  // namespace
}  // namespace vnt::guide
