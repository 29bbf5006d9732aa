// An entry of a node: key and row of the greatest entry below, with the page of the child behind them.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "access/base/error.h"
#include "access/index/index_page.h"

namespace jet::internal {

class NodeEntry {
 public:
  NodeEntry(Bytes separator, PageNo child) : size_(separator.size() + kChildBytes) {
    if (size_ > room_.size()) throw Error(ErrorKind::kTooLarge, "The key of an index entry is too long.");
    std::memcpy(room_.data(), separator.data(), separator.size());
    StoreBe32(room_.data() + separator.size(), child);
  }
  Bytes bytes() const { return {room_.data(), size_}; }

 private:
  std::array<std::uint8_t, 4096> room_;
  std::size_t size_;
};

inline Bytes WithoutChild(Bytes entry) { return entry.first(entry.size() - kChildBytes); }

// A separator (key and row) as something to search for.
inline Target AsTarget(Bytes separator) {
  return {separator.data(), static_cast<unsigned>(separator.size() - kRowBytes)};
}

}  // namespace jet::internal
