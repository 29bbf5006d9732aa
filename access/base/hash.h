// A quick hash of bytes: it notices what was torn, exchanged or changed, not what was forged.
#pragma once

#include <cstddef>
#include <cstdint>

#include "access/base/bytes.h"

namespace jet {

namespace internal {
inline std::uint64_t MixHash(std::uint64_t hash, std::uint64_t value) {
  hash = (hash ^ value) * 0xD6E8FEB86659FD93u;
  return hash ^ (hash >> 32);
}
}  // namespace internal

// `size` is a multiple of 8. Four lanes, since each step waits for the one before it.
inline std::uint64_t Hash(std::uint64_t seed, const std::uint8_t* data, std::size_t size) {
  std::uint64_t lanes[4] = {seed, seed + 1, seed + 2, seed + 3};
  std::size_t i = 0;
  for (; i + 32 <= size; i += 32) {
    for (std::size_t lane = 0; lane < 4; ++lane) {
      lanes[lane] = internal::MixHash(lanes[lane], LoadLe<std::uint64_t>(data + i + 8 * lane));
    }
  }
  std::uint64_t hash = size;
  for (const std::uint64_t lane : lanes) hash = internal::MixHash(hash, lane);
  for (; i < size; i += 8) hash = internal::MixHash(hash, LoadLe<std::uint64_t>(data + i));
  return hash;
}

}  // namespace jet
