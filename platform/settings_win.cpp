// Settings and places of Windows. KV_SOFT.ini is read by this program's own reader: the system's profile
// functions know files in the code page of the machine alone, so that a path in another script is lost in
// them.

#include <filesystem>
#include <vector>

#include "platform/environment.h"
#include "platform/profile_file.h"
#include "platform/settings.h"
#include "platform/text.h"
#include "platform/user_name.h"
#include "platform/wide_win.h"

namespace vnt::platform {
namespace fs = std::filesystem;

namespace {

// The sections of WIN.INI have moved into the registry; that of regional settings lies here, for each user.
constexpr const wchar_t* kRegionalKey = L"Control Panel\\International";

// What VNTFIX_CDRIVE stands for on a system that has a drive C: of its own.
constexpr std::string_view kOwnFolder = "c:\\kv_soft";

// `function` is one of the calls that fill a buffer with a folder and return the length.
template <typename Function>
fs::path AskedFolder(Function function) {
  std::vector<wchar_t> buffer(MAX_PATH + 1);
  const UINT length = function(buffer.data(), static_cast<UINT>(buffer.size()));
  return length < buffer.size() ? fs::path(buffer.data(), buffer.data() + length) : fs::path();
}

// In the order in which the profile functions look for a bare name: on a terminal server each user may have a
// Windows folder of his own.
std::vector<fs::path> WindowsFolders() {
  const fs::path named = EnvironmentPath("VNTFIX_WINDIR");
  if (!named.empty()) return {named};
  return {AskedFolder(GetWindowsDirectoryW), AskedFolder(GetSystemWindowsDirectoryW)};
}

bool IsInOwnFolder(std::string_view path) {
  const auto as_stored = [](char c) {
    return c == '/' ? '\\' : c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
  };
  if (path.size() < kOwnFolder.size()) return false;
  for (std::size_t i = 0; i < kOwnFolder.size(); ++i) {
    if (as_stored(path[i]) != kOwnFolder[i]) return false;
  }
  return path.size() == kOwnFolder.size() || as_stored(path[kOwnFolder.size()]) == '\\';
}

}  // namespace

std::string WindowsFolder() { return Narrow(WindowsFolders().front().wstring()); }

std::string ResolvePath(std::string_view path, bool create_folders) {
  const fs::path drive = EnvironmentPath("VNTFIX_CDRIVE");
  std::string resolved(path);
  if (!drive.empty() && IsInOwnFolder(path)) {
    resolved = Narrow(drive.wstring()).append(path.substr(2));
  }
  if (create_folders) {
    std::error_code ignored;  // the caller's own open tells what is wrong
    fs::create_directories(fs::path(Wide(resolved)).parent_path(), ignored);
  }
  return resolved;
}

fs::path ProfileFile(std::string_view name) {
  if (name.find_first_of("/\\:") != std::string_view::npos) return Wide(ResolvePath(name));
  const std::vector<fs::path> folders = WindowsFolders();
  for (const fs::path& folder : folders) {
    std::error_code ignored;
    if (fs::exists(folder / Wide(name), ignored)) return folder / Wide(name);
  }
  return folders.front() / Wide(name);
}

std::string ReadRegionalSetting(std::string_view key) {
  // A folder named for the settings holds these too.
  if (EnvironmentPath("VNTFIX_WINDIR").empty()) {
    std::vector<wchar_t> value(256);
    DWORD bytes = static_cast<DWORD>(value.size() * sizeof(wchar_t));
    if (RegGetValueW(HKEY_CURRENT_USER, kRegionalKey, Wide(key).c_str(), RRF_RT_REG_SZ, nullptr, value.data(),
                     &bytes) == ERROR_SUCCESS) {
      return FirstCharacters(Narrow(value.data()), kRegionalBuffer - 1);
    }
  }
  return ReadProfileString("WIN.INI", "intl", key, kRegionalBuffer);
}

std::optional<std::string> LoggedOnUserName() {
  std::vector<wchar_t> name(kUserNameBuffer);
  DWORD size = static_cast<DWORD>(name.size());
  if (!GetUserNameW(name.data(), &size)) return {};
  return Narrow(name.data());
}

}  // namespace vnt::platform
