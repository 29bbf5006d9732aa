// The file system of Windows. A File for writing lets others open the file for reading only. Our own programs
// keep out of each other's way by locks on single bytes far behind every content.
#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>
// after windows.h
#include <restartmanager.h>

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "access/file/file.h"
#include "access/file/lock_file.h"

namespace jet {
namespace {

std::wstring WideText(const std::string& utf8) {
  if (utf8.empty()) return {};
  const int size = utf8.size();
  std::wstring wide(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), wide.size());
  return wide;
}

// A path as the system takes it. Past the classic limit on their length only full paths in the system's own
// form are taken everywhere; in that form "/" and ".." mean nothing, so it is made from the resolved path.
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

[[noreturn]] void ThrowSystem(const std::string& what, DWORD code) {
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

bool IsRemote(HANDLE handle) {
  FILE_REMOTE_PROTOCOL_INFO info;
  return GetFileInformationByHandleEx(handle, FileRemoteProtocolInfo, &info, sizeof info) != 0;
}

// A synchronous handle takes the place of a lock from this structure.
OVERLAPPED At(std::uint64_t offset) {
  OVERLAPPED at = {};
  at.Offset = offset;
  at.OffsetHigh = offset >> 32;
  return at;
}

constexpr std::size_t kLargestTransfer = std::size_t{16} << 20;

// A writer also holds the byte whose number is that of its process, which tells others who it is.
constexpr std::uint64_t kLockBase = std::uint64_t{1} << 62;
enum LockByte : std::uint64_t { kWriterByte, kContentByte, kFirstProcessByte = std::uint64_t{1} << 32 };

bool TryLockRange(HANDLE handle, std::uint64_t first, std::uint64_t count, bool alone) {
  OVERLAPPED at = At(first);
  return LockFileEx(handle, LOCKFILE_FAIL_IMMEDIATELY | (alone ? LOCKFILE_EXCLUSIVE_LOCK : 0), 0, count,
                    count >> 32, &at) != 0;
}

void UnlockRange(HANDLE handle, std::uint64_t first, std::uint64_t count) {
  OVERLAPPED at = At(first);
  UnlockFileEx(handle, 0, count, count >> 32, &at);
}

bool TryLock(HANDLE handle, LockByte byte, bool alone) {
  return TryLockRange(handle, kLockBase + byte, 1, alone);
}

void Unlock(HANDLE handle, LockByte byte) { UnlockRange(handle, kLockBase + byte, 1); }

void HoldProcessByte(HANDLE handle) {
  TryLockRange(handle, kLockBase + kFirstProcessByte + GetCurrentProcessId(), 1, true);
}

// The process that holds its byte; 0 when none does. Halves the range that a trial finds locked.
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

// "vntfix, process 4711", or the process alone where its program may not be seen.
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

// Who has a file open for writing or will not share it, such as " (vntfix, process 4711)"; empty when the
// system does not tell.
std::string HolderOf(const std::wstring& path) {
  const Handle handle(CreateFileW(path.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  std::string holder;
  // On a file server the number may be that of another machine's process.
  if (handle.valid() && !IsRemote(handle.get())) {
    if (const DWORD process = WriterProcess(handle.get()); process != 0) holder = ProcessName(process);
  }
  if (holder.empty()) holder = ProgramsWith(path);
  return holder.empty() ? holder : " (" + holder + ")";
}

// Others hold the content for themselves only as long as it takes to bring a file up to date.
bool LockPatiently(HANDLE handle, bool alone) {
  constexpr DWORD kStep = 20;
  constexpr int kSteps = 250;
  for (int step = 0; step < kSteps; ++step) {
    if (TryLock(handle, kContentByte, alone)) return true;
    Sleep(kStep);
  }
  return false;
}

std::string IdentityOf(const BY_HANDLE_FILE_INFORMATION& info) {
  return fmt::format("{}:{}", info.dwVolumeSerialNumber,
                     std::uint64_t{info.nFileIndexHigh} << 32 | info.nFileIndexLow);
}

// No access is asked for, so that a file that is open exclusively answers too. False when there is none.
bool Examine(const std::string& path, BY_HANDLE_FILE_INFORMATION* info) {
  const Handle handle(CreateFileW(Wide(path).c_str(), 0,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  return handle.valid() && GetFileInformationByHandle(handle.get(), info) != 0;
}

class WinFile : public File {
 public:
  WinFile(Handle handle, std::string path) : handle_(std::move(handle)), path_(std::move(path)) {}

  const std::string& path() const override { return path_; }

  // The place is set before, not given with the call: that would announce the end of each transfer to
  // completion ports, which costs as much as the transfer where other systems' programs run.
  void Read(std::uint64_t offset, MutableBytes out) override {
    bool ok = Seek(offset);
    for (std::size_t done = 0; done < out.size();) {
      DWORD n = 0;
      const DWORD wanted = std::min(out.size() - done, kLargestTransfer);
      ok = ok && ReadFile(handle_.get(), out.data() + done, wanted, &n, nullptr) != 0;
      if (!ok) ThrowSystem(fmt::format("The file {} cannot be read", path_), GetLastError());
      if (n == 0) {
        throw Error(ErrorKind::kCorrupt,
                    fmt::format("The file {} ends before byte {}.", path_, offset + out.size()));
      }
      done += n;
    }
  }

  void Write(std::uint64_t offset, Bytes data) override {
    bool ok = Seek(offset);
    for (std::size_t done = 0; done < data.size();) {
      DWORD n = 0;
      const DWORD wanted = std::min(data.size() - done, kLargestTransfer);
      ok = ok && WriteFile(handle_.get(), data.data() + done, wanted, &n, nullptr) != 0;
      if (!ok) ThrowSystem(fmt::format("The file {} cannot be written", path_), GetLastError());
      done += n;
    }
  }

  void Sync() override {
    if (FlushFileBuffers(handle_.get()) == 0) {
      ThrowSystem(fmt::format("The file {} cannot be written to the disk", path_), GetLastError());
    }
  }

  void SyncAll() override { Sync(); }

  FileStamp Stamp() override {
    BY_HANDLE_FILE_INFORMATION info;
    if (GetFileInformationByHandle(handle_.get(), &info) == 0) {
      ThrowSystem(fmt::format("The file {} cannot be examined", path_), GetLastError());
    }
    const std::uint64_t ticks = std::uint64_t{info.ftLastWriteTime.dwHighDateTime} << 32 |
                                info.ftLastWriteTime.dwLowDateTime;  // of 100 nanoseconds
    constexpr std::uint64_t kTicksFrom1601To1970 = 116'444'736'000'000'000;
    return {IdentityOf(info), Size(), (static_cast<std::int64_t>(ticks - kTicksFrom1601To1970)) * 100};
  }
  bool IsInPlace() override {
    BY_HANDLE_FILE_INFORMATION info;
    return Examine(path_, &info) && IdentityOf(info) == Stamp().identity;
  }

  // A lock of this kind cannot be changed, only given back and taken again.
  bool LockContent(bool patiently) override {
    Unlock(handle_.get(), kContentByte);
    if (patiently ? LockPatiently(handle_.get(), true) : TryLock(handle_.get(), kContentByte, true))
      return true;
    LockPatiently(handle_.get(), false);
    return false;
  }
  void ShareContent() override {
    Unlock(handle_.get(), kContentByte);
    LockPatiently(handle_.get(), false);
  }
  bool HasWriter() override {
    if (!TryLock(handle_.get(), kWriterByte, false)) return true;
    Unlock(handle_.get(), kWriterByte);
    return false;
  }
  std::string WriterName() override {
    // On a file server the number may be that of another machine's process.
    const DWORD process = IsRemote(handle_.get()) ? 0 : WriterProcess(handle_.get());
    return process == 0 ? std::string() : ProcessName(process);
  }

  std::uint64_t Size() override {
    LARGE_INTEGER size;
    if (GetFileSizeEx(handle_.get(), &size) == 0) {
      ThrowSystem(fmt::format("The file {} cannot be examined", path_), GetLastError());
    }
    return size.QuadPart;
  }

  void Truncate(std::uint64_t size) override {
    if (!Seek(size) || SetEndOfFile(handle_.get()) == 0) {
      ThrowSystem(fmt::format("The size of the file {} cannot be changed", path_), GetLastError());
    }
  }

 private:
  bool Seek(std::uint64_t offset) {
    LARGE_INTEGER place;
    place.QuadPart = offset;
    return SetFilePointerEx(handle_.get(), place, nullptr, FILE_BEGIN) != 0;
  }

  Handle handle_;
  std::string path_;
};

// Whether somebody locks an entry of a lock file; tried by locking it for a moment.
bool IsEntryLocked(HANDLE handle, std::size_t entry) {
  OVERLAPPED at = At(internal::kUserLockBase + entry);
  if (LockFileEx(handle, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &at) == 0) return true;
  at = At(internal::kUserLockBase + entry);
  UnlockFileEx(handle, 0, 1, 0, &at);
  return false;
}

class WinFileSystem : public FileSystem {
 public:
  std::unique_ptr<File> Open(const std::string& path, OpenMode mode) override {
    return OpenLocked(path, mode, 0);
  }

  // Rights come from the folder, as those of the database did.
  std::unique_ptr<File> OpenCompanion(const std::string& path, OpenMode mode, File&) override {
    BY_HANDLE_FILE_INFORMATION info;
    const DWORD attributes = GetFileAttributesW(Wide(path).c_str());
    if (mode != OpenMode::kCreateNew && attributes != INVALID_FILE_ATTRIBUTES &&
        ((attributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY)) != 0 ||
         (Examine(path, &info) && info.nNumberOfLinks != 1))) {
      throw Error(ErrorKind::kCorrupt,
                  fmt::format("{} is a link or no file at all, so it is not used. Move it away.", path));
    }
    return OpenLocked(path, mode, FILE_FLAG_OPEN_REPARSE_POINT);
  }

  void CreateWhole(const std::string& path, Bytes content) override {
    const std::string unfinished = fmt::format("{}.{}.new", path, GetCurrentProcessId());
    try {
      {
        const auto file = OpenLocked(unfinished, OpenMode::kCreateNew, 0);
        file->Write(0, content);
        file->Sync();
      }
      if (MoveFileExW(Wide(unfinished).c_str(), Wide(path).c_str(), MOVEFILE_WRITE_THROUGH) == 0) {
        ThrowSystem(fmt::format("The file {} cannot be created", path), GetLastError());
      }
    } catch (...) {
      DeleteFileW(Wide(unfinished).c_str());
      throw;
    }
  }

  // Only making one shows whether that is allowed here.
  std::string WhyNotCreate(const std::string& path) override {
    const std::wstring trial = Wide(fmt::format("{}.{}.trial", path, GetCurrentProcessId()));
    const Handle handle(CreateFileW(trial.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    return handle.valid() ? std::string() : SystemMessage(GetLastError());
  }

  std::uint64_t LinkCount(const std::string& path) override {
    BY_HANDLE_FILE_INFORMATION info;
    return Examine(path, &info) ? info.nNumberOfLinks : 0;
  }

  std::unique_ptr<File> OpenLocked(const std::string& path, OpenMode mode, DWORD more_flags) {
    const bool write = mode != OpenMode::kRead;
    const std::wstring wide = Wide(path);
    // Some users' rights reach past the mark; whoever made it meant something.
    if (mode == OpenMode::kReadWrite) {
      const DWORD marks = GetFileAttributesW(wide.c_str());
      if (marks != INVALID_FILE_ATTRIBUTES && (marks & FILE_ATTRIBUTE_READONLY) != 0) {
        throw Error(ErrorKind::kReadOnly, fmt::format("The file {} is marked as read-only.", path));
      }
    }
    Handle handle(CreateFileW(wide.c_str(), write ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ,
                              write ? FILE_SHARE_READ : FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              mode == OpenMode::kCreateNew ? CREATE_NEW : OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL | more_flags, nullptr));
    if (handle.valid()) {
      if (write && !TryLock(handle.get(), kWriterByte, true)) {
        throw Error(ErrorKind::kLocked,
                    fmt::format("The file {} is in use by another program{}.", path, HolderOf(wide)));
      }
      if (!LockPatiently(handle.get(), false)) {
        throw Error(ErrorKind::kLocked,
                    fmt::format("The file {} is being written by another program{}.", path, HolderOf(wide)));
      }
      if (write) HoldProcessByte(handle.get());
      return std::make_unique<WinFile>(std::move(handle), path);
    }
    const DWORD code = GetLastError();
    if (code == ERROR_SHARING_VIOLATION) {
      throw Error(ErrorKind::kLocked,
                  fmt::format("The file {} is in use by another program{}.", path, HolderOf(wide)));
    }
    const DWORD attributes = GetFileAttributesW(wide.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      throw Error(ErrorKind::kNotFound, fmt::format("{} is not a file.", path));
    }
    if (write && (code == ERROR_ACCESS_DENIED || code == ERROR_WRITE_PROTECT)) {
      throw Error(ErrorKind::kReadOnly,
                  fmt::format("The file {} cannot be written: {}.", path, SystemMessage(code)));
    }
    ThrowSystem(
        fmt::format("The file {} cannot be {}", path, mode == OpenMode::kCreateNew ? "created" : "opened"),
        code);
  }

  // What keeps us from looking is an error: that a journal cannot be seen does not mean that there is none.
  bool Exists(const std::string& path) override {
    if (GetFileAttributesW(Wide(path).c_str()) != INVALID_FILE_ATTRIBUTES) return true;
    switch (const DWORD code = GetLastError()) {
      case ERROR_FILE_NOT_FOUND:
      case ERROR_PATH_NOT_FOUND:
      case ERROR_INVALID_NAME:
      case ERROR_BAD_NETPATH:
      case ERROR_BAD_NET_NAME:
      case ERROR_FILENAME_EXCED_RANGE:
        return false;
      default:
        ThrowSystem(fmt::format("The file {} cannot be examined", path), code);
    }
  }

  void Remove(const std::string& path) override {
    if (DeleteFileW(Wide(path).c_str()) == 0) {
      ThrowSystem(fmt::format("The file {} cannot be removed", path), GetLastError());
    }
  }

  void Rename(const std::string& from, const std::string& to) override {
    if (MoveFileExW(Wide(from).c_str(), Wide(to).c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) == 0) {
      ThrowSystem(fmt::format("The file {} cannot be renamed to {}", from, to), GetLastError());
    }
  }

  std::uint64_t FreeBytes(const std::string& path) override {
    const std::size_t name = path.find_last_of("/\\:") + 1;  // 0 when there is no folder
    const std::string folder = name == 0 ? "." : path.substr(0, name);
    ULARGE_INTEGER free;
    if (GetDiskFreeSpaceExW(Wide(folder).c_str(), &free, nullptr, nullptr) == 0) {
      return FileSystem::FreeBytes(path);
    }
    return free.QuadPart;
  }

  // The file system's own log keeps names in order; there is nothing to ask for.
  void SyncFolder(const std::string&) override {}

  std::unique_ptr<File> OpenTemporary() override {
    wchar_t folder[MAX_PATH + 1];
    wchar_t name[MAX_PATH + 1];
    if (GetTempPathW(MAX_PATH + 1, folder) == 0 || GetTempFileNameW(folder, L"vnt", 0, name) == 0) {
      ThrowSystem("A temporary file cannot be created", GetLastError());
    }
    Handle handle(CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (!handle.valid()) ThrowSystem("A temporary file cannot be created", GetLastError());
    return std::make_unique<WinFile>(std::move(handle), Utf8(name));
  }

  std::string Identity(const std::string& path) override {
    BY_HANDLE_FILE_INFORMATION info;
    if (!Examine(path, &info))
      ThrowSystem(fmt::format("The file {} cannot be examined", path), GetLastError());
    return IdentityOf(info);
  }

  std::string ResolveLinks(const std::string& path) override {
    const Handle handle(CreateFileW(Wide(path).c_str(), 0,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!handle.valid()) return path;
    const DWORD size = GetFinalPathNameByHandleW(handle.get(), nullptr, 0, FILE_NAME_NORMALIZED);
    std::wstring resolved(size, L'\0');
    const DWORD length =
        size == 0 ? 0 : GetFinalPathNameByHandleW(handle.get(), resolved.data(), size, FILE_NAME_NORMALIZED);
    if (length == 0 || length >= size) return path;  // some network drives have no such answer
    resolved.resize(length);
    // Users are told of it, so it gets its usual form.
    if (resolved.starts_with(L"\\\\?\\UNC\\")) return Utf8(L"\\\\" + resolved.substr(8));
    return Utf8(resolved.starts_with(L"\\\\?\\") ? resolved.substr(4) : resolved);
  }

  // Locks on a lock file can be tried here wherever it lies, so one whose entries nobody locks is a leftover.
  std::string AccessUsers(const std::string& database_path) override {
    const std::string_view extension = internal::LockFileExtension(database_path);
    if (extension.empty()) return {};
    const std::string path = database_path.substr(0, database_path.rfind('.')).append(extension);
    const Handle handle(CreateFileW(Wide(path).c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!handle.valid()) {
      const DWORD code = GetLastError();
      return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ? "" : "somebody";
    }
    std::string content(internal::kLockFileEntries * internal::kLockFileEntryBytes, '\0');
    OVERLAPPED at = At(0);
    DWORD n = 0;
    ReadFile(handle.get(), content.data(), content.size(), &n, &at);
    content.resize(n);
    return internal::LockFileUsers(content,
                                   [&](std::size_t entry) { return IsEntryLocked(handle.get(), entry); });
  }
};

}  // namespace

FileSystem& PlatformFileSystem() {
  static WinFileSystem files;
  return files;
}

}  // namespace jet
