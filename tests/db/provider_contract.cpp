#include "tests/db/provider_contract.h"

#include <set>
#include <vector>

#include "db/services.h"
#include "platform/in_force.h"

namespace vnt::db {

std::int32_t ErrorNumber(const std::function<void()>& work, std::string* description) {
  try {
    work();
  } catch (const DbError& error) {
    if (description != nullptr) *description = error.description();
    EXPECT_FALSE(error.description().empty());
    EXPECT_FALSE(error.source().empty());
    return error.number();
  }
  return 0;
}

void ProviderContract::Create(const std::string& ddl) {
  std::string sql;
  for (std::size_t i = 0; i < ddl.size(); ++i) {
    if (ddl[i] != '{') {
      sql += ddl[i];
      continue;
    }
    const std::size_t end = ddl.find('}', i);
    sql += provider_->Type(ddl.substr(i + 1, end - i - 1));
    i = end;
  }
  cn_.Execute(sql);
}

void ProviderContract::CreateNumbered(int count) {
  Create(
      "CREATE TABLE t (k {long} NOT NULL, n {short}, d {double}, s {text(10)}, CONSTRAINT pk_t PRIMARY KEY "
      "(k))");
  for (int k = 1; k <= count; ++k) {
    const std::string number = std::to_string(k);
    cn_.Execute("INSERT INTO t VALUES (" + number + ", " + number + "0, " + number + ".5, 'row " + number +
                "')");
  }
}

std::string ProviderContract::Column(const std::string& sql) {
  Recordset rs;
  rs.Open(sql, cn_);
  std::string text;
  for (; !rs.Eof(); rs.MoveNext()) {
    if (!text.empty()) text += ' ';
    text += rs.Get(0).is_null() ? "-" : rs.Get(0).ToText();
  }
  return text;
}

namespace {

TEST_P(ProviderContract, ExecuteCountsTheRowsItChanges) {
  CreateNumbered(5);
  EXPECT_EQ(cn_.Execute("UPDATE t SET n = 0 WHERE k > 2"), 3);
  EXPECT_EQ(cn_.Execute("UPDATE t SET n = 0 WHERE k > 99"), 0);
  EXPECT_EQ(cn_.Execute("INSERT INTO t (k, n) SELECT k + 10, n FROM t WHERE k < 3"), 2);
  EXPECT_EQ(cn_.Execute("SELECT * FROM t"), 0);
  EXPECT_EQ(cn_.Execute("DELETE FROM t WHERE k > 4"), 3);
  EXPECT_EQ(Column("SELECT k FROM t ORDER BY k"), "1 2 3 4");
}

TEST_P(ProviderContract, FieldsHaveTheTypesOfTheirColumns) {
  Create(
      "CREATE TABLE v (id {long} NOT NULL, c_short {short}, c_long {long}, c_single {single}, c_double "
      "{double}, "
      "c_text {text(20)}, c_memo {memo}, c_date {date}, c_bytes {bytes}, c_decimal {decimal}, "
      "CONSTRAINT pk_v PRIMARY KEY (id))");
  const std::string text = "\xC3\x84nderung \xE2\x82\xAC \xF0\x9F\x9B\xB0";  // umlaut, euro sign, a satellite
  const std::string memo = std::string(5000, 'x') + text;
  const std::string bytes = std::string("\0\1\xff", 3);
  const std::vector<std::pair<std::string, Value>> values = {
      {"ID", Value::Int32(1)},
      {"c_short", Value::Int16(-32768)},
      {"c_long", Value::Int32(-2147483647 - 1)},
      {"c_single", Value::Single(0.1f)},
      {"c_double", Value::Double(1.0 / 3)},
      {"c_text", Value::Text(text)},
      {"c_memo", Value::Text(memo)},
      {"c_date", Value::Date(38454.5)},
      {"c_bytes", Value::Binary(bytes)},
      {"c_decimal", Value::Decimal("123.45")},
  };
  Recordset writer;
  writer.Open("SELECT * FROM v", cn_, CursorType::kKeyset, LockType::kOptimistic);
  writer.AddNew();
  for (const auto& [name, value] : values) writer.Set(name, value);
  writer.Update();
  writer.AddNew();
  writer.Set("id", Value::Int32(2));
  writer.Update();
  writer.AddNew();
  writer.Set("id", Value::Int32(3));
  writer.Set("c_text", Value::Text(""));
  writer.Update();

  for (const CursorType cursor : {CursorType::kForwardOnly, CursorType::kKeyset, CursorType::kStatic}) {
    SCOPED_TRACE(static_cast<int>(cursor));
    Recordset rs;
    rs.Open("SELECT * FROM v ORDER BY id", cn_, cursor);
    ASSERT_EQ(rs.FieldCount(), 10);
    for (const auto& [name, value] : values) {
      const Value got = rs.Get(name);
      EXPECT_EQ(got.type(), value.type()) << name;
      if (got.type() == ValueType::kDecimal) {
        EXPECT_EQ(got.ToText(), value.ToText());
      } else {
        EXPECT_TRUE(got == value) << name;
      }
    }
    rs.MoveNext();
    for (std::size_t i = 1; i < values.size(); ++i) EXPECT_TRUE(rs.Get(values[i].first).is_null()) << i;
    rs.MoveNext();
    EXPECT_TRUE(rs.Get("c_text") == Value::Text(""));
    EXPECT_TRUE(rs.Get("c_memo").is_null());
  }
}

TEST_P(ProviderContract, ForwardOnlyWalksToTheEnd) {
  CreateNumbered(3);
  Recordset rs;
  rs.Open("SELECT k, s AS label FROM t ORDER BY k DESC", cn_);
  EXPECT_EQ(rs.RecordCount(), -1);
  EXPECT_EQ(rs.FieldName(1), "label");
  EXPECT_EQ(rs.Get("LABEL").ToText(), "row 3");
  std::string description;
  EXPECT_EQ(ErrorNumber([&] { rs.Get("nothing"); }, &description), kErrItemNotFound);
  EXPECT_NE(description.find("nothing"), std::string::npos);
  EXPECT_EQ(ErrorNumber([&] { rs.Get(2); }), kErrItemNotFound);
  EXPECT_EQ(ErrorNumber([&] { rs.Set("k", Value::Int32(1)); }), kErrReadOnlyRecordset);
  EXPECT_EQ(ErrorNumber([&] { rs.MoveLast(); }), kErrWrongMove);
  rs.MoveNext();
  rs.MoveNext();
  EXPECT_EQ(rs.Get("k").ToInt32(), 1);
  rs.MoveFirst();
  EXPECT_EQ(rs.Get("k").ToInt32(), 3);
  while (!rs.Eof()) rs.MoveNext();
  EXPECT_EQ(ErrorNumber([&] { rs.Get("k"); }), kErrNoCurrentRecord);
  EXPECT_EQ(ErrorNumber([&] { rs.MoveNext(); }), kErrNoCurrentRecord);
  rs.Close();
  EXPECT_EQ(ErrorNumber([&] { rs.Eof(); }), kErrObjectClosed);
  rs.Open("SELECT k FROM t WHERE k = 99", cn_);
  EXPECT_TRUE(rs.Eof());
  EXPECT_TRUE(rs.Bof());
}

TEST_P(ProviderContract, ForwardOnlySurvivesChangesOfItsTable) {
  CreateNumbered(200);
  Recordset rs;
  rs.Open("SELECT k, n FROM t", cn_);
  std::set<std::int32_t> met;
  while (!rs.Eof()) {
    const std::int32_t k = rs.Get("k").ToInt32();
    EXPECT_TRUE(met.insert(k).second) << k;
    cn_.Execute("DELETE FROM t WHERE k = " + std::to_string(k));
    cn_.Execute("UPDATE t SET n = 1, s = 'longer one' WHERE k = " + std::to_string(k + 1) + " AND 1 = 0");
    cn_.Execute("UPDATE t SET s = 'long one' WHERE k > " + std::to_string(k + 190));
    if (k <= 200 && k % 50 == 0) cn_.Execute("INSERT INTO t (k) VALUES (" + std::to_string(1000 + k) + ")");
    ASSERT_LT(met.size(), 300u);
    rs.MoveNext();
  }
  for (int k = 1; k <= 200; ++k) EXPECT_EQ(met.count(k), 1u) << k;
}

TEST_P(ProviderContract, KeysetMovesBothWays) {
  CreateNumbered(3);
  Recordset rs;
  rs.Open("SELECT k FROM t ORDER BY k", cn_, CursorType::kKeyset);
  EXPECT_EQ(rs.RecordCount(), 3);
  rs.MoveLast();
  EXPECT_EQ(rs.Get(0).ToInt32(), 3);
  rs.MovePrevious();
  EXPECT_EQ(rs.Get(0).ToInt32(), 2);
  rs.MoveFirst();
  EXPECT_EQ(rs.Get(0).ToInt32(), 1);
  rs.MovePrevious();
  EXPECT_TRUE(rs.Bof());
  EXPECT_FALSE(rs.Eof());
  EXPECT_EQ(ErrorNumber([&] { rs.MovePrevious(); }), kErrNoCurrentRecord);
  EXPECT_EQ(ErrorNumber([&] { rs.Get(0); }), kErrNoCurrentRecord);
  rs.MoveNext();
  EXPECT_EQ(rs.Get(0).ToInt32(), 1);
}

TEST_P(ProviderContract, KeysetReadsRowsAgainAndSkipsThoseThatAreGone) {
  CreateNumbered(5);
  Recordset rs;
  rs.Open("SELECT * FROM t WHERE n > 0 ORDER BY k", cn_, CursorType::kKeyset);
  cn_.Execute("DELETE FROM t WHERE k = 2 OR k = 5");
  cn_.Execute("UPDATE t SET n = -3, s = 'changed' WHERE k = 3");  // leaves the selection, stays a member
  cn_.Execute("INSERT INTO t (k, n) VALUES (9, 90)");
  EXPECT_EQ(rs.Get("k").ToInt32(), 1);
  rs.MoveNext();
  EXPECT_EQ(rs.Get("k").ToInt32(), 3);
  EXPECT_EQ(rs.Get("n").ToInt16(), -3);
  EXPECT_EQ(rs.Get("s").ToText(), "changed");
  rs.MoveNext();
  EXPECT_EQ(rs.Get("k").ToInt32(), 4);
  rs.MoveNext();
  EXPECT_TRUE(rs.Eof());
}

TEST_P(ProviderContract, StaticIsASnapshot) {
  CreateNumbered(3);
  Recordset rs;
  rs.Open("SELECT k, n FROM t ORDER BY k", cn_, CursorType::kStatic);
  cn_.Execute("UPDATE t SET n = 0");
  cn_.Execute("DELETE FROM t WHERE k = 2");
  EXPECT_EQ(rs.RecordCount(), 3);
  rs.MoveNext();
  EXPECT_EQ(rs.Get("k").ToInt32(), 2);
  EXPECT_EQ(rs.Get("n").ToInt16(), 20);
  EXPECT_EQ(ErrorNumber([&] { rs.Delete(); }), kErrReadOnlyRecordset);
}

TEST_P(ProviderContract, UpdatesTheCurrentRow) {
  CreateNumbered(3);
  Connection other;
  provider_->Open(other);
  Recordset rs;
  rs.Open("SELECT s, n FROM t WHERE k >= 2 ORDER BY k", cn_, CursorType::kKeyset, LockType::kOptimistic);
  rs.Set("n", Value::Text("77"));
  EXPECT_EQ(rs.Get("n").ToText(), "77");
  EXPECT_EQ(Column("SELECT n FROM t WHERE k = 2"), "20");  // nothing before Update
  rs.Update();
  EXPECT_TRUE(rs.Get("n") == Value::Int16(77));
  rs.Set("s", Value::Text("dropped"));
  rs.CancelUpdate();
  EXPECT_EQ(rs.Get("s").ToText(), "row 2");
  rs.Set("s", Value::Null());
  rs.MoveNext();  // a move writes what was set
  rs.Set("n", Value::Double(2.5));
  rs.Update();
  Recordset seen;
  seen.Open("SELECT n, s FROM t ORDER BY k", other, CursorType::kStatic);
  seen.MoveNext();
  EXPECT_EQ(seen.Get("n").ToInt16(), 77);
  EXPECT_TRUE(seen.Get("s").is_null());
  seen.MoveNext();
  EXPECT_EQ(seen.Get("n").ToInt16(), 2);  // halves to even
  EXPECT_EQ(seen.Get("s").ToText(), "row 3");
}

TEST_P(ProviderContract, AddsRowsAndMakesThemCurrent) {
  CreateNumbered(1);
  Recordset rs;
  rs.Open("SELECT * FROM t WHERE k > 1", cn_, CursorType::kKeyset, LockType::kOptimistic);
  EXPECT_TRUE(rs.Eof());
  for (int k = 2; k <= 4; ++k) {
    rs.AddNew();
    rs.Set("k", Value::Int32(k));
    EXPECT_TRUE(rs.Get("n").is_null());
    rs.Set("n", Value::Int16(static_cast<std::int16_t>(k)));
    rs.Update();
    EXPECT_FALSE(rs.Eof());
    EXPECT_EQ(rs.Get("k").ToInt32(), k);
  }
  rs.AddNew();
  rs.Set("k", Value::Int32(5));
  rs.CancelUpdate();
  EXPECT_EQ(rs.RecordCount(), 3);
  EXPECT_EQ(rs.Get("k").ToInt32(), 4);
  rs.MoveFirst();
  EXPECT_EQ(rs.Get("k").ToInt32(), 2);
  EXPECT_EQ(Column("SELECT k FROM t ORDER BY k"), "1 2 3 4");
  EXPECT_EQ(Column("SELECT s FROM t WHERE k = 4"), "-");
}

TEST_P(ProviderContract, DeletesTheCurrentRow) {
  CreateNumbered(3);
  Recordset rs;
  rs.Open("SELECT * FROM t ORDER BY k", cn_, CursorType::kKeyset, LockType::kOptimistic);
  rs.MoveNext();
  rs.Delete();
  EXPECT_EQ(ErrorNumber([&] { rs.Get("k"); }), kErrNoCurrentRecord);
  EXPECT_EQ(ErrorNumber([&] { rs.Delete(); }), kErrNoCurrentRecord);
  EXPECT_EQ(rs.RecordCount(), 2);
  rs.MoveNext();
  EXPECT_EQ(rs.Get("k").ToInt32(), 3);
  rs.MovePrevious();
  EXPECT_EQ(rs.Get("k").ToInt32(), 1);
  EXPECT_EQ(Column("SELECT k FROM t ORDER BY k"), "1 3");

  // The row under the position may vanish through another statement.
  cn_.Execute("DELETE FROM t WHERE k = 1");
  rs.Set("n", Value::Int16(1));
  EXPECT_EQ(ErrorNumber([&] { rs.Update(); }), kErrRowGone);
  rs.CancelUpdate();
  EXPECT_EQ(ErrorNumber([&] { rs.Delete(); }), kErrRowGone);
}

TEST_P(ProviderContract, WalkThatChangesItsOwnSelectionMeetsEachRowOnce) {
  CreateNumbered(50);
  cn_.Execute("CREATE INDEX ix_n ON t (n)");
  Recordset rs;
  rs.Open("select n from t where n is not null and n <> 9999", cn_, CursorType::kForwardOnly,
          LockType::kOptimistic);
  int steps = 0;
  for (; !rs.Eof() && steps < 100; rs.MoveNext(), ++steps) {
    const std::int16_t n = rs.Get("n").ToInt16();
    rs.Set("n", n <= 100 ? Value::Null() : Value::Int16(static_cast<std::int16_t>(n + 1000)));
    rs.Update();
  }
  EXPECT_EQ(steps, 50);
  EXPECT_EQ(Column("SELECT COUNT(*) FROM t WHERE n IS NULL"), "10");
  EXPECT_EQ(Column("SELECT MIN(n) FROM t"), "1110");
  EXPECT_EQ(Column("SELECT MAX(n) FROM t"), "1500");
}

TEST_P(ProviderContract, RowsOfSeveralTablesCannotBeChanged) {
  CreateNumbered(2);
  for (const char* sql : {"SELECT a.k, b.n FROM t AS a, t AS b WHERE a.k = b.k", "SELECT DISTINCT n FROM t",
                          "SELECT COUNT(*) AS c FROM t", "SELECT n, COUNT(*) AS c FROM t GROUP BY n",
                          "SELECT k FROM t UNION SELECT n FROM t"}) {
    SCOPED_TRACE(sql);
    Recordset rs;
    rs.Open(sql, cn_, CursorType::kKeyset, LockType::kOptimistic);
    EXPECT_FALSE(rs.Eof());
    EXPECT_EQ(ErrorNumber([&] { rs.Set(rs.FieldName(0), Value::Int32(1)); }), kErrReadOnlyRecordset);
    EXPECT_EQ(ErrorNumber([&] { rs.AddNew(); }), kErrReadOnlyRecordset);
    EXPECT_EQ(ErrorNumber([&] { rs.Delete(); }), kErrReadOnlyRecordset);
  }
}

TEST_P(ProviderContract, TableWithoutKeyIsUpdatable) {
  Create("CREATE TABLE u (a {long}, b {double}, c {text(5)})");
  cn_.Execute("INSERT INTO u VALUES (1, 0.1, NULL)");
  cn_.Execute("INSERT INTO u VALUES (1, 0.2, 'x')");
  Recordset rs;
  rs.Open("SELECT * FROM u ORDER BY b", cn_, CursorType::kKeyset, LockType::kOptimistic);
  rs.Set("a", Value::Int32(5));
  rs.Update();
  rs.Set("b", Value::Double(1.0 / 3));
  rs.Update();
  rs.Set("c", Value::Text("y"));
  rs.Update();
  rs.MoveNext();
  rs.Delete();
  EXPECT_EQ(Column("SELECT a FROM u"), "5");
  EXPECT_EQ(Column("SELECT c FROM u"), "y");
}

TEST_P(ProviderContract, CommandTakesParametersInOrder) {
  CreateNumbered(0);
  Command insert(cn_);
  insert.CommandText = "INSERT INTO t (k, n, d, s) VALUES (?, ?, ?, ?)";
  insert.Parameters = {{"k", ValueType::kInt32, {}},
                       {"n", ValueType::kInt16, {}},
                       {"d", ValueType::kDouble, {}},
                       {"s", ValueType::kText, {}}};
  EXPECT_EQ(ErrorNumber([&] { insert.Execute(); }), kErrParameter);
  for (int k = 1; k <= 3; ++k) {
    insert.Parameters[0].value = Value::Int32(k);
    insert.Parameters[1].value = k == 2 ? Value::Null() : Value::Int16(static_cast<std::int16_t>(k));
    insert.Parameters[2].value = Value::Double(k / 3.0);
    insert.Parameters[3].value = Value::Text("it's ?" + std::to_string(k));
    EXPECT_EQ(insert.Execute(), 1);
  }
  Command remove(cn_);
  remove.CommandText = "Delete from t where k = ? OR s = ?";
  remove.Parameters = {{"trythis", ValueType::kInt32, Value::Int32(1)},
                       {"s", ValueType::kText, Value::Text("it's ?3")}};
  EXPECT_EQ(remove.Execute(), 2);
  EXPECT_EQ(remove.Execute(), 0);
  Recordset rs;
  rs.Open("SELECT * FROM t", cn_);
  EXPECT_EQ(rs.Get("k").ToInt32(), 2);
  EXPECT_TRUE(rs.Get("n").is_null());
  EXPECT_TRUE(rs.Get("d") == Value::Double(2 / 3.0));
  EXPECT_EQ(rs.Get("s").ToText(), "it's ?2");
}

TEST_P(ProviderContract, FailingStatementsReportAndChangeNothing) {
  CreateNumbered(3);
  struct Case {
    const char* sql;
    std::int32_t number;
    const char* named;  // in the description
  };
  const std::vector<Case> cases = {
      {"INSERT INTO t (k) SELECT k + 2 FROM t", kErrFailed, ""},
      {"INSERT INTO t (k) VALUES (NULL)", kErrIntegrity, "k"},
      {"UPDATE t SET n = n * 2000", kErrTruncated, ""},
      {"UPDATE t SET s = 'a text that is too long' WHERE k = 2", kErrTruncated, ""},
      {"DELETE FROM missing_table", kErrMissingTable, "missing_table"},
      {"DROP TABLE missing_table ", kErrMissingTable, "missing_table"},
      {"UPDATE t SET missing_column = 1", kErrParameter, "missing_column"},
      {"UPDATE t SET WHERE", kErrSyntax, ""},
      {"nonsense words", kErrSyntax, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sql);
    std::string description;
    const std::int32_t number = ErrorNumber([&] { cn_.Execute(c.sql); }, &description);
    if (provider_->native_numbers()) {
      EXPECT_NE(number, 0);
    } else {
      EXPECT_EQ(number, c.number) << description;
    }
    EXPECT_NE(description.find(c.named), std::string::npos) << description;
    EXPECT_EQ(description.find('\n'), std::string::npos);
    EXPECT_EQ(Column("SELECT n FROM t ORDER BY k"), "10 20 30");
    EXPECT_EQ(Column("SELECT COUNT(s) FROM t WHERE s LIKE 'row _' OR s LIKE 'row ?'"), "3");
  }
  Recordset rs;
  EXPECT_NE(ErrorNumber([&] { rs.Open("SELECT * FROM missing_table", cn_); }), 0);
  EXPECT_FALSE(rs.is_open());
}

TEST_P(ProviderContract, FailingUpdateKeepsTheRowAndTheEdit) {
  CreateNumbered(3);
  Recordset rs;
  rs.Open("SELECT * FROM t ORDER BY k", cn_, CursorType::kKeyset, LockType::kOptimistic);
  rs.Set("s", Value::Text("a text that is too long"));
  EXPECT_NE(ErrorNumber([&] { rs.Update(); }), 0);
  rs.Set("s", Value::Text("short"));
  rs.Update();
  rs.Set("n", Value::Int32(40000));
  EXPECT_EQ(ErrorNumber([&] { rs.Update(); }), kErrTruncated);
  rs.CancelUpdate();
  rs.AddNew();
  rs.Set("k", Value::Int32(2));
  EXPECT_NE(ErrorNumber([&] { rs.Update(); }), 0);
  rs.CancelUpdate();
  EXPECT_EQ(rs.RecordCount(), 3);
  EXPECT_EQ(Column("SELECT s FROM t WHERE k = 1"), "short");
  EXPECT_EQ(Column("SELECT n FROM t ORDER BY k"), "10 20 30");
}

TEST_P(ProviderContract, ClosedObjectsSaySo) {
  CreateNumbered(2);
  Recordset keyset, streaming;
  keyset.Open("SELECT * FROM t", cn_, CursorType::kKeyset, LockType::kOptimistic);
  streaming.Open("SELECT * FROM t", cn_);
  cn_.Close();
  EXPECT_EQ(ErrorNumber([&] { cn_.Execute("DELETE FROM t"); }), kErrObjectClosed);
  EXPECT_EQ(ErrorNumber([&] { keyset.MoveNext(); }), kErrObjectClosed);
  EXPECT_EQ(ErrorNumber([&] { keyset.Set("n", Value::Int16(1)); }), kErrObjectClosed);
  EXPECT_EQ(ErrorNumber([&] { keyset.AddNew(); }), kErrObjectClosed);
  EXPECT_EQ(ErrorNumber([&] { streaming.MoveNext(); }), kErrObjectClosed);
  EXPECT_EQ(ErrorNumber([&] { streaming.Get(0); }), kErrObjectClosed);
  provider_->Open(cn_);
  EXPECT_EQ(Column("SELECT k FROM t ORDER BY k"), "1 2");
}

TEST_P(ProviderContract, ObserverSeesStatementsAndRows) {
  CreateNumbered(3);
  std::vector<std::string> seen;
  auto& observer = platform::InForce<Services>().observer;
  observer = [&](const StatementEvent& event) {
    seen.push_back(std::string(event.text) + "|" + std::to_string(event.rows) +
                   (event.error != nullptr ? "|failed" : ""));
  };
  cn_.Execute("UPDATE t SET n = 1 WHERE k < 3");
  EXPECT_NE(ErrorNumber([&] { cn_.Execute("DELETE FROM missing_table"); }), 0);
  Recordset rs;
  rs.Open("SELECT * FROM t", cn_, CursorType::kKeyset, LockType::kOptimistic);
  rs.Set("n", Value::Int16(5));
  rs.Update();
  rs.Delete();
  observer = {};
  cn_.Execute("DELETE FROM t");
  EXPECT_EQ(seen, (std::vector<std::string>{"UPDATE t SET n = 1 WHERE k < 3|2",
                                            "DELETE FROM missing_table|0|failed", "SELECT * FROM t|0", "|1",
                                            "|1"}));
}

}  // namespace
}  // namespace vnt::db
