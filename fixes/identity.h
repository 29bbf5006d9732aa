// Brings names, flags and dates of stations and satellites into their normal form.
#pragma once

namespace vnt {

void UppercaseEarthStationNames();
void FixDateInUse();
void TrimBeamNames();
void FillMissingComElData();
// First step of FillMissingComElData; errors go to the caller.
void SyncComElNames();
void SetActiveFlags();

}  // namespace vnt
