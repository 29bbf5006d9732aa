// The yardstick: the database objects of the fixes served by an ordinary SQLite file with default settings,
// one transaction from checkpoint to checkpoint (that is, per fix). The fixes run unchanged; the few Access
// texts that SQLite does not know are spelled its way.
#pragma once

#include <memory>
#include <string>

#include "db/provider.h"

namespace vnt::bench {

// The data source is a SQLite file.
std::shared_ptr<db::ProviderConnection> OpenSqlite(const std::string& data_source);

}  // namespace vnt::bench
