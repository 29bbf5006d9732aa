// What Access SQL becomes for a server; tests/cli/server shows that it means the same there.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/parser.h"
#include "db/server_provider/server_printer.h"

namespace vnt::db {
namespace {

using jet::ColumnType;

class Tables : public ServerTables {
 public:
  Tables() {
    Add("t", {{"id", ColumnType::kLong},
              {"s", ColumnType::kText},
              {"d", ColumnType::kDouble},
              {"f", ColumnType::kSingle},
              {"dt", ColumnType::kDateTime},
              {"y", ColumnType::kBoolean},
              {"c", ColumnType::kCurrency}});
    Add("u", {{"id", ColumnType::kLong}, {"x", ColumnType::kText}});
  }
  ServerTablePtr Find(std::string_view name) override {
    const auto found = tables_.find(jet::LowerText(name));
    return found == tables_.end() ? nullptr : found->second;
  }

 private:
  void Add(const std::string& name, const std::vector<std::pair<const char*, ColumnType>>& columns) {
    auto table = std::make_shared<ServerTable>();
    table->name = name;
    table->has_order = true;
    for (const auto& [column, type] : columns) {
      table->columns.emplace_back();
      table->columns.back().name = column;
      table->columns.back().type = type;
    }
    table->key = {0};
    tables_[name] = table;
  }
  std::map<std::string, ServerTablePtr> tables_;
};

std::string Printed(const std::string& text) {
  Tables tables;
  std::vector<jet::sql::Token> tokens;
  jet::sql::Lex(text, &tokens);
  for (jet::sql::Token& token : tokens) token.lifted = -1;
  const auto s = jet::sql::Parse(text, tokens);
  const std::vector<jet::Value> none;
  ServerPrinter printer(PostgresDialect(), tables, text, none);
  switch (s->kind) {
    case jet::sql::StatementKind::kSelect:
      return printer.Query(*s->select, false).sql;
    case jet::sql::StatementKind::kUpdate:
      return printer.Update(*s).sql;
    case jet::sql::StatementKind::kDelete:
      return printer.Delete(*s).sql;
    case jet::sql::StatementKind::kInsertValues:
      return printer.InsertValues(*s).sql;
    default:
      return printer.InsertSelect(*s).sql;
  }
}

TEST(ServerPrinter, SaysInFullWhatAccessTakesForGranted) {
  const std::pair<const char*, const char*> kPairs[] = {
      {"select [id] from T where s = \"it's\"",
       R"(SELECT a0."id" FROM "t" AS a0 WHERE (a0."s" = 'it''s') ORDER BY a0."vnt_row" NULLS FIRST)"},
      {"select s + '-' from t order by s desc",
       R"(SELECT (a0."s" || '-') FROM "t" AS a0 ORDER BY a0."s" DESC NULLS LAST, a0."vnt_row" NULLS FIRST)"},
      {"select s & id from t order by id",
       R"(SELECT (COALESCE(a0."s", '') || COALESCE(a0."id"::text, '')) FROM "t" AS a0 ORDER BY a0."id" NULLS FIRST, a0."vnt_row" NULLS FIRST)"},
      {"select id / 2, id \\ 2 from t order by id",
       R"(SELECT (a0."id"::float8 / 2::float8), (a0."id"::int8 / 2::int8) FROM "t" AS a0 ORDER BY a0."id" NULLS FIRST, a0."vnt_row" NULLS FIRST)"},
      {"select count(*) from t where dt < #1/2/1950# and y = true",
       R"(SELECT count(*) FROM "t" AS a0 WHERE ((a0."dt" < '1950-01-02 00:00:00'::timestamp) AND ((-a0."y"::int4) = (-TRUE::int4))))"},
      {"select distinct s from t", R"(SELECT DISTINCT a0."s" FROM "t" AS a0 ORDER BY 1 NULLS FIRST)"},
      {"select c * 2 from t where c > 1.5 and id not between 3 and 1 order by id",
       R"(SELECT (a0."c"::numeric * 2::numeric) FROM "t" AS a0 WHERE ((a0."c" > 1.5) AND (a0."id" NOT BETWEEN SYMMETRIC 3 AND 1)) ORDER BY a0."id" NULLS FIRST, a0."vnt_row" NULLS FIRST)"},
      {"update t set d = d * 1000, f = null where left(s, 2) = 'ab'",
       R"(UPDATE "t" AS a0 SET "d" = (a0."d"::float8 * 1000::float8)::float8::double precision, "f" = NULL WHERE (left(a0."s", 2::int8::int4) = 'ab'))"},
      {"delete from t where id in (select id from u where trim(x) = '')",
       R"(DELETE FROM "t" AS a0 WHERE (a0."id" IN (SELECT a1."id" AS c0 FROM "u" AS a1 WHERE (btrim(a1."x", ' ') = ''))))"},
      {"delete t.* from t inner join u on t.id = u.id",
       R"(DELETE FROM "t" AS u WHERE (u."id") IN (SELECT a0."id" FROM "t" AS a0 JOIN "u" AS a1 ON (a0."id" = a1."id")))"},
      {"insert into u values (1, 'x')", R"(INSERT INTO "u" ("id", "x") VALUES (1, 'x'))"},
      {"insert into u (x, id) select s, d from t",
       R"(INSERT INTO "u" ("x", "id") SELECT s.c0::text, s.c1::float8::integer FROM (SELECT a0."s" AS c0, a0."d" AS c1 FROM "t" AS a0 ORDER BY a0."vnt_row" NULLS FIRST) AS s)"},
  };
  for (const auto& [access, server] : kPairs) EXPECT_EQ(Printed(access), server) << access;
}

// The last of several rows that match counts, by the order of the tables.
TEST(ServerPrinter, UpdatesOverJoinsTakeOneRow) {
  EXPECT_EQ(
      Printed("update t inner join u on t.id = u.id set t.s = u.x where u.x is not null"),
      R"(UPDATE "t" AS u SET "s" = s.v0 FROM (SELECT a0."id" AS r0, a1."x"::text AS v0, )"
      R"(row_number() OVER (PARTITION BY a0."id" ORDER BY a0."vnt_row" DESC NULLS LAST, a1."vnt_row" DESC )"
      R"(NULLS LAST) AS place FROM "t" AS a0 JOIN "u" AS a1 ON (a0."id" = a1."id") WHERE (a1."x" IS NOT )"
      R"(NULL)) AS s WHERE u."id" = s.r0 AND s.place = 1)");
}

// What does not depend on the server is as on a file, down to the sentence.
TEST(ServerPrinter, NamesMeanWhatTheyMeanInAFile) {
  const std::pair<const char*, const char*> kPairs[] = {
      {"select nothing from t", "No column 'nothing' in 't'."},
      {"select t.nothing from t, u", "No column 'nothing' in 't'."},
      {"select x.id from t", "No column 'x.id': the table 'x' is not in the FROM list."},
      {"select id from t, u",
       "The column 'id' is in more than one table of the FROM list ('t' and 'u'); put the table's name "
       "before "
       "it."},
      {"select t.id from t, u as t", "The FROM list names 't' twice; give one of them another name."},
      {"select id, count(*) from t",
       "The column 'id' stands beside an aggregate function or GROUP BY, but neither in GROUP BY nor in an "
       "aggregate function."},
      {"delete from t, u",
       "A DELETE from several tables must name the one whose rows go: DELETE t.* FROM ..."},
      {"delete x.* from t, u", "The table 'x' is not in the FROM list."},
      {"update t set nothing = 1", "No column 'nothing' in 't'."},
      {"insert into u (id, id) values (1, 2)", "The column 'id' is given two values."},
      {"insert into u (id) values (1, 2)", "INSERT INTO 'u' names 1 columns but gives 2 values."},
      {"select id from t where s = 5",
       "Data type mismatch: the column 's' is compared with a value of another type."},
      {"select iif(y, 1) from t", "The function IIf takes three values, at character 8."},
  };
  for (const auto& [access, sentence] : kPairs) {
    std::string said;
    try {
      said = Printed(access);
    } catch (const jet::Error& e) {
      said = e.what();
    }
    EXPECT_EQ(said, sentence) << access;
  }
}

// Rows come in the order of the tables as joined, those of a UNION by all their columns.
TEST(ServerPrinter, RowsComeInTheOrderOfAFile) {
  const std::pair<const char*, const char*> kPairs[] = {
      {"select t.s from t right join u on t.id = u.id",
       R"(SELECT a0."s" FROM "u" AS a1 LEFT JOIN "t" AS a0 ON (a0."id" = a1."id") )"
       R"(ORDER BY a1."vnt_row" NULLS FIRST, a0."vnt_row" NULLS FIRST)"},
      {"select id, s from t union all select id, x from u order by s desc",
       R"(SELECT * FROM (SELECT a0."id" AS c0, a0."s" AS c1 FROM "t" AS a0 ORDER BY a0."vnt_row" NULLS FIRST) )"
       R"(AS m0 UNION ALL SELECT * FROM (SELECT a1."id" AS c0, a1."x" AS c1 FROM "u" AS a1 )"
       R"(ORDER BY a1."vnt_row" NULLS FIRST) AS m1 ORDER BY 2 DESC NULLS LAST, 1 NULLS FIRST)"},
      {"select top 2 s from t order by s",
       R"(SELECT t.n0 FROM (SELECT a0."s" AS n0, rank() OVER (ORDER BY a0."s" NULLS FIRST) AS ranked, )"
       R"(row_number() OVER (ORDER BY a0."s" NULLS FIRST, a0."vnt_row" NULLS FIRST) AS place FROM "t" AS a0) )"
       R"(AS t WHERE t.ranked <= 2 ORDER BY t.place)"},
      {"select id from t where id in (select id from u order by x)",
       R"(SELECT a0."id" FROM "t" AS a0 WHERE (a0."id" IN (SELECT a1."id" AS c0 FROM "u" AS a1)) )"
       R"(ORDER BY a0."vnt_row" NULLS FIRST)"},
  };
  for (const auto& [access, server] : kPairs) EXPECT_EQ(Printed(access), server) << access;
}

TEST(ServerPrinter, RefusesWhatItCannotSay) {
  for (const char* text :
       {"select nothing from t", "select * from nothing", "select id from t where s = 5",
        "select format(dt, 'yyyy') from t", "select top 10 percent id from t", "select f & '' from t",
        "select id from t in 'other.mdb'", "update t inner join u on t.id = u.id set t.s = 'a', u.x = 'b'",
        "insert into u (id) select id, s from t", "insert into u values (1)"}) {
    EXPECT_THROW(Printed(text), jet::Error) << text;
  }
}

}  // namespace
}  // namespace vnt::db
