// Rewrites provision and administration codes into the form that the database expects.
#pragma once

namespace vnt {

void FixProvnAdmCode();
void SetAdvpGroupProvision();
void StripNoticeProvisionPrefix();
void SetEarthStationProvision97A();
void FixNoticeProvision911A();

}  // namespace vnt
