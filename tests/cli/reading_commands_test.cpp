// diff, info and list: commands that look at databases and change nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>

#include "access/file/file.h"
#include "access/store/database.h"
#include "cli/commands.h"
#include "tests/cli/folder_test.h"
#include "tests/matchers.h"

namespace vnt::cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class ReadingCommandsTest : public FolderTest {
 protected:
  // A copy of a database whose journal holds a row more, as a killed run leaves it.
  void LeaveJournal(const std::string& file, const std::string& copy, const char* table,
                    const std::vector<jet::Value>& row) {
    const fs::path work = folder_ / "work.mdb";
    fs::copy_file(test::PathOf(file), work);
    // Some systems' libraries set times by the second only, and the journal knows that of its file.
    fs::last_write_time(work, std::chrono::floor<std::chrono::seconds>(fs::last_write_time(work)));
    const auto writer =
        jet::Database::Open(jet::PlatformFileSystem(), At("work.mdb"), jet::OpenMode::kReadWrite);
    {
      jet::StatementScope scope(*writer);
      writer->FindTable(table)->Insert(row);
      scope.Commit();
    }
    writer->Persist();
    fs::copy_file(work, test::PathOf(copy));
    fs::last_write_time(test::PathOf(copy), fs::last_write_time(work));
    fs::copy_file(folder_ / "work.mdb-vntjournal", test::PathOf(copy + "-vntjournal"));
  }
};

// ---- diff ----

constexpr const char* kOld =
    "create table notice (ntc_id long primary key, adm text(9), m memo, d datetime, c currency, y yesno);"
    "insert into notice values (12, 'F', 'two\r\nlines', #4/12/2005#, 1.5, true);"
    "insert into notice values (13, 'D', null, null, null, false);"
    "create table provn (grp_id long, adm text(3)); insert into provn values (1, 'F');"
    "create table gone (a long)";
constexpr const char* kNew =
    "create table notice (ntc_id long primary key, adm text(12), m memo, d datetime, c currency, y yesno);"
    "insert into notice values (12, 'say \"F\"', 'two\r\nlines', #4/13/2005#, 1.25, false);"
    "insert into notice values (14, null, null, null, null, true);"
    "create table provn (grp_id long, adm text(3)); insert into provn values (1, 'D')";

TEST_F(ReadingCommandsTest, DiffTellsEachDifferenceOnALine) {
  const std::string a = Make("a.mdb", kOld), b = Make("b.accdb", kNew);
  const Outcome text = RunCli({"diff", a, b});
  EXPECT_EQ(text.code, kDifferent);
  EXPECT_EQ(text.err, "");
  EXPECT_EQ(text.out, "gone: only in " + a +
                          "\n"
                          "gone: 0 changed, 0 added, 0 removed, 0 equal\n"
                          "notice: column adm: TEXT(9) -> TEXT(12)\n"
                          "notice ntc_id=12: adm: \"F\" -> \"say \"\"F\"\"\"\n"
                          "notice ntc_id=12: d: 2005-04-12 00:00:00 -> 2005-04-13 00:00:00\n"
                          "notice ntc_id=12: c: 1.5000 -> 1.2500\n"
                          "notice ntc_id=12: y: 1 -> 0\n"
                          "notice ntc_id=13: removed: adm=\"D\" y=0\n"
                          "notice ntc_id=14: added: y=1\n"
                          "notice: 1 changed, 1 added, 1 removed, 0 equal\n"
                          "provn: added: grp_id=1 adm=\"D\"\n"
                          "provn: removed: grp_id=1 adm=\"F\"\n"
                          "provn: 0 changed, 1 added, 1 removed, 0 equal\n"
                          "3 of 3 tables differ; rows: 1 changed, 2 added, 2 removed, 0 equal\n");
  EXPECT_EQ(RunCli({"diff", a, b, "--format", "csv", "--table", "notice"}).out,
            "\"table\",\"change\",\"key\",\"column\",\"old\",\"new\"\n"
            "\"notice\",\"column changed\",\"\",\"adm\",\"TEXT(9)\",\"TEXT(12)\"\n"
            "\"notice\",\"changed\",\"ntc_id=12\",\"adm\",\"\"\"F\"\"\",\"\"\"say \"\"\"\"F\"\"\"\"\"\"\"\n"
            "\"notice\",\"changed\",\"ntc_id=12\",\"d\",\"2005-04-12 00:00:00\",\"2005-04-13 00:00:00\"\n"
            "\"notice\",\"changed\",\"ntc_id=12\",\"c\",\"1.5000\",\"1.2500\"\n"
            "\"notice\",\"changed\",\"ntc_id=12\",\"y\",\"1\",\"0\"\n"
            "\"notice\",\"removed\",\"ntc_id=13\",\"\",\"adm=\"\"D\"\" y=0\",\"\"\n"
            "\"notice\",\"added\",\"ntc_id=14\",\"\",\"\",\"y=1\"\n");
  EXPECT_EQ(RunCli({"diff", a, b, "--format", "csv", "--only-counts"}).out,
            "\"table\",\"changed\",\"added\",\"removed\",\"equal\"\n"
            "\"gone\",0,0,0,0\n\"notice\",1,1,1,0\n\"provn\",0,1,1,0\n");
}

// Each object has just the members that the schema names, and all that it requires.
void ExpectMembers(const json& object, const json& schema, const std::string& place) {
  for (const auto& name : schema.at("required")) EXPECT_TRUE(object.contains(name)) << place << ' ' << name;
  for (const auto& [name, value] : object.items())
    EXPECT_TRUE(schema.at("properties").contains(name)) << place << ' ' << name;
}

TEST_F(ReadingCommandsTest, DiffAsJsonFollowsItsSchema) {
  const std::string a = Make("a.mdb", kOld), b = Make("b.accdb", kNew);
  const Outcome outcome = RunCli({"diff", a, b, "--format", "json"});
  EXPECT_EQ(outcome.code, kDifferent);
  const json document = json::parse(outcome.out);
  const json schema = json::parse(Slurp(fs::path(VNT_SOURCE_FOLDER) / "docs" / "diff.schema.json"));
  const json& definitions = schema.at("$defs");
  ExpectMembers(document, schema, "document");
  EXPECT_EQ(document.at("schema_version"), schema.at("properties").at("schema_version").at("const"));
  for (const json& table : document.at("tables")) {
    ExpectMembers(table, definitions.at("table"), table.at("name"));
    ExpectMembers(table.at("counts"), definitions.at("counts"), "counts");
    for (const json& row : table.at("rows")) ExpectMembers(row, definitions.at("row"), row.dump());
  }
  const json& notice = document.at("tables").at(1);
  EXPECT_EQ(notice.at("rows").at(0), json::parse(R"({"change": "changed", "key": {"ntc_id": 12}, "cells": {
      "adm": {"old": "F", "new": "say \"F\""},
      "d": {"old": "2005-04-12 00:00:00", "new": "2005-04-13 00:00:00"},
      "c": {"old": "1.5000", "new": "1.2500"}, "y": {"old": true, "new": false}}})"));
  EXPECT_EQ(notice.at("counts"), json::parse(R"({"changed": 1, "added": 1, "removed": 1, "equal": 0})"));
  EXPECT_FALSE(document.at("equal"));

  const json counts = json::parse(RunCli({"diff", a, b, "--format", "json", "--only-counts"}).out);
  EXPECT_EQ(counts.at("counts"), document.at("counts"));
  EXPECT_TRUE(counts.at("tables").at(1).at("rows").empty());
  const json equal = json::parse(RunCli({"diff", a, a, "--format", "json", "--notice", "12"}).out);
  EXPECT_TRUE(equal.at("equal") && equal.at("tables").empty());
  EXPECT_EQ(equal.at("notice"), 12);
}

// What usual texts would show as equal gets all its digits.
TEST_F(ReadingCommandsTest, DiffNeverShowsTwoDifferentValuesAlike) {
  const std::string table = "create table t (a long primary key, x datetime, s single, d double);";
  const std::string a = Make("a.mdb", table), b = Make("b.mdb", table);
  const auto insert = [](const std::string& file, double x, double s, double d) {
    const auto database = jet::Database::Open(jet::PlatformFileSystem(), file, jet::OpenMode::kReadWrite);
    jet::StatementScope scope(*database);
    database->FindTable("t")->Insert(
        {jet::Value::Integer(1), jet::Value::Real(x), jet::Value::Real(s), jet::Value::Real(d)});
    scope.Commit();
    database->Checkpoint();
  };
  insert(a, 38454, 0.5, 0.0);
  insert(b, 38454.000001, 0.5, -0.0);
  EXPECT_THAT(
      RunCli({"diff", a, b}).out,
      AllOf(HasSubstr("x: 2005-04-12 00:00:00 (38454 days) -> 2005-04-12 00:00:00 (38454.000001 days)\n"),
            HasSubstr("d: 0 -> -0\n"), Not(HasSubstr(" s: "))));
}

TEST_F(ReadingCommandsTest, ExitStatuses) {
  const std::string a = Make("a.mdb", kOld), b = Make("b.mdb", kNew), text = At("text.mdb");
  std::ofstream(text) << std::string(8192, 'x');
  const auto before = Files();
  const struct {
    Arguments arguments;
    int code;
    const char* message;
  } cases[] = {
      {{"diff", a, a}, kOk, ""},
      {{"diff", a, b}, kDifferent, ""},
      {{"diff", a, b, "--notice", "12"}, kDifferent, ""},
      {{"diff", a, b, "--notice", "14", "--table", "notice"}, kDifferent, ""},
      {{"diff", a, b, "--notice", "15"}, kRefused, "has a notice 15."},
      {{"diff", a, b, "--notice", "0"}, kUsage, "--notice"},
      {{"diff", a, b, "--table", "nowhere"}, kRefused, "Neither database has a table 'nowhere'."},
      {{"diff", a, a, "--notice", "12", "--table", "gone"}, kUsage, "neither ntc_id nor grp_id"},
      {{"export", a, "nowhere"}, kRefused, "The database has no table 'nowhere'."},
      {{"schema", a, "nowhere"}, kRefused, "The database has no table 'nowhere'."},
      {{"diff", a}, kUsage, "NEW"},
      {{"diff", a, b, "--format", "xml"}, kUsage, "--format"},
      {{"diff", a, At("missing.mdb")}, kRefused, "missing.mdb"},
      {{"diff", text, b}, kRefused, "is not an Access database"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = RunCli(c.arguments);
    EXPECT_EQ(outcome.code, c.code) << testing::PrintToString(c.arguments) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(c.message));
    if (c.code == kUsage || c.code == kRefused) {
      EXPECT_NE(outcome.err, "");
    }
  }
  EXPECT_TRUE(Files() == before);

  for (const char* format : {"text", "csv", "json"}) {
    std::ostringstream full, err;
    full.setstate(std::ios::badbit);
    std::istringstream in;
    EXPECT_EQ(cli::Run({"diff", a, b, "--format", format}, {in, full, err}), kUnwritten);
  }
}

// Whoever leaves a pipe has read what they wanted; a file that is full is another matter.
TEST_F(ReadingCommandsTest, APipeThatNobodyReadsIsNoFault) {
  const std::string a = Make("a.mdb", kOld);
  for (const bool is_piped : {true, false}) {
    for (const Arguments& command :
         {Arguments{"diff", a, a}, Arguments{"export", a, "notice"}, Arguments{"list"}}) {
      std::ostringstream closed, err;
      closed.setstate(std::ios::badbit);
      std::istringstream in;
      EXPECT_EQ(cli::Run(command, {in, closed, err, false, 0, is_piped}), kUnwritten);
      EXPECT_EQ(err.str(), is_piped ? "" : "vntfix: the output could not be written.\n");
    }
  }
}

TEST_F(ReadingCommandsTest, DiffEndsWhenNobodyReadsIt) {
  std::ostringstream full;
  full.setstate(std::ios::badbit);
  const auto writer = MakeDiffWriter(DiffFormat::kText, {}, full);
  EXPECT_THROW(writer->Progress(1, 2), OutputFailed);
}

TEST_F(ReadingCommandsTest, DiffSeesWhatWaitsInAJournal) {
  const std::string a = Make("a.mdb", kOld);
  LeaveJournal(a, At("b.mdb"), "provn", {jet::Value::Integer(2), jet::Value::Text("F")});
  EXPECT_EQ(RunCli({"diff", a, At("b.mdb")}).out,
            "provn: added: grp_id=2 adm=\"F\"\n"
            "provn: 0 changed, 1 added, 0 removed, 1 equal\n"
            "1 of 3 tables differ; rows: 0 changed, 1 added, 0 removed, 3 equal\n");
}

// Two files of which one was fixed: counted the other way round, they mirror each other.
TEST_F(ReadingCommandsTest, DiffOfARunMirrorsItself) {
  ASSERT_EQ(RunCli({"sample", At("s"), "--notices", "20"}).code, kOk);
  fs::copy_file(folder_ / "s/notices.mdb", folder_ / "before.mdb");
  ASSERT_EQ(RunCli({"fix", At("s/notices.mdb"), "--reference", At("s/reference.mdb"), "--template",
                    At("s/template.mdb"), "--only", "31"})
                .code,
            kOk);
  const json there =
      json::parse(RunCli({"diff", At("before.mdb"), At("s/notices.mdb"), "--format", "json"}).out);
  const json back =
      json::parse(RunCli({"diff", At("s/notices.mdb"), At("before.mdb"), "--format", "json"}).out);
  EXPECT_EQ(there.at("counts").at("changed"), back.at("counts").at("changed"));
  EXPECT_EQ(there.at("counts").at("added"), back.at("counts").at("removed"));
  for (const json& table : there.at("tables")) {
    if (table.at("name") == "history") {
      EXPECT_EQ(table.at("counts").at("added"), 20);
    }
    for (const json& row : table.at("rows")) {
      if (row.contains("cells")) {
        EXPECT_EQ(row.at("cells").at("f_active").at("new"), "A") << row;
      }
    }
  }
}

// ---- list ----

TEST_F(ReadingCommandsTest, ListShowsTheStatementsOfAFix) {
  const Outcome one = RunCli({"list", "--sql", "2"});
  EXPECT_EQ(one.code, kOk) << one.err;
  EXPECT_EQ(
      one.out,
      "-- 2 Fix Assoc Earth Station Name\n"
      "-- UppercaseEarthStationNames, whole database:\n"
      "UPDATE e_as_stn SET stn_name = ucase(stn_name);\n"
      "-- UppercaseEarthStationNames, notice:\n"
      "UPDATE e_as_stn SET stn_name = ucase(stn_name) where grp_id in (select grp_id from grp where ntc_id = "
      "<ntc_id>);\n"
      "-- UppercaseEarthStationNames, Ingres, whole database:\n"
      "UPDATE e_as_stn SET stn_name = uppercase(stn_name);\n"
      "-- UppercaseEarthStationNames, Ingres, notice:\n"
      "UPDATE e_as_stn SET stn_name = uppercase(stn_name) where grp_id in (select grp_id from grp where "
      "ntc_id "
      "= <ntc_id>);\n\n");
  EXPECT_THAT(RunCli({"list", "9", "--sql"}).out, HasSubstr("FixDateInUse, row by row:\n--   In each row"));
  const std::string all = RunCli({"list", "--sql"}).out;
  for (int index = 0; index < 40; ++index) EXPECT_THAT(all, HasSubstr("-- " + std::to_string(index) + " "));
}

TEST_F(ReadingCommandsTest, ListTakesFixesAsFixDoes) {
  const auto indexes = [](const Arguments& fixes) {
    Arguments arguments{"list"};
    arguments.insert(arguments.end(), fixes.begin(), fixes.end());
    std::istringstream in(RunCli(arguments).out);
    std::string line;
    std::getline(in, line);
    std::getline(in, line);
    std::vector<int> found;
    while (std::getline(in, line)) found.push_back(std::stoi(line));
    return found;
  };
  EXPECT_EQ(indexes({"22", "7"}), (std::vector<int>{22, 7}));
  EXPECT_EQ(indexes({"sort freq", "7-9,3"}), (std::vector<int>{22, 3, 7, 8, 9}));
  EXPECT_EQ(indexes({"sort"}), (std::vector<int>{22, 23, 24}));
  EXPECT_EQ(indexes({}).size(), 40U);
  const std::pair<const char*, const char*> refused[] = {
      {"40", "vntfix list: \"40\" is no fix: they have the numbers 0 to 39, several as 5,7-9.\n"},
      {"freqencies",
       "vntfix list: No fix has the words \"freqencies\" in its caption; did you mean "
       "'frequencies'?\n"},
      {"zzzzzz",
       "vntfix list: No fix has the words \"zzzzzz\" in its caption; vntfix list shows them all.\n"},
      {"abc", "vntfix list: No fix has the words \"abc\" in its caption; vntfix list shows them all.\n"},
      {"adn", "vntfix list: No fix has the words \"adn\" in its caption; did you mean 'and'?\n"},
      {"", "vntfix list: \"\" names nothing.\n"},
  };
  for (const auto& [text, sentence] : refused) {
    const Outcome outcome = RunCli({"list", text});
    EXPECT_EQ(outcome.code, kUsage);
    EXPECT_EQ(outcome.err, sentence);
    EXPECT_EQ(outcome.out, "");
  }
}

// On a terminal its lines fit, and hold the same words; in a pipe a fix is a line.
TEST_F(ReadingCommandsTest, ListFitsTheTerminal) {
  const auto words = [](const std::string& text) {
    std::istringstream in(text.substr(text.find("\n", text.find("---"))));
    return std::vector<std::string>{std::istream_iterator<std::string>(in), {}};
  };
  const std::string piped = RunCli({"list"}).out;
  for (const std::size_t width : {80U, 132U}) {
    std::istringstream in;
    std::ostringstream out, err;
    ASSERT_EQ(cli::Run({"list"}, {in, out, err, false, width}), kOk);
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), width) << line;
    EXPECT_EQ(words(out.str()), words(piped));
  }
}

// ---- info ----

TEST_F(ReadingCommandsTest, InfoTellsWhatAFileIs) {
  ASSERT_EQ(RunCli({"sample", At("s"), "--notices", "10"}).code, kOk);
  const std::string notices = At("s/notices.mdb");
  EXPECT_THAT(
      RunCli({"info", notices}).out,
      AllOf(HasSubstr("format:         Access 2000-2003, pages of 4096 bytes\n"),
            HasSubstr("code page:      1252"), HasSubstr("sort order:     General Legacy (LCID 1033"),
            HasSubstr(std::to_string(fs::file_size(folder_ / "s/notices.mdb")) + " bytes\n"),
            HasSubstr("schema version: 7."), HasSubstr("notices:        10\n"), HasSubstr("last history:   "),
            HasSubstr("notice 1000000"), HasSubstr("lock:           nobody has it open for writing\n"),
            HasSubstr("journal:        none\n")));
  const std::string other = Make("other.accdb", "create table t (a long); insert into t values (1)");
  EXPECT_THAT(RunCli({"info", other}).out,
              AllOf(HasSubstr("tables:         1, 1 rows\n"), HasSubstr("no notice database\n"),
                    HasSubstr("notices:        none"), Not(HasSubstr("last history"))));
}

TEST_F(ReadingCommandsTest, InfoTellsFreeSpace) {
  const std::string file = Make("a.mdb", "create table t (a long, m memo)");
  std::string script;
  for (int i = 0; i < 20; ++i) script += "insert into t values (1, '" + std::string(9000, 'x') + "');";
  ASSERT_EQ(RunCli({"sql", file}, script + "drop table t").code, kOk);
  EXPECT_THAT(RunCli({"info", file}).out, test::ContainsMatch("free inside:    [1-9][0-9]{4,} bytes"));
}

TEST_F(ReadingCommandsTest, InfoTellsWhoHasTheFileOpenAndWhatWaits) {
  const std::string file = Make("a.mdb", "create table t (a long)");
  {
    const auto writer = jet::Database::Open(jet::PlatformFileSystem(), file, jet::OpenMode::kReadWrite);
    EXPECT_THAT(RunCli({"info", file}).out, HasSubstr("lock:           open for writing"));
  }
  LeaveJournal(file, At("b.mdb"), "t", {jet::Value::Integer(2)});
  EXPECT_THAT(
      RunCli({"info", At("b.mdb")}).out,
      AllOf(HasSubstr("nobody has it open"), HasSubstr("b.mdb-vntjournal, "),
            HasSubstr("waiting to be brought into the file\n"), HasSubstr("tables:         1, 1 rows\n")));
}

TEST_F(ReadingCommandsTest, AWaitingJournalIsToldByEveryCommandThatOpensTheFile) {
  LeaveJournal(Make("a.mdb", "create table t (a long)"), At("b.mdb"), "t", {jet::Value::Integer(2)});
  const std::string file = At("b.mdb");
  const std::string told =
      "vntfix: " + file + ": a run that did not end saved its last work in " + file + "-vntjournal at 20";
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"tables", file},
                                             {"schema", file},
                                             {"export", file, "t"},
                                             {"check", file},
                                             {"sql", file, "select * from t"},
                                             {"diff", file, At("a.mdb")},
                                             {"undo", file, "--list"},
                                             {"fix", file, "--dry-run"},
                                             {"compact", file}}) {
    EXPECT_THAT(RunCli(command).err, HasSubstr(told)) << command[0];
  }
  // The last of them has brought it into the file.
  EXPECT_EQ(RunCli({"tables", file}).err, "");
  EXPECT_EQ(RunCli({"export", file, "t"}).out, "\"a\"\n2\n");
}

TEST_F(ReadingCommandsTest, InfoOfOtherFilesSaysWhatCanBeSaid) {
  std::ofstream(At("text.mdb")) << std::string(8192, 'x');
  const Outcome outcome = RunCli({"info", At("text.mdb")});
  EXPECT_EQ(outcome.code, kRefused);
  EXPECT_THAT(outcome.out, HasSubstr("size:           8192 bytes\n"));
  EXPECT_THAT(outcome.err, HasSubstr("is not an Access database"));
  EXPECT_EQ(RunCli({"info", At("missing.mdb")}).code, kRefused);
}

}  // namespace
}  // namespace vnt::cli
