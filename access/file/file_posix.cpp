// The file system of POSIX platforms.
//
// No file ever gets one of the descriptors 0, 1 and 2: what somebody prints, when those are closed, would get
// into it.
#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/fs.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "access/file/file.h"
#include "access/file/lock_file.h"
#include "access/file/locks_posix.h"

namespace jet {

using internal::AreLocked;
using internal::IsOnNetwork;
using internal::kContentByte;
using internal::Lock;
using internal::LockPatiently;
using internal::NameOfWriter;
using internal::ThrowErrno;
using internal::TryLock;

namespace {

// An open descriptor.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  int get() const { return fd_; }

 private:
  int fd_;
};

FileStamp StampOf(const struct stat& st) {
  return {fmt::format("{}:{}", static_cast<std::uint64_t>(st.st_dev), static_cast<std::uint64_t>(st.st_ino)),
          static_cast<std::uint64_t>(st.st_size),
          std::int64_t{st.st_mtim.tv_sec} * 1000000000 + st.st_mtim.tv_nsec / 100 * 100};
}

// False when there is no file of that name. What keeps us from looking is an error: that a journal cannot be
// seen does not mean that there is none.
bool FindFile(const std::string& path, struct stat* st) {
  if (stat(path.c_str(), st) == 0) return true;
  if (errno != ENOENT && errno != ENOTDIR && errno != ENAMETOOLONG) {
    ThrowErrno(fmt::format("The file {} cannot be examined", path), errno);
  }
  return false;
}

class PosixFile : public File {
 public:
  PosixFile(Descriptor descriptor, std::string path) : fd_(std::move(descriptor)), path_(std::move(path)) {}

  const std::string& path() const override { return path_; }
  void Read(std::uint64_t offset, MutableBytes out) override {
    for (std::size_t done = 0; done < out.size();) {
      const ssize_t n = pread(fd_.get(), out.data() + done, out.size() - done, offset + done);
      if (n > 0) {
        done += n;
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
      const ssize_t n = pwrite(fd_.get(), data.data() + done, data.size() - done, offset + done);
      if (n >= 0) {
        done += n;
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

  void SyncAll() override {
    while (fsync(fd_.get()) != 0) {
      if (errno != EINTR) ThrowErrno(fmt::format("The file {} cannot be written to the disk", path_), errno);
    }
  }

  std::uint64_t Size() override { return Examine().st_size; }
  FileStamp Stamp() override { return StampOf(Examine()); }
  bool IsInPlace() override {
    struct stat st;
    return FindFile(path_, &st) && StampOf(st).identity == Stamp().identity;
  }

  bool LockContent(bool patiently) override {
    return patiently ? LockPatiently(fd_.get(), F_WRLCK, path_)
                     : TryLock(fd_.get(), kContentByte, F_WRLCK, path_);
  }
  void ShareContent() override { TryLock(fd_.get(), kContentByte, F_RDLCK, path_); }
  bool HasWriter() override { return internal::HasWriter(fd_.get()); }
  std::string WriterName() override { return NameOfWriter(fd_.get()); }

  // Rights and owner of `file`, as far as they can be given.
  void TakeRights(int file) {
    struct stat wanted, own;
    if (fstat(file, &wanted) != 0 || fstat(fd_.get(), &own) != 0) return;
    mode_t mode = wanted.st_mode & 0666;
    if (own.st_uid != wanted.st_uid || own.st_gid != wanted.st_gid) {
      if (fchown(fd_.get(), wanted.st_uid, wanted.st_gid) != 0 &&
          fchown(fd_.get(), static_cast<uid_t>(-1), wanted.st_gid) != 0) {
        // Another group than that which may read the file: its members have the rights of others, if not
        // fewer.
        mode = (mode & ~static_cast<mode_t>(0060)) | (mode & mode << 3 & 0060);
      }
    }
    if (fchmod(fd_.get(), mode | S_IRUSR | S_IWUSR) != 0) return;  // stays with its owner alone
  }
  int descriptor() const { return fd_.get(); }

  void Truncate(std::uint64_t size) override {
    while (ftruncate(fd_.get(), size) != 0) {
      if (errno != EINTR) ThrowErrno(fmt::format("The size of the file {} cannot be changed", path_), errno);
    }
  }

  bool ShareBlocks(File& from) override {
#ifdef FICLONE
    const auto* file = dynamic_cast<PosixFile*>(&from);
    return file != nullptr && ioctl(fd_.get(), FICLONE, file->descriptor()) == 0;
#else
    return File::ShareBlocks(from);
#endif
  }

 private:
  struct stat Examine() {
    struct stat st;
    if (fstat(fd_.get(), &st) != 0) ThrowErrno(fmt::format("The file {} cannot be examined", path_), errno);
    return st;
  }

  Descriptor fd_;
  std::string path_;
};

// The same file under a descriptor that is none of the standard ones; -1 with errno.
int AboveStandard(int fd) {
  if (fd < 0 || fd > STDERR_FILENO) return fd;
  const int above = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int code = errno;
  close(fd);
  errno = code;
  return above;
}

int OpenFile(const std::string& path, int flags, mode_t mode = 0666) {
  // O_NONBLOCK: a pipe or a device of that name must not keep us waiting; on files it means nothing.
  int fd;
  do {
    fd = open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode);
  } while (fd < 0 && errno == EINTR);
  return AboveStandard(fd);
}

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string NameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

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
    return OpenLocked(path, mode, 0, 0666);
  }

  std::unique_ptr<File> OpenCompanion(const std::string& path, OpenMode mode, File& owner) override {
    struct stat st;
    if (mode != OpenMode::kCreateNew && lstat(path.c_str(), &st) == 0 &&
        (!S_ISREG(st.st_mode) || st.st_nlink > 1)) {
      throw Error(ErrorKind::kCorrupt,
                  fmt::format("{} is a link or no file at all, so it is not used. Move it away.", path));
    }
    std::unique_ptr<PosixFile> file = OpenLocked(path, mode, O_NOFOLLOW, S_IRUSR | S_IWUSR);
    const auto* of = dynamic_cast<PosixFile*>(&owner);
    if (mode == OpenMode::kCreateNew && of != nullptr) file->TakeRights(of->descriptor());
    return file;
  }

  // A file without a name gets its name when it is complete; where the system has no such thing, a file with
  // another name.
  void CreateWhole(const std::string& path, Bytes content) override {
    const std::string folder = FolderOf(path);
    std::string name;
#ifdef O_TMPFILE
    Descriptor fd(OpenFile(folder, O_TMPFILE | O_RDWR));
#else
    Descriptor fd(-1);
#endif
    if (fd.get() >= 0 && access("/proc/self/fd", X_OK) == 0) {
      name = fmt::format("/proc/self/fd/{}", fd.get());
    } else {
      name = fmt::format("{}.{}.new", path, getpid());
      fd = Descriptor(OpenFile(name, O_RDWR | O_CREAT | O_EXCL));
      if (fd.get() < 0) ThrowErrno(fmt::format("The file {} cannot be created", path), errno);
    }
    const bool unnamed = name.starts_with("/proc");
    PosixFile file(std::move(fd), path);
    int code = 0;
    try {
      file.Write(0, content);
      file.SyncAll();
      if (linkat(AT_FDCWD, name.c_str(), AT_FDCWD, path.c_str(), unnamed ? AT_SYMLINK_FOLLOW : 0) != 0) {
        code = errno;
        // A file system without links: nothing to lose between the look and the renaming but a file that
        // somebody makes in that moment.
        if (!unnamed && (code == EPERM || code == EOPNOTSUPP) && !Exists(path)) {
          code = rename(name.c_str(), path.c_str()) == 0 ? 0 : errno;
        }
      }
    } catch (...) {
      if (!unnamed) unlink(name.c_str());
      throw;
    }
    if (!unnamed) unlink(name.c_str());
    if (code != 0) ThrowErrno(fmt::format("The file {} cannot be created", path), code);
    try {
      SyncFolder(path);
    } catch (...) {
      unlink(path.c_str());
      throw;
    }
  }

  std::string WhyNotCreate(const std::string& path) override {
    struct stat st;
    if (lstat(path.c_str(), &st) == 0) {
      if (S_ISLNK(st.st_mode) && !Exists(path)) return fmt::format("{} is a link to nothing", path);
    } else if (errno == ENAMETOOLONG) {
      return std::generic_category().message(errno);
    }
    const std::string folder = FolderOf(path);
    if (faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0) return {};
    return fmt::format("{}: {}", folder, std::generic_category().message(errno));
  }

  std::uint64_t LinkCount(const std::string& path) override {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? static_cast<std::uint64_t>(st.st_nlink) : 0;
  }

  bool Exists(const std::string& path) override {
    struct stat st;
    return FindFile(path, &st);
  }

  void Remove(const std::string& path) override {
    if (unlink(path.c_str()) != 0) ThrowErrno(fmt::format("The file {} cannot be removed", path), errno);
  }

  void Rename(const std::string& from, const std::string& to) override {
    if (rename(from.c_str(), to.c_str()) != 0) {
      ThrowErrno(fmt::format("The file {} cannot be renamed to {}", from, to), errno);
    }
  }

  std::uint64_t FreeBytes(const std::string& path) override {
    struct statvfs fs;
    if (statvfs(FolderOf(path).c_str(), &fs) != 0) return FileSystem::FreeBytes(path);
    return std::uint64_t{fs.f_bavail} * fs.f_frsize;
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
      Descriptor fd(AboveStandard(mkostemp(name.data(), O_CLOEXEC)));
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
    return StampOf(st).identity;
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
    content.resize(n > 0 ? n : 0);

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

 private:
  std::unique_ptr<PosixFile> OpenLocked(const std::string& path, OpenMode mode, int more_flags,
                                        mode_t new_mode) {
    const bool write = mode != OpenMode::kRead;
    const int flags = mode == OpenMode::kRead        ? O_RDONLY
                      : mode == OpenMode::kReadWrite ? O_RDWR
                                                     : O_RDWR | O_CREAT | O_EXCL;
    Descriptor fd(OpenFile(path, flags | more_flags, new_mode));
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
    Lock(fd.get(), write, path);
    return std::make_unique<PosixFile>(std::move(fd), path);
  }
};

}  // namespace

FileSystem& PlatformFileSystem() {
  static PosixFileSystem files;
  return files;
}

}  // namespace jet
