// A connection string taken apart: "Key=value;Key=value;". Keys in any letter case; blanks around keys and
// values do not count; a value may stand in quotes, in which two quotes stand for one.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vnt::db {

class ConnectionSettings {
 public:
  // DbError kErrFailed when a part has no "=".
  explicit ConnectionSettings(std::string_view connection_string);

  // The first value under the key, or null.
  const std::string* Find(std::string_view key) const;
  const std::vector<std::pair<std::string, std::string>>& all() const { return settings_; }

 private:
  std::vector<std::pair<std::string, std::string>> settings_;
};

// What a name of a database begins with that is a data source on a server: "dsn:NAME".
inline constexpr std::string_view kServerPrefix = "dsn:";
inline bool IsServerName(std::string_view database) { return database.starts_with(kServerPrefix); }
// The connection string for such a name; without user or password the data source's own are taken.
std::string ServerSource(std::string_view database, const std::string& user, const std::string& password);

// "Data Source=" and the file name: as it stands when it reads back as the same name, else in quotes.
std::string DataSource(const std::string& file);

}  // namespace vnt::db
