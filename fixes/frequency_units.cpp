// Frequencies above 10,500 MHz are held in GHz, all others in MHz; value and unit symbol change together.
//
// Tables: assgn (freq_assgn, freq_sym), freq (the same), strap (freq_up, freq_symup and freq_dn, freq_symdn).
// assgn rows belong to a notice through their group, freq and strap rows by their own ntc_id.
//
// Not to be tidied:
//   - The two thresholds overlap. What lies above 10,500 and below 10,501 MHz qualifies for both
//     conversions and so, when both run, ends in MHz after a trip through GHz.
//   - Kilohertz rows are never touched.
//   - Ingres gets the same texts.

#include "fixes/frequency_units.h"

#include "fixes/statement_list.h"

namespace vnt {
namespace {

constexpr Statement kMHzToGHz[] = {
    {R"(UPDATE assgn SET freq_sym = 'G', freq_assgn = round(freq_assgn / 1000, 5)  where freq_sym = 'M' and freq_assgn > 10500 )",
     kAndGroupsWide},
    {R"(UPDATE freq SET freq_sym = 'G', freq_assgn = round(freq_assgn / 1000, 5 ) where freq_sym = 'M' and freq_assgn > 10500 )",
     kAndNoticeWide},
    {R"(UPDATE strap SET freq_symup = 'G', freq_up = round(freq_up / 1000, 5)  where freq_symup = 'M' and freq_up > 10500 )",
     kAndNoticeWide},
    {R"(UPDATE strap SET freq_symdn = 'G', freq_dn = round(freq_dn / 1000, 5)  where freq_symdn = 'M' and freq_dn > 10500 )",
     kAndNoticeWide},
};

constexpr Statement kGHzToMHz[] = {
    {R"(UPDATE  assgn SET  freq_sym = 'M',  freq_assgn = round(freq_assgn * 1000, 5)  where  freq_sym = 'G' and ( freq_assgn * 1000) < 10501 )",
     kAndGroupsWide},
    {R"(UPDATE  freq SET  freq_sym = 'M',  freq_assgn = round(freq_assgn * 1000, 5)   where  freq_sym = 'G' and ( freq_assgn * 1000) < 10501 )",
     kAndNoticeWide},
    {R"(UPDATE  strap SET  freq_symup = 'M',  freq_up = round(freq_up * 1000, 5)  where  freq_symup = 'G' and ( freq_up * 1000) < 10501 )",
     kAndNoticeWide},
    {R"(UPDATE  strap SET  freq_symdn = 'M',  freq_dn = round(freq_dn * 1000, 5)  where  freq_symdn = 'G' and ( freq_dn * 1000) < 10501 )",
     kAndNoticeWide},
};

}  // namespace

void ConvertFreqMHzToGHz() { SendTrapped(kMHzToGHz); }
void ConvertFreqGHzToMHz() { SendTrapped(kGHzToMHz); }

}  // namespace vnt
