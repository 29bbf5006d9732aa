// Verifies every invariant of a file: pages, maps, rows, long values, definitions, indexes both ways, counts,
// catalog.
#pragma once

#include <vector>

#include "access/base/finding.h"
#include "access/store/database.h"

namespace jet {

// Reads the whole file, changes nothing, and never throws for damage: damage is what it reports. What keeps
// it from looking is thrown: Error with is_obstacle(), std::bad_alloc.
std::vector<Finding> CheckDatabase(Database& database);

}  // namespace jet
