// The provider for Access files: connections, recordsets and commands on the built-in engine.
//
// All connections of the process on one file share one open database, found by the file's identity, and see
// each other's changes at once.
#pragma once

#include <memory>
#include <string>

#include "db/connection.h"
#include "db/provider.h"

namespace vnt::db {

enum class AccessFormats { kJet, kJetAndAce };

// Opens an Access file. A file that cannot be written is opened for reading whatever `mode` says, and
// statements that change it fail with kErrReadOnly. With kRead, changes through this connection fail so.
// DbError kErrFailed when the file is missing, locked, damaged, or of a format that is not wanted or not
// known.
std::shared_ptr<ProviderConnection> OpenAccess(const std::string& path, AccessMode mode,
                                               AccessFormats formats);

}  // namespace vnt::db
