// Cleans special sections and publication references.
#pragma once

#include <cstdint>

namespace vnt {

void FixSpecialSectionReference();
void SetSpecialSectionsToNotif();
void RemoveNonCoordinationSsns();
void DeleteCoordinationSsnsOfNotice(std::int32_t ntc_id);
// Part of the findings fix.
void DeleteNotifSsnsOfAddNotices();

}  // namespace vnt
