// Random statements: an error or rows, never a crash. Run under the sanitizers, too.
#include <random>

#include "sql_fixture.h"

namespace jet::sql {
namespace {

constexpr const char* kWords[] = {"select ",
                                  "from ",
                                  "where ",
                                  "t ",
                                  "u ",
                                  "id ",
                                  "name ",
                                  "( ",
                                  ") ",
                                  ", ",
                                  "* ",
                                  "= ",
                                  "< ",
                                  "<> ",
                                  ">= ",
                                  "+ ",
                                  "- ",
                                  "/ ",
                                  "\\ ",
                                  "& ",
                                  "^ ",
                                  "mod ",
                                  "and ",
                                  "or ",
                                  "not ",
                                  "null ",
                                  "is ",
                                  "in ",
                                  "like ",
                                  "between ",
                                  "'a' ",
                                  "\"b\" ",
                                  "1 ",
                                  "2.5 ",
                                  "1e400 ",
                                  "#1/2/2000# ",
                                  "#99# ",
                                  "[id] ",
                                  "? ",
                                  ". ",
                                  "! ",
                                  "; ",
                                  "inner ",
                                  "left ",
                                  "join ",
                                  "on ",
                                  "group by ",
                                  "order by ",
                                  "having ",
                                  "union ",
                                  "all ",
                                  "as ",
                                  "x ",
                                  "top 1 ",
                                  "distinct ",
                                  "count(*) ",
                                  "max(id) ",
                                  "left(name,1) ",
                                  "round(id,1) ",
                                  "iif(id,1,2) ",
                                  "format(id,'0') ",
                                  "exists ",
                                  "update ",
                                  "set ",
                                  "delete ",
                                  "insert into ",
                                  "values ",
                                  "create table ",
                                  "long ",
                                  "into ",
                                  "true ",
                                  "é",
                                  "' ",
                                  "[",
                                  "#",
                                  "\x01",
                                  "%"};

class FuzzTest : public SqlTest {
 protected:
  void SetUp() override {
    SqlTest::SetUp();
    Run({"create table t (id long, name text(5))", "create table u (id long, k short)",
         "insert into t values (1, 'a')", "insert into u values (1, 2)"});
  }
  void Try(const std::string& statement) {
    try {
      if (Session::IsQuery(statement)) {
        auto q = session_->Open(statement, {Value::Integer(1), Value::Null(), Value::Text("z")});
        for (int i = 0; i < 20 && q->Step(); ++i) {
          for (std::size_t c = 0; c < q->columns().size(); ++c) q->Get(static_cast<int>(c));
        }
      } else {
        session_->Execute(statement, {Value::Integer(1), Value::Null(), Value::Text("z")});
      }
      ++accepted_;
    } catch (const Error& e) {
      ASSERT_NE(std::string(e.what()), "") << statement;
      // A translation that SQLite cannot read is a fault of the translation.
      EXPECT_EQ(std::string(e.what()).find("syntax error\n"), std::string::npos) << statement;
      EXPECT_EQ(std::string(e.what()).find("no such column"), std::string::npos) << statement << "\n"
                                                                                 << e.what();
      EXPECT_EQ(std::string(e.what()).find(": syntax error"), std::string::npos) << statement << "\n"
                                                                                 << e.what();
    }
  }
  int accepted_ = 0;
};

TEST_F(FuzzTest, TokenSoup) {
  std::mt19937 random(20261121);
  for (int i = 0; i < 6000; ++i) {
    std::string s = random() % 4 == 0 ? "" : random() % 3 == 0 ? "select id from t where " : "select ";
    const auto n = random() % 14;
    for (unsigned k = 0; k < n; ++k) s += kWords[random() % std::size(kWords)];
    Try(s);
  }
  EXPECT_GT(accepted_, 20);
}

// Statements that are right but for one token.
TEST_F(FuzzTest, MutatedStatements) {
  const std::vector<std::string> good = {
      "select t.id, u.k from t left join u on t.id = u.id where name like 'a*' and t.id in (select id from "
      "u) order by "
      "t.id desc, 2",
      "select id, count(*) as c, max(k) from u where k between 1 and 3 group by id having count(*) > 0 order "
      "by id",
      "update t inner join u on t.id = u.id set t.name = 'b' where u.k = 2",
      "insert into u (id, k) values (1, -2)",
      "select top 1 iif(id = 1, 'x', name) & format(id, '0.0') from (select * from t) as q order by 1",
      "select id from t union all (select k from u order by k) order by id"};
  std::mt19937 random(7);
  for (int i = 0; i < 4000; ++i) {
    std::string s = good[random() % good.size()];
    const std::size_t at = s.find(' ', random() % s.size());
    if (at == std::string::npos) continue;
    if (random() % 2 == 0) s.erase(at, s.find(' ', at + 1) - at);
    if (random() % 2 == 0)
      s.insert(std::min(at, s.size()), std::string(" ") + kWords[random() % std::size(kWords)]);
    Try(s);
  }
  EXPECT_GT(accepted_, 100);
}

TEST_F(FuzzTest, DeepNesting) {
  for (const std::string& unit :
       {std::string("("), std::string("not "), std::string("-"), std::string("left(")}) {
    std::string s = "select ";
    for (int i = 0; i < 20000; ++i) s += unit;
    Try(s + "1");
  }
  std::string chain = "select id from t where id = 1", sum = "select 1";
  for (int i = 0; i < 5000; ++i) chain += " or id = 1", sum += " + 1";
  Try(chain);
  Try(sum);
  std::string ors = "select id from t where id = 1";
  for (int i = 0; i < 300; ++i) ors += " or id = 1";
  EXPECT_EQ(Ask(ors), "1");
}

}  // namespace
}  // namespace jet::sql
