#include "access/file/page_slots.h"

#include <cstring>

namespace jet::internal {

std::uint32_t PageSlots::Add(const std::uint8_t* page) {
  if (used_ / kBlockPages >= blocks_.size()) {
    blocks_.push_back(std::make_unique_for_overwrite<std::uint8_t[]>(std::size_t{kBlockPages} * page_size_));
  }
  std::memcpy(At(used_), page, page_size_);
  return used_++;
}

void PageSlots::Read(std::uint32_t slot, std::uint8_t* page) const {
  std::memcpy(page, At(slot), page_size_);
}

}  // namespace jet::internal
