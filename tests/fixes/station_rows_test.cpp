// The same of patterns, stations, areas and what is taken from the reference database.

#include <gtest/gtest.h>

#include "fixes/antenna_patterns.h"
#include "fixes/identity.h"
#include "fixes/inapplicable_data.h"
#include "fixes/reference_tables.h"
#include "fixes/service_areas.h"
#include "tests/fixes/row_case.h"

namespace vnt::test {
namespace {

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

}  // namespace
}  // namespace vnt::test
