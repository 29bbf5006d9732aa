// Every assignment carries its frequency a second time, in MHz; sorting and frequency limits use that column.
// The first routine fills what is missing, the second then overwrites it from value and unit symbol.
//
// Tables: assgn and freq (freq_assgn, freq_sym, freq_mhz).
//
// Not to be tidied:
//   - The first list leaves freq alone, and the second one has no statement for freq rows in MHz: these keep
//     the freq_mhz they have. The databases in use count on it.

#include "fixes/frequency_mhz.h"

#include "fixes/statement_list.h"

namespace vnt {
namespace {

constexpr Statement kFillMissing[] = {
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn where freq_sym = 'M' and freq_mhz is null )", kAndGroupsWide},
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn / 1000  where freq_sym = 'K' and freq_mhz is null )",
     kAndGroupsWide},
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn * 1000  where freq_sym = 'G' and freq_mhz is null )",
     kAndGroupsWide},
};

constexpr Statement kRecompute[] = {
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn  where freq_sym = 'M')", kAndGroups},
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn * 1000  where freq_sym = 'G')", kAndGroups},
    {R"(UPDATE  freq SET freq_mhz = freq_assgn * 1000  where freq_sym = 'G')", kAndNotice},
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn / 1000  where freq_sym = 'K')", kAndGroups},
    {R"(UPDATE  freq SET freq_mhz = freq_assgn / 1000  where freq_sym = 'K')", kAndNotice},
};

}  // namespace

void FillMissingFreqMhz() { SendTrapped(kFillMissing); }
void RecomputeFreqMhz() { SendTrapped(kRecompute); }

}  // namespace vnt
