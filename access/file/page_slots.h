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
  // Frees every slot. The memory is kept for the next use.
  void Clear() { used_ = 0; }

 private:
  static constexpr std::uint32_t kBlockPages = 64;
  std::uint8_t* At(std::uint32_t slot) const {
    return blocks_[slot / kBlockPages].get() + std::size_t{slot % kBlockPages} * page_size_;
  }

  std::uint32_t page_size_;
  std::size_t limit_;
  std::uint32_t used_ = 0;
  std::vector<std::unique_ptr<std::uint8_t[]>> blocks_;
};

}  // namespace jet::internal
