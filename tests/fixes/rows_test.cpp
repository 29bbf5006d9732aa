// Rows before and after: thresholds, order of steps, quirks that must stay, and the narrowing to one notice.

#include <gtest/gtest.h>

#include "fixes/emissions.h"
#include "fixes/frequency_mhz.h"
#include "fixes/frequency_sort.h"
#include "fixes/frequency_units.h"
#include "fixes/provision_codes.h"
#include "fixes/provision_sort.h"
#include "fixes/rounding.h"
#include "fixes/special_sections.h"
#include "fixes/status_reset.h"
#include "tests/fixes/row_case.h"
#include "tests/program/notice_database.h"

namespace vnt::test {
namespace {

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

}  // namespace
}  // namespace vnt::test
