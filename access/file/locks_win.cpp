#include "access/file/locks_win.h"

// after windows.h
#include <restartmanager.h>

#include <fmt/format.h>

#include <vector>

#include "access/file/lock_file.h"

namespace jet::internal {
namespace {

constexpr std::uint64_t kLockBase = std::uint64_t{1} << 62;

bool TryLockRange(HANDLE handle, std::uint64_t first, std::uint64_t count, bool alone) {
  OVERLAPPED at = At(first);
  return LockFileEx(handle, LOCKFILE_FAIL_IMMEDIATELY | (alone ? LOCKFILE_EXCLUSIVE_LOCK : 0), 0, count,
                    count >> 32, &at) != 0;
}

void UnlockRange(HANDLE handle, std::uint64_t first, std::uint64_t count) {
  OVERLAPPED at = At(first);
  UnlockFileEx(handle, 0, count, count >> 32, &at);
}

// The programs of this machine that have a file open, as the system's restart manager knows them; those of
// other machines it does not know.
std::string ProgramsWith(const std::wstring& path) {
  DWORD session = 0;
  WCHAR key[CCH_RM_SESSION_KEY + 1] = {};
  if (RmStartSession(&session, 0, key) != ERROR_SUCCESS) return {};
  std::string programs;
  LPCWSTR file = path.c_str();
  std::vector<RM_PROCESS_INFO> found(16);
  UINT needed = 0;
  UINT count = found.size();
  DWORD reasons = RmRebootReasonNone;
  if (RmRegisterResources(session, 1, &file, 0, nullptr, 0, nullptr) == ERROR_SUCCESS &&
      RmGetList(session, &needed, &count, found.data(), &reasons) == ERROR_SUCCESS) {
    for (UINT i = 0; i < count; ++i) {
      if (!programs.empty()) programs += "; ";
      programs += ProcessName(found[i].Process.dwProcessId);
    }
  }
  RmEndSession(session);
  return programs;
}

}  // namespace

bool TryLock(HANDLE handle, LockByte byte, bool alone) {
  return TryLockRange(handle, kLockBase + byte, 1, alone);
}

void Unlock(HANDLE handle, LockByte byte) { UnlockRange(handle, kLockBase + byte, 1); }

void HoldProcessByte(HANDLE handle) {
  TryLockRange(handle, kLockBase + kFirstProcessByte + GetCurrentProcessId(), 1, true);
}

// Halves the range that a trial finds locked.
DWORD WriterProcess(HANDLE handle) {
  std::uint64_t first = 0, count = std::uint64_t{1} << 32;
  const auto is_free = [&](std::uint64_t begin, std::uint64_t length) {
    const std::uint64_t at = kLockBase + kFirstProcessByte + begin;
    if (!TryLockRange(handle, at, length, true)) return false;
    UnlockRange(handle, at, length);
    return true;
  };
  if (is_free(first, count)) return 0;
  while (count > 1) {
    count /= 2;
    if (is_free(first, count)) first += count;
  }
  return first;
}

std::string ProcessName(DWORD process) {
  std::wstring image(32768, L'\0');
  DWORD length = image.size();
  const HANDLE handle = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process);
  if (handle == nullptr || QueryFullProcessImageNameW(handle, 0, image.data(), &length) == 0) length = 0;
  if (handle != nullptr) CloseHandle(handle);
  std::wstring name(image.data(), length);
  name.erase(0, name.find_last_of(L"\\/") + 1);
  if (name.ends_with(L".exe")) name.resize(name.size() - 4);
  return fmt::format("{}process {}", name.empty() ? "" : Utf8(name) + ", ", process);
}

std::string HolderOf(const std::wstring& path) {
  const Handle handle(CreateFileW(path.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  std::string holder;
  if (handle.valid() && !IsRemote(handle.get())) {
    if (const DWORD process = WriterProcess(handle.get()); process != 0) holder = ProcessName(process);
  }
  if (holder.empty()) holder = ProgramsWith(path);
  return holder.empty() ? holder : " (" + holder + ")";
}

bool LockPatiently(HANDLE handle, bool alone) {
  constexpr DWORD kStep = 20;
  constexpr int kSteps = 250;
  for (int step = 0; step < kSteps; ++step) {
    if (TryLock(handle, kContentByte, alone)) return true;
    Sleep(kStep);
  }
  return false;
}

bool IsRemote(HANDLE handle) {
  FILE_REMOTE_PROTOCOL_INFO info;
  return GetFileInformationByHandleEx(handle, FileRemoteProtocolInfo, &info, sizeof info) != 0;
}

bool IsEntryLocked(HANDLE handle, std::size_t entry) {
  OVERLAPPED at = At(kUserLockBase + entry);
  if (LockFileEx(handle, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &at) == 0) return true;
  at = At(kUserLockBase + entry);
  UnlockFileEx(handle, 0, 1, 0, &at);
  return false;
}

}  // namespace jet::internal
