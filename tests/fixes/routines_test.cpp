// What rows before and after do not show: settings, remarks, the repetition of steps.

#include <gtest/gtest.h>

#include "fixes/antenna_patterns.h"
#include "fixes/identity.h"
#include "fixes/provision_codes.h"
#include "fixes/provision_sort.h"
#include "tests/fixes/row_case.h"
#include "tests/program/notice_database.h"

namespace vnt::test {
namespace {

// The passes change the index that finds the notice's rows; none of them may drop out of the repetition.
TEST(NoticeSort, RunsOnceForEveryRowThatWasThere) {
  NoticeDatabase database;
  for (const std::int32_t seq_no : {1003, 7, 8, -2}) {
    database.Run(
        "insert into tr_provn (ntc_id, wic_no, coord_prov, agree_st, adm, seq_no) values (7, 1, 'A', 'R', "
        "'F', " +
        std::to_string(seq_no) + ")");
  }
  for (const std::int32_t ntc_id : {0, 7}) {
    database.state.ntc_id = ntc_id;
    EXPECT_EQ(database.SentBy(SortTrProvnAllNotices).size(), 1U + 4 * 2) << ntc_id;
    database.Run("update tr_provn set seq_no = seq_no + 100");
  }
}

TEST(DateInUse, IsReadInTheRegionalOrder) {
  NoticeDatabase database;
  database.Run(R"(insert into grp (grp_id, ntc_id, d_inuse) values (1, 7, #3/5/1949#);
                  insert into grp (grp_id, ntc_id, d_inuse) values (2, 7, #3/15/1949#))");
  const std::string folder = database.drive_c();
  {
    FILE* file = std::fopen((folder + "/WIN.INI").c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::fputs("[intl]\nsShortDate=M/d/yyyy\n", file);
    std::fclose(file);
  }
  FixDateInUse();
  // 5 March becomes 3 May; the 15th is no month and so stays the day.
  EXPECT_EQ(database.Rows("select d_inuse from grp order by grp_id"), (Lines{"2049-05-03", "2049-03-15"}));
}

TEST(EarthStationProvision, FollowsTheSettingNotTheState) {
  NoticeDatabase database;
  database.Run(R"(insert into notice (ntc_id, ntc_type, ntf_rsn) values (1, 'S', 'C');
                  insert into notice (ntc_id, ntc_type, ntf_rsn) values (2, 'S', 'N'))");
  database.state.data_level = 0;
  database.settings.Set("GLOBAL", "DataLevel", "-1");
  SetEarthStationProvision97A();
  EXPECT_EQ(database.Rows("select ntf_rsn, prov from notice order by ntc_id"), (Lines{"D|9.7A", "N|-"}));
}

TEST(PatternErrors, RemarkOfTheFirstListSurvivesTheSecond) {
  NoticeDatabase database;
  database.Run(R"(insert into notice (ntc_id, ntf_rsn) values (1, 'C');
                  insert into grp (grp_id, ntc_id) values (10, 1);
                  insert into e_as_stn (grp_id, seq_no, pattern_id) values (10, 1, 96))");
  RemapObsoletePatternIds();
  EXPECT_EQ(database.state.run_remark, " Potential Pattern Errors ");
  EXPECT_TRUE(database.messages.shown.empty());  // there are no plan notices, and so no second table
  EXPECT_THROW(database.Rows("select * from e_as_stn_err_pl"), db::DbError);
  database.Run("delete from e_as_stn");
  RemapObsoletePatternIds();
  EXPECT_EQ(database.state.run_remark, "");
}

TEST(PatternCounterpart, AgreesInAllThreeTypeColumns) {
  NoticeDatabase database;
  database.RunOn(NoticeDatabase::kReference, R"(
    insert into rf_ant_type (pattern_id, pattern, f_ant_type, f_sub_type) values (1, 'MODTES ', 1, 2);
    insert into rf_ant_type (pattern_id, pattern, f_ant_type) values (2, 'MODRES', 1);
    insert into rf_ant_type (pattern_id, pattern, f_ant_type, f_sub_type) values (3, 'MODRES', 1, 2);
    insert into rf_ant_type (pattern_id, pattern) values (4, 'BIFROST-TES3');
    insert into rf_ant_type (pattern_id, pattern) values (5, 'BIFROST-RES');
    insert into rf_ant_type (pattern_id, pattern) values (6, 'OMNI');
    insert into rf_ant_type (pattern_id) values (7))");
  database.OpenReference();
  EXPECT_EQ(FindCounterpartPattern(1), 3);
  EXPECT_EQ(FindCounterpartPattern(4), 5);
  EXPECT_EQ(FindCounterpartPattern(5), 0);  // leads to BIFROST-TES1, which is not there
  EXPECT_EQ(FindCounterpartPattern(6), 0);
  EXPECT_EQ(FindCounterpartPattern(7), 0);
  EXPECT_EQ(FindCounterpartPattern(8), 0);
}

}  // namespace
}  // namespace vnt::test
