#include "access/sql/row_buffer.h"

#include <algorithm>
#include <cstring>

#include "access/base/bytes.h"
#include "access/base/value_bytes.h"

namespace jet::sql {
namespace {

constexpr std::size_t kChunk = 1u << 20;

}  // namespace

void RowBuffer::Append(const std::vector<std::uint32_t>& ids, const std::vector<Value>& values) {
  const std::size_t start = memory_.size();
  PutNumber(std::uint32_t{0}, &memory_);
  for (const std::uint32_t id : ids) PutNumber(id, &memory_);
  for (const Value& v : values) PutValue(v, &memory_);
  const std::uint32_t length = memory_.size() - start - 4;
  std::memcpy(memory_.data() + start, &length, 4);
  if (memory_.size() < limit_) return;
  if (!file_) file_ = PlatformFileSystem().OpenTemporary();
  file_->Write(file_size_, Bytes(reinterpret_cast<const std::uint8_t*>(memory_.data()), memory_.size()));
  file_size_ += memory_.size();
  memory_.clear();
}

// Brings at least `wanted` unread bytes into the chunk; false at the end.
bool RowBuffer::Fill(std::size_t wanted) {
  while (chunk_.size() - position_ < wanted) {
    if (file_position_ < file_size_) {
      chunk_.erase(0, position_);
      position_ = 0;
      const std::size_t have = chunk_.size();
      const std::size_t n = std::min<std::uint64_t>(file_size_ - file_position_, std::max(kChunk, wanted));
      chunk_.resize(have + n);
      file_->Read(file_position_, MutableBytes(reinterpret_cast<std::uint8_t*>(chunk_.data()) + have, n));
      file_position_ += n;
    } else if (!memory_taken_) {
      memory_taken_ = true;
      chunk_.erase(0, position_);
      position_ = 0;
      if (chunk_.empty()) {
        chunk_ = std::move(memory_);
      } else {
        chunk_ += memory_;
      }
      memory_.clear();
    } else {
      return false;
    }
  }
  return true;
}

bool RowBuffer::Next(std::vector<std::uint32_t>* ids, std::vector<Value>* values) {
  if (!Fill(4)) return false;
  std::uint32_t length;
  std::memcpy(&length, chunk_.data() + position_, 4);
  if (!Fill(4 + std::size_t{length})) return false;
  const char* p = chunk_.data() + position_ + 4;
  for (std::uint32_t& id : *ids) id = TakeNumber<std::uint32_t>(&p);
  for (Value& v : *values) v = TakeValue(&p);
  position_ += 4 + length;
  return true;
}

}  // namespace jet::sql
