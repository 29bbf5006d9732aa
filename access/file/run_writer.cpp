#include "access/file/run_writer.h"

#include <utility>

namespace jet::internal {

RunWriter::RunWriter(File& file, std::uint64_t start, std::size_t block_bytes)
    : file_(file), start_(start), block_bytes_(block_bytes) {}

std::uint8_t* RunWriter::Add(std::uint32_t block) {
  if (blocks_ == kBufferBlocks || (blocks_ != 0 && block != first_ + blocks_)) Flush();
  if (blocks_ == 0) first_ = block;
  ++blocks_;
  if (buffer_.size() < blocks_ * block_bytes_) buffer_.resize(blocks_ * block_bytes_);
  return buffer_.data() + (blocks_ - 1) * block_bytes_;
}

void RunWriter::Flush() {
  if (blocks_ == 0) return;
  const std::size_t bytes = std::exchange(blocks_, 0) * block_bytes_;
  file_.Write(start_ + std::uint64_t{first_} * block_bytes_, Bytes(buffer_.data(), bytes));
}

}  // namespace jet::internal
