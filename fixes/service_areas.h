// Makes the three places agree in which a group's service area is recorded.
#pragma once

#include <cstdint>
#include <string_view>

namespace vnt {

// Errors go to the caller.
void AlignAreaNumbers();
void SetVisibleEarthSymbol();
// Adds the symbol that stands for an area name to the group's service area, when it is missing there. A name
// that stands for none is passed over.
void AddRegionServiceArea(std::int32_t grp_id, std::string_view area_name);
// Errors go to the caller.
void DeleteUnusedDiagramGroups();

}  // namespace vnt
