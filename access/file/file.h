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

// Locks are advisory and of two kinds. Who opens a file for writing holds the writer's lock, which no two
// have. Everybody holds a share in the content; a writer that is about to change what others may be reading
// takes the content for itself (LockContent).
enum class OpenMode {
  kRead,       // a share in the content; writes are refused
  kReadWrite,  // the writer's lock, and a share in the content
  kCreateNew,  // as kReadWrite, and the file must not exist
};

// What tells whether a file is still the one that it was, and unchanged.
struct FileStamp {
  std::string identity;       // as FileSystem::Identity
  std::uint64_t size = 0;     // bytes
  std::int64_t modified = 0;  // time of the last change, nanoseconds since some day
  bool operator==(const FileStamp&) const = default;
};

// An open file. All offsets and sizes are in bytes. Every operation throws Error(kIo), or kFull when space
// runs out.
class File {
 public:
  virtual ~File() = default;
  virtual const std::string& path() const = 0;
  // Reads exactly out.size() bytes; Error(kCorrupt) when the file ends before.
  virtual void Read(std::uint64_t offset, MutableBytes out) = 0;
  virtual void Write(std::uint64_t offset, Bytes data) = 0;
  // Returns when everything written so far is on the disk.
  virtual void Sync() = 0;
  // As Sync(), and the time of the last change too.
  virtual void SyncAll() = 0;
  virtual std::uint64_t Size() = 0;
  virtual void Truncate(std::uint64_t size) = 0;
  virtual FileStamp Stamp() = 0;
  // Whether its path names it still: false once it was deleted, moved or replaced.
  virtual bool IsInPlace() = 0;
  // Takes the content for this File alone, or gives it back to all. False when others share it; with
  // `patiently`, after some seconds in which they did not let go.
  virtual bool LockContent(bool patiently) = 0;
  virtual void ShareContent() = 0;
  // Whether somebody (else) holds the writer's lock.
  virtual bool HasWriter() = 0;
};

// Where files live. Paths are UTF-8.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // Opens and locks a file. kNotFound when it is missing, kReadOnly when kReadWrite is asked for and it
  // cannot be written (attribute, medium, permission), kLocked when another process (or another File of this
  // process) holds a lock that conflicts.
  virtual std::unique_ptr<File> Open(const std::string& path, OpenMode mode) = 0;
  // As Open, for a file that belongs to `owner` and stands beside it, such as its journal: a new one gets the
  // rights and, where that is allowed, the owner of that file; an existing one must be a file of its own, no
  // link (kCorrupt otherwise).
  virtual std::unique_ptr<File> OpenCompanion(const std::string& path, OpenMode mode, File& owner) = 0;
  // Makes a file with that content, durably: whole or, when it fails or is interrupted, not at all. kExists.
  virtual void CreateWhole(const std::string& path, Bytes content) = 0;
  // Why no file can be made at `path`, though none is there; empty when one can.
  virtual std::string WhyNotCreate(const std::string& path) = 0;
  // How many names (hard links) the file has.
  virtual std::uint64_t LinkCount(const std::string& path) = 0;
  // kIo when it cannot be told.
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
