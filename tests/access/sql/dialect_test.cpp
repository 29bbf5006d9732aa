// What queries mean: Access text on the left, rows (or a part of the error) on the right.
#include "sql_fixture.h"

namespace jet::sql {
namespace {

struct Pair {
  const char* sql;
  const char* rows;
};

class DialectTest : public SqlTest {
 protected:
  void SetUp() override {
    SqlTest::SetUp();
    Run(
        {"CREATE TABLE t (id LONG, name TEXT(20), n DOUBLE, d DATETIME, f YESNO, m CURRENCY, [comment] MEMO, "
         "CONSTRAINT pk PRIMARY KEY (id))",
         "INSERT INTO t VALUES (1, 'a', 1.5, #1/2/2000#, True, 1.1, 'x')",
         "INSERT INTO t VALUES (2, 'A', 2.5, #12/31/1949 18:00:00#, False, 922337203685477.5807, Null)",
         "INSERT INTO t VALUES (3, 'a ', Null, Null, False, Null, 'long')",
         "INSERT INTO t VALUES (4, Null, -2.5, #1/2/2000#, True, 0.0001, '')",
         "CREATE TABLE u (id LONG, k SHORT, v TEXT(5))", "CREATE INDEX iu ON u (id, k)",
         "INSERT INTO u VALUES (1, 3, 'x')", "INSERT INTO u VALUES (1, 1, 'y')",
         "INSERT INTO u VALUES (2, 2, 'z')", "INSERT INTO u VALUES (9, Null, Null)"});
  }

  void Check(const std::vector<Pair>& pairs) {
    for (const Pair& p : pairs) {
      const std::string rows = Ask(p.sql), expected = p.rows;
      if (expected.rfind("error: ", 0) == 0) {
        EXPECT_NE(rows.find(expected.substr(7)), std::string::npos) << p.sql << "\n" << rows;
        EXPECT_EQ(rows.rfind("error: ", 0), 0u) << p.sql << "\n" << rows;
      } else {
        EXPECT_EQ(rows, expected) << p.sql;
      }
    }
  }
};

TEST_F(DialectTest, Expressions) {
  Check({
      {"select 1 + 2 * 3, (1 + 2) * 3, 2 ^ 3, -2 ^ 2, 7 \\ 2, 7 mod 4, 7 / 2", "7|9|8|-4|3|3|3.5"},
      {"select 6 / 4 * 2, 2.5 \\ 1, 3.5 \\ 1, -7 \\ 2, -7 mod 4", "3|2|4|-3|-3"},
      {"select 'a' + 'b', 'a' + null, 'a' & null, null & null, 'a' & 1.5, 1 & 2",
       "'ab'|null|'a'|null|'a1.5'|'12'"},
      {"select '5' + 1, 1 + '5'", "6|6"},
      {"select 1 & 2 + 3, 4 - 1 & 2, 'a' & 1 = 'a1'", "'15'|'32'|-1"},
      {"select 'x' + 1", "error: 'x' is no number"},
      {"select id / 0 from t", "error: Division by zero"},
      {"select id \\ 0 from t", "error: Division by zero"},
      {"select \"it\"\"s\", 'it''s', \"a'b\"", "'it\"s'|'it's'|'a'b'"},
      {"select true, false, yes, no, 1 = 1, 1 > 2, not 1 = 1, null = 1", "-1|0|-1|0|-1|0|0|null"},
      {"select iif(1 = 1, 'y', 'n'), iif(null, 1, 2), nz(null, 5), nz(null), isnull(null), isnull(1)",
       "'y'|2|5|''|-1|0"},
      {"select switch(1 = 2, 'a', 2 = 2, 'b'), choose(2, 'a', 'b'), choose(3, 'a', 'b')", "'b'|'b'|null"},
      {"select 1 between 0 and 2, 3 not between 0 and 2, 1 in (1, 2), 3 not in (1, 2), 3 in (1, null)",
       "-1|-1|-1|-1|null"},
      {"select true and false, true or false, true xor true, true eqv true, true imp false", "0|-1|0|-1|0"},
  });
}

TEST_F(DialectTest, Functions) {
  Check({
      {"select LEFT('abc', 2), Right ('abc', 2), mid('abcd', 2, 2), mid('abc', 2), len('abc'), left(null, 1)",
       "'ab'|'bc'|'bc'|'bc'|3|null"},
      {"select left('€uro', 1), right('xé', 1), len('😀'), ucase('éa'), lcase('ÉA'), ucase(null)",
       "'€'|'é'|2|'ÉA'|'éa'|null"},
      {"select len(#1/2/2000#), left(#1/2/2000#, 3), trim(#1/2/2000#)", "8|'1/2'|'1/2/2000'"},
      {"select trim('  a '), ltrim('  a '), rtrim('  a '), trim(chr(9))", "'a'|'a '|'  a'|'\t'"},
      {"select instr('abc', 'C'), instr(2, 'aba', 'a'), instr('abc', 'x'), instr(1, 'abC', 'c', 0)",
       "3|3|0|0"},
      {"select round(5.05, 1), round(12.35, 1), round(0.125, 2), round(null, 1), round(2.5), round(7, 2)",
       "5|12.4|0.12|null|2|7"},
      {"select int(-1.5), fix(-1.5), abs(-3), sgn(-2), sqr(9), cint(2.5), clng('12'), cdbl('1.5')",
       "-2|-1|3|-1|3|2|12|1.5"},
      {"select cint(40000)", "error: Overflow"},
      {"select val('12abc'), val(' 1 2'), val('x'), str(5), str(-5), cstr(1.0), asc('A'), chr(66)",
       "12|12|0|' 5'|'-5'|'1'|65|'B'"},
      {"select str(0.5), str(-0.25), str(10.5), str(0), str(cdbl('1e-20')), cstr(0.5)",
       "' .5'|'-.25'|' 10.5'|' 0'|' 1E-20'|'0.5'"},
      {"select string(3, 'ab'), space(2), replace('aXa', 'X', 'y'), strcomp('a', 'A'), strcomp('a', 'B', 0)",
       "'aaa'|'  '|'aya'|0|1"},
      {"select year(#2/3/2001#), month(#2/3/2001#), day(#2/3/2001#), weekday(#11/21/2026#), hour(#13:45:10#)",
       "2001|2|3|7|13"},
      {"select day(#13/2/2001#), month(#13/2/2001#), day(#2005-04-12#), month(#2005-04-12#)", "13|2|12|4"},
      {"select #1/1/1900#, #12/30/1899#, #12/29/1899 6:00:00#, #6:00 PM#", "2|0|-1.25|0.75"},
      {"select dateserial(2000, 13, 1) = #1/1/2001#, datevalue('3/4/2001') = #3/4/2001#, cdate('x')",
       "error: no date"},
      {"select #13/13/2001#", "error: is no date"},
      {"select format(1234.567, '#,##0.00'), format(0.5, '#.#'), format(5, '####0.#####'), format(0.256, "
       "'0%')",
       "'1,234.57'|'.5'|'5.'|'26%'"},
      {"select format(#4/12/2005 13:05:09#, 'dd/mm/yyyy hh:nn:ss'), format(#4/12/2005#, 'd mmm yy')",
       "'12/04/2005 13:05:09'|'12 Apr 05'"},
      {"select format(2.345, '0.00'), format(-1.5, '0.0;(0.0)'), format(#1/2/2000#, 'h:mm'), format(null, "
       "'0')",
       "'2.35'|'(1.5)'|'0:00'|''"},
      {"select 'on ' & #4/12/2005#, 'at ' & #4/12/2005 13:05:00#",
       "'on 4/12/2005'|'at 4/12/2005 1:05:00 PM'"},
      {"select nosuch(1)", "error: There is no function 'nosuch'"},
      {"select left('a')", "error: takes another number of values"},
  });
}

TEST_F(DialectTest, SinglesAsTextHaveSevenDigits) {
  Run({"CREATE TABLE s (id LONG, v SINGLE)", "INSERT INTO s VALUES (1, 0.1)",
       "INSERT INTO s VALUES (2, 16777217)", "INSERT INTO s VALUES (3, Null)",
       "INSERT INTO s VALUES (4, -2.5)"});
  Check({{"select v & '', '/' & v, cstr(nz(v, 0)), len(v), str(v), left(v, 3) from s where id = 1",
          "'0.1'|'/0.1'|'0.100000001490116'|3|' .1'|'0.1'"},
         {"select v & '' from s where id > 1", "'1.677722E+07'; ''; '-2.5'"},
         {"select v * 1 & '' from s where id = 1", "'0.100000001490116'"}});
}

TEST_F(DialectTest, ComparisonOfText) {
  Check({
      {"select id from t where name = 'a'", "1"},
      {"select id from t where name <> 'a'", "2; 3"},
      {"select id from t where name = \"A\"", "2"},
      {"select id from t where name < 'a' order by id", "2"},
      {"select id from t where name like 'A*' order by id", "1; 2; 3"},
      {"select id from t where name like '?' order by id", "1; 2"},
      {"select 'a1' like 'a#', 'ab' like 'a#', 'b' like '[a-c]', 'b' like '[!a-c]', 'a*' like 'a[*]', null "
       "like 'a'",
       "-1|0|-1|0|-1|null"},
      {"select id from t where not name like 'a*'", ""},
      {"select id from t where comment = ''", "4"},
      {"select id from t where name = 5", "error: Data type mismatch"},
      {"select id from t where id = '5'", "error: Data type mismatch"},
      {"select id from t where d < '01/01/1950'", "error: Data type mismatch"},
  });
}

TEST_F(DialectTest, Rows) {
  Check({
      {"select * from t where id = 1", "1|'a'|1.5|36527|-1|1.1000d|'x'"},
      {"select m from t where m is not null order by m", "0.0001d; 1.1000d; 922337203685477.5807d"},
      {"select id from t where m = 1.1", "1"},
      {"select id from t where m > 900000000000000", "2"},
      {"select id from t order by n, id", "3; 4; 1; 2"},
      {"select id from t order by n desc", "2; 1; 4; 3"},
      {"select id from t order by d, id desc", "3; 2; 4; 1"},
      {"select id, name as x from t order by x, 1", "4|null; 2|'A'; 1|'a'; 3|'a '"},
      {"select id from t where d < #01/01/1950#", "2"},
      {"select id from t where f", "1; 4"},
      {"select id from t where f = false and n is null", "3"},
      {"select id from t where id between 2 and 3", "2; 3"},
      {"select id from t where id in (4, 1, 7) order by id", "1; 4"},
      {"select id from t where id = 1.5", ""},
      {"select id from t where id = 99999999999", ""},
      {"select id from t where id < 99999999999 and id > 2.5 order by id", "3; 4"},
      {"select id from t where id >= -1e30 and id <= 1.99", "1"},
      {"select t.id, [name] from [t] where [t].[id] = 2 ; ", "2|'A'"},
      {"select a.id from t as a, t b where a.id = b.id and b.id < 3", "1; 2"},
      {"t",
       "1|'a'|1.5|36527|-1|1.1000d|'x'; 2|'A'|2.5|18263.75|0|922337203685477.5807d|null; "
       "3|'a '|null|null|0|null|'long'; 4|null|-2.5|36527|-1|0.0001d|''"},
      {"select top 2 id from t order by id desc", "4; 3"},
      {"select top 1 id from t order by d desc", "1; 4"},
      {"select top 50 percent id from t order by id", "1; 2"},
      {"select distinct d from t order by d", "null; 18263.75; 36527"},
      {"select distinctrow id from t where id = 1", "1"},
  });
}

TEST_F(DialectTest, JoinsAndSubqueries) {
  Check({
      {"select t.id, u.k from t inner join u on t.id = u.id order by t.id, u.k", "1|1; 1|3; 2|2"},
      {"select t.id, u.k from t left join u on t.id = u.id order by t.id, u.k",
       "1|1; 1|3; 2|2; 3|null; 4|null"},
      {"select t.id, u.id from t right join u on t.id = u.id order by u.id, u.k", "1|1; 1|1; 2|2; null|9"},
      {"select t.id, u.v, w.v from (t inner join u on t.id = u.id) inner join u as w on w.id = t.id and w.k "
       "= u.k "
       "order by u.v",
       "1|'x'|'x'; 1|'y'|'y'; 2|'z'|'z'"},
      {"select t.id from t left join (u inner join u as w on u.id = w.id) on t.id = u.id where w.id is null",
       "3; 4"},
      {"select id from t where id in (select id from u) order by id", "1; 2"},
      {"select id from t where exists (select * from u where u.id = t.id and k = 3)", "1"},
      {"select id, (select max(k) from u where u.id = t.id) as mk from t order by id",
       "1|3; 2|2; 3|null; 4|null"},
      {"select x.id, x.c from (select id, count(*) as c from u group by id) as x where x.c > 1", "1|2"},
      {"select id, count (k) as c, sum(k), avg(k), min(v), max (v) from u group by id having id < 5 order by "
       "id",
       "1|2|4|2|'x'|'y'; 2|1|2|2|'z'|'z'"},
      {"select max (k) as m, count(*), first(v), last(v), var(k), stdevp(k) from u where id = 1",
       "3|2|'x'|'y'|2|1"},
      {"select max(k) from u where id = 77", "null"},
      {"select id from t where id < 3 union select id from u order by id", "1; 2; 9"},
      {"select id from u union all select id from u where id = 9 order by 1 desc", "9; 9; 2; 1; 1"},
      {"select u.* from u where u.id = 1 order by k desc", "1|3|'x'; 1|1|'y'"},
      {"select k from u where id = 1 and k is null", ""},
      {"select id from u where k is null", "9"},
  });
}

TEST_F(DialectTest, Errors) {
  Check({
      {"select * form t", "error: Syntax error near 'form' at character 10."},
      {"select * from t where", "error: the statement ends too early"},
      {"select id from nosuch", "error: The table 'nosuch' does not exist."},
      {"select nosuch from t", "error: No column 'nosuch' in 't'."},
      {"select x.id from t", "error: the table 'x' is not in the FROM list"},
      {"select id from t, u", "error: more than one table"},
      {"select 'abc from t", "error: not closed begins at character 8."},
      {"select id from t where id in (select id, k from u)", "error: must have one column"},
      {"select id from t union select id, k from u", "error: different numbers of columns"},
      {"select id from t order by 3", "error: output column that does not exist"},
      {"select id from t, t", "error: names 't' twice"},
      {"transform count(*) select id from t", "error: not supported"},
      {"update t set id = 1", "error: is no query"},
      {"select ((((((((((1", "error: ends too early"},
      {"select 1 as from t", "error: Syntax error near 't'"},
  });
  try {
    session_->Open("select é, * form t");
    FAIL();
  } catch (const Error& e) {
    EXPECT_EQ(e.kind(), ErrorKind::kInvalid);
    EXPECT_EQ(e.offset(), 13);  // bytes
    EXPECT_NE(std::string(e.what()).find("character 13"), std::string::npos) << e.what();
  }
}

TEST_F(DialectTest, TableDroppedUnderAQuery) {
  auto query = session_->Open("select id, name from t");
  auto other = session_->Open("select id from u");
  ASSERT_TRUE(query->Step());
  ASSERT_TRUE(other->Step());
  EXPECT_EQ(Do("drop table t"), "0");
  EXPECT_EQ(Do("create table t (id long)"), "0");
  EXPECT_THROW(query->Step(), Error);
  EXPECT_TRUE(other->Step());
  EXPECT_EQ(Ask("select * from t"), "");
}

TEST_F(DialectTest, ColumnsTellTheirOrigin) {
  auto query = session_->Open("select ID, n * 2, n as other, t.f from t");
  ASSERT_EQ(query->columns().size(), 4u);
  EXPECT_EQ(query->columns()[0].name, "id");
  EXPECT_EQ(query->columns()[0].table, "t");
  EXPECT_EQ(query->columns()[0].type, ColumnType::kLong);
  EXPECT_EQ(query->columns()[1].name, "Expr1000");
  EXPECT_EQ(query->columns()[1].table, "");
  EXPECT_FALSE(query->columns()[1].type.has_value());
  EXPECT_EQ(session_->Open("select max(d) from t")->columns()[0].type, ColumnType::kDateTime);
  EXPECT_EQ(session_->Open("select id = 1 from t")->columns()[0].type, ColumnType::kBoolean);
  EXPECT_EQ(query->columns()[2].name, "other");
  EXPECT_EQ(query->columns()[2].column, "n");
  const auto nested = session_->Open("select q.x, q.f from (select n as x, f from t) as q");
  EXPECT_EQ(nested->columns()[0].name, "x");
  EXPECT_EQ(nested->columns()[0].column, "n");
  EXPECT_EQ(nested->columns()[1].name, "f");
  ASSERT_NE(query->base_table(), nullptr);
  ASSERT_TRUE(query->Step());
  Row row;
  ASSERT_TRUE(query->base_table()->Fetch(query->row_id(), &row));
  EXPECT_EQ(row.GetInteger(0), query->Get(0).integer());

  for (const char* sql : {"select distinct id from t", "select count(*) from t", "select t.id from t, u",
                          "select id from t union all select id from u", "select max(id) from t"}) {
    EXPECT_EQ(session_->Open(sql)->base_table(), nullptr) << sql;
  }
}

TEST_F(DialectTest, Parameters) {
  EXPECT_EQ(Ask("select id from t where id = ?", {Value::Integer(2)}), "2");
  EXPECT_EQ(Ask("select id from t where id = ?", {Value::Text("2")}), "2");
  EXPECT_EQ(Ask("select id from t where name = ? and id = 1", {Value::Text("a")}), "1");
  EXPECT_EQ(Ask("select id from t where id = ?", {Value::Null()}), "");
  EXPECT_EQ(Ask("select id from t where id = ?"),
            "error: The statement has 1 parameters, but 0 values were given.");
  // Constants that are lifted stand behind the parameters, whatever their order in the text.
  EXPECT_EQ(Ask("select id from t where id < 4 and id > ? and n > -3 order by id", {Value::Integer(1)}), "2");
}

TEST_F(DialectTest, QueriesSurviveChangesAndReuse) {
  auto outer = session_->Open("select id from t where id > 0 order by id");
  auto walk = session_->Open("select id, name from t where id < 100");
  ASSERT_TRUE(outer->Step());
  ASSERT_TRUE(walk->Step());
  // The same text again while the first one runs.
  EXPECT_EQ(Ask("select id from t where id > 0 order by id"), "1; 2; 3; 4");
  EXPECT_EQ(Do("delete from t where id >= 2"), "3");
  EXPECT_EQ(Do("update t set name = 'changed' where id = 1"), "1");
  EXPECT_EQ(Do("create table w (a long)"), "0");
  EXPECT_EQ(Do("insert into w values (7)"), "1");
  EXPECT_EQ(Ask("select a from w"), "7");
  EXPECT_FALSE(walk->Step());
  while (outer->Step()) {
  }
  EXPECT_EQ(Ask("select id from t where id > 0 order by id"), "1");
}

}  // namespace
}  // namespace jet::sql
