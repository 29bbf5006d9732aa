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

constexpr Restriction kMissingOfGroups{"  and grp_id in (select grp_id from grp where ntc_id = ", ")"};

constexpr Statement kFillMissing[] = {
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn where freq_sym = 'M' and freq_mhz is null )",
     kMissingOfGroups},
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn / 1000  where freq_sym = 'K' and freq_mhz is null )",
     kMissingOfGroups},
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn * 1000  where freq_sym = 'G' and freq_mhz is null )",
     kMissingOfGroups},
};

constexpr Restriction kOfGroups{" and grp_id in (select grp_id from grp where ntc_id = ", ")"};
constexpr Restriction kOfNotice{" and ntc_id = ", ""};

constexpr Statement kRecompute[] = {
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn  where freq_sym = 'M')", kOfGroups},
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn * 1000  where freq_sym = 'G')", kOfGroups},
    {R"(UPDATE  freq SET freq_mhz = freq_assgn * 1000  where freq_sym = 'G')", kOfNotice},
    {R"(UPDATE  assgn SET freq_mhz = freq_assgn / 1000  where freq_sym = 'K')", kOfGroups},
    {R"(UPDATE  freq SET freq_mhz = freq_assgn / 1000  where freq_sym = 'K')", kOfNotice},
};

}  // namespace

void FillMissingFreqMhz() { SendTrapped(kFillMissing); }
void RecomputeFreqMhz() { SendTrapped(kRecompute); }

}  // namespace vnt
