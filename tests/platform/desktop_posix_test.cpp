// Documents, the per-user store and data sources on systems with X or Wayland.

#include "platform/desktop.h"

#include "platform/settings.h"
#include "tests/platform/surroundings.h"

namespace vnt::platform {
namespace {

class DesktopTest : public testing::Surroundings {};

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

TEST_F(DesktopTest, ADocumentWithoutAProgramIsNotGivenToTheBrowser) {
  const std::string document = WriteFile("it's help.chm", "help").string();
  InstallOpener("exit 0\n");
  const struct {
    const char* says;
    bool opened;
  } cases[] = {
      {"[ \"$2\" = default ] || { [ -e \"$3\" ] && echo application/vnd.ms-htmlhelp; }", false},
      {"[ \"$2\" = filetype ] && echo application/vnd.ms-htmlhelp || echo \"viewer-of-$3.desktop\"", true},
      {"exit 2", true},
  };
  for (const auto& c : cases) {
    InstallProgram("xdg-mime", std::string(c.says) + "\n");
    EXPECT_EQ(OpenDocument(document), c.opened) << c.says;
  }
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

TEST_F(DesktopTest, UserSettingsAreReadBack) {
  EXPECT_EQ(ReadUserSetting("Settings", "Recent1"), "") << "no store yet";
  SaveUserSetting("Other", "Recent1", "elsewhere");
  SaveUserSetting("Settings", "Recent1", "/data/a=b [1].mdb");
  SaveUserSetting("Settings", "Recent2", "two\nlines");
  SaveUserSetting("Settings", "MainLeft", -150);
  EXPECT_EQ(ReadUserSetting("settings", "recent1"), "/data/a=b [1].mdb");
  EXPECT_EQ(ReadUserSetting("Other", "Recent1"), "elsewhere");
  EXPECT_EQ(ReadUserSetting("Settings", "Recent2"), "") << "a line end would make a line of its own";
  EXPECT_EQ(ReadUserSetting("Settings", "MainLeft"), "-150");
}

TEST_F(DesktopTest, DataSourceOfAnUnknownDriverIsRefused) {
  SetEnvironment("ODBCSYSINI", folder_.string());
  SetEnvironment("ODBCINI", (folder_ / "odbc.ini").string());
  using std::string_literals::operator""s;
  EXPECT_FALSE(AddDataSource("No such driver", "DSN=X\0DBQ=/x.mdb\0\0"s));
}

}  // namespace
}  // namespace vnt::platform
