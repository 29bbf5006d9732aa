// Places on a system without a Windows directory and without drives.

#include "platform/settings.h"

#include "tests/platform/surroundings.h"

namespace vnt::platform {
namespace {

class PlacesTest : public testing::Surroundings {};

TEST_F(PlacesTest, FolderOfSettings) {
  SetEnvironment("VNTFIX_WINDIR", "");
  EXPECT_EQ(WindowsFolder(), (folder_ / "config/vntfix").string());
  SetEnvironment("XDG_CONFIG_HOME", "");
  SetEnvironment("HOME", "/home/somebody");
  EXPECT_EQ(WindowsFolder(), "/home/somebody/.config/vntfix");
}

TEST_F(PlacesTest, DriveC) {
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

}  // namespace
}  // namespace vnt::platform
