// Page images kept aside: in memory up to a limit, then in a temporary file.
//
// Slot n < memory_slots lives in memory, in blocks that are kept for the next use; slot n >= memory_slots at
// byte (n - memory_slots) * page_size of the temporary file, which is made when the first one is needed.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "access/file/file.h"

namespace jet::internal {

class PageSlots {
 public:
  PageSlots(FileSystem& files, std::uint32_t page_size, std::size_t memory_bytes);

  // Stores a page in a slot of its own. A failed Add leaves no slot behind.
  std::uint32_t Add(const std::uint8_t* page);
  void Read(std::uint32_t slot, std::uint8_t* page);
  // Frees every slot and gives the space of the temporary file back.
  void Clear();

 private:
  static constexpr std::uint32_t kBlockPages = 64;

  FileSystem& files_;
  std::uint32_t page_size_;
  std::uint32_t memory_slots_;
  std::uint32_t used_ = 0;
  std::vector<std::unique_ptr<std::uint8_t[]>> blocks_;
  std::unique_ptr<File> file_;
};

}  // namespace jet::internal
