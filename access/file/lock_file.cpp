#include "access/file/lock_file.h"

#include <algorithm>

namespace jet::internal {
namespace {

bool EndsWithIgnoringCase(std::string_view text, std::string_view lower_end) {
  return text.size() >= lower_end.size() &&
         std::equal(lower_end.begin(), lower_end.end(), text.end() - lower_end.size(),
                    [](char lower, char c) { return lower == (c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); });
}

std::string EntryName(std::string_view field) {
  field = field.substr(0, field.find('\0'));
  while (!field.empty() && field.back() == ' ') field.remove_suffix(1);
  std::string name;
  for (const char c : field) {
    const std::uint8_t u = c;
    if (u < 0x80) {
      name += u < 0x20 ? '?' : c;
    } else {
      name += static_cast<char>(0xC0 | u >> 6);
      name += static_cast<char>(0x80 | (u & 0x3F));
    }
  }
  return name;
}

}  // namespace

std::string_view LockFileExtension(std::string_view database_path) {
  if (EndsWithIgnoringCase(database_path, ".accdb")) return ".laccdb";
  if (EndsWithIgnoringCase(database_path, ".mdb")) return ".ldb";
  return {};
}

std::string LockFileUsers(std::string_view content, const std::function<bool(std::size_t)>& in_use) {
  std::string users;
  for (std::size_t i = 0; i < kLockFileEntries; ++i) {
    if (!in_use(i)) continue;
    const std::string_view entry = i * kLockFileEntryBytes < content.size()
                                       ? content.substr(i * kLockFileEntryBytes, kLockFileEntryBytes)
                                       : "";
    const std::string computer = EntryName(entry.substr(0, 32));
    const std::string user = entry.size() > 32 ? EntryName(entry.substr(32)) : "";
    if (!users.empty()) users += ", ";
    users += user.empty() ? "somebody" : user;
    if (!computer.empty()) users += " on " + computer;
  }
  return users;
}

}  // namespace jet::internal
