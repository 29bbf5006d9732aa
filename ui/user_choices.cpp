#include "ui/user_choices.h"

#include <algorithm>

#include "platform/desktop.h"

namespace vnt::ui {
namespace {

constexpr std::string_view kSection = "Settings";
constexpr std::string_view kLastFolder = "LastFolder";
constexpr std::string_view kBackUp = "BackUpBeforeFixing";

std::string RecentKey(std::size_t number) { return "Recent" + std::to_string(number + 1); }

void SaveRecentFiles(std::vector<std::string> files) {
  files.resize(kRecentFiles);
  for (std::size_t i = 0; i < files.size(); ++i) platform::SaveUserSetting(kSection, RecentKey(i), files[i]);
}

}  // namespace

std::vector<std::string> RecentFiles() {
  std::vector<std::string> files;
  for (std::size_t i = 0; i < kRecentFiles; ++i) {
    std::string file = platform::ReadUserSetting(kSection, RecentKey(i));
    if (!file.empty()) files.push_back(std::move(file));
  }
  return files;
}

void AddRecentFile(const std::string& path) {
  std::vector<std::string> files = RecentFiles();
  std::erase(files, path);
  files.insert(files.begin(), path);
  SaveRecentFiles(std::move(files));
}

void RemoveRecentFile(const std::string& path) {
  std::vector<std::string> files = RecentFiles();
  std::erase(files, path);
  SaveRecentFiles(std::move(files));
}

std::string LastFolder() { return platform::ReadUserSetting(kSection, kLastFolder); }
void SaveLastFolder(const std::string& folder) { platform::SaveUserSetting(kSection, kLastFolder, folder); }

bool BackUpBeforeFixing() { return platform::ReadUserSetting(kSection, kBackUp) != "0"; }
void SaveBackUpBeforeFixing(bool on) { platform::SaveUserSetting(kSection, kBackUp, on ? 1 : 0); }

}  // namespace vnt::ui
