// Settings and places as the program finds them on a system without a Windows directory.

#include "platform/settings.h"

#include "tests/platform/surroundings.h"

namespace vnt::platform {
namespace {

class SettingsTest : public testing::Surroundings {};

TEST_F(SettingsTest, MissingFileIsHarmless) {
  EXPECT_EQ(GetSettingString("GLOBAL", "VeltRefdb"), "");
  EXPECT_EQ(GetSettingInt("VNTFIXV7", "Ntc_id"), 0);
  EXPECT_EQ(GetRegionalSetting("sDate"), "");
  EXPECT_EQ(ReadProfileInt("KV_SOFT.ini", "GLOBAL", "DataLevel", 7), 7);
}

TEST_F(SettingsTest, FileNameInAnyLetterCase) {
  WriteFile("windows/kv_Soft.INI", "[VeltGrab]\nPlace=here\n[vntfixv7]\nNTC_ID=42\n");
  WriteFile("windows/win.ini", "[Intl]\nsShortDate=dd/MM/yyyy\n");
  EXPECT_EQ(GetSettingString("", "Place"), "here");
  EXPECT_EQ(GetSettingInt("VNTFIXV7", "Ntc_id"), 42);
  EXPECT_EQ(GetRegionalSetting("sShortDate"), "dd/MM/yyy");  // ten characters with the end mark
}

TEST_F(SettingsTest, BuffersCountCharacters) {
  const std::string wide = "é";
  std::string value;
  for (int i = 0; i < 250; ++i) value += wide;
  WriteSettings("[S]\nKey=" + value + "\n");
  EXPECT_EQ(GetSettingString("S", "Key"), value.substr(0, 199 * wide.size()));
  EXPECT_EQ(ReadProfileString("KV_SOFT.ini", "S", "Key", 1), "");
}

TEST_F(SettingsTest, FolderOfSettings) {
  SetEnvironment("VNTFIX_WINDIR", "");
  EXPECT_EQ(WindowsFolder(), (folder_ / "config/vntfix").string());
  SetEnvironment("XDG_CONFIG_HOME", "");
  SetEnvironment("HOME", "/home/somebody");
  EXPECT_EQ(WindowsFolder(), "/home/somebody/.config/vntfix");
}

TEST_F(SettingsTest, DriveC) {
  WriteFile("c/KV_Soft/System32/TidyWorks.chm", "");
  const std::string drive = (folder_ / "c").string();
  const std::pair<const char*, std::string> cases[] = {
      {"c:\\kv_soft\\system32\\tidyworks.chm", drive + "/KV_Soft/System32/TidyWorks.chm"},
      {"C:/KV_SOFT/new folder\\A.log", drive + "/KV_Soft/new folder/A.log"},
      {"c:\\", drive},
      {"/data/KV_SOFT/ref.mdb", "/data/KV_SOFT/ref.mdb"},
      {"d:\\x.mdb", "d:\\x.mdb"},
      {"c:x.mdb", "c:x.mdb"},
      {"", ""},
  };
  for (const auto& [path, resolved] : cases) EXPECT_EQ(ResolvePath(path), resolved) << path;

  EXPECT_FALSE(std::filesystem::exists(drive + "/KV_Soft/Log"));
  const std::string log = ResolvePath("c:\\kv_soft\\Log\\freq.txt", true);
  EXPECT_EQ(log, drive + "/KV_Soft/Log/freq.txt");
  EXPECT_TRUE(std::filesystem::is_directory(drive + "/KV_Soft/Log"));
  EXPECT_EQ(ResolvePath("C:\\KV_SOFT\\LOG\\freq.txt", true), log);

  SetEnvironment("VNTFIX_CDRIVE", "");
  SetEnvironment("XDG_DATA_HOME", "/data");
  EXPECT_EQ(ResolvePath("c:\\a"), "/data/vntfix/c/a");
}

TEST_F(SettingsTest, OperatorIsUpperCase) {
  const std::string name = GetOperatorName();
  EXPECT_FALSE(name.empty());
  EXPECT_EQ(name.find_first_of("abcdefghijklmnopqrstuvwxyz"), std::string::npos) << name;
}

}  // namespace
}  // namespace vnt::platform
