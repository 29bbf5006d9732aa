// Repairs freq_mhz, the frequency of an assignment in MHz whatever its own unit.
#pragma once

namespace vnt {

void FillMissingFreqMhz();
void RecomputeFreqMhz();

}  // namespace vnt
