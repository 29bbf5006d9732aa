// Notice data carries values that do not apply to its kind (a pointing accuracy of a non-geostationary
// satellite, a noise temperature of an emitting beam), and orbits with half-filled periods. Such values
// become Null, missing components 0, leftovers go.
//
// Tables: orbit, s_beam, grp, notice, e_as_stn, emiss; provn and srv_cls, grp (rows deleted); com_el, assgn,
// e_stn are read.
//
// Not to be tidied:
//   - ClearNoticeTypeData sends its statement twice.
//   - ClearBeamAttachmentData clears the two angles and nothing else: attachment and power columns of s_beam
//     look as if they belonged here, and must keep their values.
//   - Some codes stand in double quotes, which the Access engine takes as text; some heads read "Update".
//   - DeleteEmptyAdvpGroups deletes class-of-station rows with the group and no other child rows.

#include "fixes/inapplicable_data.h"

#include <string>

#include "fixes/service_areas.h"
#include "fixes/statement_list.h"
#include "program/error_trap.h"
#include "program/rows.h"

namespace vnt {
namespace {

constexpr Restriction kAndNoticeInParens{" and (ntc_id = ", ")"};
constexpr Restriction kInSubquery{" and ntc_id = ", ")"};

constexpr Statement kOrbit[] = {
    {R"(UPDATE  orbit SET prd_ddd = 0  WHERE prd_ddd is null and (prd_mm is not null or prd_hh is not null))",
     kAndNoticeInParens},
    {R"(UPDATE  orbit SET prd_mm = 0  WHERE prd_mm is null and (prd_ddd is not null or prd_hh is not null))",
     kAndNoticeInParens},
    {R"(UPDATE  orbit SET prd_hh = 0  WHERE prd_hh is null and (prd_mm is not null or prd_ddd is not null))",
     kAndNoticeInParens},
    {R"(UPDATE  orbit SET apog_exp = 0  WHERE apog_exp is null and (apog is not null))", kAndNoticeInParens},
    {R"(UPDATE  orbit SET apog_exp = null  WHERE apog is null )", kAndNoticeInParens},
    {R"(UPDATE  orbit SET perig_exp = 0  WHERE perig_exp is null and (perig is not null))",
     kAndNoticeInParens},
    {R"(UPDATE  orbit SET perig_exp = null  WHERE perig is null )", kAndNoticeInParens},
    {R"(UPDATE  orbit SET op_ht_exp = 0  WHERE op_ht_exp is null and (op_ht is not null))",
     kAndNoticeInParens},
    {R"(UPDATE  orbit SET op_ht_exp = null  WHERE op_ht is null)", kAndNoticeInParens},
    {R"(Update  orbit SET rpt_prd_dd = 0  WHERE rpt_prd_dd is null and (rpt_prd_ss is not null or rpt_prd_mm is not null or rpt_prd_hh is not null))",
     kAndNoticeInParens},
    {R"(UPDATE  orbit SET rpt_prd_mm = 0  WHERE rpt_prd_mm is null and (rpt_prd_ss is not null or rpt_prd_dd is not null or rpt_prd_hh is not null))",
     kAndNoticeInParens},
    {R"(UPDATE  orbit SET rpt_prd_hh = 0  WHERE rpt_prd_hh is null and (rpt_prd_ss is not null or rpt_prd_mm is not null or rpt_prd_dd is not null))",
     kAndNoticeInParens},
    {R"(UPDATE  orbit SET rpt_prd_ss = 0  WHERE rpt_prd_ss is null and (rpt_prd_hh is not null or rpt_prd_mm is not null or rpt_prd_dd is not null))",
     kAndNoticeInParens},
};

constexpr Statement kPointingAccuracy = {
    .text =
        R"(Update s_beam set pnt_acc = null where  ntc_id in  (select ntc_id from notice where ntc_type = 'N'))",
    .restriction = kInSubquery,
    .one_notice =
        R"(Update s_beam set pnt_acc = null where  ntc_id in  (select ntc_id from notice where ntc_type = 'N')"};

constexpr Statement kBeamAngles[] = {
    {.text =
         R"(UPDATE  s_beam set ang_alpha = null, ang_beta = null where sr_type is null and ntc_id in  (select ntc_id from notice where ((f_aa_type <> 'R' or f_aa_type is null) and prov_desc <> '9.11A')))",
     .restriction = kInSubquery,
     .one_notice =
         R"(UPDATE  s_beam set ang_alpha = null, ang_beta = null where sr_type is null and ntc_id in  (select ntc_id from notice where ((f_aa_type <> 'R' or f_aa_type is null) and prov_desc <> '9.11A'))"},
};

constexpr Statement kPeriodValidity = {
    .text =
        R"(Update grp set prd_valid = null where  ntc_id in  (select ntc_id from notice where ntc_type = 'S' or ntc_type = 'T'))",
    .restriction = kInSubquery,
    .one_notice =
        R"(Update grp set prd_valid = null where  ntc_id in  (select ntc_id from notice where (ntc_type = 'S' or ntc_type = 'T'))"};

constexpr Statement kOccurrence[] = {
    {R"(Update notice set ntf_occurs = null  where (ntf_rsn = 'C' or ntf_rsn = 'D'))", kAndNotice},
};

constexpr Statement kExternalFlag = {R"(UPDATE  notice SET f_int_ext = 'E' WHERE act_code = 'A')",
                                     kAndNoticeInParens};

constexpr Statement kBeamDirection[] = {
    {R"(Update grp set f_no_intfr = null where  f_no_intfr = 'N')", kAndNotice},
    {R"(Update grp set noise_t = null where  emi_rcp = 'E')", kAndNotice},
    {R"(Update grp set polar_ang = null where  polar_type <> 'L')", kAndNotice},
    {.text =
         R"(Update e_as_stn set noise_t = null where  grp_id in  (select grp_id from grp where emi_rcp = 'R'))",
     .restriction = kInSubquery,
     .one_notice =
         R"(Update e_as_stn set noise_t = null where  grp_id in  (select grp_id from grp where emi_rcp = 'R')"},
    {.text =
         R"(Update e_as_stn set pwr_max = null, bdwdth_aggr = null, f_trp_band = null where  grp_id in  (select grp_id from grp where emi_rcp = 'E'))",
     .restriction = kInSubquery,
     .one_notice =
         R"(Update e_as_stn set pwr_max = null, bdwdth_aggr = null, f_trp_band = null where  grp_id in  (select grp_id from grp where emi_rcp = 'E')"},
    {.text =
         R"(UPDATE  grp set pwr_max = null, bdwdth_aggr = null, f_trp_band = null where  grp_id in  (select grp_id from grp where emi_rcp = 'R'))",
     .restriction = kInSubquery,
     .one_notice =
         R"(UPDATE  grp set pwr_max = null, bdwdth_aggr = null, f_trp_band = null where  grp_id in  (select grp_id from grp where emi_rcp = "R")"},
    {.text =
         R"(UPDATE  grp set f_trp_band = null where  grp_id in  (select grp_id from grp where ntc_id in  (select ntc_id from notice where  ntc_type = 'G' or ntc_type = 'N')))",
     .restriction = {" where ntc_id = ", " and (ntc_type = 'G' or ntc_type = 'N')))"},
     .one_notice =
         R"(UPDATE  grp set f_trp_band = null where  grp_id in  (select grp_id from grp where ntc_id in  (select ntc_id from notice)"},
    {.text =
         R"(UPDATE  emiss set emiss.pep_max = null,  emiss.pwr_ds_max = null, emiss.pep_min = null,pwr_ds_min = null   where grp_id in  (select grp_id from grp where emi_rcp = "R" and ntc_id in (select ntc_id from e_stn)))",
     .restriction = {" where ntc_id = ", "))"},
     .one_notice =
         R"(UPDATE  emiss set emiss.pep_max = null,  emiss.pwr_ds_max = null, emiss.pep_min = null,pwr_ds_min = null  where grp_id in  (select grp_id from grp where emi_rcp = "R" and ntc_id in (select ntc_id from e_stn)"},
};

}  // namespace

void CompleteOrbitData() { Send(kOrbit); }

void ClearNoticeTypeData() {
  Trapped([] {
    CompleteOrbitData();
    Send(kPointingAccuracy);
    Send(kPointingAccuracy);
  });
}

void ClearBeamAttachmentData() { SendTrapped(kBeamAngles); }

void ClearPeriodValidity() {
  Trapped([] {
    Send(kPeriodValidity);
    DeleteUnusedDiagramGroups();
  });
}

void ClearOccurrenceForCancellations() { SendTrapped(kOccurrence, NoticeTest::kNotZero); }

void SetExternalFlagForAdditions() { Send(kExternalFlag); }

void ClearBeamDirectionData() { SendTrapped(kBeamDirection); }

void DeleteConsentProvisions() {
  ForEachRow(
      R"(select * from com_el where (ntf_rsn = 'C' or ntf_rsn = 'D'))" + CurrentNotice(kAndNotice),
      [](const db::Recordset& row) {
        MainCn().Execute(
            R"(delete from provn where agree_st = 'V' and grp_id in (select grp_id from grp where ntc_id = )" +
            std::to_string(row.Get("ntc_id").ToInt32()) + ")");
      });
}

void DeleteEmptyAdvpGroups() {
  Trapped([] {
    const std::string query =
        R"(SELECT * from grp where beam_name = 'ADVP' and (act_code is null or act_code <> 'S'))" +
        CurrentNotice(kAndNotice);
    ForEachRow(query, db::CursorType::kKeyset, [](db::Recordset& groups) {
      const std::string grp_id = std::to_string(groups.Get("grp_id").ToInt32());
      db::Recordset assignments;
      assignments.Open("select * from assgn where grp_id = " + grp_id, MainCn());
      if (assignments.Eof()) {
        MainCn().Execute("delete from srv_cls where grp_id = " + grp_id);
        groups.Delete();
      }
      assignments.Close();
    });
  });
}

}  // namespace vnt
