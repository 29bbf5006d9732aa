// Recordsets of a server: the rows are fetched when it is opened. One whose rows are those of one table finds
// them again by their key, to change them, and to read them anew when somebody else on this connection has
// changed the table.
#pragma once

#include <memory>

#include "db/provider.h"
#include "db/server_provider/printer.h"
#include "db/server_provider/server_session.h"

namespace vnt::db {

inline constexpr char kServerSource[] = "VNTFixdb server";

struct RecordsetOptions {
  bool forward_only = false;
  bool updatable = false;
};

// A value as the server gives it, as the column that it shows holds it.
Value FromServer(Value value, const ServerOutput& column);

std::unique_ptr<ProviderRecordset> OpenServerRecordset(std::shared_ptr<ServerSession> session,
                                                       ServerQuery query, const RecordsetOptions& options);

}  // namespace vnt::db
