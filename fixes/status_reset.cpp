// Clears the action code of an added notice's entities, removes findings and examination data, and sets the
// current status back to "01".
//
// Tables: s_beam, strap, ngma, grp, e_as_stn, s_as_stn (act_code); notice, com_el, grp (findings and circular
// columns, st_cur); gpub, pub_ssn, fdg_ref, provn, tr_provn, tr_aff_ntw (rows deleted).
//
// Not to be tidied:
//   - grp is cleared before the station tables are tested against grp.act_code. Stations in groups of an
//     added notice therefore keep their code; those of groups that still carry 'A' lose it.
//   - Provisions of status 'V' survive in provn (until consent provisions are removed) but not in tr_provn.
//     tr_provn and tr_aff_ntw rows of plan notices are spared, provn rows are not.
//   - A Null status survives every "<>".
//   - The two routines called in between have their own ways with errors: the first reports its own and the
//     work goes on, the second reports nothing and ends it.

#include "fixes/status_reset.h"

#include "fixes/inapplicable_data.h"
#include "fixes/special_sections.h"
#include "fixes/statement_list.h"
#include "program/error_trap.h"

namespace vnt {
namespace {

constexpr Restriction kAddedNotice{"  where ntc_id in (select ntc_id from notice where ntc_id = ",
                                   " and act_code='A')"};
constexpr Restriction kAddedGroups{"  where grp_id in (select grp_id from grp where ntc_id = ",
                                   " and act_code='A')"};

constexpr Statement kActionCode[] = {
    {.text =
         R"(UPDATE s_beam SET act_code = Null  WHERE ntc_id in (select ntc_id from notice where act_code='A'))",
     .restriction = kAddedNotice,
     .one_notice = R"(UPDATE s_beam SET act_code = Null )"},
    {.text =
         R"(UPDATE strap SET act_code = Null  WHERE ntc_id in (select ntc_id from notice where act_code='A'))",
     .restriction = kAddedNotice,
     .one_notice = R"(UPDATE strap SET act_code = Null )"},
    {.text =
         R"(UPDATE ngma SET act_code = Null  WHERE ntc_id in (select ntc_id from notice where act_code='A'))",
     .restriction = kAddedNotice,
     .one_notice = R"(UPDATE ngma SET act_code = Null )"},
    {.text =
         R"(UPDATE grp SET act_code = Null  WHERE ntc_id in (select ntc_id from notice where act_code='A'))",
     .restriction = kAddedNotice,
     .one_notice = R"(UPDATE grp SET act_code = Null )"},
    {.text =
         R"(UPDATE e_as_stn SET act_code = Null  WHERE grp_id in (select grp_id from grp where act_code='A'))",
     .restriction = kAddedGroups,
     .one_notice = R"(UPDATE e_as_stn SET act_code = Null )"},
    {.text =
         R"(UPDATE s_as_stn SET act_code = Null  WHERE grp_id in (select grp_id from grp where act_code='A'))",
     .restriction = kAddedGroups,
     .one_notice = R"(UPDATE s_as_stn SET act_code = Null )"},
};

constexpr Statement kExaminationSections = {R"(Delete from gpub where gpub.ssn_type = 'B')", kAndGroupsWide};

constexpr Statement kFindings[] = {
    {R"(Delete from pub_ssn )", kWhereNotice},
    {R"(UPDATE  notice set wic_no = null, d_wic = null, wic_part = null)", kWhereNotice},
    {R"(UPDATE  com_el set wic_no = null, wic_part = null)", kWhereNotice},
    {R"(UPDATE  grp SET spl_grp_id = null, fdg_reg = null, fdg_plan = null, fdg_tex = null, fdg_observ = null, comment = null, d_prot_eff = null, wic_no = null, d_wic = null, wic_part = null)",
     kWhereNotice},
    {R"(Delete from fdg_ref  )", kWhereGroupsWide},
    {R"(Delete from provn where agree_st <> 'R' And agree_st <>  'O' And agree_st <>  'V')", kAndGroupsWide},
};

constexpr Statement kNoticeProvisions[] = {
    {.text =
         R"(Delete from tr_provn where (agree_st <> 'R' And agree_st <>  'O') and ntc_id in (Select ntc_id from notice where ntf_rsn <> 'B' and ntf_rsn <> 'P' and plan_id is null))",
     .restriction = {"  and ntc_id = ",
                     " and ntc_id in (Select ntc_id from notice where ntf_rsn <> 'B' and ntf_rsn "
                     "<> 'P' and plan_id is null)"},
     .one_notice = R"(Delete from tr_provn where (agree_st <> 'R' And agree_st <>  'O'))"},
    {.text =
         R"(Delete from tr_aff_ntw  where ntc_id in (Select ntc_id from notice where ntf_rsn <> 'B' and ntf_rsn <> 'P' and plan_id is null))",
     .restriction = {"  and ntc_id = ", ")"},
     .one_notice =
         R"(Delete from tr_aff_ntw  where ntc_id in (Select ntc_id from notice where ntf_rsn <> 'B' and ntf_rsn <> 'P' and plan_id is null)"},
};

constexpr Statement kStatus[] = {
    {R"(UPDATE  notice SET st_cur = '01')", kWhereNotice},
    {R"(UPDATE  com_el SET st_cur = '01')", kWhereNotice},
};

}  // namespace

void FixActionCode() { SendTrapped(kActionCode); }

void RemoveFindingsAndKvData() {
  Trapped([] {
    Send(kExaminationSections);
    DeleteNotifSsnsOfAddNotices();
    Send(kFindings);
    DeleteConsentProvisions();
    Send(kNoticeProvisions);
  });
}

void SetStatus01() { SendTrapped(kStatus); }

}  // namespace vnt
