// The desktop of Windows: shell, registry, ODBC installer.

#include "platform/wide_win.h"
// after windows.h
#include <odbcinst.h>
#include <shellapi.h>

#include <filesystem>

#include "platform/desktop.h"

namespace vnt::platform {

bool OpenDocument(const std::string& path) {
  // Values up to 32 are the shell's failures.
  const HINSTANCE result =
      ShellExecuteW(GetActiveWindow(), L"open", Wide(path).c_str(), nullptr, nullptr, SW_SHOWMAXIMIZED);
  return reinterpret_cast<INT_PTR>(result) > 32;
}

bool OpenInBrowser(const std::string& path) { return OpenDocument(path); }

namespace {

std::wstring PlaceOf(std::string_view section) {
  return L"Software\\VB and VBA Program Settings\\VNTFixdb\\" + Wide(section);
}

}  // namespace

void SaveUserSetting(std::string_view section, std::string_view key, int value) {
  SaveUserSetting(section, key, std::to_string(value));
}

void SaveUserSetting(std::string_view section, std::string_view key, std::string_view value) {
  const std::wstring place = PlaceOf(section);
  const std::wstring text = Wide(value);
  RegSetKeyValueW(HKEY_CURRENT_USER, place.c_str(), Wide(key).c_str(), REG_SZ, text.c_str(),
                  static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

std::string ReadUserSetting(std::string_view section, std::string_view key) {
  const std::wstring place = PlaceOf(section);
  const std::wstring name = Wide(key);
  const auto read = [&](void* buffer, DWORD* bytes) {
    return RegGetValueW(HKEY_CURRENT_USER, place.c_str(), name.c_str(), RRF_RT_REG_SZ, nullptr, buffer,
                        bytes) == ERROR_SUCCESS;
  };
  DWORD bytes = 0;
  if (!read(nullptr, &bytes)) return {};
  std::wstring text(bytes / sizeof(wchar_t), L'\0');
  if (!read(text.data(), &bytes)) return {};
  return Narrow(text.c_str());
}

bool AddDataSource(std::string_view driver, std::string_view attributes) {
  return SQLConfigDataSourceW(nullptr, ODBC_ADD_DSN, Wide(driver).c_str(),
                              (Wide(attributes) + L'\0').c_str()) != 0;
}

// A service, and a task that runs whether or not its user is logged on, are given a window station that
// nobody sees: a box there would wait for ever.
bool HasDisplay() {
  USEROBJECTFLAGS flags{};
  const HWINSTA station = GetProcessWindowStation();
  return station != nullptr &&
         GetUserObjectInformationW(station, UOI_FLAGS, &flags, sizeof flags, nullptr) != 0 &&
         (flags.dwFlags & WSF_VISIBLE) != 0;
}

}  // namespace vnt::platform
