// Rounds stored numbers to the precision that the database rules allow.
#pragma once

namespace vnt {

void RoundEmissionPower();
void RoundFrequencies();
void RoundElevationAngle();

}  // namespace vnt
