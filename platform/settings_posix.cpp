// Settings files and Windows places on systems that have neither: KV_SOFT.ini and WIN.INI are files in one
// folder, drive C: is a folder. File names are compared without letter case, because they come from
// settings and constants written for a system that does so.

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "access/base/text.h"
#include "platform/home_posix.h"
#include "platform/profile_file.h"
#include "platform/settings.h"
#include "platform/text.h"
#include "platform/user_name.h"

namespace vnt::platform {
namespace fs = std::filesystem;

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

namespace {

std::optional<passwd> CurrentUser(std::vector<char>& buffer) {
  buffer.resize(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return {};
  return entry;
}

std::string HomeFolder() {
  std::string home = Environment("HOME");
  if (!home.empty()) return home;
  std::vector<char> buffer;
  const auto user = CurrentUser(buffer);
  return user ? user->pw_dir : "/";
}

// The entry of `folder` with that name: the exact one, else the first in byte order that differs only in
// letter case, else the name as given.
fs::path FindEntry(const fs::path& folder, const std::string& name) {
  std::error_code ignored;
  fs::path exact = folder / name;
  if (name == "." || name == ".." || fs::exists(exact, ignored)) return exact;
  std::vector<std::string> matches;
  for (fs::directory_iterator it(folder, ignored), end; !ignored && it != end; it.increment(ignored)) {
    const std::string candidate = it->path().filename().string();
    if (jet::EqualNames(candidate, name)) matches.push_back(candidate);
  }
  return matches.empty() ? exact : folder / *std::min_element(matches.begin(), matches.end());
}

std::string DriveFolder() {
  std::string folder = Environment("VNTFIX_CDRIVE");
  if (!folder.empty()) return folder;
  const std::string data = Environment("XDG_DATA_HOME");
  return (data.empty() ? HomeFolder() + "/.local/share" : data) + "/vntfix/c";
}

bool IsOnDriveC(std::string_view path) {
  return path.size() >= 2 && (path[0] == 'c' || path[0] == 'C') && path[1] == ':' &&
         (path.size() == 2 || path[2] == '\\' || path[2] == '/');
}

}  // namespace

std::string UserConfigFolder() {
  const std::string config = Environment("XDG_CONFIG_HOME");
  return (config.empty() ? HomeFolder() + "/.config" : config) + "/vntfix";
}

std::string WindowsFolder() {
  std::string folder = Environment("VNTFIX_WINDIR");
  return folder.empty() ? UserConfigFolder() : folder;
}

fs::path PathWithin(const fs::path& folder, std::string_view path) {
  fs::path found = folder;
  while (!path.empty()) {
    const std::size_t end = path.find_first_of("\\/");
    const std::string_view part = path.substr(0, end);
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    if (!part.empty()) found = FindEntry(found, std::string(part));
  }
  return found;
}

std::string ResolvePath(std::string_view path, bool create_folders) {
  if (!IsOnDriveC(path)) return std::string(path);
  const fs::path resolved = PathWithin(DriveFolder(), path.substr(2));
  if (create_folders) {
    std::error_code ignored;  // the caller's own open tells what is wrong
    fs::create_directories(resolved.parent_path(), ignored);
  }
  return resolved.string();
}

fs::path ProfileFile(std::string_view name) {
  return name.find_first_of("/\\") == std::string_view::npos ? FindEntry(WindowsFolder(), std::string(name))
                                                             : fs::path(ResolvePath(name));
}

std::string ReadRegionalSetting(std::string_view key) {
  return ReadProfileString("WIN.INI", "intl", key, kRegionalBuffer);
}

// Looked up once: every history row asks for it, and the user database may be far away.
std::optional<std::string> LoggedOnUserName() {
  static const auto name = [] {
    std::vector<char> buffer;
    const auto user = CurrentUser(buffer);
    return user ? std::optional<std::string>(user->pw_name) : std::nullopt;
  }();
  return name;
}

}  // namespace vnt::platform
