// Places on Windows, and settings that the system's own profile functions would garble or not find.

#include "platform/settings.h"

#include <windows.h>

#include "tests/platform/surroundings.h"

namespace vnt::platform {
namespace {

using test::PathOf;
using test::Utf8Of;

class WindowsPlacesTest : public testing::Surroundings {};

TEST_F(WindowsPlacesTest, FolderOfSettings) {
  EXPECT_EQ(WindowsFolder(), Utf8Of(folder_ / "windows"));
  SetEnvironment("VNTFIX_WINDIR", "");
  wchar_t folder[MAX_PATH + 1];
  ASSERT_NE(GetWindowsDirectoryW(folder, MAX_PATH), 0U);
  EXPECT_EQ(PathOf(WindowsFolder()), std::filesystem::path(folder));
}

TEST_F(WindowsPlacesTest, FolderOfSettingsInAnyScript) {
  SetEnvironment("VNTFIX_WINDIR", Utf8Of(folder_) + "\\Настройки 漢字");
  WriteFile(PathOf("Настройки 漢字/KV_SOFT.ini"), "[GLOBAL]\nVeltRefdb=C:\\Справка\\Übersicht.mdb\n");
  EXPECT_EQ(GetSettingString("GLOBAL", "VeltRefdb"), "C:\\Справка\\Übersicht.mdb");
}

TEST_F(WindowsPlacesTest, SettingsInEveryEncoding) {
  using std::string_literals::operator""s;
  const std::pair<std::string, const char*> cases[] = {
      {"[S]\nKey=Данные\n", "Данные"},
      {"\xEF\xBB\xBF[S]\r\nKey=Данные\r\n", "Данные"},
      {"[S]\r\nKey=f\xFCr\r\n", "für"},
      {"\xFF\xFE[\0S\0]\0\n\0K\0e\0y\0=\0\x14\x04\n\0"s, "Д"},
  };
  for (const auto& [content, value] : cases) {
    WriteSettings(content);
    EXPECT_EQ(GetSettingString("S", "Key"), value);
  }
}

TEST_F(WindowsPlacesTest, DriveCStandsForOneFolder) {
  const std::string drive = Utf8Of(folder_ / "c");
  const std::pair<const char*, std::string> cases[] = {
      {"c:\\kv_soft\\system32\\tidyworks.chm", drive + "\\kv_soft\\system32\\tidyworks.chm"},
      {"C:/KV_SOFT/a.log", drive + "/KV_SOFT/a.log"},
      {"c:\\kv_soft", drive + "\\kv_soft"},
      {"c:\\kv_software\\a.log", "c:\\kv_software\\a.log"},
      {"c:\\data\\x.mdb", "c:\\data\\x.mdb"},
      {"d:\\kv_soft\\x.mdb", "d:\\kv_soft\\x.mdb"},
      {"", ""},
  };
  for (const auto& [path, resolved] : cases) EXPECT_EQ(ResolvePath(path), resolved) << path;

  const std::string log = ResolvePath("c:\\kv_soft\\Журнал\\freq.txt", true);
  EXPECT_TRUE(std::filesystem::is_directory(PathOf(log).parent_path())) << log;

  SetEnvironment("VNTFIX_CDRIVE", "");
  EXPECT_EQ(ResolvePath("c:\\kv_soft\\a.log"), "c:\\kv_soft\\a.log");
}

TEST_F(WindowsPlacesTest, RegionIsTheUsers) {
  WriteFile("windows/WIN.INI", "[intl]\nsShortDate=dd.MM.yy\n");
  EXPECT_EQ(GetRegionalSetting("sShortDate"), "dd.MM.yy") << "of the folder named for settings";
  SetEnvironment("VNTFIX_WINDIR", "");
  wchar_t pattern[100] = {};
  DWORD bytes = sizeof pattern;
  ASSERT_EQ(RegGetValueW(HKEY_CURRENT_USER, L"Control Panel\\International", L"sShortDate", RRF_RT_REG_SZ,
                         nullptr, pattern, &bytes),
            ERROR_SUCCESS);
  EXPECT_EQ(GetRegionalSetting("sShortDate"), Utf8Of(std::filesystem::path(pattern)).substr(0, 9));
}

}  // namespace
}  // namespace vnt::platform
