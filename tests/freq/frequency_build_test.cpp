// The derived frequency rows: number pattern, edge pairs, centre builds, log, and the limits taken from them.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "freq/frequency_build.h"
#include "freq/frequency_limits.h"
#include "freq/frequency_row.h"
#include "tests/program/notice_database.h"

namespace vnt::test {
namespace {

using Lines = std::vector<std::string>;

TEST(FormatFrequency, FiveDecimalsHalvesAwayFromZero) {
  const std::pair<double, const char*> kCases[] = {{14250, "14250."},
                                                   {0.5, ".5"},
                                                   {0, "."},
                                                   {11725.25, "11725.25"},
                                                   {1.000005, "1.00001"},
                                                   {1.000004999, "1."},
                                                   {9.999995, "10."},
                                                   {0.000005, ".00001"},
                                                   {0.0000049, "."},
                                                   {-0.000001, "."},
                                                   {-12.5, "-12.5"},
                                                   {99999.999996, "100000."},
                                                   {2.675005, "2.67501"},
                                                   {1234567890, "1234567890."},
                                                   {0.999999, "1."},
                                                   {14.1234567, "14.12346"}};
  for (const auto& [value, text] : kCases) EXPECT_EQ(FormatFrequency(value), text) << value;
}

std::string LogText(const NoticeDatabase& database) {
  std::string text;
  int files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(database.drive_c())) {
    if (!entry.is_regular_file()) continue;
    ++files;
    std::ifstream file(entry.path());
    text.assign(std::istreambuf_iterator<char>(file), {});
  }
  EXPECT_EQ(files, 1);
  return text;
}

constexpr const char* kFreqRows =
    "select grp_id, seq_no, freq_sym, freq_assgn, freq_mhz, freq_min, freq_max, bdwdth, fdg_reg, d_prot_eff, "
    "wic_no, f_ovlp from freq order by grp_id, seq_no";

TEST(BuildFreq, EdgePairsOfAdvancePublication) {
  NoticeDatabase database;
  database.Run(R"(
    insert into notice (ntc_id, ntf_rsn, ntc_type) values (1, 'A', 'G');
    insert into grp (grp_id, ntc_id, emi_rcp, beam_name, d_prot_eff, fdg_reg, wic_no)
      values (10, 1, 'E', 'ADVP', #4/12/2005#, 'R1', 5);
    insert into assgn values (10, 1, 'G', 14, 14000, null);
    insert into assgn values (10, 2, 'G', 14.5, 14500, null);
    insert into assgn values (10, 3, 'M', null, null, null);
    insert into assgn values (10, 4, 'M', 20, 20, null);
    insert into assgn values (10, 5, 'X', 30, 30, null);
    insert into assgn values (10, 6, 'M', 40, 40, null);
    insert into assgn values (10, 7, 'M', 50, 50, null);
    insert into grp (grp_id, ntc_id, emi_rcp, beam_name) values (11, 1, 'R', 'B2');
    insert into assgn values (11, 1, 'K', 500, 0.5, null);
    insert into assgn values (11, 2, 'K', 501, 0.501, null);
    insert into freq (ntc_id, beam_name, grp_id, seq_no) values (9, 'ADVP', 90, 1);
    insert into freq (ntc_id, beam_name, grp_id, seq_no) values (1, 'OLD', 10, 7))");
  BuildFreqForADVP();
  EXPECT_EQ(
      database.Rows(kFreqRows),
      (Lines{// The second pair has an open edge and uses its number up; the seventh edge has no partner; an
             // unknown unit keeps the frequency of the row before; 12 April is read as 4 December.
             "10|1|G|14.25|14250|14000|14500|500000|R1|2005-12-04|5|-",
             "10|3|X|14.25|35|30|40|10000|R1|2005-12-04|5|-",
             // A group without date takes over the one before.
             "11|1|K|500.5|0.5005|0.5|0.501|1|-|2005-12-04|-|-"}));
  EXPECT_TRUE(database.messages.shown.empty());
  EXPECT_TRUE(LogText(database).starts_with("Tidyworks Log for Freq errors "));
}

// Whatever index finds the groups: the date that is carried over is that of the row before in the table.
TEST(BuildFreq, GroupsComeInTableOrder) {
  NoticeDatabase database;
  database.Run(R"(
    create index ux_groups on grp (ntc_id, grp_id);
    insert into notice (ntc_id, ntf_rsn, ntc_type) values (1, 'A', 'G');
    insert into grp (grp_id, ntc_id, beam_name, d_prot_eff) values (12, 1, 'B', #1/2/2003#);
    insert into grp (grp_id, ntc_id, beam_name) values (10, 1, 'B');
    insert into grp (grp_id, ntc_id, beam_name, d_prot_eff) values (11, 1, 'B', #5/5/2005#))");
  for (const char* group : {"10", "11", "12"}) {
    for (const char* edge : {"1", "2"}) {
      database.Run(std::string("insert into assgn values (") + group + ", " + edge + ", 'M', 20, 20, null)");
    }
  }
  BuildFreqForADVP();
  EXPECT_EQ(database.Rows("select grp_id, d_prot_eff from freq order by grp_id"),
            (Lines{"10|2003-02-01", "11|2005-05-05", "12|2003-02-01"}));
}

TEST(BuildFreq, CentresNeedFrequencyAndBandwidth) {
  NoticeDatabase database;
  database.Run(R"(
    insert into notice (ntc_id, ntf_rsn, ntc_type) values (1, 'C', 'G');
    insert into notice (ntc_id, ntf_rsn, ntc_type, plan_id) values (2, 'N', 'G', 'P');
    insert into notice (ntc_id, ntf_rsn, ntc_type) values (3, 'U', 'G');
    insert into grp (grp_id, ntc_id, emi_rcp, beam_name, bdwdth) values (10, 1, 'E', 'B', 36000);
    insert into grp (grp_id, ntc_id, emi_rcp, beam_name, bdwdth) values (11, 1, 'E', 'B', 0);
    insert into grp (grp_id, ntc_id, emi_rcp, beam_name, bdwdth) values (20, 2, 'E', 'B', 1000);
    insert into grp (grp_id, ntc_id, emi_rcp, beam_name, bdwdth) values (30, 3, 'E', 'B', 1000);
    insert into assgn values (10, 1, 'G', 14, 14000, null);
    insert into assgn values (10, 2, 'G', 0, 0, null);
    insert into assgn values (11, 1, 'G', 14, 14000, null);
    insert into assgn values (20, 1, 'M', 12000, 12000, null);
    insert into assgn values (30, 1, 'M', 12000, 12000, null);
    insert into freq (ntc_id, grp_id, seq_no) values (1, 10, 9);
    insert into freq (ntc_id, grp_id, seq_no) values (1, 11, 9))");
  BuildFreqGeneral();
  EXPECT_EQ(database.Rows(kFreqRows), (Lines{"10|1|G|14|14000|13982|14018|36000|-|-|-|-"}));
  BuildFreqForPlanNotices();
  EXPECT_EQ(database.Rows("select grp_id from freq order by grp_id"), (Lines{"10", "20"}));
}

TEST(BuildFreq, PlanRestrictionBindsToTheLastAlternative) {
  NoticeDatabase database;
  database.Run(R"(
    insert into notice (ntc_id, ntf_rsn) values (1, 'B');
    insert into notice (ntc_id, ntf_rsn, plan_id) values (2, 'N', 'P');
    insert into notice (ntc_id, ntf_rsn, plan_id) values (3, 'N', 'P');
    insert into grp (grp_id, ntc_id, bdwdth) values (10, 1, 1000);
    insert into grp (grp_id, ntc_id, bdwdth) values (20, 2, 1000);
    insert into grp (grp_id, ntc_id, bdwdth) values (30, 3, 1000);
    insert into assgn values (10, 1, 'M', 12000, 12000, null);
    insert into assgn values (20, 1, 'M', 12000, 12000, null);
    insert into assgn values (30, 1, 'M', 12000, 12000, null))");
  database.state.ntc_id = 2;
  BuildFreqForPlanNotices();
  EXPECT_EQ(database.Rows("select grp_id from freq order by grp_id"), (Lines{"10", "20"}));
}

constexpr const char* kFailingGroups = R"(
    create unique index ux_assgn on freq (freq_mhz);
    insert into grp (grp_id, ntc_id, emi_rcp, beam_name, bdwdth) values (10, 1, 'E', 'B', 1000);
    insert into grp (grp_id, ntc_id, emi_rcp, beam_name, bdwdth) values (11, 1, 'E', 'B', 1000);
    insert into grp (grp_id, ntc_id, emi_rcp, beam_name, bdwdth) values (12, 1, 'E', 'B', 1000);
    insert into grp (grp_id, ntc_id, emi_rcp, beam_name, bdwdth) values (13, 1, 'E', 'B', 1000);
    insert into assgn values (10, 1, 'M', 100, 100, null);
    insert into assgn values (10, 2, 'M', 200, 200, null);
    insert into assgn values (11, 1, 'M', 100, 100, null);
    insert into assgn values (11, 2, 'M', 200, 200, null);
    insert into assgn values (12, 1, 'M', 100, 100, null);
    insert into assgn values (12, 2, 'M', 200, 200, null);
    insert into assgn values (13, 1, 'M', 300, 300, null);
    insert into assgn values (13, 2, 'M', 400, 400, null))";

TEST(BuildFreq, FailingGroupsAreLoggedByTheBandEdgeBuilds) {
  NoticeDatabase database;
  database.Run("insert into notice (ntc_id, ntf_rsn, ntc_type) values (1, 'U', 'G')");
  database.Run(kFailingGroups);
  int counted = 0;
  database.state.on_error = [&](const db::DbError&) { ++counted; };
  BuildFreqForRS49();
  EXPECT_EQ(database.Rows("select grp_id, freq_mhz from freq order by grp_id"), (Lines{"10|150", "13|350"}));
  EXPECT_EQ(counted, 2);
  EXPECT_TRUE(database.messages.shown.empty());
  const std::string log = LogText(database);
  EXPECT_NE(log.find("notice 1 group 11: -2147467259 "), std::string::npos) << log;
  EXPECT_NE(log.find("notice 1 group 12: -2147467259 "), std::string::npos) << log;
  // The other build spells the folder differently and replaces the same file.
  BuildFreqForADVP();
  EXPECT_EQ(LogText(database).find("notice"), std::string::npos);
}

TEST(BuildFreq, FailingGroupsAreReportedOnceByTheOthers) {
  NoticeDatabase database;
  database.Run("insert into notice (ntc_id, ntf_rsn, ntc_type) values (1, 'C', 'G')");
  database.Run(kFailingGroups);
  BuildFreqGeneral();
  EXPECT_EQ(database.messages.shown.size(), 1U);
  EXPECT_EQ(database.Rows("select grp_id, freq_mhz from freq order by grp_id, seq_no"),
            (Lines{"10|100", "10|200", "13|300", "13|400"}));
}

TEST(FreqLimits, GroupsAndBeamsTakeTheRangeOfTheirRows) {
  NoticeDatabase database;
  database.Run(R"(
    insert into grp (grp_id, ntc_id, freq_min, freq_max) values (10, 1, 1, 2);
    insert into grp (grp_id, ntc_id, freq_min, freq_max) values (11, 1, 1, 2);
    insert into grp (grp_id, ntc_id, freq_min, freq_max) values (20, 2, 1, 2);
    insert into s_beam (ntc_id, emi_rcp, beam_name, freq_min, freq_max) values (1, 'E', 'B', 1, 2);
    insert into s_beam (ntc_id, emi_rcp, beam_name, freq_min, freq_max) values (1, 'R', 'B', 1, 2);
    insert into freq (ntc_id, emi_rcp, beam_name, grp_id, seq_no, freq_min, freq_max) values (1, 'E', 'B', 10, 1, 100, 110);
    insert into freq (ntc_id, emi_rcp, beam_name, grp_id, seq_no, freq_min, freq_max) values (1, 'E', 'B', 10, 2, 90, null);
    insert into freq (ntc_id, emi_rcp, beam_name, grp_id, seq_no) values (1, 'R', 'B', 11, 1);
    insert into freq (ntc_id, emi_rcp, beam_name, grp_id, seq_no, freq_min, freq_max) values (2, 'E', 'B', 20, 1, 5, 6))");
  database.state.ntc_id = 1;
  SetGroupFreqMinMax();
  SetBeamFreqMinMax();
  EXPECT_EQ(database.Rows("select grp_id, freq_min, freq_max from grp order by grp_id"),
            (Lines{"10|90|110", "11|1|2", "20|1|2"}));
  EXPECT_EQ(database.Rows("select emi_rcp, freq_min, freq_max from s_beam order by emi_rcp"),
            (Lines{"E|90|110", "R|1|2"}));
}

TEST(FreqLimits, HaveMessagesOfTheirOwn) {
  NoticeDatabase database;
  database.Run(R"(
    drop table grp;
    insert into freq (ntc_id, emi_rcp, beam_name, grp_id, seq_no, freq_min) values (1, 'E', 'B', 10, 1, 1);
    insert into freq (ntc_id, emi_rcp, beam_name, grp_id, seq_no, freq_min) values (1, 'E', 'B', 11, 1, 1))");
  SetGroupFreqMinMax();
  ASSERT_EQ(database.messages.shown.size(), 2U);
  EXPECT_TRUE(database.messages.shown[0].starts_with("plain: Error building Freq Min Max for group 10 "));
  EXPECT_TRUE(database.messages.shown[1].starts_with("plain: Error building Freq Min Max for group 11 "));
  database.Run("drop table s_beam");
  database.messages.shown.clear();
  SetBeamFreqMinMax();
  ASSERT_EQ(database.messages.shown.size(), 1U);
  EXPECT_TRUE(database.messages.shown[0].starts_with("plain: Error building Freq Min Max for beam B "));
  database.Run("drop table freq");
  database.messages.shown.clear();
  SetGroupFreqMinMax();
  ASSERT_EQ(database.messages.shown.size(), 1U);
  EXPECT_TRUE(database.messages.shown[0].starts_with("plain: Error building Freq Min Max for group 0 "));
}

}  // namespace
}  // namespace vnt::test
