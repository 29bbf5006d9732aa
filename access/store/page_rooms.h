// How long a row each page of a free-space map could take, as far as it is known: kept in memory only, two
// bytes a page, so that looking for room costs neither a page read nor a walk over pages that are too full.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "access/base/types.h"

namespace jet {

class PageRooms {
 public:
  // The page is listed; nobody has looked yet.
  static constexpr std::uint16_t kUnknown = 0xFFFF;

  // The longest row that the page could take; 0: none.
  void Set(PageNo page, std::uint16_t room);
  // The lowest page that may take a row of that length (1 or more); 0 when there is none.
  PageNo Find(std::uint32_t length);
  void Clear() {
    chunks_.clear();
    bounds_.clear();
  }

 private:
  static constexpr std::size_t kChunkPages = 256;
  using Chunk = std::array<std::uint16_t, kChunkPages>;

  std::vector<std::unique_ptr<Chunk>> chunks_;  // null: all 0
  std::vector<std::uint16_t> bounds_;           // no page of the chunk has more room
};

}  // namespace jet
