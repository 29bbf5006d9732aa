// Locks of files on POSIX platforms, and who holds them.
//
// Locks are open-file-description locks on single bytes far behind every content: they belong to the File, so
// two Files of one process exclude each other, and closing one of them does not drop the lock of another.
// Such a lock does not tell whose it is, so a writer also holds a lock of its process on a third byte; it
// serves that purpose only. Other programs that lock a whole file exclude us and are excluded.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace jet::internal {

[[noreturn]] void ThrowErrno(const std::string& what, int code);

enum LockByte : off_t { kWriterByte, kContentByte, kProcessByte };

bool TryLock(int fd, LockByte byte, short type, const std::string& path);
// Others hold the content for themselves only as long as it takes to bring a file up to date.
bool LockPatiently(int fd, short type, const std::string& path);
// What a file holds while it is open: kLocked when others keep that from it.
void Lock(int fd, bool write, const std::string& path);

bool HasWriter(int fd);
// The program that has the file open for writing, such as "vntfix, process 4711"; empty when the system
// does not tell.
std::string NameOfWriter(int fd);

// Whether somebody locks one of `count` entries of a lock file.
bool AreLocked(int fd, std::size_t first_entry, std::size_t count);
// Whether another machine may hold locks in this file system that a look from here does not show.
bool IsOnNetwork(int fd);

}  // namespace jet::internal
