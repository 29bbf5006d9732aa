// Writing many blocks of a file in few pieces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "access/file/file.h"

namespace jet::internal {

// Collects neighbours among blocks of one size, which come in ascending order, and writes them in one go.
class RunWriter {
 public:
  // Block n stands at byte start + n * block_bytes of the file.
  RunWriter(File& file, std::uint64_t start, std::size_t block_bytes);
  // Place for the content of a block, to be filled before the next call.
  std::uint8_t* Add(std::uint32_t block);
  void Flush();

 private:
  static constexpr std::size_t kBufferBlocks = 256;

  File& file_;
  std::uint64_t start_;
  std::size_t block_bytes_;
  std::uint32_t first_ = 0;
  std::size_t blocks_ = 0;
  std::vector<std::uint8_t> buffer_;
};

}  // namespace jet::internal
