// The file system of POSIX platforms.
//
// Locks are open-file-description locks on the whole file: they belong to the File, so two Files of one
// process exclude each other, and closing one of them does not drop the lock of another.
#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "access/file/file.h"
#include "access/file/lock_file.h"

namespace jet {
namespace {

[[noreturn]] void ThrowErrno(const std::string& what, int code) {
  ErrorKind kind = ErrorKind::kIo;
  switch (code) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      kind = ErrorKind::kFull;
      break;
    case ENOENT:
    case ENOTDIR:
      kind = ErrorKind::kNotFound;
      break;
    case EEXIST:
      kind = ErrorKind::kExists;
      break;
    case EROFS:
      kind = ErrorKind::kReadOnly;
      break;
    default:
      break;
  }
  throw Error(kind, fmt::format("{}: {}.", what, std::generic_category().message(code)));
}

// An open descriptor.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  int get() const { return fd_; }

 private:
  int fd_;
};

class PosixFile : public File {
 public:
  PosixFile(Descriptor descriptor, std::string path) : fd_(std::move(descriptor)), path_(std::move(path)) {}

  void Read(std::uint64_t offset, MutableBytes out) override {
    for (std::size_t done = 0; done < out.size();) {
      const ssize_t n =
          pread(fd_.get(), out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
      if (n > 0) {
        done += static_cast<std::size_t>(n);
      } else if (n == 0) {
        throw Error(ErrorKind::kCorrupt,
                    fmt::format("The file {} ends before byte {}.", path_, offset + out.size()));
      } else if (errno != EINTR) {
        ThrowErrno(fmt::format("The file {} cannot be read", path_), errno);
      }
    }
  }

  void Write(std::uint64_t offset, Bytes data) override {
    for (std::size_t done = 0; done < data.size();) {
      const ssize_t n =
          pwrite(fd_.get(), data.data() + done, data.size() - done, static_cast<off_t>(offset + done));
      if (n >= 0) {
        done += static_cast<std::size_t>(n);
      } else if (errno != EINTR) {
        ThrowErrno(fmt::format("The file {} cannot be written", path_), errno);
      }
    }
  }

  // Times need not be durable, only bytes and size.
  void Sync() override {
    while (fdatasync(fd_.get()) != 0) {
      if (errno != EINTR) ThrowErrno(fmt::format("The file {} cannot be written to the disk", path_), errno);
    }
  }

  std::uint64_t Size() override {
    struct stat st;
    if (fstat(fd_.get(), &st) != 0) ThrowErrno(fmt::format("The file {} cannot be examined", path_), errno);
    return static_cast<std::uint64_t>(st.st_size);
  }

  void Truncate(std::uint64_t size) override {
    while (ftruncate(fd_.get(), static_cast<off_t>(size)) != 0) {
      if (errno != EINTR) ThrowErrno(fmt::format("The size of the file {} cannot be changed", path_), errno);
    }
  }

 private:
  Descriptor fd_;
  std::string path_;
};

int OpenFile(const std::string& path, int flags) {
  // O_NONBLOCK: a pipe or a device of that name must not keep us waiting; on files it means nothing.
  int fd;
  do {
    fd = open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

void Lock(int fd, short type, const std::string& path) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;  // from 0 to whatever the end will be
  if (fcntl(fd, F_OFD_SETLK, &lock) == 0) return;
  if (errno == EAGAIN || errno == EACCES) {
    throw Error(ErrorKind::kLocked, fmt::format("The file {} is in use by another program.", path));
  }
  ThrowErrno(fmt::format("The file {} cannot be locked", path), errno);
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string NameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// Whether another machine may hold locks in this file system that a look from here does not show.
bool IsOnNetwork(int fd) {
  struct statfs fs;
  if (fstatfs(fd, &fs) != 0) return true;
  switch (static_cast<std::uint32_t>(fs.f_type)) {
    case 0x6969:      // NFS
    case 0x517B:      // SMB 1
    case 0xFF534D42:  // CIFS
    case 0xFE534D42:  // SMB 2 and 3
    case 0x65735546:  // FUSE: may be anything, such as a mount made by a file manager
    case 0x01021997:  // 9P: folders shared with a virtual machine
    case 0x5346414F:  // AFS
    case 0x786F4256:  // folders shared with a virtual machine
      return true;
    default:
      return false;
  }
}

// Whether somebody locks one of `count` entries of a lock file.
bool AreLocked(int fd, std::size_t first_entry, std::size_t count) {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(internal::kUserLockBase + first_entry);
  lock.l_len = static_cast<off_t>(count);
  return fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

// The lock file of a database; names are compared without regard to ASCII letter case, as the program that
// made it lives on file systems that do so. Empty when there is none.
std::string FindLockFile(const std::string& database_path) {
  const std::string_view extension = internal::LockFileExtension(database_path);
  if (extension.empty()) return {};
  std::string wanted = NameOf(database_path);
  wanted = wanted.substr(0, wanted.rfind('.')).append(extension);
  const std::string folder = FolderOf(database_path);
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return {};
  std::string found;
  while (const dirent* entry = readdir(dir)) {
    if (strcasecmp(entry->d_name, wanted.c_str()) == 0) found = folder + "/" + entry->d_name;
  }
  closedir(dir);
  return found;
}

class PosixFileSystem : public FileSystem {
 public:
  std::unique_ptr<File> Open(const std::string& path, OpenMode mode) override {
    const bool write = mode != OpenMode::kRead;
    const int flags = mode == OpenMode::kRead        ? O_RDONLY
                      : mode == OpenMode::kReadWrite ? O_RDWR
                                                     : O_RDWR | O_CREAT | O_EXCL;
    Descriptor fd(OpenFile(path, flags));
    if (fd.get() < 0) {
      const int code = errno;
      if (write && (code == EACCES || code == EPERM || code == EROFS || code == ETXTBSY)) {
        throw Error(ErrorKind::kReadOnly, fmt::format("The file {} cannot be written: {}.", path,
                                                      std::generic_category().message(code)));
      }
      ThrowErrno(
          fmt::format("The file {} cannot be {}", path, mode == OpenMode::kCreateNew ? "created" : "opened"),
          code);
    }
    struct stat st;
    if (fstat(fd.get(), &st) != 0) ThrowErrno(fmt::format("The file {} cannot be examined", path), errno);
    if (!S_ISREG(st.st_mode)) throw Error(ErrorKind::kNotFound, fmt::format("{} is not a file.", path));
    // The superuser may write to a file that is marked as read-only; whoever marked it meant something.
    if (mode == OpenMode::kReadWrite && (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) {
      throw Error(ErrorKind::kReadOnly, fmt::format("The file {} is marked as read-only.", path));
    }
    Lock(fd.get(), write ? F_WRLCK : F_RDLCK, path);
    return std::make_unique<PosixFile>(std::move(fd), path);
  }

  bool Exists(const std::string& path) override {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
  }

  void Remove(const std::string& path) override {
    if (unlink(path.c_str()) != 0) ThrowErrno(fmt::format("The file {} cannot be removed", path), errno);
  }

  void Rename(const std::string& from, const std::string& to) override {
    if (rename(from.c_str(), to.c_str()) != 0) {
      ThrowErrno(fmt::format("The file {} cannot be renamed to {}", from, to), errno);
    }
  }

  void SyncFolder(const std::string& path) override {
    const std::string folder = FolderOf(path);
    const Descriptor fd(OpenFile(folder, O_RDONLY | O_DIRECTORY));
    if (fd.get() < 0) {
      // A folder that may be written but not listed: nothing can be done, and nothing is wrong.
      if (errno == EACCES) return;
      ThrowErrno(fmt::format("The folder {} cannot be opened", folder), errno);
    }
    while (fsync(fd.get()) != 0) {
      if (errno == EINVAL) return;  // some network file systems have no such thing
      if (errno != EINTR)
        ThrowErrno(fmt::format("The folder {} cannot be written to the disk", folder), errno);
    }
  }

  std::unique_ptr<File> OpenTemporary() override {
    // Not /tmp first: it is often kept in memory, which is what the temporary file is there to spare.
    const char* variable = std::getenv("TMPDIR");
    int code = ENOENT;
    for (const std::string& folder : {std::string(variable != nullptr ? variable : ""),
                                      std::string("/var/tmp"), std::string("/tmp"), std::string(".")}) {
      if (folder.empty()) continue;
      std::string name = folder + "/vntpagesXXXXXX";
      Descriptor fd(mkostemp(name.data(), O_CLOEXEC));
      if (fd.get() >= 0) {
        unlink(name.c_str());
        return std::make_unique<PosixFile>(std::move(fd), "for temporary pages in " + folder);
      }
      code = errno;
    }
    ThrowErrno("A temporary file cannot be created", code);
  }

  std::string Identity(const std::string& path) override {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) ThrowErrno(fmt::format("The file {} cannot be examined", path), errno);
    return fmt::format("{}:{}", static_cast<std::uint64_t>(st.st_dev), static_cast<std::uint64_t>(st.st_ino));
  }

  std::string ResolveLinks(const std::string& path) override {
    char* resolved = realpath(path.c_str(), nullptr);
    if (resolved == nullptr) return path;
    std::string result = resolved;
    std::free(resolved);
    return result;
  }

  // On a local disk the locks of everybody can be seen (those of a file server on this machine too), so a
  // lock file whose entries nobody locks is a leftover and does not count. On a network mount a lock that is
  // not seen proves nothing, as not every mount passes locks on: there every entry counts that has a name.
  std::string AccessUsers(const std::string& database_path) override {
    const std::string path = FindLockFile(database_path);
    if (path.empty()) return {};
    const Descriptor fd(OpenFile(path, O_RDONLY));
    if (fd.get() < 0) return errno == ENOENT ? "" : "somebody";
    std::string content(internal::kLockFileEntries * internal::kLockFileEntryBytes, '\0');
    const ssize_t n = pread(fd.get(), content.data(), content.size(), 0);
    content.resize(n > 0 ? static_cast<std::size_t>(n) : 0);

    std::string users;
    if (AreLocked(fd.get(), 0, internal::kLockFileEntries)) {
      users =
          internal::LockFileUsers(content, [&](std::size_t entry) { return AreLocked(fd.get(), entry, 1); });
    } else if (IsOnNetwork(fd.get())) {
      users = internal::LockFileUsers(content, [&](std::size_t entry) {
        const std::size_t offset = entry * internal::kLockFileEntryBytes;
        return offset < content.size() && content[offset] != '\0';
      });
    }
    return users;
  }
};

}  // namespace

FileSystem& PlatformFileSystem() {
  static PosixFileSystem files;
  return files;
}

}  // namespace jet
