// Documents, the per-user store and data sources on systems with X or Wayland.

#include "startup/platform/desktop.h"

#include "help/help.h"
#include "startup/platform/settings.h"
#include "tests/startup/surroundings.h"

namespace vnt::platform {
namespace {

class DesktopTest : public testing::Surroundings {
 protected:
  // A program named xdg-open that runs `script`, and nothing else on the search path but /bin.
  void InstallOpener(const std::string& script) {
    const auto file = WriteFile("bin/xdg-open", "#!/bin/sh\n" + script);
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    SetEnvironment("PATH", (folder_ / "bin").string() + ":/bin");
  }
  std::string ReadFile(const std::string& name) const {
    std::ifstream stream(folder_ / name);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
};

TEST_F(DesktopTest, OpensDocument) {
  const std::string document = WriteFile("a b.chm", "help").string();
  SetEnvironment("PATH", (folder_ / "nowhere").string());
  EXPECT_FALSE(OpenDocument(document)) << "without an opener";
  InstallOpener("printf '%s' \"$1\" > '" + (folder_ / "opened").string() + "'\n");
  EXPECT_TRUE(OpenDocument(document));
  EXPECT_EQ(ReadFile("opened"), document);
  EXPECT_FALSE(OpenDocument((folder_ / "missing.chm").string()));
  InstallOpener("exit 3\n");
  EXPECT_FALSE(OpenDocument(document)) << "an opener that finds no viewer";
  InstallOpener("sleep 4\n");
  EXPECT_TRUE(OpenDocument(document)) << "an opener that stays while the document is shown";
}

TEST_F(DesktopTest, HelpOpensTheFixedFile) {
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
          MessageStyle::kCritical)));
}

TEST_F(DesktopTest, UserSettingsAreKeptSideBySide) {
  SaveUserSetting("Settings", "MainLeft", -150);
  SaveUserSetting("Settings", "MainTop", 20);
  SaveUserSetting("Other", "MainTop", 3);
  SaveUserSetting("settings", "mainleft", 300);
  const std::string file = (folder_ / "config/vntfix/VNTFixdb.ini").string();
  EXPECT_EQ(ReadFile("config/vntfix/VNTFixdb.ini"),
            "[Settings]\nmainleft=300\nMainTop=20\n[Other]\nMainTop=3\n");
  EXPECT_EQ(ReadProfileInt(file, "Settings", "MainLeft", 0), 300);

  // A store that cannot be written is passed over.
  SetEnvironment("XDG_CONFIG_HOME", file);
  SaveUserSetting("Settings", "MainLeft", 1);
  EXPECT_EQ(ReadProfileInt(file, "Settings", "MainLeft", 0), 300);
}

TEST_F(DesktopTest, DataSourceOfAnUnknownDriverIsRefused) {
  SetEnvironment("ODBCSYSINI", folder_.string());
  SetEnvironment("ODBCINI", (folder_ / "odbc.ini").string());
  using std::string_literals::operator""s;
  EXPECT_FALSE(AddDataSource("No such driver", "DSN=X\0DBQ=/x.mdb\0\0"s));
}

}  // namespace
}  // namespace vnt::platform
