// Names, errors and handles of Windows as the file system's sources use them.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <cstdint>
#include <string>
#include <utility>

namespace jet::internal {

// A path as the system takes it. Past the classic limit on their length only full paths in the system's own
// form are taken everywhere; in that form "/" and ".." mean nothing, so it is made from the resolved path.
std::wstring Wide(const std::string& path);
std::string Utf8(const std::wstring& wide);

// The system's words for an error, without the full stop.
std::string SystemMessage(DWORD code);
// Throws an Error of the kind that the code tells: `what`, then the system's words.
[[noreturn]] void ThrowSystem(const std::string& what, DWORD code);

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, INVALID_HANDLE_VALUE)) {}
  ~Handle() {
    if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
  }
  HANDLE get() const { return handle_; }
  bool valid() const { return handle_ != INVALID_HANDLE_VALUE; }

 private:
  HANDLE handle_;
};

// A synchronous handle takes the place of a lock or of a transfer from this structure.
inline OVERLAPPED At(std::uint64_t offset) {
  OVERLAPPED at = {};
  at.Offset = offset;
  at.OffsetHigh = offset >> 32;
  return at;
}

}  // namespace jet::internal
