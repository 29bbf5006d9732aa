// Moves stored frequencies between megahertz and gigahertz.
#pragma once

namespace vnt {

void ConvertFreqMHzToGHz();
void ConvertFreqGHzToMHz();

}  // namespace vnt
