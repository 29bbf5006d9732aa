// What a run that ended early says of itself, in one message.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "run/fix_runner.h"

namespace vnt {

// Appends what failed, which fix was running, which fixes are in the database and which were not run, in one
// line. Of many it tells the number: whether it did is given back. Needs no memory but that of `text`.
bool AppendEndOfRun(const std::exception_ptr& failure, const std::vector<FixResult>& fixes,
                    std::string* text);

}  // namespace vnt
