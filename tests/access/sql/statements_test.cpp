// The schemas can be made, and rows of frequencies of a group as the builds of freq make them.
#include <fstream>
#include <sstream>

#include "sql_fixture.h"

namespace jet::sql {
namespace {

std::vector<std::string> SchemaStatements(const std::string& name) {
  std::ifstream in(std::string(SCHEMA_FOLDER) + "/" + name);
  std::string line, text;
  while (std::getline(in, line)) {
    if (line.rfind("--", 0) != 0) text += line + "\n";
  }
  std::vector<std::string> statements;
  std::istringstream parts(text);
  while (std::getline(parts, line, ';')) {
    if (line.find_first_not_of(" \r\n") != std::string::npos) statements.push_back(line);
  }
  return statements;
}

class StatementsTest : public SqlTest {
 protected:
  void SetUp() override {
    SqlTest::SetUp();
    Run(SchemaStatements("notice-v7.sql"));
  }
};

TEST_F(StatementsTest, SchemasCanBeMade) {
  EXPECT_EQ(database_->FindTable("GRP")->def().indexes.size(), 2u);
  EXPECT_EQ(database_->FindTable("grp")->def().FindColumn("comment"), 27);
  Database::Create(files_, "ref.mdb", Format::kJet4);
  std::shared_ptr<Database> ref = Database::Open(files_, "ref.mdb", OpenMode::kReadWrite);
  Session session(ref);
  for (const std::string& s : SchemaStatements("pattern-reference.sql")) session.Execute(s);
  EXPECT_NE(ref->FindTable("rf_ant_type"), nullptr);
}

TEST_F(StatementsTest, FrequencyRowsOfAGroup) {
  Run({"insert into notice (ntc_id, ntc_type) values (7, 'G')",
       "insert into grp (grp_id, ntc_id, emi_rcp, beam_name, bdwdth, fdg_reg, d_prot_eff, wic_no) values (3, "
       "7, 'E', "
       "'B1', 36000, 'A--', #4/12/2005#, 2000)",
       "insert into assgn values (3, 1, 'G', 12.5, 12500, null)",
       "insert into assgn values (3, 2, 'M', 0, 100, null)"});
  const std::string sql =
      "INSERT INTO freq  SELECT DISTINCT grp.ntc_id AS ntc_id, emi_rcp AS emi_rcp, beam_name AS beam_name, "
      "assgn.grp_id "
      "AS grp_id, seq_no AS seq_no, freq_sym AS freq_sym, freq_assgn AS freq_assgn, freq_mhz AS freq_mhz, "
      "freq_mhz-(bdwdth)/2000 AS freq_min, freq_mhz+(bdwdth)/2000 AS freq_max, bdwdth AS bdwdth, fdg_reg AS "
      "fdg_reg, "
      "d_prot_eff AS d_prot_eff, grp.wic_no AS wic_no, ntc_type AS ntc_type  FROM assgn, grp, notice  WHERE "
      "assgn.grp_id = ? and assgn.grp_id = grp.grp_id  AND grp.ntc_id=notice.ntc_id and assgn.freq_assgn > 0 "
      "and "
      "grp.bdwdth > 0";
  EXPECT_EQ(Do(sql, {Value::Integer(4)}), "0");
  EXPECT_EQ(Do(sql, {Value::Integer(3)}), "1");
  EXPECT_EQ(Ask("select freq_min, freq_max, wic_no, d_prot_eff, f_ovlp from freq"),
            "12482|12518|2000|38454|null");
  EXPECT_EQ(Do("Delete from freq where Grp_id = ?", {Value::Integer(3)}), "1");
}

}  // namespace
}  // namespace jet::sql
