// Another program that has a file open: hold_file FILE SHARE [OFFSET]
//
// SHARE is what it allows others meanwhile: "none", "read", "all". With OFFSET it also locks the one byte
// there, as Access locks its entry of a lock file. Prints "held" and keeps the file until its standard input
// ends.
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <string>

int wmain(int argc, wchar_t** argv) {
  if (argc < 3) return 2;
  const std::wstring share = argv[2];
  const DWORD mode = share == L"none"   ? 0
                     : share == L"read" ? FILE_SHARE_READ
                                        : FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE file = CreateFileW(argv[1], share == L"read" ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE,
                                  mode, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return 3;
  if (argc > 3) {
    OVERLAPPED at = {};
    at.Offset = static_cast<DWORD>(std::wcstoul(argv[3], nullptr, 0));
    if (LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &at) == 0) return 4;
  }
  std::puts("held");
  std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
  return 0;
}
