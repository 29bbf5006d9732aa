// What must not be taken for a place to write something else to.
#pragma once

#include <filesystem>

namespace jet {

// Whether the file begins as an Access database or as a journal of one. False for one that cannot be read.
bool IsDatabaseOrJournal(const std::filesystem::path& path);

}  // namespace jet
