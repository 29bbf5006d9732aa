// Documents, the per-user store and data sources on Windows.

#include "platform/desktop.h"

#include <windows.h>

#include "tests/platform/surroundings.h"

namespace vnt::platform {
namespace {

class WindowsDesktopTest : public testing::Surroundings {};

std::wstring Stored(const wchar_t* section, const wchar_t* key) {
  wchar_t value[40] = {};
  DWORD bytes = sizeof value;
  const std::wstring place = std::wstring(L"Software\\VB and VBA Program Settings\\VNTFixdb\\") + section;
  const LSTATUS status =
      RegGetValueW(HKEY_CURRENT_USER, place.c_str(), key, RRF_RT_REG_SZ, nullptr, value, &bytes);
  return status == ERROR_SUCCESS ? value : L"none";
}

TEST_F(WindowsDesktopTest, UserSettingsAreTextsInTheRegistry) {
  SaveUserSetting("Test settings", "MainLeft", -150);
  SaveUserSetting("Test settings", "MainTop", 20);
  SaveUserSetting("test settings", "mainleft", 300);
  SaveUserSetting("Test settings", "Recent", "C:\\\xC3\xA4.mdb");
  EXPECT_EQ(ReadUserSetting("Test settings", "Recent"), "C:\\\xC3\xA4.mdb");
  EXPECT_EQ(ReadUserSetting("Test settings", "MainLeft"), "300");
  EXPECT_EQ(ReadUserSetting("Test settings", "Missing"), "");
  EXPECT_EQ(Stored(L"Test settings", L"MainLeft"), L"300");
  EXPECT_EQ(Stored(L"Test settings", L"MainTop"), L"20");
  RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\VB and VBA Program Settings\\VNTFixdb\\Test settings");
}

TEST_F(WindowsDesktopTest, MissingDocumentIsNotOpened) {
  EXPECT_FALSE(OpenDocument(test::Utf8Of(folder_ / "missing.chm")));
}

TEST_F(WindowsDesktopTest, DataSourceOfAnUnknownDriverIsRefused) {
  using std::string_literals::operator""s;
  EXPECT_FALSE(AddDataSource("No such driver", "DSN=X\0DBQ=C:\\x.mdb\0\0"s));
}

// With a driver's setup part that writes down what it is asked for (odbc_setup.dll beside this program).
TEST_F(WindowsDesktopTest, DriverIsAskedForTheDataSource) {
  using std::string_literals::operator""s;
  wchar_t program[MAX_PATH + 1] = {};
  GetModuleFileNameW(nullptr, program, MAX_PATH);
  const std::wstring setup = std::filesystem::path(program).parent_path() / "odbc_setup.dll";
  const wchar_t* place = L"Software\\ODBC\\ODBCINST.INI\\Driver of this test";
  // The setup part is named by "Setup"; Wine 8 takes the driver itself for it.
  for (const wchar_t* name : {L"Setup", L"Driver"}) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, place, name, REG_SZ, setup.c_str(),
                              static_cast<DWORD>((setup.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
  }
  SetEnvironment("VNT_ODBC_SETUP", test::Utf8Of(folder_ / "asked"));
  EXPECT_TRUE(AddDataSource("Driver of this test", "DSN=VELTDSN\0DBQ=C:\\Größe\\Данные 漢字.mdb\0UID=\0\0"s));
  EXPECT_EQ(ReadFile("asked"),
            "request 1\nDriver of this test\nDSN=VELTDSN\nDBQ=C:\\Größe\\Данные 漢字.mdb\nUID=\n");
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, place);
}

TEST_F(WindowsDesktopTest, AProcessOfASessionHasADisplay) { EXPECT_TRUE(HasDisplay()); }

}  // namespace
}  // namespace vnt::platform
