// The statements of each routine, byte for byte: on the whole database and for one notice, on Access and on
// Ingres. The expected texts stand in run/statements/<routine>.txt, one statement a line (backslash, carriage
// return and line feed as "\\", "\r", "\n"); a file without Ingres sections expects the same texts there. A
// routine that changes rows through a recordset says how in the section "row by row", which is written by
// hand.
//
// VNT_UPDATE_GOLDEN=1 in the environment writes the files anew.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "run/catalogue.h"
#include "tests/program/notice_database.h"

#include "fixes/antenna_patterns.h"
#include "fixes/reference_tables.h"
#include "fixes/special_sections.h"

namespace vnt::test {
namespace {

// Rows that make the walking routines send each of their statements.
constexpr std::string_view kRows = R"(
  insert into notice (ntc_id, ntc_type, ntf_rsn, act_code, d_rcv) values (12, 'G', 'A', 'A', #4/12/2005#);
  insert into notice (ntc_id, ntc_type, ntf_rsn) values (13, 'N', 'C');
  insert into notice (ntc_id, ntc_type, ntf_rsn, plan_id) values (14, 'T', 'B', 'P1');
  insert into notice (ntc_id, ntc_type, ntf_rsn) values (15, 'S', 'U');
  insert into notice (ntc_id, ntc_type, ntf_rsn) values (16, 'G', 'A');
  insert into notice (ntc_id, ntc_type, ntf_rsn) values (17, 'G', 'B');
  insert into com_el (ntc_id, ntc_type, ntf_rsn) values (12, 'G', 'A');
  insert into com_el (ntc_id, ntc_type, ntf_rsn, long_nom) values (13, 'N', 'C', 0);
  insert into com_el (ntc_id, ntc_type, ntf_rsn) values (14, 'T', 'B');
  insert into geo (ntc_id, long_nom) values (12, 19.2);
  insert into e_stn (ntc_id, long_nom) values (14, 7.5);
  insert into s_beam (ntc_id, emi_rcp, beam_name, pattern_id) values (12, 'E', 'ADVP', 201);
  insert into s_beam (ntc_id, emi_rcp, beam_name, pattern_id) values (13, 'E', 'B3', 33);
  insert into e_ant (ntc_id, emi_rcp, beam_name, pattern_id) values (13, 'E', 'B3', 300);
  insert into grp (grp_id, ntc_id, emi_rcp, beam_name, area_no, area_name, d_prot_eff, fdg_reg, wic_no)
    values (120, 12, 'E', 'ADVP', 4, 'RG 2', #4/12/2005#, 'R1', 5);
  insert into grp (grp_id, ntc_id, emi_rcp, beam_name, sr_type, prov, bdwdth)
    values (121, 12, 'R', 'B1', 'C', '9.1/IA', 36000);
  insert into grp (grp_id, ntc_id, emi_rcp, beam_name, bdwdth) values (130, 13, 'E', 'B3', 1000);
  insert into grp (grp_id, ntc_id, emi_rcp, beam_name, bdwdth) values (140, 14, 'E', 'B4', 500);
  insert into grp (grp_id, ntc_id, emi_rcp, beam_name) values (150, 15, 'E', 'RS49');
  insert into grp (grp_id, ntc_id, emi_rcp, beam_name) values (160, 16, 'E', 'ADVP');
  insert into assgn (grp_id, seq_no, freq_sym, freq_assgn, freq_mhz) values (120, 1, 'M', 11700, 11700);
  insert into assgn (grp_id, seq_no, freq_sym, freq_assgn, freq_mhz) values (120, 2, 'M', 11750.5, 11750.5);
  insert into assgn (grp_id, seq_no, freq_sym, freq_assgn, freq_mhz) values (130, 1, 'M', 5000, 5000);
  insert into assgn (grp_id, seq_no, freq_sym, freq_assgn, freq_mhz) values (140, 1, 'M', 6000, 6000);
  insert into assgn (grp_id, seq_no, freq_sym, freq_assgn, freq_mhz) values (150, 1, 'K', 500, 0.5);
  insert into assgn (grp_id, seq_no, freq_sym, freq_assgn, freq_mhz) values (150, 2, 'K', 501, 0.501);
  insert into freq (ntc_id, emi_rcp, beam_name, grp_id, seq_no, freq_min, freq_max)
    values (12, 'E', 'ADVP', 120, 1, 11700, 11750.5);
  insert into freq (ntc_id, emi_rcp, beam_name, grp_id, seq_no, freq_min, freq_max)
    values (13, 'E', 'B3', 130, 1, 4999.5, 5000.5);
  insert into e_as_stn (grp_id, seq_no, pattern_id, stn_type) values (130, 1, 100, 'E');
  insert into e_as_stn (grp_id, seq_no, pattern_id, stn_type) values (140, 1, 50, 'E');
  insert into provn (grp_id, coord_prov, agree_st, adm, seq_no) values (130, '9.7', 'R', 'AAA', 1);
  insert into tr_provn (ntc_id, wic_no, coord_prov, agree_st, adm, seq_no) values (12, 1, '9.7', 'R', 'AAA', 1);
  insert into tr_provn (ntc_id, wic_no, coord_prov, agree_st, adm, seq_no) values (13, 1, '9.7', 'R', 'BBB', 1);
  insert into tr_provn (ntc_id, wic_no, coord_prov, agree_st, adm, seq_no) values (13, 1, '9.7', 'R', 'AAA', 2);
  insert into c_pfd (ntc_id, seq_no, freq_min, freq_max, pfd) values (13, 3, 42500, 43500, -185))";

constexpr std::string_view kReferenceRows = R"(
  insert into rf_ant_type (pattern_id, pattern) values (33, 'MODRES');
  insert into rf_ant_type_convert_rtoe (pattern_id, pattern_id_e) values (201, 33))";

struct Mode {
  const char* section;
  std::int32_t ntc_id;
  bool ingres;
};
constexpr Mode kModes[] = {{"whole database", 0, false},
                           {"notice 12", 12, false},
                           {"Ingres, whole database", 0, true},
                           {"Ingres, notice 12", 12, true}};

constexpr const char* kRowByRow = "row by row";

using Sections = std::map<std::string, std::vector<std::string>>;

std::string Escaped(const std::string& statement) {
  std::string line;
  for (const char c : statement) {
    if (c == '\\') {
      line += "\\\\";
    } else if (c == '\r') {
      line += "\\r";
    } else if (c == '\n') {
      line += "\\n";
    } else {
      line += c;
    }
  }
  return line;
}

Sections ReadGolden(const std::string& path) {
  std::ifstream file(path);
  Sections sections;
  std::string line;
  std::vector<std::string>* current = nullptr;
  while (std::getline(file, line)) {
    if (line.starts_with("== ")) {
      current = &sections[line.substr(3)];
    } else if (current != nullptr) {
      current->push_back(line);
    }
  }
  return sections;
}

void WriteGolden(const std::string& path, const Sections& sections) {
  std::ofstream file(path);
  for (const Mode& mode : kModes) {
    const auto& lines = sections.at(mode.section);
    if (mode.ingres && lines == sections.at(std::string(mode.section).substr(8))) continue;
    file << "== " << mode.section << '\n';
    for (const std::string& line : lines) file << line << '\n';
  }
  if (const auto words = sections.find(kRowByRow); words != sections.end()) {
    file << "== " << kRowByRow << '\n';
    for (const std::string& line : words->second) file << line << '\n';
  }
}

// `wrote_rows` becomes true when rows were changed through a recordset.
std::vector<std::string> Sent(const FixRoutine& routine, const Mode& mode, bool* wrote_rows) {
  NoticeDatabase database;
  database.RunOn(NoticeDatabase::kReference, kReferenceRows);
  database.Run(kRows);
  database.OpenReference();
  database.settings.Set("GLOBAL", "DataLevel", "-1");
  database.state.ntc_id = mode.ntc_id;
  if (mode.ingres) database.SpeakIngres();
  std::vector<std::string> lines;
  database.state.db_services.observer = [&](const db::StatementEvent& event) {
    if (!event.text.empty()) lines.push_back(Escaped(std::string(event.text)));
    *wrote_rows = *wrote_rows || (event.text.empty() && event.rows > 0);
  };
  routine.run();
  database.state.db_services.observer = {};
  return lines;
}

class GoldenSql : public ::testing::TestWithParam<FixRoutine> {};

TEST_P(GoldenSql, SendsTheseStatements) {
  const FixRoutine routine = GetParam();
  const std::string path = std::string(VNT_STATEMENTS_FOLDER) + "/" + std::string(routine.name) + ".txt";
  bool wrote_rows = false;
  if (std::getenv("VNT_UPDATE_GOLDEN") != nullptr) {
    Sections sections = ReadGolden(path);
    for (const Mode& mode : kModes) sections[mode.section] = Sent(routine, mode, &wrote_rows);
    WriteGolden(path, sections);
    return;
  }
  const Sections golden = ReadGolden(path);
  ASSERT_TRUE(golden.contains("whole database")) << path;
  for (const Mode& mode : kModes) {
    std::string section = mode.section;
    if (!golden.contains(section)) section = section.substr(section.find(' ') + 1);
    EXPECT_EQ(Sent(routine, mode, &wrote_rows), golden.at(section)) << mode.section;
  }
  EXPECT_TRUE(!wrote_rows || golden.contains(kRowByRow)) << path;
}

// Every routine of the catalogue, and those that only others call.
std::vector<FixRoutine> AllRoutines() {
  std::vector<FixRoutine> routines;
  for (const FixEntry& fix : FixCatalogue()) {
    routines.insert(routines.end(), fix.routines.begin(), fix.routines.begin() + fix.routine_count);
  }
  routines.push_back({"DeleteNotifSsnsOfAddNotices", DeleteNotifSsnsOfAddNotices});
  routines.push_back({"RefreshPfdAndVersionTables", RefreshPfdAndVersionTables});
  routines.push_back({"CorrectPfdBandwidths", CorrectPfdBandwidths});
  return routines;
}

INSTANTIATE_TEST_SUITE_P(Fixes, GoldenSql, ::testing::ValuesIn(AllRoutines()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace vnt::test
