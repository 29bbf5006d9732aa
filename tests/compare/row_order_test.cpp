// Rows sorted in memory and in runs of a temporary file.
#include "compare/row_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "access/base/error.h"
#include "access/file/test_files.h"

namespace vnt::compare {
namespace {

using Entry = std::pair<std::string, std::uint32_t>;

std::vector<Entry> RandomEntries(std::size_t count) {
  std::mt19937 random(7);
  std::vector<Entry> entries;
  for (std::uint32_t row = 0; row < count; ++row) {
    std::string key(random() % 40, '\0');
    for (char& c : key) c = static_cast<char>(random() % 3 * 100);
    // A key longer than what is read of a run at once, now and then; and many equal ones.
    if (random() % 500 == 0) key.append(100'000, 'x');
    entries.emplace_back(key, row);
  }
  return entries;
}

TEST(SortedOrder, SortsInMemoryAndInRunsAlike) {
  for (const std::size_t memory : {std::size_t{1}, std::size_t{10'000}, SortedOrder::kMemoryBytes * 10}) {
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{2'000}}) {
      SCOPED_TRACE(std::to_string(memory) + " bytes, " + std::to_string(count) + " rows");
      jet::MemoryFileSystem files;
      SortedOrder order(files, memory);
      std::vector<Entry> entries = RandomEntries(count);
      for (const auto& [key, row] : entries) order.Add(key, jet::RowId::FromPacked(row));
      std::ranges::sort(entries);
      std::vector<Entry> sorted;
      while (order.Next()) sorted.emplace_back(order.key(), order.id().packed);
      EXPECT_TRUE(sorted == entries);
      EXPECT_FALSE(order.Next());
    }
  }
}

TEST(SortedOrder, AFullDiskIsAnError) {
  jet::MemoryFileSystem files;
  SortedOrder order(files, 100);
  files.FailAt(files.operations() + 3, jet::MemoryFileSystem::Failure::kFull, true);
  const auto add_many = [&] {
    for (std::uint32_t row = 0; row < 100; ++row)
      order.Add(std::string(50, 'k'), jet::RowId::FromPacked(row));
  };
  try {
    add_many();
    FAIL() << "nothing was raised";
  } catch (const jet::Error& error) {
    EXPECT_EQ(error.kind(), jet::ErrorKind::kIo);
  }
}

}  // namespace
}  // namespace vnt::compare
