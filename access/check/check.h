// Verifies every invariant of a file: pages, maps, rows, long values, definitions, indexes both ways, counts,
// catalog.
#pragma once

#include <string>
#include <vector>

#include "access/store/database.h"

namespace jet {

struct Finding {
  bool fatal = true;  // false: untidy, but harmless (as Access itself leaves it)
  std::int64_t page = Error::kNoPlace;
  std::string text;  // one sentence
};

// Reads the whole file, changes nothing, and never throws for damage: damage is what it reports.
std::vector<Finding> CheckDatabase(Database& database);

}  // namespace jet
