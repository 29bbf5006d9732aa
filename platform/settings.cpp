#include "platform/settings.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <utility>

#include "access/base/text.h"
#include "platform/in_force.h"
#include "platform/paths.h"
#include "platform/profile.h"
#include "platform/profile_file.h"
#include "platform/services.h"
#include "platform/text.h"
#include "platform/user_name.h"

namespace vnt::platform {
namespace {

constexpr std::string_view kSettingsFile = "KV_SOFT.ini";
constexpr std::string_view kDefaultSection = "VeltGrab";
constexpr std::size_t kSettingBuffer = 200;
constexpr std::string_view kNoName = "NONAME";
constexpr std::string_view kRegionalSection = "intl";

std::string_view SectionOrDefault(std::string_view section) {
  return section.empty() ? kDefaultSection : section;
}

std::pair<std::string, std::string> Place(std::string_view section, std::string_view key) {
  return {jet::UpperText(SectionOrDefault(section)), jet::UpperText(key)};
}

const std::string* FindOverride(std::string_view section, std::string_view key) {
  return InForce<Services>().settings.Find(section, key);
}

std::optional<std::string> ReadProfileValue(std::string_view file, std::string_view section,
                                            std::string_view key) {
  const std::filesystem::path path = ProfileFile(file);
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) return {};
  std::ifstream stream(path, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  return FindProfileValue(content, section, key);
}

}  // namespace

std::string ReadProfileString(std::string_view file, std::string_view section, std::string_view key,
                              std::size_t buffer) {
  const auto value = ReadProfileValue(file, section, key);
  return value && buffer > 0 ? FirstCharacters(*value, buffer - 1) : std::string();
}

std::int32_t ReadProfileInt(std::string_view file, std::string_view section, std::string_view key,
                            std::int32_t fallback) {
  const auto value = ReadProfileValue(file, section, key);
  return value ? ParseProfileInt(*value) : fallback;
}

void SettingOverrides::Set(std::string_view section, std::string_view key, std::string value) {
  values_[Place(section, key)] = std::move(value);
}

const std::string* SettingOverrides::Find(std::string_view section, std::string_view key) const {
  const auto found = values_.find(Place(section, key));
  return found == values_.end() ? nullptr : &found->second;
}

std::string SettingsFile() { return Utf8Of(ProfileFile(kSettingsFile)); }

std::string WhereSettingIs(std::string_view section, std::string_view key) {
  const std::filesystem::path file = ProfileFile(kSettingsFile);
  std::error_code ignored;
  const bool is_there = std::filesystem::is_regular_file(file, ignored);
  std::string text(key);
  text.append(" is looked for in section [")
      .append(SectionOrDefault(section))
      .append("] of ")
      .append(Utf8Of(file));
  return text + (is_there ? ", which does not set it." : ", and there is no such file.");
}

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

std::string GetRegionalSetting(std::string_view key) {
  if (const std::string* value = FindOverride(kRegionalSection, key)) return *value;
  return ReadRegionalSetting(key);
}

DateOrder RegionalDateOrder() {
  const std::string pattern = GetRegionalSetting("sShortDate");
  const std::size_t day = pattern.find_first_of("dD");
  const std::size_t month = pattern.find_first_of("mM");
  return day != std::string::npos && month != std::string::npos && month < day ? DateOrder::kMonthFirst
                                                                               : DateOrder::kDayFirst;
}

std::string OperatorName(const std::optional<std::string>& user_name) {
  if (!user_name) return std::string(kNoName);
  const std::string name = user_name->substr(0, user_name->find('\0'));
  // A name that does not fit with its end mark makes the system call fail; it is not cut.
  if (name.empty() || CharacterCount(name) >= kUserNameBuffer) return std::string(kNoName);
  return jet::UpperText(TextFromBytes(name));
}

std::string GetOperatorName() { return OperatorName(LoggedOnUserName()); }

}  // namespace vnt::platform
