// Doing without the work that a journal holds.
#pragma once

#include <string>

#include "access/file/file.h"

namespace jet {

// Removes the journal that a run which did not end left beside a database: what it had saved is lost, and the
// file stays as it is. False when there is none. kInvalid when the file was being brought up to date from the
// journal and would be damaged without it; kCorrupt when that cannot be told; as FileSystem::Open() when the
// file cannot be taken for writing.
bool DropJournal(FileSystem& files, const std::string& database, const std::string& journal);

}  // namespace jet
