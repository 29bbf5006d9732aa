// Whether the reference database can serve, asked before anything is written: a fix drops a table that it is
// to replace from there.
#pragma once

#include <string>
#include <string_view>

#include "run/fix_runner.h"

namespace vnt {

// Whether a chosen fix reads the reference database.
bool NeedsReference(const FixSelection& selection);

// Why the reference database named in the settings cannot serve the chosen fixes; empty when it can, or when
// none needs it. `named_by` tells the user what names it.
std::string ReferenceFault(const FixSelection& selection, std::string_view named_by);

}  // namespace vnt
