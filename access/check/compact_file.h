// Gives the unused space of a database file back.
#pragma once

#include <cstdint>
#include <string>

#include "access/file/file.h"
#include "access/store/database.h"

namespace jet {

struct CompactedSizes {
  std::uint64_t before = 0, after = 0;  // bytes
};

// Rewrites the tables of a file densely (see compact.h) and cuts off what is free at its end. The file is
// checked before, and the rewritten one before anything is saved: Error(kCorrupt) when it has faults. A file
// that would not get shorter stays untouched. Whenever it is interrupted, the file and its journal are as
// they were, or complete but for the free pages at the end.
//
// Errors: those of Database::Open; kReadOnly for a file of Access 97.
CompactedSizes CompactFile(FileSystem& files, const std::string& path, const Database::Options& options = {});

}  // namespace jet
