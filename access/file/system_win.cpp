#include "access/file/system_win.h"

#include <fmt/format.h>

#include "access/base/error.h"

namespace jet::internal {
namespace {

std::wstring WideText(const std::string& utf8) {
  if (utf8.empty()) return {};
  const int size = utf8.size();
  std::wstring wide(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), wide.size());
  return wide;
}

}  // namespace

std::wstring Wide(const std::string& path) {
  std::wstring wide = WideText(path);
  constexpr std::size_t kSafeLength = MAX_PATH - 12;  // a folder must leave room for an 8.3 name
  if (wide.size() < kSafeLength || wide.starts_with(L"\\\\?\\")) return wide;
  std::wstring full(wide.size() + MAX_PATH, L'\0');
  const DWORD length = GetFullPathNameW(wide.c_str(), full.size(), full.data(), nullptr);
  if (length == 0 || length >= full.size()) return wide;
  full.resize(length);
  return full.starts_with(L"\\\\") ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
}

std::string Utf8(const std::wstring& wide) {
  if (wide.empty()) return {};
  const int size = wide.size();
  std::string utf8(WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, utf8.data(), utf8.size(), nullptr, nullptr);
  return utf8;
}

std::string SystemMessage(DWORD code) {
  wchar_t text[512];
  DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0,
                                text, 512, nullptr);
  while (length > 0 && (text[length - 1] <= L' ' || text[length - 1] == L'.')) --length;
  return length == 0 ? fmt::format("error {}", code) : Utf8(std::wstring(text, length));
}

void ThrowSystem(const std::string& what, DWORD code) {
  ErrorKind kind = ErrorKind::kIo;
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
      kind = ErrorKind::kNotFound;
      break;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      kind = ErrorKind::kExists;
      break;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
      kind = ErrorKind::kLocked;
      break;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case ERROR_FILE_TOO_LARGE:
      kind = ErrorKind::kIo;
      break;
    default:
      break;
  }
  throw Error(kind, fmt::format("{}: {}.", what, SystemMessage(code)));
}

}  // namespace jet::internal
