// Cleans emission rows and empty assignment rows.
#pragma once

namespace vnt {

void FixDesignationOfEmission();
void DeleteEmptyEmissionRows();
void ClearEmissionTypeFlagA();

}  // namespace vnt
