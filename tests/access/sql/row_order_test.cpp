// Rows without ORDER BY come in the order of the table, whatever the plan: two sets of tables with the same
// rows in the same order, one with indexes.
#include <array>
#include <random>

#include "sql_fixture.h"

namespace jet::sql {
namespace {

class RowOrderTest : public SqlTest {
 protected:
  // Tables p<n> without and k<n> with indexes. Rows are inserted by falling and mixed keys, and some deleted.
  void MakeTables(std::mt19937& random, int round) {
    constexpr const char* kIndexes[] = {"(a)",     "(b)",      "(t)",         "(a, b)",
                                        "(b, id)", "(d desc)", "(t, a desc)", "(a desc) with ignore null"};
    for (int n = 0; n < 2; ++n) {
      for (const char* name : {"p", "k"}) {
        Run({fmt::format("create table {}{}_{} (id long, a long, b short, d double, t text(4), m currency)",
                         name, n, round)});
      }
      Run({fmt::format("create unique index u on k{}_{} (id)", n, round)});
      for (int i = 0; i < 3; ++i) {
        Run({fmt::format("create index i{} on k{}_{} {}", i, n, round,
                         kIndexes[random() % std::size(kIndexes)])});
      }
      for (int i = 0; i < 60; ++i) {
        const auto pick = [&](int limit) {
          return static_cast<int>(random() % static_cast<unsigned>(limit));
        };
        const std::string values =
            fmt::format("({}, {}, {}, {}, {}, {})", (i * 37) % 60,
                        pick(7) == 0 ? "null" : std::to_string(pick(6) - 2), pick(4), pick(5) / 4.0,
                        std::array{"'a'", "'A'", "'b'", "'a '", "null"}[random() % 5], pick(5) / 10.0);
        for (const char* name : {"p", "k"})
          Run({fmt::format("insert into {}{}_{} values {}", name, n, round, values)});
      }
      for (const char* name : {"p", "k"})
        Run({fmt::format("delete from {}{}_{} where id in (3, 7, 8, 30, 31)", name, n, round)});
    }
  }

  static std::string Condition(std::mt19937& random, const char* table) {
    std::string where;
    for (unsigned i = 0, terms = 1 + random() % 3; i < terms; ++i) {
      if (i > 0) where += random() % 2 == 0 ? " or " : " and ";
      const int x = static_cast<int>(random() % 6) - 2;
      switch (random() % 9) {
        case 0:
          where += fmt::format("{}.a in ({}, {}, 1)", table, x, x + 2);
          break;
        case 1:
          where += fmt::format("{}.t in ('b', 'a')", table);
          break;
        case 2:
          where += fmt::format("{}.d >= {}", table, x / 4.0);
          break;
        case 3:
          where += fmt::format("{}.a between {} and {}", table, x + 2, x);
          break;
        case 4:
          where += fmt::format("{}.t = 'a'", table);
          break;
        case 5:
          where += fmt::format("{}.a is null", table);
          break;
        case 6:
          where += fmt::format("{}.b in (select b from OTHER where a = {})", table, x);
          break;
        case 7:
          where += fmt::format("{}.a = {} and {}.b in (1, {})", table, x, table, x);
          break;
        default:
          where += fmt::format("{}.id > {}", table, 20 + x);
      }
    }
    return "(" + where + ")";
  }

  // The same with the names of the tables put in.
  static std::string In(const char* kind, int round, std::string sql) {
    for (const auto& [from, number] : {std::pair{"ONE", 0}, {"OTHER", 1}}) {
      for (std::size_t at; (at = sql.find(from)) != std::string::npos;)
        sql.replace(at, std::string(from).size(), fmt::format("{}{}_{}", kind, number, round));
    }
    return sql;
  }
};

TEST_F(RowOrderTest, IndexesDoNotChangeIt) {
  constexpr const char* kQueries[] = {
      "select x.id, x.a from ONE x where {}",
      "select * from ONE x where {}",
      "select top 5 x.id from ONE x where {}",
      "select top 30 percent x.id from ONE x where {}",
      "select top 4 x.id, x.a from ONE x where {} order by x.a desc",
      "select x.id from ONE x where {} order by x.t",
      "select x.a, count(*), min(x.id), first(x.id), last(x.t) from ONE x where {} group by x.a",
      "select first(x.id), last(x.id) from ONE x where {}",
      "select x.t, sum(x.b) from ONE x where {} group by x.t order by sum(x.b)",
      "select distinct x.b, x.t from ONE x where {}",
      "select distinct x.a from ONE x where {} order by x.a desc",
      "select distinct top 3 x.m from ONE x where {}",
      "select x.id, y.id from ONE x inner join OTHER y on x.a = y.a where {}",
      "select x.id, y.id from ONE x left join OTHER y on x.b = y.b and y.a = 1 where {}",
      "select x.id, y.id from OTHER y right join ONE x on x.a = y.a and x.t = y.t where {}",
      "select x.id, y.id from ONE x, OTHER y where x.a = y.b and {}",
      "select x.id, y.id, z.id from ONE x left join (OTHER y inner join ONE z on y.id = z.id) on x.a = y.a "
      "where {}",
      "select x.id, y.id from ONE x inner join OTHER y on x.a = y.a where {} order by y.b",
      "select first(y.id), last(y.id) from ONE x inner join OTHER y on x.a = y.a where {}",
      "select s.id from (select x.id, x.a from ONE x where {}) as s where s.a > 0",
      "select x.id, x.a from ONE x where {} union all select id, b from OTHER where a = 1",
      "select x.a from ONE x where {} union select b from OTHER where a = 1",
      "select x.a, x.id from ONE x where {} union all select a, id from OTHER where b = 1 order by 1",
      "select x.id from ONE x where x.a = (select top 1 b from OTHER where a > 0) or {}",
      "select x.id, (select first(id) from OTHER where a = x.a) from ONE x where {}",
  };
  std::mt19937 random(17);
  int with_rows = 0, all = 0;
  for (int round = 0; round < 6; ++round) {
    MakeTables(random, round);
    for (const char* query : kQueries) {
      for (int i = 0; i < 12; ++i, ++all) {
        const std::string sql = fmt::format(fmt::runtime(query), Condition(random, "x"));
        const std::string plain = Ask(In("p", round, sql));
        ASSERT_EQ(plain.find("error"), std::string::npos) << sql << plain;
        ASSERT_EQ(plain, Ask(In("k", round, sql))) << sql;
        with_rows += plain.find(';') != std::string::npos;
      }
    }
  }
  EXPECT_GT(with_rows, all / 2);
}

TEST_F(RowOrderTest, IsThatOfTheTable) {
  Run({"create table t (id long, g long, v text(3))", "create index i on t (g, v)"});
  for (const char* row : {"5, 1, 'c'", "4, 1, 'a'", "3, 2, 'b'", "2, 1, 'b'", "1, 2, 'a'"})
    Run({fmt::format("insert into t values ({})", row)});
  for (const auto& [sql, rows] : std::vector<std::pair<std::string, std::string>>{
           {"select id from t", "5; 4; 3; 2; 1"},
           {"select id from t where g = 1", "5; 4; 2"},
           {"select id from t where g in (2, 1)", "5; 4; 3; 2; 1"},
           {"select id from t where g > 0 and g < 3", "5; 4; 3; 2; 1"},
           {"select id from t where g = 2 or v = 'a'", "4; 3; 1"},
           {"select top 2 id from t where g = 1", "5; 4"},
           {"select first(id), last(id) from t where g = 2", "3|1"},
           {"select g, first(v) from t group by g", "1|'c'; 2|'b'"},
           {"select distinct v from t", "'a'; 'b'; 'c'"},
           {"select x.id, y.id from t x, t y where x.g = y.g and x.v > y.v", "5|4; 5|2; 3|1; 2|4"},
       }) {
    EXPECT_EQ(Ask(sql), rows) << sql;
  }
  // Rows that are inserted from a query stand in the order of the query.
  Run({"create table s (id long, v text(3))", "insert into s select id, v from t where g = 1"});
  EXPECT_EQ(Ask("s"), "5|'c'; 4|'a'; 2|'b'");
}

// Of several rows that match, the last one of the table counts.
TEST_F(RowOrderTest, UpdateOverAJoin) {
  for (const bool indexed : {false, true}) {
    Run({"create table a (id long, v long)", "create table b (id long, n long)"});
    if (indexed) Run({"create index i on b (id, n)"});
    Run({"insert into a values (1, 0)", "insert into b values (1, 30)", "insert into b values (1, 10)",
         "insert into b values (1, 20)", "update a inner join b on a.id = b.id set a.v = b.n"});
    EXPECT_EQ(Ask("select v from a"), "20");
    Run({"drop table a", "drop table b"});
  }
}

// More rows than are collected from an index, and fewer.
TEST_F(RowOrderTest, ManyRowsOfAnIndex) {
  Run({"create table t (id long, g long)", "create index i on t (g, id)"});
  for (int i = 3000; i > 0; --i) Run({fmt::format("insert into t values ({}, {})", i, i % 3)});
  for (const auto& [where, step] : std::vector<std::pair<std::string, int>>{{"g >= 0", 1}, {"g = 0", 3}}) {
    auto query = session_->Open("select id from t where " + where);
    for (int i = 3000; i > 0; i -= step) {
      ASSERT_TRUE(query->Step());
      ASSERT_EQ(query->Get(0).integer(), i);
    }
    EXPECT_FALSE(query->Step());
  }
}

// While a query stands still.
TEST_F(RowOrderTest, RowsThatComeAndGo) {
  Run({"create table t (id long, g long)", "create index i on t (g, id)"});
  for (int i = 0; i < 9; ++i) Run({fmt::format("insert into t values ({}, 1)", 9 - i)});
  auto query = session_->Open("select id from t where g = 1");
  ASSERT_TRUE(query->Step());
  EXPECT_EQ(query->Get(0).integer(), 9);
  Run({"delete from t where id in (8, 5)", "insert into t values (100, 1)",
       "update t set g = 2 where id = 6"});
  std::string rest;
  while (query->Step()) rest += fmt::format("{} ", query->Get(0).integer());
  EXPECT_EQ(rest, "7 4 3 2 1 ");
}

}  // namespace
}  // namespace jet::sql
