// Clears values that do not apply to the kind of notice, station or beam, and completes orbit data.
#pragma once

namespace vnt {

void ClearNoticeTypeData();
void CompleteOrbitData();
void ClearBeamAttachmentData();
void ClearPeriodValidity();
void ClearOccurrenceForCancellations();
void SetExternalFlagForAdditions();
void ClearBeamDirectionData();
// Part of the findings fix; errors go to the caller.
void DeleteConsentProvisions();
void DeleteEmptyAdvpGroups();

}  // namespace vnt
