// Settings through the profile functions of Windows themselves: they know where a bare file name is looked
// up and which keys of WIN.INI live in the registry.

#include <filesystem>
#include <vector>

#include "platform/settings.h"
#include "platform/user_name.h"
#include "platform/wide_win.h"

namespace vnt::platform {

std::string WindowsFolder() {
  std::vector<wchar_t> buffer(MAX_PATH + 1);
  const UINT length = GetSystemWindowsDirectoryW(buffer.data(), static_cast<UINT>(buffer.size()));
  return Narrow({buffer.data(), length});
}

std::string ResolvePath(std::string_view path, bool create_folders) {
  if (create_folders) {
    std::error_code ignored;  // the caller's own open tells what is wrong
    std::filesystem::create_directories(std::filesystem::path(Wide(path)).parent_path(), ignored);
  }
  return std::string(path);
}

std::string ReadProfileString(std::string_view file, std::string_view section, std::string_view key,
                              std::size_t buffer) {
  std::vector<wchar_t> value(buffer + 1);
  const DWORD length = GetPrivateProfileStringW(Wide(section).c_str(), Wide(key).c_str(), L"", value.data(),
                                                static_cast<DWORD>(buffer), Wide(ResolvePath(file)).c_str());
  return Narrow({value.data(), length});
}

std::int32_t ReadProfileInt(std::string_view file, std::string_view section, std::string_view key,
                            std::int32_t fallback) {
  return static_cast<std::int32_t>(GetPrivateProfileIntW(Wide(section).c_str(), Wide(key).c_str(), fallback,
                                                         Wide(ResolvePath(file)).c_str()));
}

std::string GetRegionalSetting(std::string_view key) {
  std::vector<wchar_t> value(kRegionalBuffer + 1);
  const DWORD length =
      GetProfileStringW(L"intl", Wide(key).c_str(), L"", value.data(), static_cast<DWORD>(kRegionalBuffer));
  return Narrow({value.data(), length});
}

std::optional<std::string> LoggedOnUserName() {
  std::vector<wchar_t> name(kUserNameBuffer);
  DWORD size = static_cast<DWORD>(name.size());
  if (!GetUserNameW(name.data(), &size)) return {};
  return Narrow(name.data());
}

}  // namespace vnt::platform
