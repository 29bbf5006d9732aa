// Numbers coordination provisions by administration.
#pragma once

#include <cstdint>

namespace vnt {

void SortProvnAllGroups();
void SortProvnByAdm(std::int32_t grp_id);
void SortTrProvnAllNotices();
void SortTrProvnByAdm(std::int32_t ntc_id);

}  // namespace vnt
