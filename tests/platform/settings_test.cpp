// Settings as the program finds them, wherever the settings files are.

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

TEST_F(SettingsTest, WhoMissesASettingIsToldItsPlace) {
  const auto place = [] { return "VeltRefdb is looked for in section [GLOBAL] of " + SettingsFile() + ", "; };
  EXPECT_EQ(WhereSettingIs("GLOBAL", "VeltRefdb"), place() + "and there is no such file.");
  WriteFile("windows/KV_Soft.ini", "[GLOBAL]\n");
  EXPECT_EQ(WhereSettingIs("GLOBAL", "VeltRefdb"), place() + "which does not set it.");
}

TEST_F(SettingsTest, BuffersCountCharacters) {
  const std::string wide = "é";
  std::string value;
  for (int i = 0; i < 250; ++i) value += wide;
  WriteSettings("[S]\nKey=" + value + "\n");
  EXPECT_EQ(GetSettingString("S", "Key"), value.substr(0, 199 * wide.size()));
  EXPECT_EQ(ReadProfileString("KV_SOFT.ini", "S", "Key", 1), "");
}

TEST_F(SettingsTest, OperatorIsUpperCase) {
  const std::string name = GetOperatorName();
  EXPECT_FALSE(name.empty());
  EXPECT_EQ(name.find_first_of("abcdefghijklmnopqrstuvwxyz"), std::string::npos) << name;
}

}  // namespace
}  // namespace vnt::platform
