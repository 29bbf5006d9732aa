// Rows set aside until a scan is over: in memory first, past a limit in a temporary file.
//
// A row is a 32-bit length and that many bytes: a 32-bit number per row identifier, then the values
// (access/base/value_bytes.h).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "access/base/types.h"
#include "access/base/value.h"
#include "access/file/file.h"

namespace jet::sql {

class RowBuffer {
 public:
  static constexpr std::size_t kMemoryLimit = 16u << 20;

  explicit RowBuffer(std::size_t memory_limit = kMemoryLimit) : limit_(memory_limit) {}

  void Append(const std::vector<std::uint32_t>& ids, const std::vector<Value>& values);
  // Reads the rows back in their order. No Append() after the first Next().
  bool Next(std::vector<std::uint32_t>* ids, std::vector<Value>* values);

 private:
  bool Fill(std::size_t wanted);

  std::size_t limit_;
  std::string memory_;
  std::unique_ptr<File> file_;
  std::uint64_t file_size_ = 0;
  // Reading.
  std::string chunk_;
  std::size_t position_ = 0;
  std::uint64_t file_position_ = 0;
  bool memory_taken_ = false;
};

}  // namespace jet::sql
