// What a run that ended early says of itself, in one message.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "run/fix_runner.h"

namespace vnt {

// Appends what failed, which fix was running, which fixes are in the database and which were not run, in one
// line: by name, or how many they are. Needs no memory but that of `text`.
void AppendEndOfRun(const std::exception_ptr& failure, const std::vector<FixResult>& fixes,
                    std::string* text);

}  // namespace vnt
