// The provider contract on an ODBC data source, and what is particular to ODBC.
#include <gtest/gtest.h>

#include <map>

#include "db/cadodb.h"
#include "db/odbc_provider/select_shape.h"
#include "tests/db/postgres_server.h"
#include "tests/db/provider_contract.h"

namespace vnt::db {
namespace {

class PostgresProvider : public TestProvider {
 public:
  void SetUp() override { PostgresServer::Get().Reset("TLKP-ING"); }
  void Open(Connection& connection) override {
    connection.Open("PROVIDER=MSDASQL; DSN=TLKP-ING; UID=postgres;PWD=;");
  }
  std::string Type(const std::string& name) const override {
    static const std::map<std::string, std::string> kTypes = {
        {"long", "integer"}, {"short", "smallint"},    {"single", "real"}, {"double", "double precision"},
        {"memo", "text"},    {"date", "timestamp(0)"}, {"bytes", "bytea"}, {"decimal", "numeric(18,4)"}};
    const auto found = kTypes.find(name);
    return found == kTypes.end() ? "varchar" + name.substr(4) : found->second;
  }
  bool native_numbers() const override { return true; }
};

INSTANTIATE_TEST_SUITE_P(Odbc, ProviderContract,
                         testing::Values(ProviderParam{"PostgreSQL",
                                                       [] { return std::make_unique<PostgresProvider>(); }}),
                         ParamName);

class Odbc : public testing::Test {
 protected:
  void SetUp() override {
    PostgresServer::Get().Reset("TLKD-ING",
                                "CREATE TABLE beam (ntc_id integer, beam_name varchar(8), pattern_id "
                                "smallint, PRIMARY KEY (beam_name, ntc_id));"
                                "INSERT INTO beam VALUES (1, 'A', 5), (1, 'B', 6), (2, 'A', 7)");
    ado_.DsName = Value::Text("TLKD-ING");
    ado_.username = Value::Text("NONAME");
    ado_.OpenIngresAdoConnection();
  }

  Connection& cn() { return ado_.Cn(); }

  cadodb ado_;
};

TEST_F(Odbc, OpensTheConnectionStringOfIngres) {
  EXPECT_EQ(cn().ConnectionString, "PROVIDER=MSDASQL; DSN=TLKD-ING; UID=NONAME;PWD=;");
}

TEST_F(Odbc, UpdatesRowsWhoseKeyIsNotSelected) {
  Recordset rs;
  rs.Open("select pattern_id from beam where pattern_id is not null order by beam_name, ntc_id", cn(),
          CursorType::kKeyset, LockType::kOptimistic);
  EXPECT_EQ(rs.FieldCount(), 1);
  for (; !rs.Eof(); rs.MoveNext()) {
    if (rs.Get("pattern_id").ToInt16() != 7) continue;
    rs.Set("PATTERN_ID", Value::Null());
    rs.Update();
  }
  rs.Close();
  rs.Open("select ntc_id, beam_name from beam where pattern_id is null", cn(), CursorType::kStatic);
  ASSERT_EQ(rs.RecordCount(), 1);
  EXPECT_EQ(rs.Get("ntc_id").ToInt32(), 2);
}

TEST_F(Odbc, RowsThatCannotBeToldApartAreNotChanged) {
  cn().Execute(
      "CREATE TABLE twin (a integer, b varchar(5)); INSERT INTO twin VALUES (1, 'x'), (1, 'x'), (2, 'x')");
  Recordset rs;
  rs.Open("SELECT a, b FROM twin ORDER BY a", cn(), CursorType::kKeyset, LockType::kOptimistic);
  rs.Set("b", Value::Text("y"));
  EXPECT_EQ(ErrorNumber([&] { rs.Update(); }), kErrRowGone);
  rs.CancelUpdate();
  EXPECT_EQ(ErrorNumber([&] { rs.Delete(); }), kErrRowGone);
  // Old values that no row has any more.
  rs.MoveLast();
  cn().Execute("UPDATE twin SET b = 'z' WHERE a = 2");
  EXPECT_EQ(ErrorNumber([&] { rs.Delete(); }), kErrRowGone);
  rs.Close();
  rs.Open("SELECT b FROM twin ORDER BY a", cn(), CursorType::kStatic);
  EXPECT_EQ(rs.RecordCount(), 3);
  EXPECT_EQ(rs.Get("b").ToText(), "x");
  // The taken-back change left the connection in autocommit mode.
  cn().Execute("DELETE FROM twin");
  Connection other;
  other.Open(cn().ConnectionString);
  rs.Close();
  rs.Open("SELECT * FROM twin", other);
  EXPECT_TRUE(rs.Eof());
}

TEST_F(Odbc, RowsThatGetTheirKeyFromTheServerStayCurrent) {
  cn().Execute("CREATE TABLE counted (id serial PRIMARY KEY, a integer)");
  Recordset rs;
  rs.Open("SELECT * FROM counted", cn(), CursorType::kKeyset, LockType::kOptimistic);
  rs.AddNew();
  rs.Set("a", Value::Int32(4));
  rs.Update();
  EXPECT_EQ(rs.Get("a").ToInt32(), 4);
}

TEST_F(Odbc, ErrorsCarryTheDriversNumberAndText) {
  std::string description;
  EXPECT_NE(ErrorNumber([&] { cn().Execute("select * from no_such_table"); }, &description), 0);
  EXPECT_NE(description.find("\"no_such_table\" does not exist"), std::string::npos) << description;
  Connection missing;
  EXPECT_NE(ErrorNumber([&] { missing.Open("PROVIDER=MSDASQL; DSN=NOBODY; UID=;PWD=;"); }, &description), 0);
  EXPECT_FALSE(missing.is_open());
}

TEST_F(Odbc, LostConnectionIsReportedAndDoesNotHang) {
  Recordset keyset, pid;
  keyset.Open("SELECT * FROM beam", cn(), CursorType::kKeyset, LockType::kOptimistic);
  pid.Open("SELECT pg_backend_pid()", cn());
  Connection killer;
  killer.Open("PROVIDER=MSDASQL; DSN=TLKD-ING; UID=postgres;PWD=;");
  killer.Execute("SELECT pg_terminate_backend(" + pid.Get(0).ToText() + ")");

  std::string description;
  EXPECT_NE(ErrorNumber([&] { cn().Execute("DELETE FROM beam"); }, &description), 0);
  EXPECT_NE(description.find("The connection to the data source \"TLKD-ING\" is lost"), std::string::npos)
      << description;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(ErrorNumber([&] { cn().Execute("DELETE FROM beam"); }, &description), kErrFailed);
    EXPECT_NE(description.find("is lost"), std::string::npos);
  }
  EXPECT_NE(ErrorNumber([&] { keyset.MoveNext(); }), 0);
  Recordset rs;
  EXPECT_NE(ErrorNumber([&] { rs.Open("SELECT * FROM beam", cn()); }), 0);
  cn().Close();
  rs.Open("SELECT * FROM beam", killer, CursorType::kStatic);
  EXPECT_EQ(rs.RecordCount(), 3);
}

TEST(SelectShape, RecognisesPlainColumnsOfOneTable) {
  struct Case {
    const char* sql;
    bool single;
    const char* table;
    const char* list;
    std::size_t columns;
  };
  const std::vector<Case> cases = {
      {"select * from history  Where ntc_id = 3 ORDER BY seq_no desc", true, "history", "*", 1},
      {"SELECT freq_assgn, assgn.freq_mhz  FROM assgn  where assgn.grp_id = 4", true, "assgn",
       "freq_assgn, assgn.freq_mhz", 2},
      {"select a x, b as \"from\" from s.\"T t\" as q where c in (select c from d group by c)", true,
       "s.\"T t\"", "a x, b as \"from\"", 2},
      {"select a from t for update", true, "t", "a", 1},
      {"select a from t;", true, "t", "a", 1},
      {"select a from t, u", false, "", "", 0},
      {"select a from t x inner join u on x.a = u.a", false, "", "", 0},
      {"select distinct a from t", false, "", "", 0},
      {"select count(a) from t", false, "", "", 0},
      {"select max (a) as m from t", false, "", "", 0},
      {"select a, 1 from t", false, "", "", 0},
      {"select a from t group by a", false, "", "", 0},
      {"select a from t where 1 = 1 union select a from t", false, "", "", 0},
      {"select a from (select a from t) x", false, "", "", 0},
      {"select a", false, "", "", 0},
      {"select 'from t' from", false, "", "", 0},
      {"delete from t", false, "", "", 0},
      {"", false, "", "", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sql);
    SelectShape shape;
    ASSERT_EQ(ParseSingleTableSelect(c.sql, &shape), c.single);
    if (!c.single) continue;
    EXPECT_EQ(shape.table, c.table);
    EXPECT_EQ(shape.list, c.list);
    EXPECT_EQ(shape.columns.size(), c.columns);
  }
}

}  // namespace
}  // namespace vnt::db
