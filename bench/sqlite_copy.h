// An Access file as an ordinary SQLite file: same tables, rows, keys and indexes.
#pragma once

#include <string>

namespace vnt::bench {

void CopyToSqlite(const std::string& access_file, const std::string& sqlite_file);

}  // namespace vnt::bench
