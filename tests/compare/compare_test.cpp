// What is told of two databases: rows before and after, as small tables.
#include "compare/compare.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "access/base/interruption.h"
#include "access/file/overlay.h"
#include "access/file/test_files.h"
#include "access/sql/session.h"

namespace vnt::compare {
namespace {

using jet::Value;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

std::string Text(const Value& value) {
  switch (value.kind()) {
    case jet::ValueKind::kNull:
      return "Null";
    case jet::ValueKind::kInteger:
      return std::to_string(value.integer());
    case jet::ValueKind::kReal:
      return std::to_string(value.real());
    case jet::ValueKind::kDecimal:
      return value.decimal().ToText();
    default:
      return "'" + value.bytes() + "'";
  }
}

// What a sink is told, a line each: "+ 1 'x'" an added row, "- ..." a removed one, "1: b: 2 -> 3" a changed
// cell of the row with key 1. Equal tables give none.
class Recorder : public Sink {
 public:
  void BeginTable(const ComparedTable& table) override {
    begun_.push_back(table.name);
    if (!table.in_old || !table.in_new)
      lines.push_back(table.name + " only " + (table.in_old ? "old" : "new"));
    if (!table.in_old || !table.in_new) return;
    for (const ComparedColumn& c : table.columns) {
      if (!c.in_both()) lines.push_back(c.name + " only " + (c.old_definition != nullptr ? "old" : "new"));
      if (c.is_redefined()) lines.push_back(c.name + " redefined");
    }
  }
  void Row(const RowDifference& row) override {
    const int columns = static_cast<int>(row.table->columns.size());
    std::string text;
    if (row.kind != Difference::kChanged) {
      const bool added = row.kind == Difference::kAdded;
      for (int i = 0; i < columns; ++i) text += " " + Text(added ? row.New(i) : row.Old(i));
      lines.push_back((added ? "+" : "-") + text);
      return;
    }
    for (const int key : row.table->key) text += (text.empty() ? "" : ",") + Text(row.Old(key));
    for (const int i : row.changed) {
      lines.push_back(text + ": " + row.table->columns[static_cast<std::size_t>(i)].name + ": " +
                      Text(row.Old(i)) + " -> " + Text(row.New(i)));
    }
  }
  void EndTable(const ComparedTable& table, const Counts&) override { EXPECT_EQ(begun_.back(), table.name); }
  void Progress(std::uint64_t done, std::uint64_t all) override {
    EXPECT_GT(done, last_);
    EXPECT_LE(done, all);
    last_ = done;
  }

  Lines lines;

 private:
  Lines begun_;
  std::uint64_t last_ = 0;
};

class CompareTest : public testing::Test {
 protected:
  std::shared_ptr<jet::Database> Make(const std::string& name, jet::Format format, const Lines& statements) {
    jet::Database::Create(files_, name, format);
    std::shared_ptr<jet::Database> database = jet::Database::Open(files_, name, jet::OpenMode::kReadWrite);
    jet::sql::Session session(database);
    for (const std::string& statement : statements) session.Execute(statement);
    return database;
  }
  static Summary Run(jet::Database& a, jet::Database& b, Lines* lines, const Options& options = {}) {
    Recorder recorder;
    const Summary summary = Compare(a, b, options, recorder);
    *lines = recorder.lines;
    return summary;
  }

  jet::MemoryFileSystem files_;
};

struct Case {
  const char* name;
  Lines old_statements, new_statements;
  Lines expected;
};

// `columns` with these rows before and after.
Case Rows(const char* name, const std::string& columns, const Lines& before, const Lines& after,
          Lines expected) {
  Case c{
      name, {"create table t (" + columns + ")"}, {"create table t (" + columns + ")"}, std::move(expected)};
  for (const std::string& row : before) c.old_statements.push_back("insert into t values (" + row + ")");
  for (const std::string& row : after) c.new_statements.push_back("insert into t values (" + row + ")");
  return c;
}

const std::vector<Case>& Cases() {
  static const std::vector<Case> cases = {
      Rows("EqualWhateverTheOrder", "a long primary key, b text(9)", {"1, 'x'", "2, null"},
           {"2, null", "1, 'x'"}, {}),
      Rows("AddedRemovedChangedInKeyOrder", "a long primary key, b long, c text(9)",
           {"-5, 1, 'p'", "3, 1, 'q'", "9, 1, 'r'"}, {"9, 2, 's'", "4, 1, 'q'", "-5, 1, 'p'", "-6, 0, 'o'"},
           {"+ -6 0 'o'", "- 3 1 'q'", "+ 4 1 'q'", "9: b: 1 -> 2", "9: c: 'r' -> 's'"}),
      Rows("LettersCount", "a long primary key, b text(9)", {"1, 'abc'"}, {"1, 'ABC'"},
           {"1: b: 'abc' -> 'ABC'"}),
      Rows("KeysThatDifferInLettersAlone", "a text(9) primary key, b long", {"'abc', 1", "'k', 1"},
           {"'ABC', 1", "'k', 1"}, {"'abc': a: 'abc' -> 'ABC'"}),
      Rows("NullIsNoEmptyText", "a long primary key, b text(9)", {"1, ''", "2, null"}, {"1, null", "2, null"},
           {"1: b: '' -> Null"}),
      Rows("LongValuesByContent", "a long primary key, m memo",
           {"1, '" + std::string(9000, 'x') + "'", "2, '" + std::string(5000, 'y') + "'", "3, 'short'"},
           {"3, 'short'", "2, '" + std::string(5000, 'z') + "'", "1, '" + std::string(9000, 'x') + "'"},
           {"2: m: '" + std::string(5000, 'y') + "' -> '" + std::string(5000, 'z') + "'"}),
      Rows("KeyOfTwoColumns", "a text(3), b short, c long, constraint p primary key (a, b)",
           {"'x', 1, 0", "'x', 2, 0"}, {"'x', 2, 5", "'y', 1, 0"},
           {"- 'x' 1 0", "'x',2: c: 0 -> 5", "+ 'y' 1 0"}),
      Rows("WithoutKeyByAllColumnsAsOftenAsTheyOccur", "a long, b text(9)",
           {"1, 'x'", "1, 'x'", "2, null", "3, ''"}, {"1, 'x'", "2, null", "2, null", "3, null"},
           {"- 1 'x'", "+ 2 Null", "+ 3 Null", "- 3 ''"}),
      Rows("WithoutKeyLongRows", "a text(90), b memo",
           {"'" + std::string(60, 'a') + "', '" + std::string(5000, 'x') + "1'"},
           {"'" + std::string(60, 'a') + "', '" + std::string(5000, 'x') + "1'",
            "'" + std::string(60, 'a') + "', 'y'"},
           {"+ '" + std::string(60, 'a') + "' 'y'"}),
      {"TablesThatOneLacks",
       {"create table a (x long)", "insert into a values (7)"},
       {"create table b (x long)"},
       {"a only old", "- 7", "b only new"}},
      {"ColumnsThatOneLacks",
       {"create table t (a long primary key, b long, c long)", "insert into t values (1, 2, 3)"},
       {"create table t (C long, a long primary key, d long)", "insert into t values (4, 1, 5)"},
       {"b only old", "d only new", "1: c: 3 -> 4"}},
      {"NumbersOfOtherTypesByValue",
       {"create table t (a short primary key, b single, c long, d decimal(9,2), e double)",
        "insert into t values (1, 0.5, 7, 1.5, 2)", "insert into t values (2, 0.1, 7, 1.25, 2)"},
       {"create table t (a long primary key, b double, c double, d currency, e long)",
        "insert into t values (1, 0.5, 7, 1.5, 2)", "insert into t values (2, 0.1, 8, 1.26, 2)"},
       {"a redefined", "b redefined", "c redefined", "d redefined", "e redefined",
        "2: b: 0.100000 -> 0.100000", "2: c: 7 -> 8.000000", "2: d: 1.25 -> 1.2600"}},
      {"OtherKindsAreDifferent",
       {"create table t (a long primary key, b text(5), c text(5))", "insert into t values (1, '7', null)"},
       {"create table t (a long primary key, b long, c long)", "insert into t values (1, 7, null)"},
       {"b redefined", "c redefined", "1: b: '7' -> 7"}},
      {"KeysOfOtherColumnsAreNone",
       {"create table t (a long primary key, b long)", "insert into t values (1, 2)",
        "insert into t values (3, 4)"},
       {"create table t (a long, b long primary key)", "insert into t values (1, 2)",
        "insert into t values (3, 5)"},
       {"- 3 4", "+ 3 5"}},
      {"ALostKeyIsNone",
       {"create table t (a long primary key, b long)", "insert into t values (1, 2)"},
       {"create table t (a long, b long)", "insert into t values (1, 2)", "insert into t values (1, 2)"},
       {"+ 1 2"}},
  };
  return cases;
}

TEST_F(CompareTest, TellsWhatDiffersInFilesOfAllFormats) {
  const std::pair<jet::Format, jet::Format> formats[] = {{jet::Format::kJet4, jet::Format::kJet4},
                                                         {jet::Format::kJet4, jet::Format::kAce14},
                                                         {jet::Format::kAce14, jet::Format::kAce12}};
  int number = 0;
  for (const Case& c : Cases()) {
    for (const auto& [old_format, new_format] : formats) {
      SCOPED_TRACE(std::string(c.name) + " " + std::to_string(static_cast<int>(old_format)) + " " +
                   std::to_string(static_cast<int>(new_format)));
      const auto a = Make(std::to_string(++number), old_format, c.old_statements);
      const auto b = Make(std::to_string(++number), new_format, c.new_statements);
      Lines lines, counted;
      const Summary summary = Run(*a, *b, &lines);
      // Rows of equal sort keys may come either way.
      std::ranges::sort(lines);
      Lines expected = c.expected;
      std::ranges::sort(expected);
      EXPECT_EQ(lines, expected);
      EXPECT_EQ(summary.equal(), expected.empty());
      const Summary counts = Run(*a, *b, &counted, {.notice = 0, .tables = {}, .only_counts = true});
      EXPECT_EQ(counts.rows.changed, summary.rows.changed);
      EXPECT_EQ(counts.rows.added, summary.rows.added);
      EXPECT_EQ(counts.rows.removed, summary.rows.removed);
      // The other way round added is removed.
      const Summary reversed = Run(*b, *a, &counted);
      EXPECT_EQ(reversed.rows.added, summary.rows.removed);
      EXPECT_EQ(reversed.rows.changed, summary.rows.changed);
    }
  }
}

TEST_F(CompareTest, KeysComeInTheirOrder) {
  const auto c = std::ranges::find(Cases(), std::string_view("AddedRemovedChangedInKeyOrder"), &Case::name);
  const auto a = Make("a", jet::Format::kJet4, c->old_statements);
  const auto b = Make("b", jet::Format::kAce14, c->new_statements);
  Lines lines;
  Run(*a, *b, &lines);
  EXPECT_EQ(lines, c->expected);
}

TEST_F(CompareTest, RealNumbersCountBitByBit) {
  const Lines table = {"create table t (a long primary key, d double, s single)"};
  const auto a = Make("a", jet::Format::kJet4, table);
  const auto b = Make("b", jet::Format::kJet4, table);
  const auto insert = [](jet::Database& database, int key, double d, double s) {
    jet::StatementScope scope(database);
    database.FindTable("t")->Insert({Value::Integer(key), Value::Real(d), Value::Real(s)});
    scope.Commit();
  };
  insert(*a, 1, 0.0, 1), insert(*b, 1, -0.0, 1);
  insert(*a, 2, 1, -0.0), insert(*b, 2, 1, 0.0);
  insert(*a, 3, 0.1, 0), insert(*b, 3, 0.1, 0);
  insert(*a, 4, 0.3, 0), insert(*b, 4, 0.1 + 0.2, 0);
  Lines lines;
  const Summary summary = Run(*a, *b, &lines);
  EXPECT_EQ(summary.rows.changed, 3U);
  EXPECT_EQ(summary.rows.equal, 1U);
}

// Values that were stored in other ways at other times: what counts is what they are.
TEST_F(CompareTest, BytesThatStandForNothingDoNotCount) {
  const auto a =
      Make("a", jet::Format::kJet4,
           {"create table t (a long primary key, b long, c text(40))", "insert into t values (1, 77, 'x')",
            "update t set b = null, c = 'longer than before'", "alter table t add column d text(5)"});
  const auto b = Make("b", jet::Format::kJet4,
                      {"create table t (a long primary key, b long, c text(40), d text(5))",
                       "insert into t values (1, null, 'longer than before', null)"});
  Lines lines;
  EXPECT_TRUE(Run(*a, *b, &lines).equal());
  EXPECT_THAT(lines, IsEmpty());
}

class CompareNoticeTest : public CompareTest {
 protected:
  Lines Schema() {
    return {
        "create table notice (ntc_id long primary key, adm text(3))",
        "create table grp (grp_id long primary key, ntc_id long)",
        "create index g on grp (ntc_id)",
        "create table assgn (grp_id long, seq_no short, f double, constraint p primary key (grp_id, seq_no))",
        "create table provn (grp_id long, adm text(3))",
        "create table ant_type (pattern_id short primary key)",
        "insert into notice values (12, 'F')",
        "insert into notice values (13, 'D')",
        "insert into grp values (120, 12)",
        "insert into grp values (121, 12)",
        "insert into grp values (130, 13)",
        "insert into assgn values (120, 1, 5)",
        "insert into assgn values (121, 1, 6)",
        "insert into assgn values (130, 1, 7)",
        "insert into provn values (120, 'F')",
        "insert into provn values (130, 'D')",
        "insert into ant_type values (1)"};
  }
  Lines Told(const Lines& changes, std::int32_t notice, const Lines& tables = {}) {
    Lines statements = Schema();
    const std::string number = std::to_string(++number_);
    const auto a = Make("a" + number, jet::Format::kJet4, statements);
    statements.insert(statements.end(), changes.begin(), changes.end());
    const auto b =
        Make("b" + number, number_ % 2 == 0 ? jet::Format::kJet4 : jet::Format::kAce14, statements);
    Lines lines;
    Run(*a, *b, &lines, {.notice = notice, .tables = tables, .only_counts = false});
    return lines;
  }

 private:
  int number_ = 0;
};

TEST_F(CompareNoticeTest, OnlyRowsOfTheNotice) {
  const Lines changes = {"update notice set adm = 'X'", "update assgn set f = f + 1", "delete from ant_type",
                         "update provn set adm = 'Y'"};
  EXPECT_THAT(Told(changes, 12),
              ElementsAre("120,1: f: 5.000000 -> 6.000000", "121,1: f: 6.000000 -> 7.000000",
                          "12: adm: 'F' -> 'X'", "- 120 'F'", "+ 120 'Y'"));
  EXPECT_THAT(Told(changes, 13, {"NOTICE"}), ElementsAre("13: adm: 'D' -> 'X'"));
  EXPECT_THAT(Told(changes, 14), IsEmpty());
}

// The rows of a group that is gone, or new, are found in the file that has them.
TEST_F(CompareNoticeTest, GroupsOfEitherFileCount) {
  EXPECT_THAT(Told({"delete from grp where grp_id = 121", "delete from assgn where grp_id = 121"}, 12),
              ElementsAre("- 121 1 6.000000", "- 121 12"));
  EXPECT_THAT(Told({"insert into grp values (122, 12)", "insert into assgn values (122, 1, 9)"}, 12),
              ElementsAre("+ 122 1 9.000000", "+ 122 12"));
  EXPECT_THAT(Told({"delete from grp where grp_id = 121"}, 12), ElementsAre("- 121 12"));
}

TEST_F(CompareNoticeTest, ARowThatWentToAnotherNoticeIsAChangedOne) {
  for (int i = 0; i < 2; ++i) {
    const Lines lines = Told({"update grp set ntc_id = 13 where grp_id = 121"}, 12, {"grp"});
    EXPECT_THAT(lines, ElementsAre("121: ntc_id: 12 -> 13"));
  }
}

TEST_F(CompareNoticeTest, WhatCannotBeComparedIsRefused) {
  EXPECT_THROW(Told({}, 0, {"nowhere"}), jet::Error);
  EXPECT_THROW(Told({}, 12, {"ant_type"}), jet::Error);
  const auto a = Make("c", jet::Format::kJet4, Schema());
  EXPECT_TRUE(HasNotice(*a, 12));
  EXPECT_FALSE(HasNotice(*a, 11));
  EXPECT_FALSE(HasNotice(*Make("d", jet::Format::kJet4, {}), 12));
}

// An overlay over a file is compared with the file itself, and nothing is written.
TEST_F(CompareTest, AFileAndAnOverlayOverIt) {
  Make("a", jet::Format::kJet4, {"create table t (a long primary key)", "insert into t values (1)"})
      ->Checkpoint();
  const std::string before = files_.Content("a");
  const auto overlay = jet::MakeOverlay(files_);
  {
    std::shared_ptr<jet::Database> changed = jet::Database::Open(*overlay, "a", jet::OpenMode::kReadWrite);
    jet::sql::Session(changed).Execute("insert into t values (2)");
    const auto plain = jet::Database::Open(files_, "a", jet::OpenMode::kRead);
    Lines lines;
    Run(*plain, *changed, &lines);
    EXPECT_THAT(lines, ElementsAre("+ 2"));
  }
  EXPECT_EQ(files_.Content("a"), before);
}

TEST_F(CompareTest, ASinkAndASignalEndIt) {
  Lines rows = {"create table t (a long primary key)", "create table u (a long)"};
  const auto a = Make("a", jet::Format::kJet4, rows);
  rows.push_back("insert into t values (1)");
  rows.push_back("insert into u values (1)");
  const auto b = Make("b", jet::Format::kJet4, rows);
  struct Enough {};
  struct Impatient : Sink {
    void Row(const RowDifference&) override { throw Enough(); }
  } impatient;
  EXPECT_THROW(Compare(*a, *b, {}, impatient), Enough);
  jet::interruption = 2;
  Lines lines;
  EXPECT_THROW(Run(*a, *b, &lines), jet::Error);
  jet::interruption = 0;
}

}  // namespace
}  // namespace vnt::compare
