// Moves antenna pattern numbers to those of the present reference list.
#pragma once

#include <cstdint>
#include <string_view>

namespace vnt {

void RemapObsoletePatternIds();
void ListEarthStationPatternErrors();
void ListPlanEarthStationPatternErrors();

void AlignPatternIds();
void AlignTablePatternIds(std::string_view table);
// The present number of an obsolete pattern, 0 when there is none.
std::int16_t ConvertPatternId(std::int16_t pattern_id);
// The pattern of the opposite direction and the same type, 0 when there is none.
std::int16_t FindCounterpartPattern(std::int16_t pattern_id);

}  // namespace vnt
