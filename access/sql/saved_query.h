// Saved queries: Access keeps them in parts, as rows of MSysQueries, which are put together again here.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "access/store/database.h"

namespace jet::sql {

// The text of the saved select query of that name, in any letter case; nothing when the database has none.
// kNotSupported, with the reason, for a query that is no plain select query or that has parameters.
std::optional<std::string> SavedQueryText(Database& database, std::string_view name);

}  // namespace jet::sql
