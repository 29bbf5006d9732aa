// What must not be taken for a place to write something else to.
#pragma once

#include <filesystem>
#include <string>

namespace jet {

// Whether the file begins as an Access database or as a journal of one, or as a SQLite database. False for
// one that cannot be read.
bool IsDatabaseOrJournal(const std::filesystem::path& path);

// Error(kNotSupported) for a name that a journal has: what stands there is taken for that of the database
// beside it, which cannot be opened any more.
void RequireNoJournalName(const std::string& path);

}  // namespace jet
