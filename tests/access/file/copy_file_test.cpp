// A file that takes the place of another one: whatever fails, and wherever the power goes, there is the one
// or the other, and who put it there knows which.
#include "access/file/copy_file.h"

#include <gtest/gtest.h>

#include <iterator>
#include <optional>
#include <string>

#include "tests/access/file/fault.h"

namespace jet {
namespace {

const std::string kFormer(5000, 'a'), kLater(9000, 'b');

class Replacing : public testing::TestWithParam<Fault> {};

TEST_P(Replacing, LeavesTheOneOrTheOther) {
  const Fault& fault = GetParam();
  bool untouched = false;
  int put_back = 0, doubtful = 0;
  for (std::uint64_t n = 1; !untouched; ++n) {
    SCOPED_TRACE(n);
    MemoryFileSystem files;
    files.SetContent("file", kFormer);
    files.SetContent("backup", kLater);
    files.FailAt(n, fault.failure, fault.from_then_on);
    // Nothing: it failed.
    std::optional<bool> durable;
    try {
      const auto former = files.Open("file", OpenMode::kReadWrite);
      const auto backup = files.Open("backup", OpenMode::kRead);
      Replacement replacement(files, "file", *backup, *former);
      durable = replacement.Commit();
    } catch (const Error& error) {
      EXPECT_TRUE(error.is_environment()) << error.what();
    }
    untouched = files.operations() < n;
    EXPECT_EQ(files.Content("file"), durable ? kLater : kFormer);
    if (fault.power_loss) {
      files.LosePower(fault.keep_seed);
      if (durable.value_or(false)) {
        EXPECT_EQ(files.Content("file"), kLater);
      } else {
        EXPECT_TRUE(files.Content("file") == kFormer || files.Content("file") == kLater);
      }
    }
    EXPECT_EQ(files.Content("backup"), kLater);
    put_back += durable.has_value() ? 1 : 0;
    doubtful += durable.has_value() && !*durable ? 1 : 0;
  }
  EXPECT_GT(put_back, 0);
  EXPECT_GT(doubtful, 0);  // the folder could not be synced
}

constexpr Fault kFaults[] = {
    {MemoryFileSystem::Failure::kIo, false, false, 0},
    {MemoryFileSystem::Failure::kIo, true, true, 0},
    {MemoryFileSystem::Failure::kFull, true, true, 3},
    {MemoryFileSystem::Failure::kShortWrite, false, true, 5},
};
INSTANTIATE_TEST_SUITE_P(Faults, Replacing, testing::ValuesIn(kFaults));

}  // namespace
}  // namespace jet
