// Real errors of the database in the middle of a fix: who reports, what stays applied, what goes on.

#include <gtest/gtest.h>

#include "fixes/antenna_patterns.h"
#include "fixes/emissions.h"
#include "fixes/frequency_sort.h"
#include "fixes/frequency_units.h"
#include "fixes/identity.h"
#include "fixes/inapplicable_data.h"
#include "fixes/provision_sort.h"
#include "fixes/reference_tables.h"
#include "fixes/service_areas.h"
#include "fixes/status_reset.h"
#include "tests/program/notice_database.h"

namespace vnt::test {
namespace {

using Lines = std::vector<std::string>;

struct FailureCase {
  const char* name;
  const char* before;
  void (*routine)();
  std::int32_t number;
  const char* query;
  Lines after;
};

void PrintTo(const FailureCase& failure, std::ostream* out) { *out << failure.name; }

class Reported : public ::testing::TestWithParam<FailureCase> {};

TEST_P(Reported, OnceWithNumberAndDescription) {
  const FailureCase& failure = GetParam();
  NoticeDatabase database;
  std::vector<db::DbError> counted;
  database.state.on_error = [&](const db::DbError& error) { counted.push_back(error); };
  database.Run(failure.before);
  failure.routine();
  ASSERT_EQ(counted.size(), 1U);
  EXPECT_EQ(counted[0].number(), failure.number) << counted[0].description();
  EXPECT_EQ(database.messages.shown,
            (Lines{"plain: " + std::to_string(counted[0].number()) + " " + counted[0].description()}));
  EXPECT_EQ(database.Rows(failure.query), failure.after);
}

INSTANTIATE_TEST_SUITE_P(
    Fixes, Reported,
    ::testing::Values(
        FailureCase{"MissingTableEndsTheListAndLeavesWhatWasDone",
                    R"(insert into assgn (grp_id, seq_no, freq_sym, freq_assgn) values (1, 1, 'M', 12000);
                       insert into strap (ntc_id, strp_id, freq_symup, freq_up) values (1, 1, 'M', 12000);
                       drop table freq)",
                    ConvertFreqMHzToGHz,
                    db::kErrMissingTable,
                    "select assgn.freq_sym, freq_symup from assgn, strap",
                    {"G|M"}},
        FailureCase{"KeyViolationTakesTheStatementBackWhole",
                    R"(insert into grp (grp_id, ntc_id, beam_name) values (1, 1, 'A ');
                       insert into s_beam (ntc_id, emi_rcp, beam_name) values (1, 'E', ' B');
                       insert into s_beam (ntc_id, emi_rcp, beam_name) values (1, 'E', 'A');
                       insert into s_beam (ntc_id, emi_rcp, beam_name) values (1, 'E', ' A');
                       insert into e_ant (ntc_id, emi_rcp, beam_name) values (1, 'E', ' A'))",
                    TrimBeamNames,
                    db::kErrKeyViolation,
                    "select beam_name from grp union all select beam_name from s_beam union all "
                    "select beam_name from e_ant",
                    {"A", " B", "A", " A", " A"}},
        FailureCase{"TextTooLong",
                    R"(drop table emiss;
                       create table emiss (grp_id long, seq_no short, design_emi text(8));
                       insert into emiss values (1, 1, '8K50F3E'))",
                    FixDesignationOfEmission,
                    db::kErrTruncated,
                    "select design_emi from emiss",
                    {"8K50F3E"}},
        FailureCase{"NoCurrentRecordForAMissingStation",
                    R"(insert into com_el (ntc_id, ntc_type, long_nom) values (1, 'T', 0))",
                    FillMissingComElData,
                    db::kErrNoCurrentRecord,
                    "select long_nom from com_el",
                    {"0"}},
        FailureCase{"ConsentProvisionsEndTheFindings",
                    R"(insert into notice (ntc_id, ntf_rsn) values (1, 'C');
                       insert into tr_provn (ntc_id, agree_st, seq_no) values (1, 'X', 1);
                       drop table com_el;
                       create table com_el (ntc_id long, wic_no short, wic_part text(1)))",
                    RemoveFindingsAndKvData,
                    db::kErrParameter,
                    "select agree_st from tr_provn",
                    {"X"}},
        FailureCase{"SortLosesAGroupThatCannotBeInsertedAgain",
                    R"(drop table assgn;
                       create table assgn (grp_id long, seq_no short, freq_sym text(1), freq_assgn double,
                         freq_mhz double, f_cmp_rec text(1), extra short not null);
                       insert into grp (grp_id, ntc_id) values (1, 1);
                       insert into assgn values (1, 1, 'M', 1, 1, null, 5);
                       insert into assgn values (2, 1, 'M', 1, 1, null, 5))",
                    SortFrequenciesAllGroups,
                    db::kErrIntegrity,
                    "select grp_id, seq_no from assgn",
                    {"2|1"}},
        FailureCase{"EmptyTextsMeetANumberInUse",
                    R"(insert into grp (grp_id, ntc_id) values (1, 1);
                       insert into provn (grp_id, coord_prov, agree_st, adm, seq_no) values (1, '', '', 'AAA', 2);
                       insert into provn (grp_id, coord_prov, agree_st, adm, seq_no) values (1, '', '', 'BBB', 1))",
                    SortProvnAllGroups,
                    db::kErrKeyViolation,
                    "select adm, seq_no from provn order by adm",
                    {"AAA|2", "BBB|1"}}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(Untrapped, ErrorsReachTheCaller) {
  NoticeDatabase database;
  database.Run("drop table diag_grp; drop table com_el; drop table orbit");
  EXPECT_THROW(AlignAreaNumbers(), db::DbError);
  EXPECT_THROW(DeleteConsentProvisions(), db::DbError);
  EXPECT_THROW(CompleteOrbitData(), db::DbError);
  EXPECT_THROW(SyncComElNames(), db::DbError);
  database.Run("insert into s_beam (ntc_id, emi_rcp, beam_name, pattern_id) values (1, 'E', 'B', 5)");
  EXPECT_THROW(AlignPatternIds(), db::DbError);  // the reference database is not open
  EXPECT_TRUE(database.messages.shown.empty());
}

TEST(Untrapped, SequenceNumbersAreSixteenBits) {
  NoticeDatabase database;
  database.Run(
      "insert into c_pfd (ntc_id, seq_no, freq_min, freq_max, pfd) values (1, 32766, 42500, 43500, 1)");
  try {
    CorrectPfdBandwidths();
    FAIL() << "32768 does not fit";
  } catch (const db::DbError& error) {
    EXPECT_EQ(error.number(), db::kErrOverflow);
  }
  EXPECT_EQ(database.Rows("select seq_no from c_pfd order by seq_no"), (Lines{"32766", "32767"}));
}

TEST(Untrapped, ANullLimitIsAHoleInTheStatement) {
  NoticeDatabase database;
  database.Run("insert into c_pfd (ntc_id, seq_no, freq_min, freq_max) values (1, 1, 42500, 43500)");
  try {
    CorrectPfdBandwidths();
    FAIL() << "the statement does not parse";
  } catch (const db::DbError& error) {
    EXPECT_EQ(error.number(), db::kErrSyntax);
  }
}

TEST(Resumed, AntennaTypesGoWhenTheReferenceIsMissing) {
  NoticeDatabase database;
  database.state.reference_database = "missing.mdb";
  int counted = 0;
  database.state.on_error = [&](const db::DbError&) { ++counted; };
  UpdateAntennaTypeReference();
  EXPECT_EQ(counted, 2) << "the tables that could not be made; not the one that was not there to be dropped";
  EXPECT_TRUE(database.messages.shown.empty());
  EXPECT_THROW(database.Rows("select * from ant_type"), db::DbError);
}

TEST(Trap, AFailingTableLeavesTheOtherRoutinesOfThePatternFixAlone) {
  NoticeDatabase database;
  database.Run("drop table e_as_stn");
  RemapObsoletePatternIds();
  EXPECT_EQ(database.messages.shown.size(), 1U);  // the third statement; the lists are not reached
}

}  // namespace
}  // namespace vnt::test
