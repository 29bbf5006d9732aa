#include "db/connection_string.h"

#include <algorithm>

#include "access/base/text.h"
#include "db/error.h"
#include "db/value.h"

namespace vnt::db {
namespace {

// Length of the value at the front of `rest`, without the ";" that ends it.
std::size_t ValueLength(std::string_view key, std::string_view rest) {
  std::size_t end = rest.find(';');
  // The name of an Access file is put into the string as it stands and comes last, so semicolons that no
  // further key follows belong to it.
  if (jet::EqualWords(key, "data source") && end != std::string_view::npos &&
      rest.find('=', end) == std::string_view::npos) {
    end = rest.rfind(';');
  }
  return end == std::string_view::npos ? rest.size() : end;
}

// Takes a quoted value with its quotes off the front of *rest.
std::string TakeQuoted(std::string_view* rest) {
  const char quote = rest->front();
  std::string value;
  std::size_t i = 1;
  for (; i < rest->size(); ++i) {
    if ((*rest)[i] == quote) {
      if (i + 1 == rest->size() || (*rest)[i + 1] != quote) break;
      ++i;
    }
    value.push_back((*rest)[i]);
  }
  rest->remove_prefix(std::min(i + 1, rest->size()));
  return value;
}

}  // namespace

ConnectionSettings::ConnectionSettings(std::string_view rest) {
  while (!rest.empty()) {
    if (rest.front() == ';' || rest.front() == ' ') {
      rest.remove_prefix(1);
      continue;
    }
    const std::size_t equals = rest.find('=');
    const std::size_t part_end = rest.find(';');
    if (equals == std::string_view::npos || (part_end != std::string_view::npos && part_end < equals)) {
      throw DbError(kErrFailed, "VNTFixdb",
                    "The connection string is not understood: \"" + Trim(rest.substr(0, part_end)) +
                        "\" has no value.");
    }
    std::string key = Trim(rest.substr(0, equals));
    rest.remove_prefix(equals + 1);
    while (!rest.empty() && rest.front() == ' ') rest.remove_prefix(1);
    std::string value;
    if (!rest.empty() && (rest.front() == '"' || rest.front() == '\'')) {
      value = TakeQuoted(&rest);
    } else {
      const std::size_t length = ValueLength(key, rest);
      value = Trim(rest.substr(0, length));
      rest.remove_prefix(length);
    }
    settings_.emplace_back(std::move(key), std::move(value));
  }
}

namespace {

std::string InQuotes(std::string_view value) {
  std::string quoted = "\"";
  for (const char c : value) {
    quoted.push_back(c);
    if (c == '"') quoted.push_back(c);
  }
  return quoted + "\"";
}

}  // namespace

std::string ServerSource(std::string_view database, const std::string& user, const std::string& password) {
  std::string text = "PROVIDER=VNTFix.Server;DSN=" + InQuotes(database.substr(kServerPrefix.size())) + ";";
  if (!user.empty()) text += "UID=" + InQuotes(user) + ";";
  if (!password.empty()) text += "PWD=" + InQuotes(password) + ";";
  return text;
}

std::string DataSource(const std::string& file) {
  constexpr char kKey[] = "Data Source";
  const std::string plain = std::string(kKey) + "=" + file;
  const bool is_ambiguous = file.starts_with('"') || file.starts_with('\'') ||
                            (file.find(';') != std::string::npos && file.find('=') != std::string::npos);
  if (!is_ambiguous && *ConnectionSettings(plain + ";").Find(kKey) == file) return plain;
  return std::string(kKey) + "=" + InQuotes(file);
}

const std::string* ConnectionSettings::Find(std::string_view key) const {
  for (const auto& [name, value] : settings_) {
    if (jet::EqualWords(name, key)) return &value;
  }
  return nullptr;
}

}  // namespace vnt::db
