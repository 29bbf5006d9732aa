#include "startup/platform/settings.h"

#include "startup/platform/text.h"
#include "startup/platform/user_name.h"

namespace vnt::platform {
namespace {

constexpr std::string_view kSettingsFile = "KV_SOFT.ini";
constexpr std::string_view kDefaultSection = "VeltGrab";
constexpr std::size_t kSettingBuffer = 200;
constexpr std::string_view kNoName = "NONAME";

std::string_view SectionOrDefault(std::string_view section) {
  return section.empty() ? kDefaultSection : section;
}

}  // namespace

std::string GetSettingString(std::string_view section, std::string_view key) {
  return ReadProfileString(kSettingsFile, SectionOrDefault(section), key, kSettingBuffer);
}

std::int32_t GetSettingInt(std::string_view section, std::string_view key) {
  return ReadProfileInt(kSettingsFile, SectionOrDefault(section), key, 0);
}

std::string OperatorName(const std::optional<std::string>& user_name) {
  if (!user_name) return std::string(kNoName);
  const std::string name = user_name->substr(0, user_name->find('\0'));
  // A name that does not fit with its end mark makes the system call fail; it is not cut.
  if (name.empty() || CharacterCount(name) >= kUserNameBuffer) return std::string(kNoName);
  return Uppercase(name);
}

std::string GetOperatorName() { return OperatorName(LoggedOnUserName()); }

}  // namespace vnt::platform
