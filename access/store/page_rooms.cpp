#include "access/store/page_rooms.h"

#include <algorithm>

namespace jet {

void PageRooms::Set(PageNo page, std::uint16_t room) {
  const std::size_t chunk = page / kChunkPages;
  if (chunk >= chunks_.size()) {
    if (room == 0) return;
    chunks_.resize(chunk + 1);
    bounds_.resize(chunk + 1);
  }
  if (!chunks_[chunk]) {
    if (room == 0) return;
    chunks_[chunk] = std::make_unique<Chunk>();
    chunks_[chunk]->fill(0);
  }
  (*chunks_[chunk])[page % kChunkPages] = room;
  bounds_[chunk] = std::max(bounds_[chunk], room);
}

PageNo PageRooms::Find(std::uint32_t length) {
  for (std::size_t chunk = 0; chunk < bounds_.size(); ++chunk) {
    if (bounds_[chunk] < length) continue;
    std::uint16_t most = 0;
    for (std::size_t i = 0; i < kChunkPages; ++i) {
      const std::uint16_t room = (*chunks_[chunk])[i];
      if (room >= length) return chunk * kChunkPages + i;
      most = std::max(most, room);
    }
    bounds_[chunk] = most;
  }
  return 0;
}

}  // namespace jet
