// The commands that look at databases and change nothing: diff, info, export.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include <nlohmann/json.hpp>

#include "access/file/file.h"
#include "access/store/database.h"
#include "cli/commands.h"
#include "tests/cli/cli_fixture.h"

namespace vnt::cli {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Arguments = std::vector<std::string>;

class ReadingCommandsTest : public CliTest {
 protected:
  std::string Make(const std::string& name, const std::string& script) {
    const std::string path = At(name);
    Arguments create = {"new", path};
    if (name.ends_with(".accdb")) create.insert(create.end(), {"--format", "ace14"});
    EXPECT_EQ(RunCli(create).code, kOk);
    const Outcome made = RunCli({"sql", path}, script);
    EXPECT_EQ(made.code, kOk) << made.err;
    return path;
  }
  // A copy of a database whose journal holds a row more, as a killed run leaves it.
  void LeaveJournal(const std::string& file, const std::string& copy, const char* table,
                    const std::vector<jet::Value>& row) {
    fs::copy_file(test::PathOf(file), folder_ / "work.mdb");
    const auto writer =
        jet::Database::Open(jet::PlatformFileSystem(), At("work.mdb"), jet::OpenMode::kReadWrite);
    {
      jet::StatementScope scope(*writer);
      writer->FindTable(table)->Insert(row);
      scope.Commit();
    }
    writer->Persist();
    fs::copy_file(folder_ / "work.mdb", test::PathOf(copy));
    fs::last_write_time(test::PathOf(copy), fs::last_write_time(folder_ / "work.mdb"));
    fs::copy_file(folder_ / "work.mdb-vntjournal", test::PathOf(copy + "-vntjournal"));
  }
  // Every file of the folder, by name.
  std::map<std::string, std::string> Files() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder_)) {
      if (entry.is_regular_file()) files[test::Utf8Of(entry.path().filename())] = Slurp(entry.path());
    }
    return files;
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

TEST_F(ReadingCommandsTest, DiffExitStatuses) {
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
      {{"diff", a, b, "--notice", "15"}, kUsage, "has a notice 15."},
      {{"diff", a, b, "--notice", "0"}, kUsage, "--notice"},
      {{"diff", a, b, "--table", "nowhere"}, kUsage, "Neither database has a table 'nowhere'."},
      {{"diff", a, a, "--notice", "12", "--table", "gone"}, kUsage, "neither ntc_id nor grp_id"},
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

  std::ostringstream full, err;
  full.setstate(std::ios::badbit);
  std::istringstream in;
  EXPECT_EQ(cli::Run({"diff", a, b}, {in, full, err}), kUnwritten);
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
  EXPECT_EQ(RunCli({"list", "40"}).code, kUsage);
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
  EXPECT_THAT(RunCli({"info", file}).out,
              testing::ContainsRegex("free inside:    [1-9][0-9][0-9][0-9][0-9][0-9]* bytes"));
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

TEST_F(ReadingCommandsTest, InfoOfOtherFilesSaysWhatCanBeSaid) {
  std::ofstream(At("text.mdb")) << std::string(8192, 'x');
  const Outcome outcome = RunCli({"info", At("text.mdb")});
  EXPECT_EQ(outcome.code, kRefused);
  EXPECT_THAT(outcome.out, HasSubstr("size:           8192 bytes\n"));
  EXPECT_THAT(outcome.err, HasSubstr("is not an Access database"));
  EXPECT_EQ(RunCli({"info", At("missing.mdb")}).code, kRefused);
}

// ---- export ----

constexpr const char* kTypes =
    "create table t (k long primary key, y yesno, s single, d double, c currency, n decimal(28,3), x "
    "datetime, "
    "t text(20), m memo, b binary(4), g guid); create unique index u on t (t); create index i on t (d desc, "
    "y);"
    "insert into t values (9, true, 0.1, 13971.289999999999, -0.5, 1234567890123456789.125, #4/12/2005 "
    "13:01:02#, "
    "'a\"b\\c', 'two\nlines', null, '{00112233-4455-6677-8899-AABBCCDDEEFF}');"
    "insert into t (k, y, t) values (-3, false, ''); insert into t (k) values (4);"
    "create table [a?b] ([c d] long); insert into [a?b] values (1)";

TEST_F(ReadingCommandsTest, ExportAsJsonHasEveryDigit) {
  const std::string file = Make("a.mdb", kTypes);
  const Outcome outcome = RunCli({"export", file, "t", "--format", "json", "--order-by-key"});
  EXPECT_EQ(outcome.code, kOk) << outcome.err;
  const json rows = json::parse(outcome.out);
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows.at(2), json::parse(R"({"k": 9, "y": true, "s": 0.1, "d": 13971.289999999999, "c": "-0.5000",
      "n": "1234567890123456789.125", "x": "2005-04-12 13:01:02", "t": "a\"b\\c", "m": "two\nlines", "b": null,
      "g": "{00112233-4455-6677-8899-AABBCCDDEEFF}"})"));
  EXPECT_EQ(rows.at(0).at("k"), -3);
  EXPECT_EQ(rows.at(0).at("t"), "");
  EXPECT_EQ(rows.at(1).at("t"), nullptr);
  EXPECT_EQ(RunCli({"export", Make("b.mdb", "create table e (a long)"), "e", "--format", "json"}).out,
            "[\n]\n");
}

TEST_F(ReadingCommandsTest, ExportByKey) {
  const std::string file = Make("a.mdb",
                                "create table t (a long, b text(3), constraint p primary key (b, a));"
                                "insert into t values (2, 'x'); insert into t values (1, 'x'); "
                                "insert into t values (7, 'B'); create table u (a long); "
                                "insert into u values (5); insert into u values (4)");
  EXPECT_EQ(RunCli({"export", file, "t"}).out, "\"a\",\"b\"\n2,\"x\"\n1,\"x\"\n7,\"B\"\n");
  EXPECT_EQ(RunCli({"export", file, "t", "--order-by-key"}).out, "\"a\",\"b\"\n7,\"B\"\n1,\"x\"\n2,\"x\"\n");
  EXPECT_EQ(RunCli({"export", file, "u", "--order-by-key"}).out, "\"a\"\n5\n4\n");
}

TEST_F(ReadingCommandsTest, ExportOfAllTablesMakesAFileForEach) {
  const std::string file = Make("a.mdb", kTypes);
  const Outcome outcome = RunCli({"export", file, "--all", At("csv/new")});
  EXPECT_EQ(outcome.code, kOk) << outcome.err;
  EXPECT_EQ(Slurp(folder_ / "csv/new/t.csv"), RunCli({"export", file, "t"}).out);
  EXPECT_EQ(Slurp(folder_ / "csv/new/a%3Fb.csv"), "\"c d\"\n1\n");
  ASSERT_EQ(RunCli({"export", file, "--all", At("json"), "--format", "json"}).code, kOk);
  EXPECT_EQ(Slurp(folder_ / "json/t.json"), RunCli({"export", file, "t", "--format", "json"}).out);

  // A file that is in the way is not overwritten, and nothing else is written.
  fs::remove(folder_ / "csv/new/a%3Fb.csv");
  const auto before = Files();
  const Outcome again = RunCli({"export", file, "--all", At("csv/new")});
  EXPECT_EQ(again.code, kRefused);
  EXPECT_THAT(again.err, HasSubstr("t.csv"));
  EXPECT_TRUE(Files() == before);
  // Where no folder can be made.
  EXPECT_EQ(RunCli({"export", file, "--all", At("a.mdb/x")}).code, kRefused);
}

TEST_F(ReadingCommandsTest, AnExportThatFailsLeavesNothing) {
  const std::string file = Make("a.mdb", kTypes);
  // A page of the last table names another owner.
  std::string content = Slurp(file);
  const auto database = jet::Database::Open(jet::PlatformFileSystem(), file, jet::OpenMode::kRead);
  jet::Row row;
  jet::RowId id;
  ASSERT_TRUE(jet::TableCursor(*database->FindTable("t")).Next(&row, &id));
  content[id.page() * 4096 + 4] ^= '\x7f';
  const std::string damaged = At("damaged.mdb");
  std::ofstream(damaged, std::ios::binary) << content;
  const auto before = Files();
  for (const Arguments& arguments :
       {Arguments{"export", damaged, "--all", At("out")},
        Arguments{"export", damaged, "--format", "sqlite", "--output", At("n.sqlite")}}) {
    const Outcome outcome = RunCli(arguments);
    EXPECT_EQ(outcome.code, kRefused) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("Page " + std::to_string(id.page()) + " is damaged"));
    EXPECT_TRUE(Files() == before);
  }
}

TEST(SafeFileName, WorksOnEverySystem) {
  const std::pair<const char*, const char*> cases[] = {{"notice", "notice"},
                                                       {"a/b\\c", "a%2Fb%5Cc"},
                                                       {"a:b*c?d\"e<f>g|h", "a%3Ab%2Ac%3Fd%22e%3Cf%3Eg%7Ch"},
                                                       {"100%", "100%25"},
                                                       {"end ", "end%20"},
                                                       {"con", "%con"},
                                                       {"COM1", "%COM1"},
                                                       {"COM10", "COM10"},
                                                       {"lpt0", "%lpt0"},
                                                       {"tab\there", "tab%09here"},
                                                       {"Zürich", "Zürich"},
                                                       {"Nul", "%Nul"}};
  for (const auto& [table, name] : cases) EXPECT_EQ(SafeFileName(table), name);
}

// The rows of a query on an SQLite file, values joined by "|".
Arguments SqliteRows(const std::string& file, const char* query) {
  sqlite3* connection = nullptr;
  EXPECT_EQ(sqlite3_open_v2(file.c_str(), &connection, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  Arguments rows;
  const auto add = [](void* to, int count, char** values, char**) {
    std::string row;
    for (int i = 0; i < count; ++i)
      row += (i > 0 ? "|" : "") + std::string(values[i] == nullptr ? "Null" : values[i]);
    static_cast<Arguments*>(to)->push_back(row);
    return 0;
  };
  char* message = nullptr;
  EXPECT_EQ(sqlite3_exec(connection, query, add, &rows, &message), SQLITE_OK) << message;
  sqlite3_close(connection);
  return rows;
}

TEST_F(ReadingCommandsTest, ExportAsSqliteHasRowsKeysAndTypes) {
  const std::string file = Make("a.mdb", kTypes), out = At("n.sqlite");
  const Arguments command = {"export", file, "--format", "sqlite", "--output", out};
  const Outcome outcome = RunCli(command);
  ASSERT_EQ(outcome.code, kOk) << outcome.err;
  EXPECT_EQ(
      SqliteRows(out, "select * from t order by k"),
      (Arguments{"-3|0|Null|Null|Null|Null|Null||Null|Null|Null",
                 "4|0|Null|Null|Null|Null|Null|Null|Null|Null|Null",
                 "9|1|0.100000001490116|13971.29|-0.5000|1234567890123456789.125|2005-04-12 13:01:02|a\"b\\c|"
                 "two\nlines|Null|{00112233-4455-6677-8899-AABBCCDDEEFF}"}));
  EXPECT_EQ(SqliteRows(out, "select printf('%!.17g', d) from t where k = 9"),
            Arguments{"13971.289999999999"});
  EXPECT_EQ(SqliteRows(out, "select name || ':' || type || ':' || pk from pragma_table_info('t') limit 3"),
            (Arguments{"k:INTEGER:1", "y:INTEGER:0", "s:REAL:0"}));
  EXPECT_EQ(SqliteRows(out, "select name, \"unique\" from pragma_index_list('t') order by name"),
            (Arguments{"t.i|0", "t.u|1"}));
  EXPECT_EQ(SqliteRows(out, "select \"c d\" from \"a?b\""), Arguments{"1"});
  EXPECT_EQ(SqliteRows(out, "pragma integrity_check"), Arguments{"ok"});

  const auto before = Files();
  const Outcome again = RunCli(command);
  EXPECT_EQ(again.code, kRefused);
  EXPECT_THAT(again.err, HasSubstr("exists already"));
  EXPECT_EQ(RunCli({"export", file, "--format", "sqlite", "--output", At("none/n.sqlite")}).code, kRefused);
  EXPECT_TRUE(Files() == before);
  // What a killed run has left is no obstacle.
  std::ofstream(At("m.sqlite-vntpart")) << "half a file";
  EXPECT_EQ(RunCli({"export", file, "--format", "sqlite", "--output", At("m.sqlite")}).code, kOk);
  EXPECT_FALSE(fs::exists(folder_ / "m.sqlite-vntpart"));
  EXPECT_EQ(SqliteRows(At("m.sqlite"), "select count(*) from t"), Arguments{"3"});
}

TEST_F(ReadingCommandsTest, ExportNeedsOneTarget) {
  const std::string file = Make("a.mdb", kTypes);
  for (const Arguments& rest :
       {Arguments{}, Arguments{"t", "--all", At("x")}, Arguments{"t", "--output", At("x")},
        Arguments{"--format", "sqlite"}, Arguments{"t", "--format", "sqlite", "--output", At("x")},
        Arguments{"--all", At("x"), "--format", "sqlite"}, Arguments{"t", "--format", "xml"}}) {
    Arguments arguments = {"export", file};
    arguments.insert(arguments.end(), rest.begin(), rest.end());
    const Outcome outcome = RunCli(arguments);
    EXPECT_EQ(outcome.code, kUsage) << testing::PrintToString(rest);
    EXPECT_NE(outcome.err, "");
    EXPECT_FALSE(fs::exists(folder_ / "x"));
  }
}

}  // namespace
}  // namespace vnt::cli
