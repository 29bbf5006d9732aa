// The one interface through which every file access of the engine goes.
//
// Implementations: the platform's files, files in memory, files that fail or lose power at the n-th write or
// sync, and an overlay that reads the original and keeps changed pages aside. The page store never knows
// which.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "access/base/bytes.h"

namespace jet {

enum class OpenMode {
  kRead,       // shared lock; writes are refused
  kReadWrite,  // exclusive lock
  kCreateNew,  // as kReadWrite, and the file must not exist
};

// An open file. All offsets and sizes are in bytes. Every operation throws Error(kIo), or kFull when space
// runs out.
class File {
 public:
  virtual ~File() = default;
  // Reads exactly out.size() bytes; Error(kCorrupt) when the file ends before.
  virtual void Read(std::uint64_t offset, MutableBytes out) = 0;
  virtual void Write(std::uint64_t offset, Bytes data) = 0;
  // Returns when everything written so far is on the disk.
  virtual void Sync() = 0;
  virtual std::uint64_t Size() = 0;
  virtual void Truncate(std::uint64_t size) = 0;
};

// Where files live. Paths are UTF-8.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // Opens and locks a file. kNotFound when it is missing, kReadOnly when kReadWrite is asked for and it
  // cannot be written (attribute, medium, permission), kLocked when another process (or another File of this
  // process) holds a lock that conflicts.
  virtual std::unique_ptr<File> Open(const std::string& path, OpenMode mode) = 0;
  virtual bool Exists(const std::string& path) = 0;
  virtual void Remove(const std::string& path) = 0;
  virtual void Rename(const std::string& from, const std::string& to) = 0;
  // Makes creations, removals and renames in the folder of `path` durable.
  virtual void SyncFolder(const std::string& path) = 0;
  // A new file that vanishes when it is closed; for pages that do not fit in memory.
  virtual std::unique_ptr<File> OpenTemporary() = 0;
  // A text that is equal for two paths exactly when they name the same existing file (links and letter case
  // resolved).
  virtual std::string Identity(const std::string& path) = 0;
  // The path of the file itself where `path` is a link to it; `path` when it names no file.
  virtual std::string ResolveLinks(const std::string& path) { return path; }
  // Who has the database open, as its Access lock file (`.ldb`, `.laccdb`) tells: empty when nobody, else
  // names such as "ADMIN on PC7". A lock file whose slots are demonstrably not locked does not count.
  virtual std::string AccessUsers(const std::string& database_path) = 0;
};

// The platform's own file system; lives for the whole process.
FileSystem& PlatformFileSystem();

}  // namespace jet
