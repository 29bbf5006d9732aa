// The file system of Windows. A File for writing lets others open the file for reading only.
#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "access/file/file.h"
#include "access/file/lock_file.h"
#include "access/file/locks_win.h"
#include "access/file/system_win.h"

namespace jet {

using internal::At;
using internal::Handle;
using internal::HolderOf;
using internal::kContentByte;
using internal::kWriterByte;
using internal::LockPatiently;
using internal::SystemMessage;
using internal::ThrowSystem;
using internal::TryLock;
using internal::Unlock;
using internal::Utf8;
using internal::Wide;

namespace {

constexpr std::size_t kLargestTransfer = std::size_t{16} << 20;

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
    const DWORD process = internal::IsRemote(handle_.get()) ? 0 : internal::WriterProcess(handle_.get());
    return process == 0 ? std::string() : internal::ProcessName(process);
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
      if (write) internal::HoldProcessByte(handle.get());
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
    return internal::LockFileUsers(
        content, [&](std::size_t entry) { return internal::IsEntryLocked(handle.get(), entry); });
  }
};

}  // namespace

FileSystem& PlatformFileSystem() {
  static WinFileSystem files;
  return files;
}

}  // namespace jet
