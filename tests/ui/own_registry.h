// The user's part of the registry for one test: empty at its start, gone at its end. Window and choices are
// kept there on Windows; elsewhere in files of the test's own folder.
#pragma once

#ifdef _WIN32
#include <windows.h>
// wxWidgets has functions of these names.
#include <wx/msw/winundef.h>
#endif

namespace vnt::ui {

#ifdef _WIN32
class OwnRegistry {
 public:
  OwnRegistry() {
    RegDeleteTreeW(HKEY_CURRENT_USER, kPlace);
    RegCreateKeyExW(HKEY_CURRENT_USER, kPlace, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &own_, nullptr);
    RegOverridePredefKey(HKEY_CURRENT_USER, own_);
  }
  ~OwnRegistry() {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegCloseKey(own_);
    RegDeleteTreeW(HKEY_CURRENT_USER, kPlace);
  }
  OwnRegistry(const OwnRegistry&) = delete;
  OwnRegistry& operator=(const OwnRegistry&) = delete;

 private:
  static constexpr const wchar_t* kPlace = L"Software\\VNTFixdb window tests";
  HKEY own_ = nullptr;
};
#else
class OwnRegistry {};
#endif

}  // namespace vnt::ui
