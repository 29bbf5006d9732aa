#include "access/file/page_slots.h"

#include <cstring>

namespace jet::internal {

PageSlots::PageSlots(FileSystem& files, std::uint32_t page_size, std::size_t memory_bytes)
    : files_(files),
      page_size_(page_size),
      memory_slots_(static_cast<std::uint32_t>(memory_bytes / page_size)) {}

std::uint32_t PageSlots::Add(const std::uint8_t* page) {
  if (used_ < memory_slots_) {
    const std::uint32_t block = used_ / kBlockPages;
    if (block >= blocks_.size()) {
      blocks_.push_back(
          std::make_unique_for_overwrite<std::uint8_t[]>(std::size_t{kBlockPages} * page_size_));
    }
    std::memcpy(blocks_[block].get() + std::size_t{used_ % kBlockPages} * page_size_, page, page_size_);
  } else {
    if (file_ == nullptr) file_ = files_.OpenTemporary();
    file_->Write(std::uint64_t{used_ - memory_slots_} * page_size_, {page, page_size_});
  }
  return used_++;
}

void PageSlots::Read(std::uint32_t slot, std::uint8_t* page) {
  if (slot < memory_slots_) {
    std::memcpy(page, blocks_[slot / kBlockPages].get() + std::size_t{slot % kBlockPages} * page_size_,
                page_size_);
    return;
  }
  file_->Read(std::uint64_t{slot - memory_slots_} * page_size_, {page, page_size_});
}

void PageSlots::Clear() {
  used_ = 0;
  file_.reset();
}

}  // namespace jet::internal
