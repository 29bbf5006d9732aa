// Rows before and after: thresholds, order of steps, quirks that must stay, and the narrowing to one notice.

#include <gtest/gtest.h>

#include "fixes/antenna_patterns.h"
#include "fixes/emissions.h"
#include "fixes/frequency_mhz.h"
#include "fixes/frequency_sort.h"
#include "fixes/frequency_units.h"
#include "fixes/identity.h"
#include "fixes/inapplicable_data.h"
#include "fixes/provision_codes.h"
#include "fixes/provision_sort.h"
#include "fixes/reference_tables.h"
#include "fixes/rounding.h"
#include "fixes/service_areas.h"
#include "fixes/special_sections.h"
#include "fixes/status_reset.h"
#include "tests/process.h"
#include "tests/program/notice_database.h"

namespace vnt::test {
namespace {

using Lines = std::vector<std::string>;

struct RowCase {
  const char* name;
  const char* before;
  std::vector<void (*)()> routines;
  const char* query;
  Lines after;
  std::int32_t ntc_id = 0;
  Lines messages = {};
};

void PrintTo(const RowCase& row_case, std::ostream* out) { *out << row_case.name; }

class Rows : public ::testing::TestWithParam<RowCase> {};

TEST_P(Rows, BecomeThese) {
  const RowCase& row_case = GetParam();
  NoticeDatabase database;
  database.RunOn(NoticeDatabase::kReference, R"(
    insert into rf_ant_type (pattern_id, pattern) values (33, 'MODRES');
    insert into rf_ant_type_convert_rtoe (pattern_id, pattern_id_e) values (201, 33);
    insert into rf_ant_type_convert_rtoe (pattern_id, pattern_id_e) values (202, 0))");
  database.OpenReference();
  database.Run(row_case.before);
  database.state.ntc_id = row_case.ntc_id;
  for (const auto routine : row_case.routines) routine();
  EXPECT_EQ(database.Rows(row_case.query), row_case.after);
  EXPECT_EQ(database.messages.shown, row_case.messages);
}

std::string Name(const ::testing::TestParamInfo<RowCase>& info) { return info.param.name; }

// Assignments 1, 2, ... of group 1 (notice 7) or group 2 (notice 8).
constexpr const char* kTwoNotices = R"(
  insert into grp (grp_id, ntc_id) values (1, 7);
  insert into grp (grp_id, ntc_id) values (2, 8);)";

INSTANTIATE_TEST_SUITE_P(
    Frequencies, Rows,
    ::testing::Values(
        RowCase{"MHzToGHzStrictlyAbove10500",
                R"(insert into assgn (grp_id, seq_no, freq_sym, freq_assgn) values (1, 1, 'M', 10500);
                   insert into assgn (grp_id, seq_no, freq_sym, freq_assgn) values (1, 2, 'M', 10500.001);
                   insert into assgn (grp_id, seq_no, freq_sym, freq_assgn) values (1, 3, 'K', 20000);
                   insert into assgn (grp_id, seq_no, freq_sym, freq_assgn) values (1, 4, 'M', null);
                   insert into assgn (grp_id, seq_no, freq_sym, freq_assgn) values (1, 5, 'M', 14250.25))",
                {ConvertFreqMHzToGHz},
                "select seq_no, freq_sym, freq_assgn from assgn order by seq_no",
                {"1|M|10500", "2|G|10.5", "3|K|20000", "4|M|-", "5|G|14.25025"}},
        RowCase{"GHzToMHzBelow10501",
                R"(insert into strap (ntc_id, strp_id, freq_symup, freq_up, freq_symdn, freq_dn)
                     values (1, 1, 'G', 10.501, 'G', 10.5))",
                {ConvertFreqGHzToMHz},
                "select freq_symup, freq_up, freq_symdn, freq_dn from strap",
                {"G|10.501|M|10500"}},
        RowCase{
            "BothConversionsEndInMHz",
            R"(insert into freq (ntc_id, grp_id, seq_no, freq_sym, freq_assgn) values (1, 1, 1, 'M', 10500.5);
                   insert into freq (ntc_id, grp_id, seq_no, freq_sym, freq_assgn) values (1, 1, 2, 'G', 11))",
            {ConvertFreqMHzToGHz, ConvertFreqGHzToMHz},
            "select seq_no, freq_sym, freq_assgn from freq order by seq_no",
            {"1|M|10500.5", "2|G|11"}},
        RowCase{"ConversionOfOneNoticeFindsAssignmentsThroughTheirGroup",
                R"(insert into grp (grp_id, ntc_id) values (1, 7);
                   insert into grp (grp_id, ntc_id) values (2, 8);
                   insert into assgn (grp_id, seq_no, freq_sym, freq_assgn) values (1, 1, 'M', 12000);
                   insert into assgn (grp_id, seq_no, freq_sym, freq_assgn) values (2, 1, 'M', 12000))",
                {ConvertFreqMHzToGHz},
                "select grp_id, freq_sym from assgn order by grp_id",
                {"1|M", "2|G"},
                8},
        RowCase{
            "FreqMhzOfAssignments",
            R"(insert into assgn (grp_id, seq_no, freq_sym, freq_assgn, freq_mhz) values (1, 1, 'M', 1500, 1400);
                   insert into assgn (grp_id, seq_no, freq_sym, freq_assgn, freq_mhz) values (1, 2, 'G', 12.5, null);
                   insert into assgn (grp_id, seq_no, freq_sym, freq_assgn, freq_mhz) values (1, 3, 'K', 500, null);
                   insert into assgn (grp_id, seq_no, freq_sym, freq_assgn, freq_mhz) values (1, 4, null, 9, 1))",
            {RoundFrequencies, FillMissingFreqMhz, RecomputeFreqMhz},
            "select seq_no, freq_mhz from assgn order by seq_no",
            {"1|1500", "2|12500", "3|0.5", "4|1"}},
        RowCase{"FreqRowsInMHzKeepTheirFreqMhz",
                R"(insert into freq (ntc_id, grp_id, seq_no, freq_sym, freq_assgn, freq_mhz)
                     values (1, 1, 1, 'M', 1500, 1400);
                   insert into freq (ntc_id, grp_id, seq_no, freq_sym, freq_assgn, freq_mhz)
                     values (1, 1, 2, 'G', 12.5, 1))",
                {RecomputeFreqMhz},
                "select seq_no, freq_mhz from freq order by seq_no",
                {"1|1400", "2|12500"}},
        RowCase{"RoundingByTheDatabase",
                R"(insert into emiss (grp_id, seq_no, pep_max, pep_min) values (1, 1, 12.34, -0.25);
                   insert into hor_elev (ntc_id, azm, elev_ang) values (1, 0, 5.05))",
                {RoundEmissionPower, RoundElevationAngle},
                "select pep_max, pep_min, c_to_n, elev_ang from emiss, hor_elev",
                {"12.3|-0.2|-|5"}},
        RowCase{"SortByFrequency",
                R"(insert into grp (grp_id, ntc_id) values (1, 7);
                   insert into assgn values (1, 5, 'G', 14, 14000, 'a');
                   insert into assgn values (1, 6, 'G', 11.7, 11700, 'b');
                   insert into assgn values (1, 7, null, null, 12500, 'c');
                   insert into assgn values (1, 8, 'M', 11700, 11700, 'd');
                   insert into assgn values (1, 9, 'M', 1, null, 'e'))",
                {SortFrequenciesAllGroups},
                "select seq_no, freq_sym, freq_assgn, freq_mhz, f_cmp_rec from assgn order by seq_no",
                {"1|M|1|-|e", "2|G|11.7|11700|b", "3|M|11700|11700|d", "4|-|-|12500|c", "5|G|14|14000|a"}},
        RowCase{"AdvancePublicationGroupsStayUnsorted",
                R"(insert into grp (grp_id, ntc_id, prov) values (1, 7, '9.1/IA ');
                   insert into grp (grp_id, ntc_id, prov) values (2, 7, 'S9.1/IA');
                   insert into assgn values (1, 4, 'M', 2, 2, null);
                   insert into assgn values (2, 4, 'M', 2, 2, null);
                   insert into assgn values (2, 5, 'M', 1, 1, null))",
                {SortFrequenciesAllGroups},
                "select grp_id, seq_no, freq_mhz from assgn order by grp_id, seq_no",
                {"1|4|2", "2|1|1", "2|2|2"}}),
    Name);

INSTANTIATE_TEST_SUITE_P(
    Emissions, Rows,
    ::testing::Values(
        RowCase{"DesignationsArePaddedToNine",
                R"(insert into emiss (grp_id, seq_no, design_emi) values (1, 1, '8K50F3E  ');
                   insert into emiss (grp_id, seq_no, design_emi) values (1, 2, 'SENSOR   ');
                   insert into emiss (grp_id, seq_no, design_emi) values (1, 3, '8K50F3EX');
                   insert into emiss (grp_id, seq_no, design_emi) values (1, 4, '8K50F3EXY');
                   insert into emiss (grp_id, seq_no, design_emi) values (1, 5, '8K50');
                   insert into emiss (grp_id, seq_no, design_emi) values (1, 6, '8K50F3E' & chr(10));
                   insert into emiss (grp_id, seq_no, design_emi) values (1, 7, '8K50F3E ');
                   insert into emiss (grp_id, seq_no, design_emi) values (1, 8, 'SENSOR '))",
                {FixDesignationOfEmission},
                "select seq_no, design_emi from emiss order by seq_no",
                {"1|8K50F3E--", "2|SENSOR   ", "3|8K50F3EX-", "4|8K50F3EXY", "5|8K50", "6|8K50F3E--",
                 "7|8K50F3E--", "8|SENSOR --"}},
        RowCase{"SevenCharactersAndACarriageReturnAreEight",
                R"(insert into emiss (grp_id, seq_no, design_emi) values (1, 1, '8K50F3E' & chr(13)))",
                {FixDesignationOfEmission},
                "select len(design_emi), asc(mid(design_emi, 8)), right(design_emi, 1) from emiss",
                {"9|13|-"}},
        RowCase{"RowsOfKeysOnlyAreDeleted",
                R"(insert into assgn (grp_id, seq_no) values (1, 1);
                   insert into assgn (grp_id, seq_no, freq_assgn) values (1, 2, 5);
                   insert into emiss (grp_id, seq_no, design_emi) values (1, 1, '');
                   insert into emiss (grp_id, seq_no, c_to_n) values (1, 2, 3);
                   insert into emiss (grp_id, seq_no, pwr_ds_nbw) values (1, 3, 3))",
                {DeleteEmptyEmissionRows},
                "select 'assgn' as t, seq_no from assgn union all select 'emiss', seq_no from emiss",
                {"assgn|2", "emiss|2"}},
        RowCase{"OnlyTheCapitalFlagIsCleared",
                R"(insert into emiss (grp_id, seq_no, f_emi_type) values (1, 1, 'A');
                   insert into emiss (grp_id, seq_no, f_emi_type) values (1, 2, 'a'))",
                {ClearEmissionTypeFlagA},
                "select seq_no, f_emi_type from emiss order by seq_no",
                {"1|-", "2|a"}}),
    Name);

INSTANTIATE_TEST_SUITE_P(
    Provisions, Rows,
    ::testing::Values(
        RowCase{"GroupSortTrimsBlocks",
                R"(insert into grp (grp_id, ntc_id) values (1, 7);
                   insert into provn (grp_id, coord_prov, agree_st, adm, ntwk_org, seq_no) values (1, 'A', 'R', 'USA', null, 1);
                   insert into provn (grp_id, coord_prov, agree_st, adm, ntwk_org, seq_no) values (1, 'A ', 'R', 'CAN', null, 2);
                   insert into provn (grp_id, coord_prov, agree_st, adm, ntwk_org, seq_no) values (1, 'A', 'R', 'F', 'X', 3);
                   insert into provn (grp_id, coord_prov, agree_st, adm, ntwk_org, seq_no) values (1, 'A', 'R', 'F', null, 4);
                   insert into provn (grp_id, coord_prov, agree_st, adm, ntwk_org, seq_no) values (1, 'B', 'O', 'G', null, 5))",
                {SortProvnAllGroups},
                "select seq_no, coord_prov, adm, ntwk_org from provn order by coord_prov, seq_no",
                {"1|A|F|-", "2|A|F|X", "3|A|USA|-", "4|A |CAN|-", "1|B|G|-"}},
        // The unique index of the table takes "A" and "A " for equal: two such blocks would collide at 1001.
        RowCase{"NoticeSortDoesNotTrim",
                R"(drop index ux_tr_provn on tr_provn;
                   insert into tr_provn (ntc_id, wic_no, coord_prov, agree_st, adm, seq_no) values (7, 1, 'A', 'R', 'USA', 1);
                   insert into tr_provn (ntc_id, wic_no, coord_prov, agree_st, adm, seq_no) values (7, 1, 'A', 'R', 'CAN', 2);
                   insert into tr_provn (ntc_id, wic_no, coord_prov, agree_st, adm, seq_no) values (7, 1, 'A ', 'R', 'F', 3);
                   insert into tr_provn (ntc_id, wic_no, coord_prov, agree_st, adm, seq_no) values (7, 2, 'A', 'R', 'G', 4))",
                {SortTrProvnAllNotices},
                "select wic_no, seq_no, coord_prov, adm from tr_provn order by wic_no, coord_prov, seq_no",
                {"1|1|A|CAN", "1|2|A|USA", "1|1|A |F", "2|1|A|G"}},
        RowCase{"AFirstBlockOfEmptyTextsEndsAtMinus999",
                R"(insert into provn (grp_id, coord_prov, agree_st, adm, seq_no) values (1, '', '', 'AAA', 8);
                   insert into provn (grp_id, coord_prov, agree_st, adm, seq_no) values (1, '', '', 'BBB', 9);
                   insert into grp (grp_id, ntc_id) values (1, 7))",
                {SortProvnAllGroups},
                "select seq_no, adm from provn order by seq_no",
                {"-999|AAA", "-998|BBB"}},
        RowCase{"ANullStopsTheUnitAboveAThousand",
                R"(insert into grp (grp_id, ntc_id) values (1, 7);
                   insert into grp (grp_id, ntc_id) values (2, 7);
                   insert into provn (grp_id, coord_prov, agree_st, adm, seq_no) values (1, 'A', null, 'AAA', 3);
                   insert into provn (grp_id, coord_prov, agree_st, adm, seq_no) values (2, 'A', 'R', 'AAA', 4))",
                {SortProvnAllGroups},
                "select grp_id, seq_no from provn order by grp_id",
                {"1|3", "2|1"},
                0,
                {"plain: 94 Invalid use of Null"}},
        RowCase{"AdministrationCodeNeedsItsCountry",
                R"(insert into provn (grp_id, adm, ctry, seq_no) values (1, 'MRC', 'AOE', 1);
                   insert into provn (grp_id, adm, ctry, seq_no) values (1, 'MRC', 'MRC', 2))",
                {FixProvnAdmCode},
                "select seq_no, adm from provn order by seq_no",
                {"1|XZZ", "2|MRC"},
                -5},
        RowCase{"AdvancePublicationPrefixSince2001",
                R"(insert into notice (ntc_id, ntf_rsn, d_rcv) values (1, 'A', #1/1/2001#);
                   insert into notice (ntc_id, ntf_rsn, d_rcv) values (2, 'A', #12/31/2000#);
                   insert into notice (ntc_id, ntf_rsn) values (3, 'A');
                   insert into grp (grp_id, ntc_id, beam_name) values (10, 1, 'ADVP');
                   insert into grp (grp_id, ntc_id, beam_name) values (11, 1, 'B');
                   insert into grp (grp_id, ntc_id) values (12, 1);
                   insert into grp (grp_id, ntc_id, beam_name) values (20, 2, 'ADVP');
                   insert into grp (grp_id, ntc_id, beam_name) values (31, 3, 'B'))",
                {SetAdvpGroupProvision},
                "select grp_id, prov from grp order by grp_id",
                {"10|S9.1/IB", "11|S9.1/IA", "12|-", "20|9.1/IB", "31|9.1/IA"}},
        RowCase{"EarthStationsWaitForDataLevelMinusOne",
                R"(insert into notice (ntc_id, ntc_type, ntf_rsn, prov) values (1, 'S', 'C', '9.6'))",
                {SetEarthStationProvision97A},
                "select ntf_rsn, prov from notice",
                {"C|9.6"}},
        RowCase{"CombinedProvisionsAreSplitExceptTheLast",
                R"(insert into notice (ntc_id, ntf_rsn, prov, f_aa_type) values (1, 'C', 'S9.11A ', 'R');
                   insert into notice (ntc_id, ntf_rsn, prov) values (2, 'N', '11.2-RES553');
                   insert into notice (ntc_id, ntf_rsn, prov) values (3, 'C', '9.6-21.4-22G');
                   insert into com_el (ntc_id, ntf_rsn, prov) values (1, 'C', '9.11A');
                   insert into com_el (ntc_id, ntf_rsn, prov) values (3, 'C', '9.6-21.4-22G '))",
                {FixNoticeProvision911A},
                "select ntc_id, prov, prov_desc, f_aa_type from notice union all "
                "select ntc_id, prov, '', '' from com_el",
                {"1|9.6|9.11A|-", "2|11.2|RES553|-", "3|9.6|21.4-22G|-", "1|9.6||", "3|9.6-21.4-22G ||"}},
        RowCase{"NegativeNoticeNumbersNarrowToNothing",
                R"(insert into notice (ntc_id, ntf_rsn, prov) values (1, 'A', 'S9.1/IA'))",
                {StripNoticeProvisionPrefix},
                "select prov from notice",
                {"S9.1/IA"},
                -5}),
    Name);

INSTANTIATE_TEST_SUITE_P(
    SectionsAndStatus, Rows,
    ::testing::Values(
        RowCase{
            "ReferencesAreCleanedWithoutTrimming",
            R"(insert into gpub (grp_id, seq_no, ssn_type, pub_ref, pub_no) values (1, 1, 'N', 'WKLY ', 1);
                   insert into gpub (grp_id, seq_no, ssn_type, pub_ref, pub_no) values (1, 2, null, 'WKLY', 1);
                   insert into gpub (grp_id, seq_no, ssn_type, pub_ref, pub_no) values (1, 3, 'A', 'AR11/A/', 1);
                   insert into gpub (grp_id, seq_no, ssn_type, pub_ref, pub_no) values (1, 4, 'A', 'AR11/A/ ', 1);
                   insert into gpub (grp_id, seq_no, ssn_type, pub_ref, pub_no) values (1, 5, 'A', null, 7);
                   insert into gpub (grp_id, seq_no, ssn_type, pub_ref, pub_no) values (1, 6, 'A', null, null);
                   insert into gpub (grp_id, seq_no, ssn_type, pub_ref, pub_no) values (1, 7, 'A', 'API/A/', 1))",
            {FixSpecialSectionReference},
            "select seq_no, ssn_type, pub_ref from gpub order by seq_no",
            {"2|N|WKLY", "3|A|AR11/A", "4|A|AR11/A/ ", "5|A|-", "7|A|API/A"}},
        RowCase{"OnlyExactlyCLosesCoordinationSections",
                R"(insert into notice (ntc_id, ntf_rsn) values (1, 'C');
                   insert into notice (ntc_id, ntf_rsn) values (2, 'c');
                   insert into notice (ntc_id) values (3);
                   insert into grp (grp_id, ntc_id) values (10, 1);
                   insert into grp (grp_id, ntc_id) values (20, 2);
                   insert into gpub (grp_id, seq_no, pub_ref) values (10, 1, 'AR11/C');
                   insert into gpub (grp_id, seq_no, pub_ref) values (10, 2, 'AR11/A');
                   insert into gpub (grp_id, seq_no, pub_ref) values (20, 1, 'AR11/C'))",
                {RemoveNonCoordinationSsns},
                "select grp_id, pub_ref from gpub order by grp_id",
                {"10|AR11/A", "20|AR11/C"}},
        RowCase{"StationsOfAddedNoticesKeepTheirCode",
                R"(insert into notice (ntc_id, act_code) values (1, 'A');
                   insert into notice (ntc_id, act_code) values (2, 'M');
                   insert into grp (grp_id, ntc_id, act_code) values (10, 1, 'A');
                   insert into grp (grp_id, ntc_id, act_code) values (20, 2, 'A');
                   insert into e_as_stn (grp_id, seq_no, act_code) values (10, 1, 'A');
                   insert into e_as_stn (grp_id, seq_no, act_code) values (20, 1, 'A'))",
                {FixActionCode},
                "select grp.grp_id, grp.act_code, e_as_stn.act_code as station from grp, e_as_stn "
                "where grp.grp_id = e_as_stn.grp_id order by grp.grp_id",
                {"10|-|A", "20|A|-"}},
        RowCase{"FindingsGoAndSomeProvisionsStay",
                R"(insert into notice (ntc_id, ntf_rsn, wic_no) values (1, 'C', 5);
                   insert into notice (ntc_id, ntf_rsn) values (2, 'P');
                   insert into com_el (ntc_id, ntf_rsn) values (1, 'C');
                   insert into com_el (ntc_id, ntf_rsn) values (2, 'P');
                   insert into grp (grp_id, ntc_id) values (10, 1);
                   insert into grp (grp_id, ntc_id) values (20, 2);
                   insert into provn (grp_id, agree_st, seq_no) values (10, 'V', 1);
                   insert into provn (grp_id, agree_st, seq_no) values (10, 'X', 2);
                   insert into provn (grp_id, agree_st, seq_no) values (10, null, 3);
                   insert into provn (grp_id, agree_st, seq_no) values (20, 'V', 4);
                   insert into tr_provn (ntc_id, agree_st, seq_no) values (1, 'V', 5);
                   insert into tr_provn (ntc_id, agree_st, seq_no) values (1, 'O', 6);
                   insert into tr_provn (ntc_id, agree_st, seq_no) values (2, 'V', 7))",
                {RemoveFindingsAndKvData},
                "select seq_no from provn union all select seq_no from tr_provn union all "
                "select wic_no from notice where ntc_id = 1",
                {"3", "4", "6", "7", "-"}},
        RowCase{"AddedNoticesLoseNotificationSections",
                R"(insert into notice (ntc_id, act_code, ntf_rsn) values (1, 'A', 'A');
                   insert into notice (ntc_id, act_code, ntf_rsn) values (2, 'M', 'A');
                   insert into grp (grp_id, ntc_id, act_code) values (10, 1, null);
                   insert into grp (grp_id, ntc_id, act_code) values (20, 2, 'A');
                   insert into grp (grp_id, ntc_id, act_code) values (21, 2, 'M');
                   insert into gpub (grp_id, seq_no, ssn_type) values (10, 1, 'N');
                   insert into gpub (grp_id, seq_no, ssn_type) values (20, 1, 'N');
                   insert into gpub (grp_id, seq_no, ssn_type) values (21, 1, 'N'))",
                {DeleteNotifSsnsOfAddNotices},
                "select grp_id from gpub order by grp_id",
                {"10", "21"},
                2}),
    Name);

INSTANTIATE_TEST_SUITE_P(
    Patterns, Rows,
    ::testing::Values(
        RowCase{"TheRestrictionBindsToTheSecondNumber",
                R"(insert into e_ant (ntc_id, emi_rcp, beam_name, pattern_id) values (7, 'E', 'A', 506);
                   insert into e_ant (ntc_id, emi_rcp, beam_name, pattern_id) values (7, 'E', 'B', 507);
                   insert into e_ant (ntc_id, emi_rcp, beam_name, pattern_id) values (12, 'E', 'A', 507))",
                {RemapObsoletePatternIds},
                "select ntc_id, beam_name, pattern_id from e_ant order by ntc_id, beam_name",
                {"7|A|33", "7|B|507", "12|A|33"},
                12},
        RowCase{"Pattern519EndsAt76",
                R"(insert into e_as_stn (grp_id, seq_no, pattern_id, stn_type) values (1, 1, 519, 'E');
                   insert into e_as_stn (grp_id, seq_no, pattern_id, stn_type) values (1, 2, 380, 'P');
                   insert into e_as_stn (grp_id, seq_no, pattern_id, stn_type) values (1, 3, 380, null);
                   insert into e_as_stn (grp_id, seq_no, pattern_id, stn_type) values (1, 4, 380, 'E'))",
                {RemapObsoletePatternIds},
                "select seq_no, pattern_id from e_as_stn order by seq_no",
                {"1|76", "2|380", "3|380", "4|46"}},
        RowCase{"SuspectPatternsOverlapAt96",
                R"(insert into notice (ntc_id, ntf_rsn) values (1, 'C');
                   insert into notice (ntc_id, ntf_rsn) values (2, 'N');
                   insert into notice (ntc_id, ntf_rsn) values (3, 'B');
                   insert into grp (grp_id, ntc_id) values (10, 1);
                   insert into grp (grp_id, ntc_id) values (20, 2);
                   insert into grp (grp_id, ntc_id) values (30, 3);
                   insert into e_as_stn (grp_id, seq_no, pattern_id) values (10, 1, 96);
                   insert into e_as_stn (grp_id, seq_no, pattern_id) values (10, 2, 95);
                   insert into e_as_stn (grp_id, seq_no, pattern_id) values (20, 1, 500);
                   insert into e_as_stn (grp_id, seq_no, pattern_id) values (20, 2, 501);
                   insert into e_as_stn (grp_id, seq_no, pattern_id) values (30, 1, 96);
                   insert into e_as_stn (grp_id, seq_no, pattern_id) values (30, 2, 97))",
                {RemapObsoletePatternIds, RemapObsoletePatternIds},
                "select grp_id, seq_no, pattern_id from e_as_stn_err union all "
                "select grp_id, seq_no, pattern_id from e_as_stn_err_pl",
                {"10|1|96", "20|1|500", "30|1|96"}},
        RowCase{"UnknownPatternsAreConvertedOrCleared",
                R"(insert into s_beam (ntc_id, emi_rcp, beam_name, pattern_id) values (1, 'E', '1', 201);
                   insert into s_beam (ntc_id, emi_rcp, beam_name, pattern_id) values (1, 'E', '2', 202);
                   insert into s_beam (ntc_id, emi_rcp, beam_name, pattern_id) values (1, 'E', '3', 33);
                   insert into s_beam (ntc_id, emi_rcp, beam_name, pattern_id) values (1, 'E', '4', 9999);
                   insert into s_beam (ntc_id, emi_rcp, beam_name, pattern_id) values (1, 'E', '5', -3);
                   insert into s_beam (ntc_id, emi_rcp, beam_name, pattern_id) values (1, 'E', '6', 77);
                   insert into e_ant (ntc_id, emi_rcp, beam_name, pattern_id) values (1, 'E', '7', 77))",
                {AlignPatternIds},
                "select beam_name, pattern_id from s_beam union all select beam_name, pattern_id from e_ant",
                {"1|33", "2|-", "3|33", "4|9999", "5|-3", "6|-", "7|-"}}),
    Name);

INSTANTIATE_TEST_SUITE_P(
    StationsAndAreas, Rows,
    ::testing::Values(
        RowCase{"DatesBefore1950MoveByAHundredYears",
                R"(insert into grp (grp_id, ntc_id, d_inuse) values (1, 7, #3/15/1949 10:30:00#);
                   insert into grp (grp_id, ntc_id, d_inuse) values (2, 7, #1/1/1950#);
                   insert into grp (grp_id, ntc_id, d_inuse) values (3, 7, null);
                   insert into grp (grp_id, ntc_id, d_inuse) values (4, 7, #5/3/1905#))",
                {FixDateInUse},
                "select grp_id, d_inuse from grp order by grp_id",
                {"1|2049-03-15", "2|1950-01-01", "3|-", "4|2005-05-03"}},
        RowCase{"CommonElementsFollowTheStation",
                R"(insert into com_el (ntc_id, ntc_type, sat_name, long_nom) values (1, 'G', 'OLD', 5);
                   insert into geo (ntc_id, sat_name, long_nom) values (1, 'NEW', 7);
                   insert into com_el (ntc_id, ntc_type, sat_name, long_nom) values (2, 'G', 'SAME', 5);
                   insert into geo (ntc_id, sat_name, long_nom) values (2, 'SAME', 7);
                   insert into com_el (ntc_id, ntc_type, sat_name, long_nom) values (3, 'G', 'X', 0);
                   insert into com_el (ntc_id, ntc_type, stn_name, long_nom) values (4, 'S', 'A', null);
                   insert into e_stn (ntc_id, stn_name, long_nom) values (4, 'B', 9);
                   insert into com_el (ntc_id, ntc_type, sat_name, long_nom) values (5, 'N', 'P', 0);
                   insert into non_geo (ntc_id, sat_name) values (5, 'Q'))",
                {FillMissingComElData},
                "select ntc_id, sat_name, stn_name, long_nom from com_el order by ntc_id",
                {"1|NEW|-|7", "2|SAME|-|5", "3|X|-|0", "4|-|B|9", "5|Q|-|0"}},
        RowCase{"StationsAreFilledInTableOrderUpToTheFirstThatIsMissing",
                R"(create index ux_long on com_el (long_nom);
                   create index ux_notice on com_el (ntc_id);
                   insert into com_el (ntc_id, ntc_type, long_nom) values (9, 'S', 0);
                   insert into com_el (ntc_id, ntc_type, long_nom) values (3, 'S', 0);
                   insert into com_el (ntc_id, ntc_type, long_nom) values (5, 'S', null);
                   insert into e_stn (ntc_id, long_nom) values (5, 1);
                   insert into e_stn (ntc_id, long_nom) values (9, 2))",
                {FillMissingComElData},
                "select ntc_id, long_nom from com_el order by ntc_id",
                {"3|0", "5|-", "9|2"},
                0,
                {"plain: 3021 No current record."}},
        RowCase{"NamesAndFlags",
                R"(insert into e_as_stn (grp_id, seq_no, stn_name) values (1, 1, 'Raisting 2');
                   insert into grp (grp_id, ntc_id, beam_name) values (1, 7, ' B1 ');
                   insert into geo (ntc_id, f_active) values (7, 'N'))",
                {UppercaseEarthStationNames, TrimBeamNames, SetActiveFlags},
                "select stn_name, beam_name, f_active from e_as_stn, grp, geo",
                {"RAISTING 2|B1|A"}},
        RowCase{"PeriodsAndExponentsAreCompleted",
                R"(insert into orbit (ntc_id, orb_id, prd_hh) values (1, 1, 2);
                   insert into orbit (ntc_id, orb_id, apog_exp, perig) values (1, 2, 3, 5);
                   insert into orbit (ntc_id, orb_id, rpt_prd_ss) values (1, 3, 9))",
                {CompleteOrbitData},
                "select orb_id, prd_ddd, prd_hh, prd_mm, apog_exp, perig_exp, rpt_prd_dd, rpt_prd_hh, "
                "rpt_prd_mm, "
                "rpt_prd_ss from orbit order by orb_id",
                {"1|0|2|0|-|-|-|-|-|-", "2|-|-|-|-|0|-|-|-|-", "3|-|-|-|-|-|0|0|0|9"}},
        RowCase{"AttachmentsStayWhereAnglesGo",
                R"(insert into notice (ntc_id, prov_desc) values (1, '9.6');
                   insert into s_beam (ntc_id, emi_rcp, beam_name, ang_alpha, ang_beta, attch_elev, pwr_max_4k)
                     values (1, 'E', 'B', 1, 2, 'A1', 3))",
                {ClearBeamAttachmentData},
                "select ang_alpha, ang_beta, attch_elev, pwr_max_4k from s_beam",
                {"-|-|A1|3"}},
        RowCase{
            "BeamDirection",
            R"(insert into notice (ntc_id, ntc_type) values (1, 'S');
                   insert into e_stn (ntc_id) values (1);
                   insert into grp (grp_id, ntc_id, emi_rcp, f_no_intfr, noise_t, polar_type, polar_ang, pwr_max)
                     values (1, 1, 'E', 'N', 5, 'C', 4, 3);
                   insert into grp (grp_id, ntc_id, emi_rcp, f_no_intfr, noise_t, polar_type, polar_ang, pwr_max)
                     values (2, 1, 'R', 'Y', 5, 'L', 4, 3);
                   insert into grp (grp_id, ntc_id, emi_rcp, noise_t, polar_ang, pwr_max)
                     values (3, 1, 'R', 5, 4, 3);
                   insert into emiss (grp_id, seq_no, pep_max) values (1, 1, 8);
                   insert into emiss (grp_id, seq_no, pep_max) values (2, 1, 8))",
            {ClearBeamDirectionData},
            "select grp.grp_id, f_no_intfr, noise_t, polar_ang, pwr_max, pep_max from grp left join emiss "
            "on grp.grp_id = emiss.grp_id order by grp.grp_id",
            {"1|-|-|-|3|8", "2|Y|5|4|-|-", "3|-|5|4|-|-"},
            1},
        RowCase{"EmptyAdvancePublicationGroupsGoWithTheirClasses",
                R"(insert into grp (grp_id, ntc_id, beam_name) values (1, 7, 'ADVP');
                   insert into grp (grp_id, ntc_id, beam_name, act_code) values (2, 7, 'ADVP', 'S');
                   insert into grp (grp_id, ntc_id, beam_name) values (3, 7, 'ADVP');
                   insert into assgn (grp_id, seq_no) values (3, 1);
                   insert into srv_cls (grp_id, seq_no) values (1, 1);
                   insert into srv_cls (grp_id, seq_no) values (2, 1);
                   insert into emiss (grp_id, seq_no) values (1, 1))",
                {DeleteEmptyAdvpGroups},
                "select 'grp' as t, grp_id from grp union all select 'srv_cls', grp_id from srv_cls "
                "union all select 'emiss', grp_id from emiss",
                {"grp|2", "grp|3", "srv_cls|2", "emiss|1"}},
        RowCase{"AreaNumbersFollowDiagrams",
                R"(insert into grp (grp_id, ntc_id, area_no) values (1, 7, 4);
                   insert into grp (grp_id, ntc_id, area_no) values (2, 7, 4);
                   insert into grp (grp_id, ntc_id, area_no) values (3, 7, 4);
                   insert into diag_grp (grp_id, diag_type, diag_no) values (2, 'SA', 7);
                   insert into diag_grp (grp_id, diag_type, diag_no) values (3, 'MOTYP', 1))",
                {AlignAreaNumbers},
                "select grp.grp_id, area_no, diag_type, diag_no from grp, diag_grp "
                "where grp.grp_id = diag_grp.grp_id order by grp.grp_id",
                {"1|4|SA|4", "2|7|SA|7", "3|4|MOTYP|1"}},
        RowCase{
            "RegionNamesBecomeCodesOnlyInCapitals",
            R"(insert into notice (ntc_id, ntf_rsn) values (1, 'A');
                   insert into notice (ntc_id, ntf_rsn) values (2, 'C');
                   insert into grp (grp_id, ntc_id, area_name) values (1, 1, 'RG 2');
                   insert into grp (grp_id, ntc_id, area_name) values (2, 1, 'Region 1');
                   insert into grp (grp_id, ntc_id, area_name) values (3, 1, 'VISIBLE  EARTH');
                   insert into grp (grp_id, ntc_id, area_name) values (4, 2, 'XVE');
                   insert into grp (grp_id, ntc_id, area_name) values (5, 1, 'VISIBLEEARTH');
                   insert into srv_area values (5, 'XVE'))",
            {SetVisibleEarthSymbol, SetVisibleEarthSymbol},
            "select grp.grp_id, area_name, ctry from grp left join srv_area on grp.grp_id = srv_area.grp_id "
            "order by grp.grp_id",
            {"1|-|XR2", "2|-|-", "3|VISIBLE  EARTH|-", "4|XVE|-", "5|-|XVE"}},
        RowCase{"MotypDiagramsGoEverywhere",
                R"(insert into notice (ntc_id) values (1);
                   insert into notice (ntc_id, f_aa_type) values (2, 'R');
                   insert into grp (grp_id, ntc_id) values (10, 1);
                   insert into grp (grp_id, ntc_id) values (20, 2);
                   insert into diag_grp (grp_id, diag_type) values (10, 'AFRGN');
                   insert into diag_grp (grp_id, diag_type) values (10, 'SA');
                   insert into diag_grp (grp_id, diag_type) values (20, 'AFRGN');
                   insert into diag_grp (grp_id, diag_type) values (20, 'SMK'))",
                {ClearPeriodValidity},
                "select grp_id, diag_type from diag_grp order by grp_id",
                {"10|SA", "20|AFRGN"}}),
    Name);

INSTANTIATE_TEST_SUITE_P(
    References, Rows,
    ::testing::Values(
        RowCase{"AntennaTypesAreReplaced",
                R"(insert into ant_type (pattern_id, pattern) values (1, 'OLD'))",
                {UpdateAntennaTypeReference},
                "select * from ant_type",
                {"33|MODRES|-|-|-|-"}},
        RowCase{"BandwidthsNeedTheExactBand",
                R"(insert into notice (ntc_id, ntc_type) values (1, 'N');
                   insert into notice (ntc_id, ntc_type) values (2, 'G');
                   insert into notice (ntc_id, ntc_type) values (3, 'S');
                   insert into c_pfd (ntc_id, seq_no, freq_min, freq_max) values (1, 1, 5030, 5150);
                   insert into c_pfd (ntc_id, seq_no, freq_min, freq_max) values (1, 2, 5030, 5160);
                   insert into c_pfd (ntc_id, seq_no, freq_min, freq_max) values (2, 1, 15350, 15400);
                   insert into c_pfd (ntc_id, seq_no, freq_min, freq_max, pfd) values (3, 3, 42500, 43500, -18.5))",
                {CorrectPfdBandwidths},
                "select ntc_id, seq_no, pfd, bdwdth, ra_stn_type from c_pfd order by ntc_id, seq_no",
                {"1|1|-|150|-", "1|2|-|-|-", "2|1|-|-|-", "3|3|-18.5|-|-", "3|4|-18.5|500|S",
                 "3|5|-18.5|500|V"}}),
    Name);

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
