// Administration code of the coordination provisions, the advance-publication provision of groups, notices
// and common elements, the provision of earth-station notices, and notices filed under the 9.11A rules.
//
// Tables: provn, tr_provn (adm, ctry), notice (prov, prov_desc, f_aa_type, ntf_rsn), com_el (prov, ntf_rsn),
// grp (prov).
//
// Not to be tidied:
//   - Notices and common elements lose the "S" before an advance-publication provision while groups of
//     notices received since 2001 gain it. Both rules hold.
//   - The first two routines narrow their work for notice numbers above 0, the others for any but 0.
//   - The last 9.11A statement compares a trimmed value with one that ends in a blank and changes nothing.
//   - Each table is tested on its own prov and ntf_rsn; a notice and its common elements may differ.

#include "fixes/provision_codes.h"

#include <string>

#include "fixes/statement_list.h"
#include "platform/settings.h"
#include "program/error_trap.h"
#include "program/rows.h"

namespace vnt {
namespace {

constexpr Statement kAdmCode[] = {
    {R"(UPDATE provn SET adm = 'XZZ' where adm = 'MRC' and ctry = 'AOE')", kAndGroups},
    {R"(update tr_provn SET adm = 'XZZ' where adm = 'MRC' and ctry = 'AOE')", kAndNoticeWide},
};

constexpr Statement kStripPrefix[] = {
    {R"(Update notice set prov = '9.1/IA' where ntf_rsn = 'A' and trim(prov) = 'S9.1/IA')", kAndNotice},
    {R"(Update notice set prov = '9.1/IB' where ntf_rsn = 'A' and trim(prov) = 'S9.1/IB')", kAndNotice},
    {R"(Update notice set prov = '9.1/IA,IB' where ntf_rsn = 'A' and trim(prov) = 'S9.1/IA,IB')", kAndNotice},
    {R"(Update com_el set prov = '9.1/IA' where ntf_rsn = 'A' and trim(prov) = 'S9.1/IA')", kAndNotice},
    {R"(Update com_el set prov = '9.1/IB' where ntf_rsn = 'A' and trim(prov) = 'S9.1/IB')", kAndNotice},
    {R"(Update com_el set prov = '9.1/IA,IB' where ntf_rsn = 'A' and trim(prov) = 'S9.1/IA,IB')", kAndNotice},
};

constexpr Statement kEarthStation[] = {
    {R"(UPDATE notice  set prov = '9.7A', ntf_rsn = 'D' WHERE ntc_type= 'S' and (NTF_RSN = 'D' or NTF_RSN = 'C'))",
     kAndNotice},
    {R"(UPDATE com_el  set prov = '9.7A', ntf_rsn = 'D' WHERE ntc_type= 'S' and (NTF_RSN = 'D' or NTF_RSN = 'C'))",
     kAndNotice},
};

constexpr Statement k911A[] = {
    {R"(Update notice set prov = '9.6', prov_desc = '9.11A', f_aa_type = null  where ntf_rsn = 'C' and (trim(prov) = 'RS46' or trim(prov) = '9.11A' or trim(prov) = 'S9.11A'))",
     kAndNotice},
    {R"(Update com_el set prov = '9.6'  where ntf_rsn = 'C' and (trim(prov) = 'RS46' or trim(prov) = '9.11A' or trim(prov) = 'S9.11A'))",
     kAndNotice},
    {R"(Update notice set prov = '11.2', prov_desc = '9.11A', f_aa_type = null  where ntf_rsn = 'N' and plan_id is null and (trim(prov) = 'RS46' or trim(prov) = '9.11A' or trim(prov) = 'S9.11A'))",
     kAndNotice},
    {R"(Update com_el set prov = '11.2'  where ntf_rsn = 'N' and plan_id is null and (trim(prov) = 'RS46' or trim(prov) = '9.11A' or trim(prov) = 'S9.11A'))",
     kAndNotice},
    {R"(Update notice set prov_desc = '9.11A', f_aa_type = null  where f_aa_type = 'R')", kAndNotice},
    {R"(Update notice set prov = '9.6', prov_desc = 'RES553'  where ntf_rsn = 'C' and (trim(prov) = '9.6-RES553'))",
     kAndNotice},
    {R"(Update com_el set prov = '9.6'  where ntf_rsn = 'C' and (trim(prov) = '9.6-RES553' ))", kAndNotice},
    {R"(Update notice set prov = '11.2', prov_desc = 'RES553'  where ntf_rsn = 'N' and (trim(prov) = '11.2-RES553'))",
     kAndNotice},
    {R"(Update com_el set prov = '11.2'  where ntf_rsn = 'N' and (trim(prov) = '11.2-RES553' ))", kAndNotice},
    {R"(Update notice set prov = '9.6', prov_desc = '21.4-22G'  where ntf_rsn = 'C' and (trim(prov) = '9.6-21.4-22G'))",
     kAndNotice},
    {R"(Update com_el set prov = '9.6'  where ntf_rsn = 'C' and (trim(prov) = '9.6-21.4-22G '))", kAndNotice},
};

// Groups of notices received since this year carry the "S" form.
constexpr int kFirstYearOfPrefix = 2001;
// Value of the setting that switches SetEarthStationProvision97A on.
constexpr int kEarthStationDataLevel = -1;

}  // namespace

void FixProvnAdmCode() { SendTrapped(kAdmCode); }

void SetAdvpGroupProvision() {
  Trapped([] {
    const std::string query =
        "select ntc_id, d_rcv from notice where ntf_rsn = 'A'" + CurrentNotice({" and  ntc_id = ", ""});
    ForEachRow(query, [](const db::Recordset& notice) {
      const std::string ntc_id = std::to_string(notice.Get("ntc_id").ToInt32());
      const double received = notice.Get("d_rcv").DateOr(0);
      const std::string prefix = db::SplitDate(received).year >= kFirstYearOfPrefix ? "S" : "";
      MainCn().Execute("update grp set prov = '" + prefix + "9.1/IB' where ntc_id = " + ntc_id +
                       " and beam_name = 'ADVP'");
      MainCn().Execute("update grp set prov = '" + prefix + "9.1/IA' where ntc_id = " + ntc_id +
                       " and beam_name  <> 'ADVP'");
    });
  });
}

void StripNoticeProvisionPrefix() { SendTrapped(kStripPrefix, NoticeTest::kNotZero); }

void SetEarthStationProvision97A() {
  // The setting itself is read, not the program-wide data level, which an unattended start leaves at 0.
  if (platform::GetSettingInt("GLOBAL", "DataLevel") != kEarthStationDataLevel) return;
  SendTrapped(kEarthStation, NoticeTest::kNotZero);
}

void FixNoticeProvision911A() { SendTrapped(k911A, NoticeTest::kNotZero); }

}  // namespace vnt
