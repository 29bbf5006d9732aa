// What the window remembers from one start to the next, in the per-user settings store.
#pragma once

#include <string>
#include <vector>

namespace vnt::ui {

inline constexpr int kRecentFiles = 8;

// The databases opened last, the newest first.
std::vector<std::string> RecentFiles();
// Puts one in front.
void AddRecentFile(const std::string& path);
void RemoveRecentFile(const std::string& path);

// Where a file dialog ended last; empty: nowhere yet.
std::string LastFolder();
void SaveLastFolder(const std::string& folder);

// Whether a run begins with a backup. On until somebody switches it off.
bool BackUpBeforeFixing();
void SaveBackUpBeforeFixing(bool on);

}  // namespace vnt::ui
