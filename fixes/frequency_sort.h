// Sorts the frequency assignments of each group by frequency.
#pragma once

#include <cstdint>

namespace vnt {

void SortFrequenciesAllGroups();
void SortFrequenciesOfGroup(std::int32_t grp_id);

}  // namespace vnt
