// All reading and writing of integers in page bytes, bounds-checked: a damaged file gives an error with page
// and offset, never a read outside the page. Access files are little-endian throughout; index entries hold
// big-endian integers.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>

#include "access/base/error.h"

namespace jet {

using PageNo = std::uint32_t;
using Bytes = std::span<const std::uint8_t>;
using MutableBytes = std::span<std::uint8_t>;

static_assert(std::endian::native == std::endian::little, "the byte helpers assume a little-endian machine");

template <typename T>
inline T LoadLe(const std::uint8_t* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <typename T>
inline void StoreLe(std::uint8_t* p, T v) {
  std::memcpy(p, &v, sizeof v);
}

inline std::uint32_t LoadLe24(const std::uint8_t* p) {
  return p[0] | (std::uint32_t{p[1]} << 8) | (std::uint32_t{p[2]} << 16);
}
inline std::uint32_t LoadBe32(const std::uint8_t* p) {
  return p[3] | (std::uint32_t{p[2]} << 8) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[0]} << 24);
}
inline void StoreBe32(std::uint8_t* p, std::uint32_t v) {
  p[0] = v >> 24;
  p[1] = v >> 16;
  p[2] = v >> 8;
  p[3] = v;
}

// A bounds-checked reader over bytes that came from `page` (used only to say where a fault is).
class ByteReader {
 public:
  explicit ByteReader(Bytes bytes, std::int64_t page = Error::kNoPlace) : bytes_(bytes), page_(page) {}

  std::size_t size() const { return bytes_.size(); }
  std::int64_t page() const { return page_; }

  std::uint8_t U8(std::size_t offset) const { return Get<std::uint8_t>(offset); }
  std::uint16_t U16(std::size_t offset) const { return Get<std::uint16_t>(offset); }
  std::uint32_t U32(std::size_t offset) const { return Get<std::uint32_t>(offset); }
  std::int32_t I32(std::size_t offset) const { return Get<std::int32_t>(offset); }

  // The `length` bytes at `offset`; kCorrupt when they do not lie inside.
  Bytes Slice(std::size_t offset, std::size_t length) const {
    Require(offset, length);
    return bytes_.subspan(offset, length);
  }

 private:
  template <typename T>
  T Get(std::size_t offset) const {
    Require(offset, sizeof(T));
    return LoadLe<T>(bytes_.data() + offset);
  }
  void Require(std::size_t offset, std::size_t length) const {
    if (offset > bytes_.size() || bytes_.size() - offset < length) {
      ThrowCorrupt("a structure runs past its end", page_, offset);
    }
  }

  Bytes bytes_;
  std::int64_t page_;
};

}  // namespace jet
