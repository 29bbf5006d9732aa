// Saved select queries as sources of rows: those that Access wrote, and definitions put into MSysQueries
// here.
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "sql_fixture.h"

namespace jet::sql {
namespace {

struct PartRow {
  int attribute = 0;
  std::string name1, name2, expression;
  int flag = 0;
};

class SavedQueryTest : public SqlTest {
 protected:
  void SetUp() override {
    SqlTest::SetUp();
    Run({"create table a (id long, v text(5))", "create table b (a_id long, n long)",
         "insert into a values (2, 'y')", "insert into a values (1, 'x')", "insert into a values (3, 'x')",
         "insert into b values (1, 10)", "insert into b values (2, 20)", "insert into b values (1, 30)"});
  }

  static std::vector<Value> RowOf(const TableDef& def,
                                  const std::vector<std::pair<std::string, Value>>& given) {
    std::vector<Value> row(def.columns.size());
    for (const auto& [name, value] : given) row[static_cast<std::size_t>(def.FindColumn(name))] = value;
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (def.columns[i].type == ColumnType::kBoolean && row[i].is_null()) row[i] = Value::Integer(0);
    }
    return row;
  }

  void Save(const std::string& name, const std::vector<PartRow>& parts, int flags = 0) {
    StatementScope scope(*database_);
    const auto text = [](const std::string& s) { return s.empty() ? Value::Null() : Value::Text(s); };
    const int id = -2147483647 + next_++;
    const auto objects = database_->FindTable("MSysObjects"), queries = database_->FindTable("MSysQueries");
    objects->Insert(RowOf(objects->def(), {{"Id", Value::Integer(id)},
                                           {"ParentId", Value::Integer(0x0F000001)},
                                           {"Name", Value::Text(name)},
                                           {"Type", Value::Integer(5)},
                                           {"DateCreate", Value::Real(1)},
                                           {"DateUpdate", Value::Real(1)},
                                           {"Flags", Value::Integer(flags)}}));
    int order = 0;
    for (const PartRow& p : parts) {
      queries->Insert(RowOf(queries->def(), {{"ObjectId", Value::Integer(id)},
                                             {"Attribute", Value::Integer(p.attribute)},
                                             {"Order", Value::Blob({0, 0, 0, static_cast<char>(++order)})},
                                             {"Name1", text(p.name1)},
                                             {"Name2", text(p.name2)},
                                             {"Expression", text(p.expression)},
                                             {"Flag", Value::Integer(p.flag)}}));
    }
    scope.Commit();
  }

  // The catalog of an open database does not look for queries that came meanwhile.
  void Reopen() {
    session_.reset();
    database_->Checkpoint();
    database_.reset();
    database_ = Database::Open(files_, "a.mdb", OpenMode::kReadWrite);
    session_ = std::make_unique<Session>(database_);
  }

  int next_ = 0;
};

TEST_F(SavedQueryTest, AreSourcesOfRows) {
  Save("Plain", {{0, "", "", "", 0},
                 {1, "", "", "", 1},
                 {3, "", "", "", 1},
                 {5, "a", "", "", 0},
                 {255, "", "", "", 0}});
  Save("Joined", {{3, "", "", "", 0},
                  {5, "a", "x", "", 0},
                  {5, "b", "", "", 0},
                  {6, "", "", "x.v", 0},
                  {6, "twice", "", "[b].[n] * 2", 0},
                  {7, "x", "b", "x.id = b.a_id", 2},
                  {7, "x", "b", "b.n > 5 or b.n is null", 2},
                  {8, "", "", "((x.id) < 3)", 0},
                  {11, "D", "", "b.n", 0}});
  Save("Grouped", {{3, "", "", "", 0},
                   {5, "Joined", "", "", 0},
                   {6, "", "", "v", 0},
                   {6, "s", "", "Sum(twice)", 0},
                   {9, "", "", "v", 0},
                   {10, "", "", "Count(*) > 0", 0}});
  Save("Top two", {{3, "2", "", "", 16},
                   {5, "", "q", "SELECT a.* FROM a;", 0},
                   {6, "", "", "q.id", 0},
                   {11, "", "", "q.id", 0}});
  Reopen();
  for (const auto& [sql, rows] : std::vector<std::pair<std::string, std::string>>{
           {"select * from Plain", "2|'y'; 1|'x'; 3|'x'"},
           {"PLAIN", "2|'y'; 1|'x'; 3|'x'"},
           {"select p.id from [plain] p where p.v = 'x' order by p.id desc", "3; 1"},
           {"select * from joined", "'x'|60; 'y'|40; 'x'|20"},
           {"select * from grouped", "'x'|80; 'y'|40"},
           {"select * from [top two]", "1; 2"},
           {"select a.id, j.twice from a inner join joined j on a.v = j.v where a.id = 2", "2|40"},
           {"select id from a where id in (select id from [top two])", "2; 1"}}) {
    EXPECT_EQ(Ask(sql), rows) << sql;
  }
  EXPECT_EQ(Do("insert into b (a_id, n) select id, 7 from plain"), "3");
  EXPECT_EQ(Do("select * into c from joined"), "5");
  EXPECT_NE(Do("update plain set id = 1").find("cannot be updated"), std::string::npos);
  EXPECT_NE(Do("delete from plain").find("Rows of a query cannot be deleted"), std::string::npos);
}

TEST_F(SavedQueryTest, OthersAreRefusedWithAReason) {
  Save("Update", {{1, "", "", "", 4}}, 0x30);
  Save("Asks", {{2, "Which", "", "", 10}, {5, "a", "", "", 0}, {6, "", "", "a.id", 0}});
  Save("Elsewhere", {{4, "c:\\x.mdb", "", "", 0}, {5, "a", "", "", 0}, {6, "", "", "a.id", 0}});
  Save("Circle", {{3, "", "", "", 1}, {5, "Circle", "", "", 0}});
  Save("Broken", {{3, "", "", "", 1}, {5, "gone", "", "", 0}});
  Save("Hollow", {{255, "", "", "", 0}});
  Save("Asks too", {{5, "a", "", "", 0}, {6, "", "", "a.id + ?", 0}});
  Reopen();
  for (const auto& [name, reason] : std::vector<std::pair<std::string, std::string>>{
           {"Update", "The query 'Update' cannot be read: it is no select query."},
           {"Asks", "The query 'Asks' cannot be read: it has parameters."},
           {"Elsewhere", "The query 'Elsewhere' cannot be read: it reads another database."},
           {"Circle",
            "The query 'Circle' cannot be read: queries that use each other are nested too deeply."},
           {"Broken", "The query 'Broken' cannot be read: The table 'gone' does not exist."},
           {"Hollow", "The query 'Hollow' cannot be read: its definition is not understood."},
           {"Asks too",
            "The query 'Asks too' cannot be read: only select queries without parameters can be."}}) {
    EXPECT_EQ(Ask("select * from [" + name + "]"), "error: " + reason);
  }
}

// Queries as Access wrote them: SELECT DISTINCT over (Table1 LEFT JOIN Table3) INNER JOIN Table2 with a
// condition.
TEST_F(SavedQueryTest, OfAccess) {
  const char* root = std::getenv("ACCESS_SAMPLES");
  if (root == nullptr) GTEST_SKIP() << "ACCESS_SAMPLES is not set";
  for (const char* name : {"jet4/queryTestV2000.mdb", "ace12/queryTestV2007.accdb"}) {
    std::ifstream in(std::string(root) + "/" + name, std::ios::binary);
    session_.reset();
    database_.reset();
    files_.SetContent("s.mdb", std::string(std::istreambuf_iterator<char>(in), {}));
    database_ = Database::Open(files_, "s.mdb", OpenMode::kReadWrite);
    session_ = std::make_unique<Session>(database_);
    Run({"insert into Table1 (col1, col2, col3) values ('foo', 'p', 'q')",
         "insert into Table1 (col1, col2, col3) values ('bar', 'p', 'q')",
         "insert into Table3 (col1, col3) values ('foo', 'r')",
         "insert into Table2 (col1, col2) values ('foo', 'foo')",
         "insert into Table2 (col1, col2) values ('foo', 'bar')"});
    EXPECT_EQ(Ask("select * from SelectQuery"), "'foo'|'p'|'q'|'foo'|'foo'|'r'") << name;
    for (const char* other : {"AppendQuery", "CrosstabQuery", "DeleteQuery", "MakeTableQuery",
                              "PassthroughQuery", "UnionQuery", "UpdateQuery", "DataDefinitionQuery"}) {
      EXPECT_EQ(Ask(std::string("select * from ") + other),
                fmt::format("error: The query '{}' cannot be read: it is no select query.", other));
    }
  }
}

}  // namespace
}  // namespace jet::sql
