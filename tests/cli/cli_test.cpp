// The command line contract: output, messages, exit codes, and what each refusal leaves behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "access/store/database.h"
#include "cli/output.h"
#include "tests/cli/folder_test.h"
#include "tests/process.h"

namespace vnt::cli {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using CliTest = FolderTest;

// What Access leaves untidy too does not fail a check.
TEST_F(CliTest, CheckWithRemarksOnlyIsPassed) {
  const std::string file = NewDatabase();
  constexpr int kRowCountOfCatalog = 2 * 4096 + 16;
  std::fstream(file, std::ios::binary | std::ios::in | std::ios::out).seekp(kRowCountOfCatalog).put('\x63');
  const Outcome untidy = RunCli({"check", file});
  EXPECT_EQ(untidy.code, kOk);
  EXPECT_THAT(untidy.out, HasSubstr("remark: page 2: Table \"MSysObjects\" has"));
  EXPECT_EQ(untidy.err, "vntfix: " + file + ": 0 faults, 1 remark.\n");
}

// Lengths of text are characters in every version. A change of such a file is refused, with the reason.
TEST_F(CliTest, Access97FilesAreReadAndSayWhyTheyAreNotChanged) {
  const char* samples = std::getenv("ACCESS_SAMPLES");
  if (samples == nullptr) GTEST_SKIP() << "ACCESS_SAMPLES names no folder with files that Access wrote";
  const std::string file = At("old.mdb");
  fs::copy_file(fs::path(samples) / "jet3" / "testV1997.mdb", file);
  fs::permissions(file, fs::perms::owner_write, fs::perm_options::add);
  const std::string before = Slurp(file);
  EXPECT_THAT(RunCli({"schema", file, "Table1"}).out, HasSubstr("[A] TEXT(50),\n  [B] TEXT(100),\n"));
  for (const char* statement :
       {"UPDATE Table1 SET B = 'x'", "DELETE FROM Table1", "DROP TABLE Table1",
        "ALTER TABLE Table1 ADD COLUMN Z LONG", "INSERT INTO Table1 (A) VALUES ('x')"}) {
    const Outcome refused = RunCli({"sql", file, statement});
    EXPECT_EQ(refused.code, kRefused) << statement;
    EXPECT_THAT(refused.err,
                HasSubstr("old.mdb\" is an Access 97 database, which can be read but not changed."));
  }
  EXPECT_EQ(Slurp(file), before);
}

// What Access calculates is shown, with its type, and never written.
TEST_F(CliTest, CalculatedColumnsAreShownAndKeepTheirTableFromChanges) {
  const char* samples = std::getenv("ACCESS_SAMPLES");
  if (samples == nullptr) GTEST_SKIP() << "ACCESS_SAMPLES names no folder with files that Access wrote";
  const std::string file = At("calculated.accdb");
  fs::copy_file(fs::path(samples) / "hard" / "calcFieldTestV2010.accdb", file);
  fs::permissions(file, fs::perms::owner_write, fs::perm_options::add);
  EXPECT_THAT(RunCli({"schema", file, "Table1"}).out, HasSubstr("[IsRich] /* calculated */ YESNO,\n"));
  EXPECT_EQ(
      RunCli({"sql", file, "--csv", "SELECT LastFirst FROM Table1 WHERE IsRich AND LastFirstLen = 12"}).out,
      "\"LastFirst\"\n\"Wayne, Bruce\"\n");
  const Outcome refused = RunCli({"sql", file, "UPDATE Table1 SET City = 'x'"});
  EXPECT_NE(refused.code, kOk);
  EXPECT_THAT(refused.err, HasSubstr("column \"LastFirst\" is calculated"));
  EXPECT_EQ(RunCli({"check", file}).code, kOk);
}

TEST_F(CliTest, UsageErrorsExitWithTwo) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"frobnicate"},
                                             {"fix"},
                                             {"fix", "a.mdb", "--only", "40"},
                                             {"fix", "a.mdb", "--only", "1", "--all"},
                                             {"fix", "a.mdb", "--notice", "-3"},
                                             {"export", "a.mdb"},
                                             {"new", At("x.mdb"), "--format", "jet3"},
                                             {"sample", At("s"), "--notices", "9"}}) {
    EXPECT_EQ(RunCli(arguments).code, kUsage) << testing::PrintToString(arguments);
  }
  EXPECT_TRUE(fs::is_empty(folder_));
  EXPECT_EQ(RunCli({"--help"}).code, kOk);
  EXPECT_EQ(RunCli({"--version"}).out, "vntfix 7.0.0\n");
  EXPECT_EQ(RunCli({"-V"}).out, "vntfix 7.0.0\n");
  EXPECT_EQ(RunCli({"help"}).out, RunCli({"--help"}).out);
  EXPECT_EQ(RunCli({"help", "fix"}).out, RunCli({"fix", "--help"}).out);
}

TEST_F(CliTest, SqlRunsScriptsAndPrintsResults) {
  const std::string file = NewDatabase();
  const Outcome script =
      RunCli({"sql", file},
             "-- a comment; with a semicolon\n"
             "CREATE TABLE t (id LONG NOT NULL, name TEXT(20), d DATETIME, CONSTRAINT pk PRIMARY KEY (id));\n"
             "INSERT INTO t VALUES (1, 'a;b', #4/12/2005#);\nINSERT INTO t VALUES (20, 'say \"hi\"', Null)");
  ASSERT_EQ(script.code, kOk) << script.err;
  EXPECT_EQ(RunCli({"sql", file, "select * from t order by id"}).out,
            "id  name      d\n"
            "--  --------  -------------------\n"
            " 1  a;b       2005-04-12 00:00:00\n"
            "20  say \"hi\"\n"
            "(2 rows)\n");
  const std::string csv = "\"id\",\"name\",\"d\"\n1,\"a;b\",2005-04-12 00:00:00\n20,\"say \"\"hi\"\"\",\n";
  EXPECT_EQ(RunCli({"sql", file, "--csv", "select * from t order by id"}).out, csv);
  EXPECT_EQ(RunCli({"export", file, "T"}).out, csv);
}

TEST_F(CliTest, CommentsAndMarksOfScripts) {
  const std::string file = NewDatabase();
  for (const auto& [script, out] : std::vector<std::pair<std::string, std::string>>{
           {"select 5--3 as n", "8"},
           {"select 1--1\n  -- 7; \n+ 1 as n;", "3"},
           {"\t--select 9 as m;\r\nselect '\n--x' as n", "\"\n--x\""},
           {"\xEF\xBB\xBFselect 4 as n;\n", "4"}}) {
    EXPECT_EQ(RunCli({"sql", file, "--csv"}, script).out, "\"n\"\n" + out + "\n") << script;
  }
  EXPECT_EQ(RunCli({"sql", file, "--csv", "select 5--3 as n"}).out, "\"n\"\n8\n");
}

TEST_F(CliTest, InputThatCannotBeRead) {
  class Broken : public std::streambuf {
    int_type underflow() override { throw std::ios_base::failure("gone"); }
  } broken;
  const std::string file = NewDatabase();
  std::istream in(&broken);
  const Outcome refused = RunCli({"sql", file}, in);
  EXPECT_EQ(refused.code, kRefused);
  EXPECT_THAT(refused.err, HasSubstr("The statements cannot be read from standard input."));
}

TEST_F(CliTest, FailingStatementKeepsWhatWentBeforeAndNamesThePlace) {
  const std::string file = NewDatabase();
  const Outcome failed =
      RunCli({"sql", file}, "create table t (a long); insert into t values (1); insert int t values (2)");
  EXPECT_EQ(failed.code, kFailed);
  EXPECT_THAT(failed.err, HasSubstr(": statement 3: "));
  EXPECT_THAT(failed.err, HasSubstr("'int'"));
  EXPECT_EQ(RunCli({"sql", file, "--csv", "select a from t"}).out, "\"a\"\n1\n");
  EXPECT_EQ(RunCli({"check", file}).code, kOk);
}

TEST_F(CliTest, SchemaPrintsStatementsThatMakeTheSameTable) {
  MakeSample();
  const std::string schema = RunCli({"schema", At("notices.mdb")}).out;
  const std::string copy = NewDatabase("copy.mdb");
  const Outcome made = RunCli({"sql", copy}, schema);
  ASSERT_EQ(made.code, kOk) << made.err;
  EXPECT_EQ(RunCli({"schema", copy}).out, schema);
}

TEST_F(CliTest, RefusedFilesStayAsTheyAre) {
  std::ofstream(At("text.mdb")) << "This is no database.";
  std::ofstream(At("empty.mdb"));
  const std::string good = NewDatabase("good.mdb");
  std::ofstream(At("short.mdb"), std::ios::binary) << Slurp(good).substr(0, 10000);
  for (const char* name : {"missing.mdb", "text.mdb", "empty.mdb", "short.mdb"}) {
    const std::string file = At(name);
    const std::string before = Slurp(file);
    const bool existed = fs::exists(file);
    for (const std::vector<std::string>& command :
         std::vector<std::vector<std::string>>{{"tables", file},
                                               {"check", file},
                                               {"export", file, "t"},
                                               {"schema", file},
                                               {"sql", file, "select * from t"},
                                               {"sql", file, "update t set a = 1"}}) {
      const Outcome refused = RunCli(command);
      EXPECT_EQ(refused.code, kRefused) << name << ": " << command[0];
      EXPECT_THAT(refused.err, HasSubstr(name)) << command[0];
    }
    EXPECT_EQ(RunCli({"fix", file, "--reference", good}).code, kRefused) << name;
    EXPECT_EQ(fs::exists(file), existed);
    EXPECT_EQ(Slurp(file), before);
  }
  EXPECT_EQ(RunCli({"new", good}).code, kRefused);
}

TEST_F(CliTest, ReadOnlyFileIsReadButNotFixed) {
  MakeSample();
  const std::string file = At("notices.mdb");
  const std::string before = Slurp(file);
  fs::permissions(file, fs::perms::owner_read | fs::perms::group_read);
  EXPECT_EQ(RunCli({"check", file}).code, kOk);
  EXPECT_EQ(RunCli({"sql", file, "select count(*) from notice"}).code, kOk);
  EXPECT_EQ(RunCli({"sql", file, "select count(*) from notice", "delete from notice"}).code, kRefused);
  const Outcome refused = RunCli({"fix", file, "--reference", At("reference.mdb")});
  EXPECT_EQ(refused.code, kRefused);
  EXPECT_THAT(refused.err, HasSubstr("Database is readonly.  VNTFixdb cannot update a readonly database."));
  EXPECT_THAT(refused.err, HasSubstr("VNTFixdb cannot fix a readonly database. "));
  fs::permissions(file, fs::perms::owner_write, fs::perm_options::add);
  EXPECT_EQ(Slurp(file), before);
}

TEST_F(CliTest, FixPrintsALinePerFixAndTellsOfMissingReferences) {
  MakeSample();
  const std::string file = At("notices.mdb");
  const Outcome none = RunCli({"fix", file});
  EXPECT_EQ(none.code, kRefused);
  EXPECT_THAT(none.err,
              HasSubstr("fix 35 \"Fix Antenna Pattern id\" needs the reference database, and nothing "
                        "names it: --reference, else VeltRefdb in section [GLOBAL] of " +
                        At("KV_SOFT.ini") + " (there is one beside the file: --reference " +
                        At("reference.mdb") + ").\n"));
  fs::create_directory(folder_ / "alone");
  fs::copy_file(folder_ / "notices.mdb", folder_ / "alone" / "notices.mdb");
  EXPECT_THAT(RunCli({"fix", At("alone/notices.mdb")}).err, HasSubstr(At("KV_SOFT.ini") + ".\n"));
  // Fixes that do not read it do without.
  EXPECT_EQ(RunCli({"fix", file, "--only", "7"}).code, kOk);

  const Outcome fixed = RunCli({"fix", file, "--reference", At("reference.mdb"), "--only", "7,15"});
  EXPECT_EQ(fixed.code, kOk) << fixed.err;
  EXPECT_THAT(fixed.out, HasSubstr("Convert Frequencies MHz to GHz"));
  EXPECT_THAT(fixed.out, HasSubstr("Set Status to 01"));
  EXPECT_EQ(std::count(fixed.out.begin(), fixed.out.end(), '\n'), 4);  // two fixes, the history, the total
  EXPECT_EQ(RunCli({"sql", file, "--csv", "select count(*) as n from history where seq_no = 2"}).out,
            "\"n\"\n20\n");
  EXPECT_EQ(RunCli({"sql", file, "--csv",
                    "select count(*) as n from notice where st_cur <> '01' or st_cur is null"})
                .out,
            "\"n\"\n0\n");
  EXPECT_EQ(RunCli({"check", file}).code, kOk);
}

TEST_F(CliTest, DatesAreReadInTheOrderThatIsStatedElseInTheRegions) {
  struct Case {
    const char* stated;
    const char* regional;
    const char* date;
    const char* report;
  };
  constexpr const char* kMonthFirst = "  (month before day)\n";
  constexpr const char* kDayFirst = "  (day before month)\n";
  const Case cases[] = {{"mdy", "dd/MM/yyyy", "2049-05-03", kMonthFirst},
                        {"dmy", "M/d/yyyy", "2049-03-05", kDayFirst},
                        {"", "M/d/yyyy", "2049-05-03", kMonthFirst},
                        {"", "dd/MM/yyyy", "2049-03-05", kDayFirst}};
  MakeSample();
  const std::string file = At("notices.mdb");
  for (const Case& c : cases) {
    std::ofstream(folder_ / "WIN.INI", std::ios::binary) << "[intl]\nsShortDate=" << c.regional << "\n";
    ASSERT_EQ(RunCli({"sql", file, "update grp set d_inuse = #3/5/1949#"}).code, kOk);
    std::vector<std::string> arguments = {"fix", file, "--reference", At("reference.mdb"), "--only", "9"};
    if (*c.stated != '\0') arguments.insert(arguments.end(), {"--date-order", c.stated});
    const Outcome fixed = RunCli(arguments);
    EXPECT_EQ(fixed.code, kOk) << fixed.err;
    EXPECT_THAT(fixed.out, HasSubstr(c.report)) << c.stated << c.regional;
    EXPECT_EQ(
        RunCli({"sql", file, "--csv", "select distinct format(d_inuse, 'yyyy-mm-dd') as d from grp"}).out,
        "\"d\"\n\"" + std::string(c.date) + "\"\n")
        << c.stated << c.regional;
  }
  EXPECT_EQ(RunCli({"fix", file, "--date-order", "ymd"}).code, kUsage);
}

TEST_F(CliTest, FailingFixExitsWithOneAndTheRunGoesOn) {
  MakeSample();
  const std::string file = At("notices.mdb");
  ASSERT_EQ(RunCli({"sql", file, "drop table strap"}).code, kOk);
  const Outcome failed = RunCli({"fix", "--reference", At("reference.mdb"), "--only", "7,15", file});
  EXPECT_EQ(failed.code, kFailed);
  EXPECT_THAT(failed.err, HasSubstr("vntfix: " + file + ": fix 7: "));
  EXPECT_THAT(failed.err, HasSubstr("strap"));
  EXPECT_THAT(failed.err, HasSubstr(" (-2147217865)\n"));
  EXPECT_EQ(RunCli({"sql", file, "--csv",
                    "select count(*) as n from notice where st_cur <> '01' or st_cur is null"})
                .out,
            "\"n\"\n0\n");
}

TEST_F(CliTest, MessagesSayWhatIsWrong) {
  const std::string none = At("none.mdb"), other = NewDatabase();
  struct Case {
    std::vector<std::string> arguments;
    int code;
    std::string says;
  };
  const Case cases[] = {
      {{}, kUsage, "vntfix: name a command.\nvntfix --help tells more.\n"},
      {{"frobnicate"}, kUsage, "vntfix: there is no command 'frobnicate'.\nvntfix --help tells more.\n"},
      {{"chekc", none}, kUsage, "there is no command 'chekc'; did you mean 'check'?\n"},
      {{"fix", none, "--dryrun"},
       kUsage,
       "vntfix fix: there is no option '--dryrun'; did you mean '--dry-run'?\n"},
      {{"fix", none, "--notices=7"}, kUsage, "there is no option '--notices'; did you mean '--notice'?\n"},
      {{"repair", "--help"}, kUsage, "there is no command 'repair'.\n"},
      {{"fix", none, "--strict-notice"}, kUsage, "--strict-notice requires --notice"},
      {{"fix", none, "--format", "json"}, kUsage, "--format is of a report or of --diff"},
      {{"fix", none, "--xyzzy"}, kUsage, "there is no option '--xyzzy'.\n"},
      {{"-x"}, kUsage, "vntfix: there is no option '-x'.\n"},
      {{"fix", none, "-q"}, kUsage, "vntfix fix: there is no option '-q'.\n"},
      {{"help", "chekc"}, kUsage, "vntfix: there is no command 'chekc'; did you mean 'check'?\n"},
      {{"sql", other, "--csv", "--json", "select 1 as a"}, kUsage, "vntfix sql: --csv excludes --json\n"},
      {{"fix", none, "--notice", "0"}, kUsage, "have the numbers 1 to 2147483647"},
      {{"fix", none, "--only", "7", "--all"}, kUsage, "vntfix fix: --only excludes --all\n"},
      {{"export", none, "t", "--format", "xml"}, kUsage, "\"xml\" is none of csv|json|sqlite\n"},
      {{"new", At("x.MDB"), "--format", "ace12"}, kUsage, "a file of that format is named .accdb"},
      {{"new", At("x.accdb"), "--format", "jet4"}, kUsage, "a file of that format is named .mdb"},
      {{"tables", none}, kRefused, "vntfix: " + none + ": The file " + none + " cannot be opened: "},
      {{"fix", other},
       kRefused,
       "vntfix: " + other + ": this is no notice database: it has no table vnt_ooak.\n"},
      {{"sql", other, "select 1 as a", "selct"}, kFailed, "vntfix: " + other + ": statement 2: The table"},
      {{"sql", other, "selct"}, kFailed, "vntfix: " + other + ": The table"},
      {{"sql", other, "--read-only", "create table t (a long)"}, kRefused, "vntfix: " + other + ": "}};
  for (const Case& c : cases) {
    const Outcome outcome = RunCli(c.arguments);
    EXPECT_EQ(outcome.code, c.code) << testing::PrintToString(c.arguments);
    EXPECT_THAT(outcome.err, HasSubstr(c.says));
    EXPECT_FALSE(fs::exists(none));
  }
}

TEST_F(CliTest, HelpOfEachCommandHasItsOptionsAndNoJargon) {
  const std::string commands = RunCli({"--help"}).out;
  for (const char* command : {"fix", "undo", "list", "info", "tables", "schema", "export", "sql", "diff",
                              "check", "compact", "new", "sample", "copy", "help"}) {
    EXPECT_THAT(commands, HasSubstr(std::string("\n  ") + command + " "));
    const Outcome help = RunCli({command, "--help"});
    EXPECT_EQ(help.code, kOk);
    EXPECT_THAT(help.out, testing::StartsWith(std::string("Usage: vntfix ") + command + " "));
    EXPECT_THAT(help.out, HasSubstr("Exit status:\n"));
    EXPECT_THAT(help.out, HasSubstr("VNTFIX_WINDIR"));
    for (const char* jargon : {"TEXT ", "INT", "ENUM", "Excludes", "REQUIRED", "->"}) {
      EXPECT_THAT(help.out, testing::Not(HasSubstr(jargon))) << command;
    }
    std::istringstream lines(help.out);
    for (std::string line; std::getline(lines, line);) {
      if (line.find("vntfix ") != std::string::npos) continue;
      EXPECT_LE(line.size(), 80U) << line;
    }
  }
}

TEST_F(CliTest, NewTakesTheFormatFromTheName) {
  for (const auto& [name, format] :
       std::vector<std::pair<const char*, const char*>>{{"a.accdb", "Access 2010"},
                                                        {"b.ACCDB", "Access 2010"},
                                                        {"c.mdb", "Access 2000"},
                                                        {"d.db", "Access 2000"}}) {
    ASSERT_EQ(RunCli({"new", At(name)}).code, kOk);
    EXPECT_THAT(RunCli({"info", At(name)}).out, HasSubstr(format)) << name;
  }
  EXPECT_EQ(RunCli({"new", At("e.accdb"), "--format", "ace12"}).code, kOk);
}

// A file there would be taken for the journal of the database beside it.
TEST_F(CliTest, NothingGetsTheNameOfAJournal) {
  const std::string file = Make("a.mdb", "create table t (n long)");
  for (const Arguments& command :
       {Arguments{"new", At("a.mdb-vntjournal")}, Arguments{"copy", file, At("a.mdb-vntjournal")},
        Arguments{"sample", At("a.mdb-vntjournal/"), "--notices", "10"},
        Arguments{"export", file, "--all", At("a.mdb-vntjournal")},
        Arguments{"export", file, "--format", "sqlite", "--output", At("a.mdb-vntjournal")}}) {
    const Outcome outcome = RunCli(command);
    EXPECT_EQ(outcome.code, kRefused) << command[0];
    EXPECT_THAT(outcome.err, HasSubstr("is the name of a journal")) << command[0];
    EXPECT_EQ(RunCli({"check", file}).code, kOk) << command[0];
  }
}

TEST_F(CliTest, ATransactionIsAllStatementsOrNone) {
  const std::string file = Make("t.mdb", "create table t (a long not null, constraint pk primary key (a))");
  const std::string script = "insert into t values (1); insert into t values (2); insert into t values (1)";
  const std::string before = RunCli({"export", file, "t"}).out;
  const Outcome failed = RunCli({"sql", file, "--transaction"}, script);
  EXPECT_EQ(failed.code, kFailed);
  EXPECT_THAT(failed.err, HasSubstr(": statement 3: "));
  EXPECT_THAT(failed.err, HasSubstr(": nothing was changed.\n"));
  EXPECT_EQ(RunCli({"export", file, "t"}).out, before);
  EXPECT_EQ(RunCli({"sql", file, "--transaction"},
                   "insert into t values (1); drop table t; insert into t values (2)")
                .code,
            kFailed);
  EXPECT_EQ(RunCli({"export", file, "t"}).out, before);
  EXPECT_EQ(RunCli({"sql", file, "--transaction"}, "insert into t values (1); insert into t values (2)").code,
            kOk);
  EXPECT_EQ(RunCli({"export", file, "t"}).out, before + "1\n2\n");
  // Without it what went before is kept.
  EXPECT_EQ(RunCli({"sql", file}, "insert into t values (3); insert into t values (1)").code, kFailed);
  EXPECT_EQ(RunCli({"export", file, "t"}).out, before + "1\n2\n3\n");
  EXPECT_EQ(RunCli({"check", file}).code, kOk);
}

TEST_F(CliTest, ATextOfSeveralLinesStaysInItsRow) {
  const std::string file =
      Make("t.mdb", "create table t (a text(20)); insert into t values ('one\r\ntwo\tthree')");
  EXPECT_THAT(RunCli({"sql", file, "select a from t"}).out, HasSubstr("\none  two three\n(1 row)\n"));
}

// Nothing is dropped for a reference database that has nothing to put into its place.
TEST_F(CliTest, ReferenceThatCannotServeIsRefused) {
  MakeSample();
  const std::string file = At("notices.mdb");
  fs::create_directory(folder_ / "o'b");
  const std::string quoted = At("o'b/ref.mdb"), missing = At("missing.mdb"), no_table = NewDatabase();
  fs::copy_file(At("reference.mdb"), test::PathOf(quoted));
  const std::string half = Make("half.mdb", "create table rf_ant_type (pattern_id short, emi_rcp text(1))");
  const std::string before = Slurp(file);
  struct Case {
    std::string reference, fixes, reason;
  };
  const Case cases[] = {{quoted, "5", "its name holds a single quote."},
                        {no_table, "5", "The table 'rf_ant_type' does not exist."},
                        {no_table, "35", "The table 'rf_ant_type' does not exist."},
                        {half, "35", "The table 'rf_ant_type_convert_rtoe' does not exist."},
                        {missing, "35", "The file \"" + missing + "\" does not exist."},
                        {file, "5", "it is the database that is to be fixed."}};
  for (const Case& c : cases) {
    const Outcome refused = RunCli({"fix", file, "--reference", c.reference, "--only", c.fixes});
    EXPECT_EQ(refused.code, kRefused);
    EXPECT_THAT(refused.err, testing::StartsWith("vntfix: " + file + ": fix " + c.fixes + " \""));
    EXPECT_THAT(refused.err, testing::EndsWith("cannot use the reference database \"" + c.reference +
                                               "\" (--reference): " + c.reason + "\n"));
    EXPECT_EQ(RunCli({"fix", file, "--reference", c.reference}).code, kRefused);
    EXPECT_EQ(Slurp(file), before);
  }
  std::ofstream(folder_ / "KV_SOFT.ini") << "[GLOBAL]\nVeltRefdb=" << missing << "\n";
  EXPECT_THAT(RunCli({"fix", file, "--only", "5"}).err,
              HasSubstr(missing + "\" (--reference, else VeltRefdb in section [GLOBAL] of "));
  EXPECT_EQ(RunCli({"fix", file, "--reference", quoted, "--only", "15"}).code, kOk);
  EXPECT_EQ(RunCli({"fix", file, "--reference", half, "--only", "5"}).code, kOk);
}

TEST_F(CliTest, EveryFileNameWorks) {
  MakeSample("10");
  for (const char* name : {"a;b=c.mdb", "x=1;.mdb", "'q'.mdb", "c;d.mdb"}) {
    const std::string file = NewDatabase(name);
    EXPECT_EQ(RunCli({"sql", file, "create table t (a long)", "insert into t values (1)"}).code, kOk) << name;
    EXPECT_EQ(RunCli({"sql", file, "--csv", "select a from t"}).out, "\"a\"\n1\n") << name;
    EXPECT_EQ(RunCli({"export", file, "t"}).out, "\"a\"\n1\n") << name;
    fs::remove(file);  // the C++ library of some systems does not overwrite
    fs::copy_file(At("notices.mdb"), file);
    EXPECT_EQ(RunCli({"fix", file, "--reference", At("reference.mdb"), "--only", "15"}).code, kOk) << name;
  }
}

TEST_F(CliTest, OutputThatCannotBeWrittenIsNoSuccess) {
  MakeSample("10");
  const std::string file = At("notices.mdb");
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"--help"},
           {"--version"},
           {"fix", "--help"},
           {"list"},
           {"tables", file},
           {"schema", file},
           {"export", file, "notice"},
           {"sql", file, "select * from notice"},
           {"sql", file, "update notice set st_cur = st_cur"},
           {"check", file},
           {"fix", file, "--reference", At("reference.mdb"), "--only", "15"}}) {
    std::istringstream in;
    std::ofstream full("/dev/full");
    ASSERT_TRUE(full);
    EXPECT_EQ(vnt::cli::Run(arguments, {in, full, full}), kUnwritten) << testing::PrintToString(arguments);
  }
}

// "sql" shows numbers as Access does, "export" so that they read back equal; Null is no empty value.
TEST_F(CliTest, NumbersAndEmptyValues) {
  const std::string file = NewDatabase();
  ASSERT_EQ(RunCli({"sql", file},
                   "create table t (d double, s single, m currency, n decimal(9, 3), b binary(4), t text(5));"
                   "insert into t values (13971.289999999999, 0.1, -0.5, -1.25, null, null);"
                   "insert into t (d, s, m, n, t) values (-0.0, -0.0, -0.0, -0.0, '');"
                   "insert into t (d, s) values (123456789012345678, 16777217)")
                .code,
            kOk);
  EXPECT_EQ(RunCli({"sql", file, "--csv", "select d, s, m, n, t, -d as e from t"}).out,
            "\"d\",\"s\",\"m\",\"n\",\"t\",\"e\"\n"
            "13971.29,0.1,-0.5,-1.25,,-13971.29\n"
            "0,0,0,0,\"\",0\n"
            "1.23456789012346E+17,1.677722E+07,,,,-1.23456789012346E+17\n");
  EXPECT_EQ(RunCli({"export", file, "t"}).out,
            "\"d\",\"s\",\"m\",\"n\",\"b\",\"t\"\n"
            "13971.289999999999,0.1,-0.5000,-1.250,,\n"
            "0,0,0.0000,0.000,,\"\"\n"
            "123456789012345680,16777216,,,,\n");
  std::string csv;
  AppendCsv(jet::Value::Blob(""), jet::ColumnType::kBinary, &csv);
  AppendCsv(db::Value::Binary(""), &csv);
  EXPECT_EQ(csv, "\"\"\"\"");
}

// Values as "export" writes them, whatever gave them.
TEST_F(CliTest, SqlPrintsJsonAsExportDoes) {
  const std::string file = Make(
      "t.mdb",
      "create table t (l long, d double, s single, m currency, b binary(4), x text(5), y yesno, t datetime);"
      "insert into t values (-7, 13971.289999999999, 0.1, -0.5, null, 'a\"b', true, #4/12/2005 13:05:07#);"
      "insert into t (l, d, m, x) values (2147483647, 0.1, 922337203685477.5807, '')");
  const Outcome json = RunCli({"sql", file, "--json", "select * from t"});
  EXPECT_EQ(json.code, kOk) << json.err;
  EXPECT_EQ(json.out, RunCli({"export", file, "t", "--format", "json"}).out);
  EXPECT_THAT(json.out, HasSubstr("\"m\": \"922337203685477.5807\""));
  EXPECT_EQ(RunCli({"sql", file, "--json", "select l from t where l = 0", "select 1 as n"}).out,
            "[\n]\n[\n{\"n\": 1}\n]\n");
}

TEST_F(CliTest, OneNoticeOnly) {
  MakeSample();
  const std::string file = At("notices.mdb");
  const auto others = [&] {
    return RunCli({"sql", file, "--csv", "select * from notice where ntc_id <> 100000004"}).out +
           RunCli({"sql", file, "--csv", "select * from grp where ntc_id <> 100000004 order by grp_id"}).out;
  };
  const std::string before = others();
  const Outcome fixed = RunCli({"fix", file, "--reference", At("reference.mdb"), "--notice", "100000004"});
  EXPECT_EQ(fixed.code, kOk) << fixed.err;
  EXPECT_EQ(others(), before);
  EXPECT_EQ(RunCli({"sql", file, "--csv", "select ntc_id from history where seq_no = 2"}).out,
            "\"ntc_id\"\n100000004\n");
}

TEST_F(CliTest, ListNamesAllFixes) {
  const std::string list = RunCli({"list"}).out;
  EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 42);
  EXPECT_THAT(list, HasSubstr("Fix  Action Code"));
}

TEST_F(CliTest, ExitStatuses) {
  MakeSample("10");
  const std::string file = At("notices.mdb"), reference = At("reference.mdb");
  {
    const auto writer = jet::Database::Open(jet::PlatformFileSystem(), file, jet::OpenMode::kReadWrite);
    const Outcome locked = RunCli({"fix", file, "--reference", reference});
    EXPECT_EQ(locked.code, kRefused) << locked.err;
  }
  // A name in brackets may hold a semicolon.
  EXPECT_EQ(RunCli({"sql", file}, "create table [a;b] ([c;d] long); insert into [a;b] values (7)").code, kOk);
  EXPECT_EQ(RunCli({"sql", file, "--csv", "select [c;d] from [a;b]"}).out, "\"c;d\"\n7\n");

  std::ostringstream full, err;
  full.setstate(std::ios::badbit);
  std::istringstream in;
  EXPECT_EQ(cli::Run({"tables", file}, {in, full, err}), kUnwritten);
  EXPECT_THAT(err.str(), HasSubstr("vntfix: the output could not be written."));
}

TEST_F(CliTest, RepeatedErrorsOfAFixAreToldOnceWithTheirNumber) {
  MakeSample("20");
  const std::string file = At("notices.mdb");
  ASSERT_EQ(RunCli({"sql", file}, "drop table freq").code, kOk);
  const Outcome failed = RunCli({"fix", file, "--reference", At("reference.mdb"), "--only", "13"});
  EXPECT_EQ(failed.code, kFailed);
  std::map<std::string, int> lines;
  std::istringstream all(failed.err);
  for (std::string line; std::getline(all, line);) ++lines[line];
  for (const auto& [line, times] : lines) EXPECT_EQ(times, 1) << line;
  EXPECT_LE(lines.size(), 3U) << failed.err;
}

TEST_F(CliTest, CheckWithRemarksOnlyIsASuccess) {
  MakeSample("10");
  const std::string file = At("notices.mdb");
  jet::PageNo page = 0;
  {
    const auto database = jet::Database::Open(jet::PlatformFileSystem(), file, jet::OpenMode::kRead);
    page = database->FindTable("notice")->def().tdef_page;
  }
  std::string content = Slurp(file);
  ++content[page * 4096 + 16];  // the number of rows
  std::ofstream(file, std::ios::binary) << content;
  const Outcome found = RunCli({"check", file});
  EXPECT_EQ(found.code, kOk);
  EXPECT_THAT(found.out, testing::StartsWith("remark: page " + std::to_string(page) + ": "));
  EXPECT_THAT(found.err, HasSubstr(": 0 faults, 1 remark."));
}

TEST_F(CliTest, CheckReportsDamage) {
  MakeSample();
  const std::string file = At("notices.mdb");
  std::string content = Slurp(file);
  // An index leaf somewhere behind the catalog: its owner field is overwritten.
  std::size_t page = 4096 * 40;
  while (page < content.size() && content[page] != 4) page += 4096;
  ASSERT_LT(page, content.size());
  content[page + 4] = '\x7f';
  std::ofstream(file, std::ios::binary) << content;
  const Outcome found = RunCli({"check", file});
  EXPECT_EQ(found.code, kFailed);
  EXPECT_THAT(found.out, HasSubstr("fault: page " + std::to_string(page / 4096)));
}

}  // namespace
}  // namespace vnt::cli
