// Rows of values in a compact form, for snapshots: one byte string, and where each row begins in it.
//
//   value   type byte, then: 8 bytes little-endian for numbers, or a 4-byte length and the bytes; nothing for
//           Empty and Null
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "db/value.h"

namespace vnt::db {

class RowList {
 public:
  std::int64_t size() const { return starts_.size(); }
  void Append(const std::vector<Value>& values);
  void Read(std::int64_t row, std::vector<Value>* values) const;
  void Replace(std::int64_t row, const std::vector<Value>& values);

 private:
  void Encode(const std::vector<Value>& values);

  std::string bytes_;
  std::vector<std::uint64_t> starts_;
};

}  // namespace vnt::db
