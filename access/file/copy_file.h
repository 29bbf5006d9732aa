// Whole files: copied, replaced, told apart.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "access/file/file.h"

namespace jet {

// Told now and then how many bytes of how many are done. What it throws ends the work, of which nothing is
// left then.
using CopyProgress = std::function<void(std::uint64_t done, std::uint64_t all)>;

// What follows the name of a file that is not complete yet.
inline constexpr const char* kUnfinished = ".part";

// A durable copy with the rights of the file, whole or not at all; it shares the file's blocks where the file
// system can do that. kExists; kIo when the disk is full, before anything is written where that can be told.
void CopyFile(FileSystem& files, File& from, const std::string& to, const CopyProgress& progress = {});

// Makes a file with that content and the rights of `owner`, durably, whole or not at all. kExists.
void CreateBeside(FileSystem& files, const std::string& path, Bytes content, File& owner);

// Removes what somebody who was killed has left of the file `path`. False when somebody is at work on it.
bool RemoveUnfinished(FileSystem& files, const std::string& path);

// A copy of a file that is to take the place of another one, and gets the rights of that.
class Replacement {
 public:
  // Makes the copy of `with`, durably, beside the file `path`, which `former` is. As CopyFile.
  Replacement(FileSystem& files, const std::string& path, File& with, File& former,
              const CopyProgress& progress = {});
  ~Replacement();
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  // Removes the copy that one who was killed has left for `path`. False when somebody is at work on it.
  static bool RemoveUnfinished(FileSystem& files, const std::string& path);

  // Puts it in its place: whoever looks finds the one or the other. On Windows the file must not be open.
  // False when it is there, but a power cut may still bring the former one back.
  bool Commit();

 private:
  FileSystem& files_;
  std::string path_;
  std::string unfinished_;  // empty: in its place
};

// A text of 32 hexadecimal digits that is equal for equal content, and different for all practical purposes
// for any other.
std::string Fingerprint(File& file, const CopyProgress& progress = {});

}  // namespace jet
