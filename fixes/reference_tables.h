// Copies reference tables from the pattern reference database and the empty template database.
#pragma once

#include <string>

namespace vnt {

void UpdateAntennaTypeReference();
// The empty template database: a path of this system.
std::string TemplateDatabase();
// The refresh of version 5.0 databases; errors of both go to the caller.
void RefreshPfdAndVersionTables();
void CorrectPfdBandwidths();

}  // namespace vnt
