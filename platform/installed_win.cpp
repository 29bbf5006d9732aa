// Installed files on Windows: beside the program, or on drive C: itself.

#include "platform/installed.h"

#include <filesystem>
#include <vector>

#include "platform/settings.h"
#include "platform/wide_win.h"

namespace vnt::platform {

std::string FindOnDriveC(std::string_view path) { return ResolvePath(path); }

std::string GuideFile() {
  std::vector<wchar_t> name(32768);
  const DWORD length = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()));
  if (length == 0 || length == name.size()) return {};
  const std::filesystem::path page =
      std::filesystem::path(name.data(), name.data() + length).parent_path() / L"guide" / L"index.html";
  std::error_code ignored;
  return std::filesystem::is_regular_file(page, ignored) ? Narrow(page.wstring()) : std::string();
}

}  // namespace vnt::platform
