// Where Access files are opened.
#pragma once

namespace jet {
class FileSystem;
}  // namespace jet

namespace vnt::db {

// The file system in which Access files are opened now: the platform's unless another is in force.
jet::FileSystem& Files();

// Puts a file system in force for files opened from now on, and the former one when it goes. Connections
// that are open keep theirs.
class ScopedFileSystem {
 public:
  explicit ScopedFileSystem(jet::FileSystem& files);
  ~ScopedFileSystem();
  ScopedFileSystem(const ScopedFileSystem&) = delete;
  ScopedFileSystem& operator=(const ScopedFileSystem&) = delete;

 private:
  jet::FileSystem* former_;
};

}  // namespace vnt::db
