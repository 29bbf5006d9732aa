// What functions, arithmetic and comparisons give: expression on the left, value as Access gives it on the
// right.
#include "sql_fixture.h"

namespace jet::sql {
namespace {

struct Pair {
  const char* sql;
  const char* rows;
};

class ValuesTest : public SqlTest {
 protected:
  // `before` stands before each text. A result "error: x" is an error whose text holds x.
  void Check(const std::string& before, const std::vector<Pair>& pairs) {
    for (const Pair& p : pairs) {
      const std::string rows = Ask(before + p.sql), expected = p.rows;
      if (expected.starts_with("error: ")) {
        EXPECT_TRUE(rows.starts_with("error: ")) << p.sql << "\n" << rows;
        EXPECT_NE(rows.find(expected.substr(7)), std::string::npos) << p.sql << "\n" << rows;
      } else {
        EXPECT_EQ(rows, expected) << p.sql;
      }
    }
  }
};

TEST_F(ValuesTest, Functions) {
  Check(
      "select ",
      {
          {"instrrev('abcabc', 'B'), instrrev('abcabc', 'b', 4), instrrev('abc', 'x'), instrrev('abc', '')",
           "5|2|0|3"},
          {"instrrev('abcABC', 'c', -1, 0), instrrev('abc', 'c', 9), instrrev(null, 'a')", "3|0|null"},
          {"strconv('jOHN o. smith', 1), strconv('jOHN', 2), strconv('jOHN o. smith', 3)",
           "'JOHN O. SMITH'|'john'|'John O. Smith'"},
          {"strconv('a', 64)", "error: StrConv can do 1, 2 and 3 only."},
          {"hex(255), hex(-1), hex(10.5), oct(8), oct(null)", "'FF'|'FFFFFFFF'|'A'|'10'|null"},
          {"hex(99999999999)", "error: Overflow"},
          {"val('&HFF'), val('&hffff'), val('&HFFFF&'), val('&H10000'), val('&O17'), val('& H F G')",
           "255|-1|65535|65536|15|15"},
          {"val('1e3x'), val('-.5'), val('1.2.3'), val('&')", "1000|-0.5|1.2|0"},
          {"cbool('True'), cbool(0.1), cbool('0'), cbool(null)", "-1|-1|0|null"},
          {"cbool('x')", "error: 'x' is no number"},
          {"ccur(1.00005), ccur(1.00015), ccur('2.5'), ccur(null)", "1d|1.0002d|2.5d|null"},
          {"ccur(1e15)", "error: Overflow"},
          {"isdate('1/2/2000'), isdate('13/13/2000'), isdate(5), isdate(#1/2/2000#), isdate(null)",
           "-1|0|0|-1|0"},
          {"timeserial(6, 30, 0), timeserial(0, 90, 0), timeserial(12, -30, 0)",
           "0.2708333333333333|0.0625|0.4791666666666667"},
          {"sgn(-2), sgn(0), fix(-2.7), int(-2.7), abs(-2.5), exp(0), log(1), sin(0), cos(0), atn(0)",
           "-1|0|-2|-3|2.5|1|0|0|1|0"},
          {"string(3, 'ab'), space(2), strreverse('abc'), replace('aXbX', 'X', ''), isnumeric('1e3'), "
           "isnumeric('a')",
           "'aaa'|'  '|'cba'|'ab'|-1|0"},
          {"strcomp('a', 'B'), strcomp('b', 'A'), strcomp('a', 'A', 0), ascw('A'), chrw(8364)",
           "-1|1|1|65|'€'"},
          {"timevalue('6:00 PM'), datevalue('1/2/2000 6:00 PM') = #1/2/2000#, cvdate('1/2/2000') = "
           "#1/2/2000#",
           "0.75|-1|-1"},
          {"round(tan(1), 10), round(atn(1) * 4, 10), csng(0.1) = 0.1, csng(2.5), cbyte(254.5), cbyte('7')",
           "1.5574077247|3.1415926536|0|2.5|254|7"},
          {"cbyte(255.5)", "error: Overflow"},
          {"cbyte(-1)", "error: Overflow"},
          {"minute(#1:02:03 PM#), second(#1:02:03 PM#), hour(#12:00:00 AM#), minute(0.999999), second(null)",
           "2|3|0|0|null"},
          {"now() - date() - time() < 0.0001, date() = int(date()), int(time()), typename(now()), "
           "now() >= date(), year(now()) > 2020",
           "-1|-1|0|'Date'|-1|-1"},
          {"typename(1), typename(0.5), typename(1e300), typename('a'), typename(null), "
           "typename(#1/1/2000#), "
           "typename(1 = 1), typename(ccur(1))",
           "'Long'|'Decimal'|'Double'|'String'|'Null'|'Date'|'Boolean'|'Currency'"},
      });
}

TEST_F(ValuesTest, Dates) {
  Check(
      "select ",
      {
          {"datepart('yyyy', #4/12/2005 13:05:09#), datepart('q', #4/12/2005#), datepart('m', #4/12/2005#), "
           "datepart('y', #4/12/2005#), datepart('d', #4/12/2005#), datepart('w', #4/12/2005#)",
           "2005|2|4|102|12|3"},
          {"datepart('h', #4/12/2005 13:05:09#), datepart('n', #4/12/2005 13:05:09#), datepart('s', "
           "#4/12/2005 13:05:09#), datepart('w', #4/12/2005#, 2)",
           "13|5|9|2"},
          {"datepart('ww', #1/1/2000#), datepart('ww', #1/2/2000#), datepart('ww', #12/31/2000#), "
           "datepart('ww', #12/31/2005#)",
           "1|2|54|53"},
          // As ISO 8601 counts: weeks from Monday, the first with four days.
          {"datepart('ww', #1/1/2005#, 2, 2), datepart('ww', #1/3/2005#, 2, 2), datepart('ww', #12/30/2008#, "
           "2, 2), "
           "datepart('ww', #1/1/2000#, 2, 3)",
           "53|1|1|52"},
          {"datepart('x', #1/1/2000#)", "error: 'x' is no unit of time"},
          {"datediff('w', #1/1/2000#, #1/7/2000#), datediff('w', #1/1/2000#, #1/8/2000#), "
           "datediff('w', #1/8/2000#, #1/1/2000#), datediff('w', #1/8/2000#, #1/2/2000#)",
           "0|1|-1|0"},
          {"datediff('ww', #1/1/2000#, #1/2/2000#), datediff('ww', #1/2/2000#, #1/8/2000#), "
           "datediff('ww', #1/2/2000#, #1/3/2000#, 2)",
           "1|0|1"},
          {"datediff('d', #1/1/2000 23:00:00#, #1/2/2000 1:00:00#), datediff('h', #10:59:00#, #11:01:00#), "
           "datediff('yyyy', #12/31/1999#, #1/1/2000#), datediff('q', #3/31/2000#, #4/1/2000#), "
           "datediff('m', #1/31/2000#, #2/1/2000#), datediff('n', #1:00:59#, #1:01:00#), datediff('s', "
           "#1:00:00#, "
           "#1:01:00#)",
           "1|1|1|1|1|1|60"},
          {"dateadd('m', 1, #1/31/2001#) = #2/28/2001#, dateadd('m', -11, #1/31/2001#) = #2/29/2000#, "
           "dateadd('yyyy', 1, #2/29/2000#) = #2/28/2001#, dateadd('q', -1, #5/31/2000#) = #2/29/2000#, "
           "dateadd('m', 1, #1/30/2001 6:00:00#) = #2/28/2001 6:00:00#",
           "-1|-1|-1|-1|-1"},
          {"dateadd('d', 1, #12/31/1999#) = #1/1/2000#, dateadd('ww', 1, #1/1/2000#) = #1/8/2000#, "
           "dateadd('h', 25, #1/1/2000#) = #1/2/2000 1:00:00#, dateadd('w', 2, #1/1/2000#) = #1/3/2000#",
           "-1|-1|-1|-1"},
          // Before 12/30/1899 the fraction counts forward from midnight.
          {"dateadd('h', 12, #12/29/1899 6:00:00#), dateadd('h', 18, #12/29/1899 6:00:00#)", "-1.75|0"},
          {"dateadd('yyyy', 9000, #1/1/2000#)", "error: out of range"},
          {"weekdayname(1), weekdayname(1, true), weekdayname(1, false, 2), monthname(4), monthname(4, true)",
           "'Sunday'|'Sun'|'Monday'|'April'|'Apr'"},
          {"weekdayname(8)", "error: from 1 to 7"},
          {"monthname(0)", "error: from 1 to 12"},
      });
}

TEST_F(ValuesTest, Formats) {
  Check("select format(",
        {
            {"#4/12/2005#, 'ww'), format(#4/12/2005#, 'w'), format(#4/12/2005#, 'q'), format(#4/12/2005#, "
             "'y'), "
             "format(#4/12/2005#, 'yy'), format(#1/3/2005#, 'ww', 2, 2)",
             "'16'|'3'|'2'|'102'|'05'|'1'"},
            {"#4/12/2005 13:05:00#, 'c')", "'4/12/2005 1:05:00 PM'"},
            {"'123456789', '@@@-@@-@@@@'), format('ab', '@@@@'), format('ab', '!@@@@'), format('ab', '&&&&')",
             "'123-45-6789'|'  ab'|'ab  '|'ab'"},
            {"'abcdef', '@@-@'), format('abcdef', '!@@-@'), format('aB', '>'), format('aB', '<'), "
             "format('aB', '>@@@')",
             "'abcde-f'|'ab-cdef'|'AB'|'ab'|' AB'"},
            {"'', '@@;none'), format(null, '@;none'), format(12, '@@@@'), format('x', '\"<\"@\\@')",
             "'none'|'none'|'  12'|'<x@'"},
            {"-0.0, '0.0'), format(-0.04, '0.0'), format(-0.0, '')", "'0.0'|'0.0'|'0'"},
        });
}

TEST_F(ValuesTest, DecimalsAreExact) {
  Run({"create table t (id long, m currency, n decimal(28, 6), d double)",
       "insert into t values (1, 0.1, 0.1, 0.1)", "insert into t values (2, 0.2, 0.2, 0.2)",
       "insert into t values (3, 0.3, 0.3, 0.3)",
       "insert into t values (4, 922337203685477.5807, 1234567890123456789012.345678, 1)"});
  Check(
      "select ",
      {
          {"0.1 + 0.2 = 0.3, 0.1 + 0.2, 0.3 = 0.1 + 0.2, 1.1 * 1.1, 3 * 0.1 = 0.3, 0.3 - 0.1 = 0.2, -0.5 + 1",
           "-1|0.3d|-1|1.21d|-1|-1|0.5d"},
          {"0.1 + 1e300 > 1e299", "-1"},
          {"m + m, m * m, n * n, m * n, m + id, m * 3, -m from t where id = 3",
           "0.6d|0.09d|0.09d|0.09d|3.3d|0.9d|-0.3d"},
          {"m * m from t where id = 1", "0.01d"},
          {"m * 0.0001 * m from t where id = 1", "0.000001d"},
          {"m * d, typename(m * d), m / 3 * 3 from t where id = 1", "0.010000000000000002|'Double'|0.1"},
          {"n * n from t where id = 4", "error: Overflow"},
          {"sum(m), avg(m), min(m), max(m), sum(n), avg(n), count(m) from t where id < 4",
           "0.6d|0.2d|0.1d|0.3d|0.6d|0.2d|3"},
          {"sum(m) = 0.6, avg(m) * 3 = 0.6 from t where id < 4", "-1|-1"},
          {"sum(m), max(m), max(n) from t",
           "922337203685478.1807d|922337203685477.5807d|1234567890123456789012.345678d"},
          {"avg(m), avg(n) from t where id in (1, 2)", "0.15d|0.15d"},
          {"sum(m), avg(m), max(m) from t where id > 9", "null|null|null"},
          {"id from t where m + n = 0.2", "1"},
          {"id from t where m = 0.3 and n = 0.3", "3"},
          {"id from t where m = 922337203685477.5807", "4"},
          {"id from t where m = 922337203685477.5806", ""},
          {"id from t where m > 922337203685477.5806", "4"},
          {"id from t where m < 922337203685477.5807", "1; 2; 3"},
          {"id from t where m <> 922337203685477.5806", "1; 2; 3; 4"},
          {"id from t where m in (0.1, 922337203685477.5806, 0.3)", "1; 3"},
          {"id from t where m between 0.3 and 0.2", "2; 3"},
          {"x.id, y.id from t x, t y where x.m = y.n", "1|1; 2|2; 3|3"},
          {"round(m * 1.5, 2), round(0.125, 2), round(0.135, 2), int(-n), fix(-n), abs(-n) from t where id = "
           "1",
           "0.15d|0.12|0.14|-1d|0d|0.1d"},
          {"nz(m, 0) + 0.2, iif(id = 1, m, 0.5), choose(1, n, 2) from t where id = 1",
           "0.3d|0.1000d|0.100000d"},
          {"sum(nz(m, 0)) from t where id < 4", "0.6d"},
          {"m & '/' & n, len(m), cstr(m) from t where id = 1", "'0.1/0.1'|3|'0.1'"},
          {"n & '' from t where id = 4", "'1234567890123456789012.345678'"},
          {"(select sum(m) from t where id < 4) = 0.6, (select sum(m) from t where id < 3)", "-1|0.3d"},
          {"s.total + 0.1 from (select sum(m) as total from t where id < 4) as s", "0.7d"},
          {"m, count(*) from t group by m order by m desc",
           "922337203685477.5807d|1; 0.3000d|1; 0.2000d|1; 0.1000d|1"},
          {"m + n as s from t where id < 4 order by m + n desc", "0.6d; 0.4d; 0.2d"},
          {"typename(m), typename(n), typename(d), typename(id), typename(m * m), typename(m * n) from t "
           "where id = 1",
           "'Currency'|'Decimal'|'Double'|'Long'|'Currency'|'Decimal'"},
      });
  EXPECT_EQ(Do("update t set n = n + 1, m = m * 0.5 where id = 4"), "1");
  EXPECT_EQ(Ask("select m, n from t where id = 4"), "461168601842738.7904d|1234567890123456789013.345678d");
  EXPECT_EQ(Do("insert into t (id, n) values (5, 0.1 + 0.2)"), "1");
  EXPECT_EQ(Do("insert into t (id, n) select 6, sum(n) from t where id < 4"), "1");
  EXPECT_EQ(Ask("select id from t where n = 0.3"), "3; 5");
  EXPECT_EQ(Ask("select n from t where id = 6"), "0.600000d");
  // The same plan with other constants.
  for (const char* value : {"0.1", "922337203685477.5807", "5", "0.2"})
    Ask(std::string("select id from t where m = ") + value);
  EXPECT_EQ(Ask("select id from t where m = 0.2"), "2");
}

TEST_F(ValuesTest, BetweenTakesEitherOrder) {
  Run({"create table t (id long, v text(3), d datetime)", "create index i on t (id)"});
  for (int i = 1; i <= 5; ++i) Run({fmt::format("insert into t values ({}, '{}', #1/{}/2000#)", i, i, i)});
  Check("select id from t where ", {
                                       {"id between 4 and 2", "2; 3; 4"},
                                       {"id between 2 and 4", "2; 3; 4"},
                                       {"id not between 4 and 2", "1; 5"},
                                       {"v between '4' and '2'", "2; 3; 4"},
                                       {"d between #1/4/2000# and #1/2/2000#", "2; 3; 4"},
                                       {"3 between id and 4", "1; 2; 3"},
                                       {"3 between 4 and id", "1; 2; 3"},
                                       {"id between null and 3", ""},
                                   });
  EXPECT_EQ(Ask("select id from t where id between ? and ?", {Value::Integer(4), Value::Integer(2)}),
            "2; 3; 4");
}

TEST_F(ValuesTest, GroupsAndSingleValues) {
  Run({"create table t (id long, g long, v text(3))", "insert into t values (1, 1, 'a')",
       "insert into t values (2, 1, 'b')", "insert into t values (3, 2, 'c')"});
  Check("select ",
        {
            {"id, count(*) from t", "error: The column 'id' stands beside an aggregate function"},
            {"g, v, count(*) from t group by g", "error: The column 'v'"},
            {"* from t group by g", "error: '*' cannot stand beside"},
            {"count(*) from t group by g having v = 'a'", "error: The column 'v'"},
            {"count(*) from t order by id", "error: The column 'id'"},
            {"g + 1, count(*) from t group by g", "2|2; 3|1"},
            {"G as n, count(*) from t x group by x.g order by n desc", "2|1; 1|2"},
            {"left(v, 1) as l, count(*) from t group by left(v, 1)", "'a'|1; 'b'|1; 'c'|1"},
            {"1, 'x', count(*), sum(id) + max(g) from t", "1|'x'|3|8"},
            {"stdev(id), stdevp(id * 2) ^ 2 * 3, var(id * 2), varp(id * 3), min(v), avg(g) * 3 from t",
             "1|8|4|6|'a'|4"},
            {"stdev(id), var(id), stdevp(id), varp(id), count(id) from t where id = 3", "null|null|0|0|1"},
            {"first(v), last(v), first(id) from t where g = 1", "'a'|'b'|1"},
            {"(select count(*) from t x where x.g = t.g) as n, id from t", "2|1; 2|2; 1|3"},
            {"g, (select max(v) from t x where x.g = y.g) from t y group by g", "1|'b'; 2|'c'"},
            {"(select id from t where g = 1)", "error: more than one row"},
            {"(select id from t where g = 2), (select id from t where g = 3)", "3|null"},
            {"id from t where id = (select id from t where g = 1)", "error: more than one row"},
            {"id from t where id = (select top 1 id from t where g = 1 order by id desc)", "2"},
            {"id, (select v from t x where x.id = t.id) from t", "1|'a'; 2|'b'; 3|'c'"},
        });
}

// A join shows a row of the tables that it takes columns from once.
TEST_F(ValuesTest, DistinctRowOverAJoin) {
  Run({"create table a (id long, v text(2))", "create table b (a_id long, n long)",
       "insert into a values (1, 'x')", "insert into a values (2, 'x')", "insert into a values (3, 'y')",
       "insert into b values (2, 1)", "insert into b values (1, 1)", "insert into b values (1, 2)"});
  Check("select distinctrow ",
        {
            {"a.v from a inner join b on a.id = b.a_id", "'x'; 'x'"},
            {"a.* from a inner join b on a.id = b.a_id order by a.id desc", "2|'x'; 1|'x'"},
            {"a.v, b.n from a inner join b on a.id = b.a_id", "'x'|1; 'x'|2; 'x'|1"},
            {"v from a", "'x'; 'x'; 'y'"},
            {"top 1 a.id from a inner join b on a.id = b.a_id", "1"},
            {"a.v from a inner join (select * from b) as c on a.id = c.a_id", "'x'; 'x'"},
            {"c.n from a inner join (select * from b) as c on a.id = c.a_id", "error: is not supported"},
        });
}

}  // namespace
}  // namespace jet::sql
