// A file system in memory. A new database is made in one, and gets to its place as a whole
// (create_database.cpp), which is why it stands among the engine's own files. For the tests its files fail or
// lose power when they are told to.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "access/file/file.h"

namespace jet {

// Files that live in memory. Keeps, beside the current content, the content that has been synced, so that a
// power loss can be played: LosePower() drops what was written (or created, renamed, removed) and not synced.
class MemoryFileSystem : public FileSystem {
 public:
  MemoryFileSystem();
  ~MemoryFileSystem() override;

  std::unique_ptr<File> Open(const std::string& path, OpenMode mode) override;
  std::unique_ptr<File> OpenCompanion(const std::string& path, OpenMode mode, File& owner) override;
  void CreateWhole(const std::string& path, Bytes content) override;
  std::string WhyNotCreate(const std::string& path) override;  // of a folder, SetReadOnly()
  std::uint64_t LinkCount(const std::string& path) override;
  bool Exists(const std::string& path) override;
  void Remove(const std::string& path) override;
  void Rename(const std::string& from, const std::string& to) override;
  void SyncFolder(const std::string& path) override;
  std::unique_ptr<File> OpenTemporary() override;
  std::string Identity(const std::string& path) override;
  std::string AccessUsers(const std::string& database_path) override;

  // The whole content of a file, and a file with that content (as if synced).
  std::string Content(const std::string& path) const;
  void SetContent(const std::string& path, std::string content);
  // A copy that keeps the time of the last change.
  void CopyFrom(const MemoryFileSystem& other, const std::string& path);
  // What another program does that knows no locks: changes bytes of a file, gives it a second name.
  void ChangeBehind(const std::string& path, std::uint64_t offset, const std::string& bytes);
  void Link(const std::string& from, const std::string& to);
  // Every open File is closed without effect (its further use throws), unsynced data is gone. With
  // `keep_seed` not 0, each unsynced write is kept, dropped or torn (by sectors of 512 bytes), and each
  // unsynced creation, removal and renaming kept or dropped, by a pseudo-random choice (a disk that
  // reorders). A failure that was set is over.
  void LosePower(std::uint64_t keep_seed = 0);

  // Number of writes, truncations, syncs, creations, removals and renamings so far (those of temporary files
  // too), and the number of the operation at which to fail (0: never). The operation that fails has no
  // effect, but a kShortWrite writes half of its bytes first. With `from_then_on` all later operations fail
  // too: the disk has gone.
  std::uint64_t operations() const;
  enum class Failure { kIo, kFull, kShortWrite };
  void FailAt(std::uint64_t operation, Failure failure, bool from_then_on = false);
  // Beside FailAt: all operations from this one on fail too (0: none do).
  void FailAlsoFrom(std::uint64_t operation);
  // The same for reads, which are counted apart.
  std::uint64_t reads() const;
  void FailReadAt(std::uint64_t read, bool from_then_on = false);
  void SetReadOnly(const std::string& path, bool read_only);
  // What AccessUsers answers for the database.
  void SetAccessUsers(const std::string& database_path, std::string users);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace jet
