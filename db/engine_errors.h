// The border between the Access engine and the database objects: what an engine error is called above it.
#pragma once

#include "access/base/error.h"
#include "db/error.h"

namespace vnt::db {

// The number and description that a user sees for an engine error.
DbError ToDbError(const jet::Error& error);

}  // namespace vnt::db
