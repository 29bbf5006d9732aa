// The provider for data sources of the platform's ODBC manager (unixODBC, odbc32).
#pragma once

#include <memory>

#include "db/connection_string.h"
#include "db/provider.h"

namespace vnt::db {

// Connects to the data source that the settings name; every setting but the provider goes to the driver.
// DbError with the driver's native number (kErrFailed when it has none) and text.
std::shared_ptr<ProviderConnection> OpenOdbc(const ConnectionSettings& settings);

}  // namespace vnt::db
