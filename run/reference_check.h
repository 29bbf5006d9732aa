// Whether the reference database can serve, asked before a fix drops a table that it is to replace from
// there.
#pragma once

#include <string>

#include "run/fix_runner.h"

namespace vnt {

// Why a chosen fix that replaces a table from the reference database named in the settings would lose that
// table instead; empty when none would. A reference database that cannot be opened is left to the runner to
// refuse.
std::string ReferenceFault(const FixSelection& selection);

}  // namespace vnt
