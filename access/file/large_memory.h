// Memory in large pieces, which the system may map with large pages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace jet::internal {

// What the system can map in one piece. Taken in small ones, the memory of a cache costs more than reading
// the pages that it is for.
inline constexpr std::size_t kLargePage = 2u << 20;

struct LargeDelete {
  void operator()(std::uint8_t* data) const { ::operator delete[](data, std::align_val_t{kLargePage}); }
};
using LargeBytes = std::unique_ptr<std::uint8_t[], LargeDelete>;

// Asks the system to map the bytes in large pages: no more than a wish.
void WishForLargePages(std::uint8_t* data, std::size_t size);

inline LargeBytes NewLargeBytes(std::size_t size) {
  LargeBytes bytes(static_cast<std::uint8_t*>(::operator new[](size, std::align_val_t{kLargePage})));
  WishForLargePages(bytes.get(), size);
  return bytes;
}

}  // namespace jet::internal
