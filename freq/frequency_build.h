// Rebuilds the derived freq rows of the notices of one kind.
#pragma once

namespace vnt {

void BuildFreqForADVP();
void BuildFreqGeneral();
void BuildFreqForPlanNotices();
void BuildFreqForRS49();

}  // namespace vnt
