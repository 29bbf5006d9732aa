// The yardstick: the database objects of the fixes served by an ordinary SQLite file with default settings,
// one transaction from checkpoint to checkpoint (that is, per fix). The fixes run unchanged; the few Access
// texts that SQLite does not know are spelled its way.
#pragma once

namespace vnt::bench {

// Serves all connections opened while it lives; their data sources are SQLite files.
class ScopedSqliteProvider {
 public:
  ScopedSqliteProvider();
  ~ScopedSqliteProvider();
};

}  // namespace vnt::bench
