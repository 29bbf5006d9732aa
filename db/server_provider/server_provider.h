// The provider for servers on which Access SQL is to mean what it means on a file: "VNTFix.Server". Its
// statements are taken apart and printed anew in the server's words (printer.h); the platform's ODBC manager
// carries them.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "db/connection_string.h"
#include "db/provider.h"

namespace vnt::db {

// `tell_rows`: told of rows that statements affected which had been put off.
std::shared_ptr<ProviderConnection> OpenServer(const ConnectionSettings& settings, bool read_only,
                                               std::function<void(std::int64_t)> tell_rows);

}  // namespace vnt::db
