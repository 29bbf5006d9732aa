// Who may do what with a file, where that belongs to the file and not to its folder.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace vnt::platform {

// Owner, group, mode and access list of a file. On Windows nothing: there a file has its rights from its
// folder.
class FileRights {
 public:
  // Those that the file has now; those of a file that cannot be looked at change nothing.
  static FileRights Of(const std::filesystem::path& file);

  // Gives mode and access list to the file that has taken the place of the one they were of. False when they
  // cannot be given or it has another owner or group, and somebody who was allowed to read or write the one
  // may not be with the other.
  bool GiveTo(const std::filesystem::path& file) const;

 private:
  bool GiveToOpen(int file) const;

  bool known_ = false;
  std::uint32_t owner_ = 0, group_ = 0, mode_ = 0;
  std::string access_list_;  // as the system keeps it; empty: none beside the mode
};

}  // namespace vnt::platform
