// Rows of a table in an order: that of an index, or of keys that are made for them and sorted.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "access/file/file.h"
#include "access/store/database.h"

namespace vnt::compare {

class OrderedRows {
 public:
  virtual ~OrderedRows() = default;
  // Goes to the next row; false behind the last one.
  virtual bool Next() = 0;
  // Valid until the next call of Next().
  virtual std::string_view key() const = 0;
  virtual jet::RowId id() const = 0;
};

// All rows, by the key bytes of an index.
class IndexOrder : public OrderedRows {
 public:
  IndexOrder(jet::Table& table, int index) : cursor_(table, index, {}) {}
  bool Next() override { return cursor_.Next(&id_); }
  std::string_view key() const override { return cursor_.key(); }
  jet::RowId id() const override { return id_; }

 private:
  jet::IndexCursor cursor_;
  jet::RowId id_;
};

// Rows by keys that are given with them: sorted in memory, past a limit in runs that are kept in a temporary
// file and merged. Rows of equal keys come in the order of their identifiers.
//
//   entry of a run: u32 length of the key, u32 row, key
class SortedOrder : public OrderedRows {
 public:
  static constexpr std::size_t kMemoryBytes = 6u << 20;

  explicit SortedOrder(jet::FileSystem& files, std::size_t memory_bytes = kMemoryBytes);
  ~SortedOrder() override;

  // No Add() after the first Next().
  void Add(std::string_view key, jet::RowId id);
  bool Next() override;
  std::string_view key() const override { return key_; }
  jet::RowId id() const override { return id_; }

 private:
  class Run;

  std::string_view KeyAt(std::size_t entry) const;
  jet::RowId IdAt(std::size_t entry) const;
  void Sort();
  void Spill();
  bool NextInMemory();

  jet::FileSystem& files_;
  std::size_t memory_bytes_;
  std::string entries_;                 // as in a run
  std::vector<std::uint32_t> offsets_;  // of the entries, sorted in the end
  std::unique_ptr<jet::File> file_;
  std::uint64_t file_bytes_ = 0;
  std::vector<std::unique_ptr<Run>> runs_;
  std::vector<Run*> heap_;  // the run with the next entry first
  std::size_t next_ = 0;
  bool sorted_ = false;
  std::string key_;
  jet::RowId id_;
};

}  // namespace vnt::compare
