// export: CSV, JSON and SQLite.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <nlohmann/json.hpp>

#include "access/file/file.h"
#include "access/store/database.h"
#include "cli/commands.h"
#include "tests/cli/folder_test.h"

namespace vnt::cli {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

class ExportTest : public FolderTest {};

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

TEST_F(ExportTest, ExportAsJsonHasEveryDigit) {
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

TEST_F(ExportTest, ExportByKey) {
  const std::string file = Make("a.mdb",
                                "create table t (a long, b text(3), constraint p primary key (b, a));"
                                "insert into t values (2, 'x'); insert into t values (1, 'x'); "
                                "insert into t values (7, 'B'); create table u (a long); "
                                "insert into u values (5); insert into u values (4)");
  EXPECT_EQ(RunCli({"export", file, "t"}).out, "\"a\",\"b\"\n2,\"x\"\n1,\"x\"\n7,\"B\"\n");
  EXPECT_EQ(RunCli({"export", file, "t", "--order-by-key"}).out, "\"a\",\"b\"\n7,\"B\"\n1,\"x\"\n2,\"x\"\n");
  EXPECT_EQ(RunCli({"export", file, "u", "--order-by-key"}).out, "\"a\"\n5\n4\n");
}

TEST_F(ExportTest, ExportOfAllTablesMakesAFileForEach) {
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

TEST_F(ExportTest, AnExportThatFailsLeavesNothing) {
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

TEST_F(ExportTest, ExportAsSqliteHasRowsKeysAndTypes) {
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

TEST_F(ExportTest, ExportNeedsOneTarget) {
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
