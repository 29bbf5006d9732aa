#include "access/file/locks_posix.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/vfs.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <system_error>
#include <thread>

#include "access/base/error.h"
#include "access/file/lock_file.h"

namespace jet::internal {
namespace {

constexpr off_t kLockBase = off_t{1} << 62;

struct flock LockOf(LockByte byte, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = kLockBase + byte;
  lock.l_len = 1;
  return lock;
}

}  // namespace

void ThrowErrno(const std::string& what, int code) {
  ErrorKind kind = ErrorKind::kIo;
  switch (code) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      kind = ErrorKind::kIo;
      break;
    case ENOENT:
    case ENOTDIR:
      kind = ErrorKind::kNotFound;
      break;
    case EEXIST:
      kind = ErrorKind::kExists;
      break;
    default:
      break;
  }
  throw Error(kind, fmt::format("{}: {}.", what, std::generic_category().message(code)));
}

bool TryLock(int fd, LockByte byte, short type, const std::string& path) {
  struct flock lock = LockOf(byte, type);
  if (fcntl(fd, F_OFD_SETLK, &lock) == 0) return true;
  if (errno == EAGAIN || errno == EACCES) return false;
  ThrowErrno(fmt::format("The file {} cannot be locked", path), errno);
}

bool LockPatiently(int fd, short type, const std::string& path) {
  constexpr auto kStep = std::chrono::milliseconds(20);
  constexpr int kSteps = 250;
  for (int step = 0; step < kSteps; ++step) {
    if (TryLock(fd, kContentByte, type, path)) return true;
    std::this_thread::sleep_for(kStep);
  }
  return false;
}

std::string NameOfWriter(int fd) {
  struct flock lock = LockOf(kProcessByte, F_WRLCK);
  if (fcntl(fd, F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK || lock.l_pid <= 0) return {};
  std::string name;
  std::getline(std::ifstream(fmt::format("/proc/{}/comm", lock.l_pid)), name);
  return fmt::format("{}process {}", name.empty() ? "" : name + ", ", lock.l_pid);
}

bool HasWriter(int fd) {
  struct flock lock = LockOf(kWriterByte, F_WRLCK);
  return fcntl(fd, F_OFD_GETLK, &lock) != 0 || lock.l_type != F_UNLCK;
}

namespace {

// The name of the writer as the end of a sentence.
std::string WriterInBrackets(int fd) {
  const std::string name = NameOfWriter(fd);
  return name.empty() ? "" : " (" + name + ")";
}

}  // namespace

void Lock(int fd, bool write, const std::string& path) {
  if (write && !TryLock(fd, kWriterByte, F_WRLCK, path)) {
    throw Error(ErrorKind::kLocked,
                fmt::format("The file {} is in use by another program{}.", path, WriterInBrackets(fd)));
  }
  if (!LockPatiently(fd, F_RDLCK, path)) {
    throw Error(ErrorKind::kLocked, fmt::format("The file {} is being written by another program{}.", path,
                                                WriterInBrackets(fd)));
  }
  if (!write) return;
  struct flock lock = LockOf(kProcessByte, F_WRLCK);
  fcntl(fd, F_SETLK, &lock);
}

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

bool AreLocked(int fd, std::size_t first_entry, std::size_t count) {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = kUserLockBase + first_entry;
  lock.l_len = count;
  return fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

}  // namespace jet::internal
