// Whole files: copied, replaced, told apart.
#pragma once

#include <string>

#include "access/file/file.h"

namespace jet {

// A durable copy with the rights of the file, whole or not at all; it shares the file's blocks where the file
// system can do that. kExists; kIo when the disk is full, before anything is written where that can be told.
void CopyFile(FileSystem& files, File& from, const std::string& to);

// A copy of a file that is to take the place of another one, and gets the rights of that.
class Replacement {
 public:
  // Makes the copy of `with`, durably, beside the file `path`, which `former` is. As CopyFile.
  Replacement(FileSystem& files, const std::string& path, File& with, File& former);
  ~Replacement();
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  // Puts it in its place: whoever looks finds the one or the other. On Windows the file must not be open.
  void Commit();

 private:
  FileSystem& files_;
  std::string path_;
  std::string unfinished_;  // empty: in its place
};

// A text of 32 hexadecimal digits that is equal for equal content, and different for all practical purposes
// for any other.
std::string Fingerprint(File& file);

}  // namespace jet
