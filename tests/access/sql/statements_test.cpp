// The three schemas can be made, and the statements that the fixes send can be run on them: each with and
// without the restriction to one notice.
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

const std::string kGroups = " and grp_id in (select grp_id from grp where ntc_id = 7)";

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

TEST_F(StatementsTest, ChangesRun) {
  const std::vector<std::string> statements = {
      "UPDATE assgn SET freq_sym = 'G', freq_assgn = round(freq_assgn / 1000, 5)  where freq_sym = 'M' and "
      "freq_assgn > 10500 " +
          kGroups,
      "UPDATE  strap SET  freq_symdn = 'M',  freq_dn = round(freq_dn * 1000, 5)  where  freq_symdn = 'G' and "
      "( freq_dn * 1000) < 10501   and ntc_id = 7",
      "UPDATE  assgn SET freq_mhz = freq_assgn / 1000  where freq_sym = 'K' and freq_mhz is null ",
      "delete from Assgn where grp_id = 3",
      "UPDATE emiss SET design_emi = left(design_emi,7) where right(design_emi, 2) = '  ' and "
      "left(design_emi, 6) <> 'SENSOR'",
      "UPDATE emiss SET design_emi = left(design_emi,7) where right(emiss.design_emi, 2) = '\r'",
      "UPDATE emiss SET design_emi = left(design_emi,7) where right(emiss.design_emi, 1) = '\n'" + kGroups,
      "UPDATE emiss SET design_emi = design_emi +  '--' where len(emiss.design_emi) = 7 ",
      "Delete from assgn where freq_sym is null and freq_assgn is null   and grp_id in (select grp_id from "
      "grp where ntc_id = 7)",
      " DELETE From emiss  Where ((design_emi Is Null or design_emi = '') And (pep_max Is Null) And "
      "(pwr_ds_max Is Null) And (pep_min Is Null) And (pwr_ds_min Is Null) And (c_to_n Is Null))",
      "UPDATE  emiss set f_emi_type = null where  f_emi_type = 'A'",
      "Update emiss set pep_max = round(pep_max,1), pwr_ds_max = round(pwr_ds_max,1), pep_min = "
      "round(pep_min,1), pwr_ds_min = round(pwr_ds_min,1), c_to_n = round(c_to_n,1), pwr_ds_nbw = "
      "round(pwr_ds_nbw,1)",
      "Update hor_elev set elev_ang = round(elev_ang,1) where ntc_id = 7",
      "update provn set seq_no = seq_no - 1000 where grp_id = 3",
      "UPDATE provn SET adm = 'XZZ' where adm = 'MRC' and ctry = 'AOE'" + kGroups,
      "update grp set prov = 'S9.1/IA' where ntc_id = 7 and beam_name  <> 'ADVP'",
      "Update notice set prov = '9.1/IA,IB' where ntf_rsn = 'A' and trim(prov) = 'S9.1/IA,IB' and ntc_id = "
      "-5",
      "UPDATE notice  set prov = '9.7A', ntf_rsn = 'D' WHERE ntc_type= 'S' and (NTF_RSN = 'D' or NTF_RSN = "
      "'C')",
      "Update notice set prov = '9.6', prov_desc = '9.11A', f_aa_type = null  where ntf_rsn = 'C' and "
      "(trim(prov) = 'RS46' or trim(prov) = '9.11A' or trim(prov) = 'S9.11A')",
      "delete from gpub where ssn_type = 'N' and (trim(gpub.pub_ref)='WKLY' Or trim(gpub.pub_ref)='CR/D')",
      "UPDATE gpub SET pub_ref = left(pub_ref, 6) where pub_ref = 'AR11/A/'",
      "Delete from gpub where gpub.ssn_type = 'N' and grp_id in (select grp_id from grp where act_code = 'A' "
      "and ntc_id in  (select ntc_id from notice where act_code = 'M' and ntf_rsn = 'A'))",
      "UPDATE s_beam SET act_code = Null   where ntc_id in (select ntc_id from notice where ntc_id = 7 and "
      "act_code='A')",
      "Delete from pub_ssn ",
      "UPDATE  grp SET spl_grp_id = null, fdg_reg = null, fdg_plan = null, fdg_tex = null, fdg_observ = "
      "null, comment = null, d_prot_eff = null, wic_no = null, d_wic = null, wic_part = null where ntc_id = "
      "7",
      "Delete from provn where agree_st <> 'R' And agree_st <>  'O' And agree_st <>  'V'",
      "Delete from tr_provn where (agree_st <> 'R' And agree_st <>  'O') and ntc_id in (Select ntc_id from "
      "notice where ntf_rsn <> 'B' and ntf_rsn <> 'P' and plan_id is null)",
      "UPDATE e_ant SET pattern_id = 33 where pattern_id=506 or pattern_id = 507 and ntc_id = 7",
      "UPDATE e_as_stn SET pattern_id = 75 where pattern_id=519 and stn_type <> 'P'",
      "select grp_id, seq_no, pattern_id into e_as_stn_err from e_as_stn where pattern_id between 96 and 500 "
      "  and grp_id in (select grp_id from grp where ntc_id = 7)",
      "insert into e_as_stn_err  select grp_id, seq_no, pattern_id from e_as_stn where pattern_id < 97  " +
          kGroups,
      "drop table e_as_stn_err ",
      "UPDATE e_as_stn SET stn_name = ucase(stn_name)",
      "UPDATE  grp set beam_name = trim(beam_name)",
      "UPDATE com_el INNER JOIN geo ON com_el.ntc_id = geo.ntc_id SET com_el.sat_name = geo.sat_name,   "
      "com_el.long_nom = geo.long_nom  Where com_el.sat_name <> geo.sat_name and (com_el.ntc_id = 7)",
      "Update s_beam set pnt_acc = null where  ntc_id in  (select ntc_id from notice where ntc_type = 'N' "
      "and ntc_id = 7)",
      "UPDATE  orbit SET prd_ddd = 0  WHERE prd_ddd is null and (prd_mm is not null or prd_hh is not null)",
      "UPDATE  s_beam set ang_alpha = null, ang_beta = null where sr_type is null and ntc_id in  (select "
      "ntc_id from notice where ((f_aa_type <> 'R' or f_aa_type is null) and prov_desc <> '9.11A'))",
      "UPDATE  grp set pwr_max = null, bdwdth_aggr = null, f_trp_band = null where  grp_id in  (select "
      "grp_id from grp where emi_rcp = \"R\" and ntc_id = 7)",
      "UPDATE  emiss set emiss.pep_max = null,  emiss.pwr_ds_max = null, emiss.pep_min = null,pwr_ds_min = "
      "null   where grp_id in  (select grp_id from grp where emi_rcp = \"R\" and ntc_id in (select ntc_id "
      "from e_stn))",
      "UPDATE grp INNER JOIN diag_grp ON grp.grp_id = diag_grp.grp_id SET grp.area_no = diag_grp.diag_no   "
      "Where diag_grp.diag_type = 'SA' and diag_grp.diag_no is not null and (grp.ntc_id = 7)",
      "insert into diag_grp (grp_id, diag_type, diag_no) values (3, 'SA', 12)",
      "delete from diag_grp where trim(diag_type) = 'MOTYP' or  trim(diag_type) = 'SMK' or trim(diag_type) = "
      "'AFRGN' and grp_id in (select grp_id from grp where ntc_id = 7)",
      " update c_pfd set bdwdth = 150, ra_stn_type = null where  freq_min = 5030 and freq_max = 5150 and  "
      "ntc_id in (select ntc_id from notice where ntc_type = 'N')",
      "INSERT INTO c_pfd (ntc_id, seq_no, freq_min, freq_max, pfd, bdwdth, ra_stn_type) Values ( 7,2, 42500, "
      "43500, -137.5, 500, 'S')",
      " SELECT * Into c_pfd_new From c_pfd",
      "INSERT INTO c_pfd_new (ntc_id, seq_no, freq_min, freq_max, pfd)  select ntc_id, seq_no, freq_min, "
      "freq_max, pfd from c_pfd",
      "Delete from freq where beam_name = 'ADVP' and ntc_id = 7",
      "INSERT INTO freq values (7, 'E', 'B1', 3, 1, 'M', 14250., 14250., 14249.5, 14250.5, 1000, NULL, "
      "#12/4/2005#, NULL, 'G', null)",
  };
  for (const std::string& s : statements)
    EXPECT_EQ(Do(s).find("error"), std::string::npos) << s << "\n" << Do(s);
  EXPECT_EQ(Ask("select freq_assgn, month(d_prot_eff), day(d_prot_eff) from freq"), "14250|12|4");
}

TEST_F(StatementsTest, QueriesRun) {
  const std::vector<std::string> queries = {
      "SELECT grp_id from grp where ((trim(prov) <> '9.1/IA' and trim(prov) <> '9.1/IB') or prov is null) "
      "and ntc_id = 7",
      "SELECT freq_assgn, assgn.freq_mhz, freq_sym, f_cmp_rec  FROM assgn  where assgn.grp_id = 3 order by "
      "assgn.freq_mhz",
      "Select * from provn where grp_id = 3 order by coord_prov, agree_st, adm, ntwk_org",
      "select ntc_id, d_rcv from notice where ntf_rsn = 'A' and  ntc_id = 7",
      "select count (grp_id) as reccount from e_as_stn",
      "select d_inuse from grp where d_inuse < #01/01/1950#  and grp_id in (select grp_id from grp where "
      "ntc_id = 7)",
      "select * from com_el where (long_nom is null or long_nom = 0) and ntc_id = 7",
      "SELECT * from grp where beam_name = 'ADVP' and (act_code is null or act_code <> 'S')",
      "SELECT grp.grp_id, grp.area_no, diag_grp.grp_id as diag_grp_id, diag_grp.diag_type   FROM grp LEFT "
      "JOIN diag_grp ON grp.grp_id = diag_grp.grp_id  WHERE area_no is not null  and (grp.ntc_id = 7)",
      "select grp_id, area_name from grp where (ucase(area_name) = 'VISIBLE EARTH'  or ucase(area_name) = "
      "'XR 3') and ntc_id in (select ntc_id from notice where ntf_rsn = 'A' and  ntc_id = 7)",
      "select * from notice where ntf_rsn <> \"U\" and ntf_rsn <> \"A\" and plan_id is null",
      "SELECT grp_id, MIN(freq_min) as freqMin, MAX(freq_max) as freqMax  From freq  GROUP BY grp_id ORDER "
      "BY grp_id ",
      "SELECT ntc_id, emi_rcp, beam_name, MIN(freq_min) as freqMin, MAX(freq_max) As freqMax   FROM freq  "
      "where ntc_id = 7 GROUP BY ntc_id, emi_rcp, beam_name  ORDER BY ntc_id, emi_rcp, beam_name ",
      "select freq_min, freq_max from s_beam  Where ntc_id = 7 AND emi_rcp = 'E' AND beam_name =  'B1'",
      "SELECT * from history  Where ntc_id = 7 ORDER BY seq_no desc",
      "Select max (seq_no) as newseq_no from history where ntc_id = 7",
      "select * from vnt_ooak order by version_no desc",
      "select pattern_id from ant_type where pattern = 'MODRES' and f_ant_type is null",
  };
  for (const std::string& s : queries)
    EXPECT_EQ(Ask(s).find("error"), std::string::npos) << s << "\n" << Ask(s);
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
