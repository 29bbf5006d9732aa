// Connection strings, the choice of the provider, cadodb, and the SQL log.
#include <gtest/gtest.h>
#ifndef _WIN32
#include <sys/stat.h>
#endif

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "access/file/test_files.h"
#include "access/store/database.h"
#include "db/access_provider/access_provider.h"
#include "db/access_provider/errors.h"
#include "db/cadodb.h"
#include "db/connection_string.h"
#include "db/services.h"
#include "platform/in_force.h"
#include "platform/messages.h"
#include "platform/services.h"
#include "tests/db/provider_contract.h"
#include "tests/process.h"

namespace vnt::db {
namespace {

TEST(ConnectionString, IsTakenApart) {
  struct Case {
    const char* text;
    std::vector<std::pair<std::string, std::string>> expected;
  };
  const std::vector<Case> cases = {
      {"PROVIDER=MSDASQL; DSN=TLKP-ING; UID=ANNA;PWD=;",
       {{"provider", "MSDASQL"}, {"Dsn", "TLKP-ING"}, {"UID", "ANNA"}, {"pwd", ""}}},
      {"  provider = Microsoft.ACE.OLEDB.12.0 ;;Data Source = /tmp/a b.accdb",
       {{"PROVIDER", "Microsoft.ACE.OLEDB.12.0"}, {"data source", "/tmp/a b.accdb"}}},
      {"Provider=x;Data Source=/tmp/a;b=.mdb;",
       {{"provider", "x"}, {"data source", "/tmp/a"}, {"b", ".mdb"}}},
      {"Provider=x;Data Source=/tmp/a;b;c.mdb;", {{"data source", "/tmp/a;b;c.mdb"}}},
      {"Data Source=\"/tmp/a;b=\"\".mdb\";Mode='it''s'",
       {{"data source", "/tmp/a;b=\".mdb"}, {"mode", "it's"}}},
      {"Data Source=", {{"data source", ""}}},
      {"", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const ConnectionSettings settings(c.text);
    for (const auto& [key, value] : c.expected) {
      const std::string* found = settings.Find(key);
      ASSERT_NE(found, nullptr) << key;
      EXPECT_EQ(*found, value);
    }
    EXPECT_EQ(settings.Find("other"), nullptr);
  }
  EXPECT_EQ(ErrorNumber([] { ConnectionSettings("Provider;Data Source=x"); }), kErrFailed);
}

TEST(ConnectionString, CarriesEveryFileName) {
  for (const char* name : {"/tmp/a.mdb", "/tmp/a;b.mdb", "/tmp/a=b.mdb", "/tmp/a;b=c.mdb", "a;mode=x;.mdb",
                           ";", "", "'a'.mdb", "\"a", " a.mdb ", "a\"b;c=d'.mdb", "a;", "=", "a;;b=;"}) {
    const std::string text = "Provider=x;" + DataSource(name) + ";";
    const ConnectionSettings settings(text);
    ASSERT_NE(settings.Find("data source"), nullptr) << text;
    EXPECT_EQ(*settings.Find("data source"), name) << text;
    EXPECT_EQ(settings.all().size(), 2u) << text;
  }
  // Where nothing asks for quotes there are none.
  EXPECT_EQ(DataSource("/tmp/o'b c.mdb"), "Data Source=/tmp/o'b c.mdb");
}

TEST(Connection, RefusesWhatItCannotOpen) {
  Connection cn;
  std::string description;
  EXPECT_EQ(ErrorNumber([&] { cn.Open("Provider=Oracle;Data Source=x"); }, &description), kErrFailed);
  EXPECT_NE(description.find("Oracle"), std::string::npos);
  EXPECT_EQ(ErrorNumber([&] { cn.Open("Data Source=x"); }), kErrFailed);
  EXPECT_EQ(ErrorNumber([&] { cn.Open("Provider=Microsoft.Jet.OLEDB.4.0"); }), kErrFailed);
  EXPECT_EQ(ErrorNumber([&] { cn.Open("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/nowhere/x.mdb"); },
                        &description),
            kErrFailed);
  EXPECT_NE(description.find("/nowhere/x.mdb"), std::string::npos);
  EXPECT_EQ(ErrorNumber([&] { cn.Execute("DELETE FROM t"); }), kErrObjectClosed);
  EXPECT_EQ(ErrorNumber([&] { cn.Checkpoint(); }), kErrObjectClosed);
  cn.Close();  // closing a closed one is nothing
}

class MemoryDatabases : public testing::Test {
 protected:
  void SetUp() override {
    platform::InForce<Services>().files = &files_;
    jet::Database::Create(files_, "/db/old.mdb", jet::Format::kJet4);
    jet::Database::Create(files_, "/db/new.accdb", jet::Format::kAce14);
  }
  void TearDown() override { platform::InForce<Services>().files = nullptr; }

  jet::MemoryFileSystem files_;
};

using CadoDb = MemoryDatabases;

TEST_F(CadoDb, ChoosesTheProviderByTheName) {
  const std::string jet = "PROVIDER=Microsoft.Jet.OLEDB.4.0;Data Source=";
  const std::string ace = "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=";
  struct Case {
    std::string name, content, expected;
    bool opens;
  };
  const std::vector<Case> cases = {
      {"/db/x.mdb", "/db/old.mdb", jet, true},
      {"/db/x.mdb.bak", "/db/old.mdb", jet, true},
      {"/db/x.MDB", "/db/old.mdb", ace, true},
      {"/db/x.accdb", "/db/new.accdb", ace, true},
      {"/db/x", "/db/old.mdb", ace, true},
      {"/db/n.mdb", "/db/new.accdb", jet, false},
      {"/db.mdb/x.accdb", "/db/new.accdb", jet, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    files_.SetContent(c.name, files_.Content(c.content));
    cadodb ado;
    ado.DBName = Value::Text(c.name);
    std::string description;
    const std::int32_t number = ErrorNumber([&] { ado.OpenADOConnection(); }, &description);
    EXPECT_EQ(number, c.opens ? 0 : kErrFailed);
    EXPECT_EQ(ado.Cn().ConnectionString, c.expected + c.name + ";");
    if (!c.opens) {
      EXPECT_NE(description.find(c.name), std::string::npos);
    }
  }
}

TEST_F(CadoDb, NullNameIsAnErrorOfItsOwn) {
  cadodb ado;
  EXPECT_EQ(ErrorNumber([&] { ado.Cn(); }), kErrObjectClosed);
  try {
    ado.OpenADOConnection();
    FAIL();
  } catch (const DbError& error) {
    EXPECT_EQ(error.number(), -2147220991);
    EXPECT_EQ(error.source(), "cadodb:OpenADOConnection");
    EXPECT_EQ(error.description(), "Missing database name");
  }
  ado.DBName = Value::Text("");
  EXPECT_EQ(ErrorNumber([&] { ado.OpenADOConnection(); }), kErrFailed);
  EXPECT_TRUE(ado.has_connection());
}

TEST_F(CadoDb, SettingCnCopiesTheConnectionString) {
  cadodb first, second;
  first.DBName = Value::Text("/db/old.mdb");
  first.OpenADOConnection();
  second.DBName = Value::Text("/db/new.accdb");
  second.OpenADOConnection();
  second.SetCn(first.Cn());
  EXPECT_EQ(second.Cn().ConnectionString, first.Cn().ConnectionString);
}

TEST(CadoDbMessages, TemporaryDataSourceNeedsAName) {
  class Recorder : public platform::Messages {
   public:
    void Show(std::string_view text, platform::MessageStyle style) override {
      shown += std::string(text) + (style == platform::MessageStyle::kPlain ? "|" : "|?");
    }
    std::string shown;
  } recorder;
  platform::Services services{&recorder, {}};
  const platform::Scoped<platform::Services> in_force(services);
  cadodb ado;
  ado.AddTempODBCDsn();
  ado.DBName = Value::Text("");
  ado.AddTempODBCDsn();
  EXPECT_EQ(recorder.shown,
            "Unable to create temp DSN:  Database name is missing.|Unable to create temp DSN:  Database name "
            "is missing.|");
  EXPECT_TRUE(ado.DsName.is_null());
}

TEST_F(MemoryDatabases, SqlLogHoldsTheExactText) {
  const auto log = std::filesystem::path(testing::TempDir()) / "vntfix-sql-log-test";
  std::filesystem::remove(log);
  test::SetVariable("VNTFIX_SQL_LOG", test::Utf8Of(log));
  Connection cn;
  cn.Open("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=/db/old.mdb");
  cn.Execute("CREATE TABLE t (k LONG, s TEXT(20))");
  cn.Execute("INSERT INTO t VALUES (1, 'a\\b\r\nc')  ");
  EXPECT_NE(ErrorNumber([&] { cn.Execute(" nonsense"); }), 0);
  Recordset rs;
  rs.Open("SELECT  * FROM t", cn, CursorType::kKeyset, LockType::kOptimistic);
  EXPECT_EQ(rs.Get("s").ToText(), "a\\b\r\nc");
  rs.Set("k", Value::Int32(2));
  rs.Update();
  Command remove(cn);
  remove.CommandText = "Delete from t where k = ?";
  remove.Parameters = {{"k", ValueType::kInt32, Value::Int32(2)}};
  EXPECT_EQ(remove.Execute(), 1);
  test::SetVariable("VNTFIX_SQL_LOG", "");
  Connection without;
  without.Open("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=/db/old.mdb");
  without.Execute("DELETE FROM t");
  std::string text;
  {
    std::ifstream in(log, std::ios::binary);
    text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  EXPECT_EQ(text,
            "CREATE TABLE t (k LONG, s TEXT(20))\nINSERT INTO t VALUES (1, 'a\\\\b\\r\\nc')  \n nonsense\n"
            "SELECT  * FROM t\nDelete from t where k = ?\n");
  std::filesystem::remove(log);

#ifndef _WIN32
  // Nobody reads from it.
  ASSERT_EQ(mkfifo(log.c_str(), 0600), 0);
  test::SetVariable("VNTFIX_SQL_LOG", test::Utf8Of(log));
  EXPECT_EQ(
      ErrorNumber([&] { Connection().Open("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=/db/old.mdb"); }),
      kErrFailed);
  std::filesystem::remove(log);
#endif
  test::SetVariable("VNTFIX_SQL_LOG", "/nowhere/at/all/log");
  Connection unlogged;
  EXPECT_EQ(ErrorNumber([&] { unlogged.Open("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=/db/old.mdb"); }),
            kErrFailed);
  test::SetVariable("VNTFIX_SQL_LOG", "");
}

TEST(EngineErrors, GetTheirNumbers) {
  using jet::ErrorKind;
  struct Case {
    ErrorKind kind;
    const char* text;
    std::int32_t number;
  };
  const std::vector<Case> cases = {
      {ErrorKind::kNotFound, "The file \"column table.mdb\" does not exist.", kErrFailed},
      {ErrorKind::kNoTable, "There is no table \"column\".", kErrMissingTable},
      {ErrorKind::kNoColumn, "Table \"t\" has no column \"c\".", kErrParameter},
      {ErrorKind::kInvalid, "There is no function 'table'.", kErrSyntax},
      {ErrorKind::kDuplicate, "The change would make a duplicate key in table \"Null\".", kErrFailed},
      {ErrorKind::kConstraint, "Column \"duplicate\" must not be Null.", kErrIntegrity},
      {ErrorKind::kReadOnly, "x", kErrReadOnly},
      {ErrorKind::kTooLarge, "x", kErrTruncated},
      {ErrorKind::kType, "x", kErrDataType},
      {ErrorKind::kExists, "x", kErrSyntax},
      {ErrorKind::kIo, "x", kErrFailed},
  };
  for (const Case& c : cases) {
    const DbError error = ToDbError(jet::Error(c.kind, c.text));
    EXPECT_EQ(error.number(), c.number) << c.text;
    EXPECT_EQ(error.description(), c.text);
  }
}

}  // namespace
}  // namespace vnt::db
