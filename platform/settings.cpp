#include "platform/settings.h"

#include <cstdlib>
#include <map>
#include <utility>

#include "platform/text.h"
#include "platform/user_name.h"

namespace vnt::platform {
namespace {

constexpr std::string_view kSettingsFile = "KV_SOFT.ini";
constexpr std::string_view kDefaultSection = "VeltGrab";
constexpr std::size_t kSettingBuffer = 200;
constexpr std::string_view kNoName = "NONAME";

std::string_view SectionOrDefault(std::string_view section) {
  return section.empty() ? kDefaultSection : section;
}

// By upper-cased section and key.
std::map<std::pair<std::string, std::string>, std::string>& Overrides() {
  static std::map<std::pair<std::string, std::string>, std::string> overrides;
  return overrides;
}

const std::string* FindOverride(std::string_view section, std::string_view key) {
  const auto found =
      Overrides().find({Uppercase(std::string(SectionOrDefault(section))), Uppercase(std::string(key))});
  return found == Overrides().end() ? nullptr : &found->second;
}

}  // namespace

void ScopedSettings::Set(std::string_view section, std::string_view key, std::string value) {
  Overrides()[{Uppercase(std::string(SectionOrDefault(section))), Uppercase(std::string(key))}] =
      std::move(value);
}

ScopedSettings::~ScopedSettings() { Overrides().clear(); }

std::string GetSettingString(std::string_view section, std::string_view key) {
  if (const std::string* value = FindOverride(section, key)) return *value;
  return ReadProfileString(kSettingsFile, SectionOrDefault(section), key, kSettingBuffer);
}

std::int32_t GetSettingInt(std::string_view section, std::string_view key) {
  if (const std::string* value = FindOverride(section, key)) {
    return static_cast<std::int32_t>(std::strtol(value->c_str(), nullptr, 10));
  }
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
