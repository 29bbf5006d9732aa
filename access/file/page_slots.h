// Page images kept aside in memory, up to a limit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace jet::internal {

class PageSlots {
 public:
  PageSlots(std::uint32_t page_size, std::size_t memory_bytes)
      : page_size_(page_size), limit_(memory_bytes / page_size) {}

  bool full() const { return used_ >= limit_; }
  // Stores a page in a slot of its own; there must be room.
  std::uint32_t Add(const std::uint8_t* page);
  void Read(std::uint32_t slot, std::uint8_t* page) const;
  // Frees every slot. Some memory is kept for the next use; that of a statement which changed much of a large
  // file goes back, since others need as much of it then: SQLite for sorting.
  void Clear() {
    used_ = 0;
    if (blocks_.size() > kKeptBlocks) blocks_.resize(kKeptBlocks);
  }

 private:
  static constexpr std::uint32_t kBlockPages = 64;
  static constexpr std::size_t kKeptBlocks = 4;
  std::uint8_t* At(std::uint32_t slot) const {
    return blocks_[slot / kBlockPages].get() + std::size_t{slot % kBlockPages} * page_size_;
  }

  std::uint32_t page_size_;
  std::size_t limit_;
  std::uint32_t used_ = 0;
  std::vector<std::unique_ptr<std::uint8_t[]>> blocks_;
};

}  // namespace jet::internal
