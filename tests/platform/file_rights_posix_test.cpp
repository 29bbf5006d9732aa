// Mode and access list of a file that takes the place of another one.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/file_rights.h"
#include "tests/process.h"

namespace vnt::platform {
namespace {

namespace fs = std::filesystem;

class FileRightsTest : public ::testing::Test {
 protected:
  FileRightsTest() {
    for (const fs::path& path : {former_, later_}) std::ofstream(path) << "x";
  }
  ~FileRightsTest() override { fs::remove_all(folder_); }

  fs::path folder_ = test::NewFolder("vnt-rights-");
  fs::path former_ = folder_ / "former", later_ = folder_ / "later";
};

mode_t ModeOf(const fs::path& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

TEST_F(FileRightsTest, OfTheSameOwnerAreAllKept) {
  for (const mode_t mode : {0600U, 0644U, 0755U, 0664U, 0777U, 02770U}) {
    ASSERT_EQ(chmod(former_.c_str(), mode), 0);
    ASSERT_EQ(chmod(later_.c_str(), 0600), 0);
    EXPECT_TRUE(FileRights::Of(former_).GiveTo(later_));
    EXPECT_EQ(ModeOf(later_), mode);
  }
  EXPECT_TRUE(FileRights::Of(folder_ / "missing").GiveTo(later_));
  EXPECT_EQ(ModeOf(later_), 02770U);
}

// Whoever may not give a file away leaves it with another owner or group: nobody gets more by that, and what
// somebody loses is told.
TEST_F(FileRightsTest, OfAnotherOwnerAreToldWhenSomebodyLosesThem) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser gives files away";
  constexpr uid_t kUser = 54321, kOther = 54322;  // nobody knows them, so they are in no group
  const struct {
    mode_t mode;
    bool same_owner, same_group;
    mode_t becomes;
    bool kept;
  } cases[] = {
      {0644, true, true, 0644, true},    {0600, false, true, 0600, false},  {0666, false, true, 0666, true},
      {0664, false, true, 0664, false},  {0660, true, false, 0600, false},  {0666, true, false, 0666, true},
      {0644, true, false, 0644, true},   {0600, true, false, 0600, true},   {0666, false, false, 0666, true},
      {02770, true, false, 0700, false}, {04755, false, true, 0755, false}, {0606, true, false, 0606, false},
      {0664, true, false, 0644, false},  {0646, true, false, 0646, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mode);
    ASSERT_EQ(chown(former_.c_str(), kUser, kUser), 0);
    ASSERT_EQ(chmod(former_.c_str(), c.mode), 0);
    ASSERT_EQ(chown(later_.c_str(), c.same_owner ? kUser : kOther, c.same_group ? kUser : kOther), 0);
    ASSERT_EQ(chmod(later_.c_str(), 0600), 0);
    EXPECT_EQ(FileRights::Of(former_).GiveTo(later_), c.kept);
    EXPECT_EQ(ModeOf(later_), c.becomes);
  }
}

// What stands under two names may be somebody else's under the other one.
TEST_F(FileRightsTest, AreGivenToNoFileOfTwoNames) {
  ASSERT_EQ(chmod(former_.c_str(), 0666), 0);
  ASSERT_EQ(chmod(later_.c_str(), 0600), 0);
  fs::create_hard_link(later_, folder_ / "second");
  FileRights::Of(former_).GiveTo(later_);
  EXPECT_EQ(ModeOf(later_), 0600U);
}

}  // namespace
}  // namespace vnt::platform
