// Stores the frequency range of each group and each beam.
#pragma once

namespace vnt {

void SetGroupFreqMinMax();
void SetBeamFreqMinMax();

}  // namespace vnt
