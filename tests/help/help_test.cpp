// The help file at its fixed place.

#include "help/help.h"

#include "tests/platform/surroundings.h"

namespace vnt {
namespace {

namespace fs = std::filesystem;

const testing::ShownMessage kNotAvailable(
    "Help not available.\nThe Help Viewer requires that Microsoft Internet Explorer (version 3.02 or "
    "later) be set up on the user's computer.\nIt is not required that Internet Explorer be used as "
    "the system's default browser.",
    platform::MessageStyle::kCritical);

class HelpTest : public testing::Surroundings {
 protected:
  HelpTest() {
    SetEnvironment("XDG_DATA_DIRS", (folder_ / "elsewhere").string() + ":" + (folder_ / "share").string());
    SetEnvironment("BROWSER", "");
    InstallOpener(Script("opened"));
  }
  std::string Script(const std::string& file) const {
    return "printf '%s\\n' \"$1\" >> '" + (folder_ / file).string() + "'\n";
  }
  std::string InstallGuide() const {
    return WriteFile("share/doc/vntfix/guide/index.html", "guide").string();
  }
};

TEST_F(HelpTest, OpensTheFixedFile) {
  const std::string help = WriteFile("c/kv_soft/system32/Tidyworks.CHM", "help").string();
  InstallGuide();
  ShowHelpFile("another.chm");
  EXPECT_EQ(ReadFile("opened"), help + "\n");
  EXPECT_TRUE(messages_.shown.empty());
}

TEST_F(HelpTest, OpensTheInstalledFileWhereTheUserHasNone) {
  const std::string installed = WriteFile("share/vntfix/c/kv_soft/system32/tidyworks.chm", "help").string();
  ShowHelpFile("Tidyworks.chm");
  EXPECT_EQ(ReadFile("opened"), installed + "\n");

  const std::string own = WriteFile("c/KV_Soft/System32/tidyworks.chm", "help").string();
  ShowHelpFile("Tidyworks.chm");
  EXPECT_EQ(ReadFile("opened"), installed + "\n" + own + "\n");
  EXPECT_TRUE(messages_.shown.empty());
}

TEST_F(HelpTest, WithoutHelpAndGuideThereIsTheMessageOnly) {
  ShowHelpFile("Tidyworks.chm");
  EXPECT_THAT(messages_.shown, ::testing::ElementsAre(kNotAvailable));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "opened"));
}

TEST_F(HelpTest, AMissingFileIsFollowedByTheGuide) {
  const std::string guide = InstallGuide();
  ShowHelpFile("Tidyworks.chm");
  EXPECT_THAT(messages_.shown, ::testing::ElementsAre(kNotAvailable));
  EXPECT_THAT(messages_.explanations,
              ::testing::ElementsAre("The same text opens in the browser now: " + guide));
  EXPECT_EQ(ReadFile("opened"), guide + "\n");
}

TEST_F(HelpTest, AFileThatNothingCanShowIsFollowedByTheGuide) {
  WriteFile("c/kv_soft/system32/tidyworks.chm", "help");
  const std::string guide = InstallGuide();
  InstallOpener("case \"$1\" in *.chm) exit 3;; esac\n" + Script("opened"));
  ShowHelpFile("Tidyworks.chm");
  EXPECT_THAT(messages_.shown, ::testing::ElementsAre(kNotAvailable));
  EXPECT_EQ(ReadFile("opened"), guide + "\n");
}

TEST_F(HelpTest, WithoutABrowserTheGuidesPlaceIsTold) {
  const std::string guide = InstallGuide();
  InstallOpener("exit 3\n");
  ShowHelpFile("Tidyworks.chm");
  EXPECT_THAT(messages_.shown,
              ::testing::ElementsAre(kNotAvailable,
                                     testing::ShownMessage("No browser can be started. The guide is " + guide,
                                                           platform::MessageStyle::kInformation)));
}

// What the desktop lacks, $BROWSER may name; the first that works is taken.
TEST_F(HelpTest, TheGuideOpensInTheBrowserThatTheEnvironmentNames) {
  const std::string guide = InstallGuide();
  InstallOpener("exit 3\n");
  for (const char* name : {"refuses", "shows", "never"}) {
    const auto browser =
        WriteFile(std::string("bin/") + name,
                  "#!/bin/sh\n" + Script(name) + (name == std::string("refuses") ? "exit 1\n" : ""));
    fs::permissions(browser, fs::perms::owner_all);
  }
  SetEnvironment("BROWSER", "absent:refuses:" + (folder_ / "bin/shows").string() + ":never");
  ShowHelpFile("Tidyworks.chm");
  EXPECT_THAT(messages_.shown, ::testing::ElementsAre(kNotAvailable));
  EXPECT_EQ(ReadFile("refuses"), guide + "\n");
  EXPECT_EQ(ReadFile("shows"), guide + "\n");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "never"));
}

}  // namespace
}  // namespace vnt
