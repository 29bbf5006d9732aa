// The fixes that go from row to row, as one would write them for SQLite.
#pragma once

#include <sqlite3.h>

#include <string_view>

namespace vnt::bench {

// What takes the place of a fix's walk over the rows of a query.
using Walk = void (*)(sqlite3* handle);

// The walk over the rows of `query`; null when there is none, which nobody should pass over.
Walk WalkOf(std::string_view query);

}  // namespace vnt::bench
