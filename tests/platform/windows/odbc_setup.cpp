// The setup part of an ODBC driver that keeps what it is asked for: the request, the driver and each
// attribute are lines of the UTF-8 file that the environment variable VNT_ODBC_SETUP names.
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <string>

namespace {

void WriteLine(FILE* file, const wchar_t* text) {
  char line[1000] = {};
  WideCharToMultiByte(CP_UTF8, 0, text, -1, line, sizeof line - 1, nullptr, nullptr);
  std::fprintf(file, "%s\n", line);
}

}  // namespace

extern "C" BOOL WINAPI ConfigDSNW(HWND parent, WORD request, LPCWSTR driver, LPCWSTR attributes) {
  const wchar_t* name = _wgetenv(L"VNT_ODBC_SETUP");
  FILE* file = name == nullptr ? nullptr : _wfopen(name, L"wb");
  if (file == nullptr) return FALSE;
  std::fprintf(file, "request %d%s\n", request, parent == nullptr ? "" : ", with a window");
  WriteLine(file, driver);
  for (; *attributes != L'\0'; attributes += std::wcslen(attributes) + 1) WriteLine(file, attributes);
  std::fclose(file);
  return TRUE;
}
