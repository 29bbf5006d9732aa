// The help file at its fixed place.

#include "help/help.h"

#include "tests/platform/surroundings.h"

namespace vnt {
namespace {

class HelpTest : public testing::Surroundings {};

TEST_F(HelpTest, OpensTheFixedFile) {
  const std::string help = WriteFile("c/kv_soft/system32/Tidyworks.CHM", "help").string();
  InstallOpener("printf '%s' \"$1\" > '" + (folder_ / "opened").string() + "'\n");
  ShowHelpFile("another.chm");
  EXPECT_EQ(ReadFile("opened"), help);
  EXPECT_TRUE(messages_.shown.empty());

  std::filesystem::remove(help);
  ShowHelpFile("Tidyworks.chm");
  EXPECT_THAT(
      messages_.shown,
      ::testing::ElementsAre(testing::ShownMessage(
          "Help not available.\nThe Help Viewer requires that Microsoft Internet Explorer (version 3.02 or "
          "later) be set up on the user's computer.\nIt is not required that Internet Explorer be used as "
          "the system's default browser.",
          platform::MessageStyle::kCritical)));
}

}  // namespace
}  // namespace vnt
