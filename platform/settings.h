// Settings that the program reads and never writes: KV_SOFT.ini, WIN.INI, the user name; and where Windows
// places are on other systems.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace vnt::platform {

// The folder that holds KV_SOFT.ini and WIN.INI: VNTFIX_WINDIR, else the Windows directory (the user's before
// the system's); on other systems $XDG_CONFIG_HOME/vntfix, else ~/.config/vntfix. UTF-8.
std::string WindowsFolder();

// A path on drive C: ("c:\kv_soft\...") as a path of this system; other paths come back as they are.
// Elsewhere than on Windows drive C: is the folder VNTFIX_CDRIVE, else $XDG_DATA_HOME/vntfix/c, else
// ~/.local/share/vntfix/c; each part of the rest is matched without regard to letter case when it exists. On
// Windows VNTFIX_CDRIVE, when set, stands for drive C: in paths under C:\KV_SOFT alone.
// With `create_folders`, missing folders on the way are made.
std::string ResolvePath(std::string_view path, bool create_folders = false);

// Private-profile semantics: sections and keys in any letter case, first occurrence wins, blanks around names
// and values dropped, one pair of enclosing quotes dropped, missing file harmless. At most `buffer` - 1
// characters come back.
std::string ReadProfileString(std::string_view file, std::string_view section, std::string_view key,
                              std::size_t buffer);
// Leading blanks, sign and digits; 0 when there is no number; `fallback` when the key is missing.
std::int32_t ReadProfileInt(std::string_view file, std::string_view section, std::string_view key,
                            std::int32_t fallback);

// The path of KV_SOFT.ini, whether it is there or not. UTF-8.
std::string SettingsFile();
// For whoever misses a setting: in which section of which file it is looked for, and whether that is there.
std::string WhereSettingIs(std::string_view section, std::string_view key);
// The settings of KV_SOFT.ini. An empty section means "VeltGrab". 200-character buffer, empty default.
std::string GetSettingString(std::string_view section, std::string_view key);
std::int32_t GetSettingInt(std::string_view section, std::string_view key);
// A value of section "intl" of WIN.INI, 10-character buffer. On Windows that section is in the registry.
inline constexpr std::size_t kRegionalBuffer = 10;
std::string GetRegionalSetting(std::string_view key);

// In which order the region writes day and month, as `sShortDate` tells; day first when that tells nothing.
enum class DateOrder { kDayFirst, kMonthFirst };
DateOrder RegionalDateOrder();

// Values that stand in for those of KV_SOFT.ini, and of section "intl" (options of a command line; tests).
// They are not cut.
class SettingOverrides {
 public:
  void Set(std::string_view section, std::string_view key, std::string value);
  // Null when there is none.
  const std::string* Find(std::string_view section, std::string_view key) const;

 private:
  std::map<std::pair<std::string, std::string>, std::string> values_;  // by upper-cased section and key
};

// Upper-cased logged-on user name, at most 20 characters buffer; "NONAME" when there is none.
std::string GetOperatorName();

}  // namespace vnt::platform
