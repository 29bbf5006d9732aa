// Recordsets of a server: the rows are fetched when it is opened. One whose rows are those of one table finds
// them again by their key, to change them, and to read them anew when somebody else on this connection has
// changed the table.
#pragma once

#include <memory>

#include "db/provider.h"
#include "db/server_provider/server_printer.h"
#include "db/server_provider/server_session.h"

namespace vnt::db {

inline constexpr char kServerSource[] = "VNTFixdb server";

struct RecordsetOptions {
  bool forward_only = false;
  bool updatable = false;
};

struct ReadParts;

// What tells the rows of a query's table apart; none when they are not those of one table.
struct ServerKey {
  std::string name;
  jet::ColumnType type;
  int column;  // in the table; -1: not one of it
};
std::vector<ServerKey> KeysOf(const ServerSession& session, const ServerQuery& query);

// The next row: columns, then the key. False at the end.
bool FetchRow(OdbcStatement& statement, const std::vector<ServerOutput>& columns,
              const std::vector<ServerKey>& keys, std::vector<Value>* row);

// A value as the server gives it, as the column that it shows holds it.
Value FromServer(Value value, const ServerOutput& column);

std::unique_ptr<ProviderRecordset> OpenServerRecordset(std::shared_ptr<ServerSession> session,
                                                       ServerQuery query, const RecordsetOptions& options);

// Of rows that have been read ahead, those of one part; `places` are theirs in ReadParts::rows.
std::unique_ptr<ProviderRecordset> OpenReadRecordset(std::shared_ptr<ServerSession> session,
                                                     std::shared_ptr<ReadParts> parts, WrittenPart part,
                                                     const std::vector<std::vector<Value>>& rows,
                                                     std::vector<std::int64_t> places,
                                                     const RecordsetOptions& options);

}  // namespace vnt::db
