// Each group lists the special sections under which it was published: references that must not be stored go,
// those captured with a trailing slash lose it, sections become notification sections ('N').
//
// Tables: gpub (ssn_type, pub_ref, pub_no); notice and grp are read.
//
// Not to be tidied:
//   - Only the first statement trims. "AR11/A/" and a blank is not shortened.
//   - A section without a type is marked 'N' last: a "WKLY" row without a type survives the first statement.
//   - Without a notice SetSpecialSectionsToNotif marks every row of the table.

#include "fixes/special_sections.h"

#include <string>

#include "fixes/statement_list.h"
#include "program/error_trap.h"
#include "program/rows.h"

namespace vnt {
namespace {

constexpr Statement kReference[] = {
    {R"(delete from gpub where ssn_type = 'N' and (trim(gpub.pub_ref)='WKLY' Or trim(gpub.pub_ref)='CR/D'))",
     kAndGroups},
    {R"(delete from gpub where pub_ref is null and pub_no is null)", kAndGroups},
    {R"(UPDATE gpub SET pub_ref = left(pub_ref, 6) where pub_ref = 'AR11/A/')", kAndGroups},
    {R"(UPDATE gpub SET pub_ref = left(pub_ref, 6) where pub_ref = 'AR11/C/')", kAndGroups},
    {R"(UPDATE gpub SET pub_ref = left(pub_ref, 6) where pub_ref = 'AR14/C/')", kAndGroups},
    {R"(UPDATE gpub SET pub_ref = left(pub_ref, 5) where pub_ref = 'API/A/')", kAndGroups},
    {R"(Update gpub SET ssn_type = 'N' where ssn_type is null)", kAndGroups},
};

constexpr Statement kToNotif[] = {
    {R"(UPDATE gpub SET ssn_type = 'N')", kWhereGroupsWide},
};

// All groups of an added advance-publication notice; of a modified one, only its added groups.
constexpr Statement kNotifOfAddNotices[] = {
    {.text =
         R"(Delete from gpub where gpub.ssn_type = 'N' and grp_id in (select grp_id from grp where ntc_id in  (select ntc_id from notice where act_code = 'A' and ntf_rsn = 'A')))",
     .restriction = {"  and grp_id in (select grp_id from grp where ntc_id = ",
                     "  and ntc_id in (select ntc_id from notice where act_code = 'A' and ntf_rsn = 'A'))"},
     .one_notice = R"(Delete from gpub where gpub.ssn_type = 'N')"},
    {.text =
         R"(Delete from gpub where gpub.ssn_type = 'N' and grp_id in (select grp_id from grp where act_code = 'A' and ntc_id in  (select ntc_id from notice where act_code = 'M' and ntf_rsn = 'A')))",
     .restriction = {"  and grp_id in (select grp_id from grp where act_code = 'A' and ntc_id = ",
                     "  and ntc_id in (select ntc_id from notice where act_code = 'M' and ntf_rsn = 'A'))"},
     .one_notice = R"(Delete from gpub where gpub.ssn_type = 'N')"},
};

}  // namespace

void FixSpecialSectionReference() { SendTrapped(kReference); }
void SetSpecialSectionsToNotif() { SendTrapped(kToNotif); }
void DeleteNotifSsnsOfAddNotices() { SendTrapped(kNotifOfAddNotices); }

void DeleteCoordinationSsnsOfNotice(std::int32_t ntc_id) {
  Trapped([&] {
    MainCn().Execute(
        R"(delete from gpub where (pub_ref = 'AR11/C' or pub_ref = 'AR14/C' or pub_ref = 'RES33/C' or pub_ref = 'RES46/C') and grp_id in (select grp_id from grp where ntc_id = )" +
        std::to_string(ntc_id) + ")");
  });
}

void RemoveNonCoordinationSsns() {
  Trapped([] {
    ForEachRow("select ntc_id, ntf_rsn from notice" + CurrentNotice(kWhereNotice),
               [](const db::Recordset& notice) {
                 if (notice.Get("ntf_rsn").TextOr("") == "C")
                   DeleteCoordinationSsnsOfNotice(notice.Get("ntc_id").ToInt32());
               });
  });
}

}  // namespace vnt
