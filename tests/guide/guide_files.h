// The sources of the guide, for its tests.
#pragma once

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace vnt::guide::test {

inline const std::filesystem::path kSources = VNT_SOURCE_FOLDER;
inline const std::filesystem::path kGuide = kSources / "docs" / "guide";

inline std::string Content(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

// All matches of the first group.
inline std::vector<std::string> Matches(const std::string& text, const std::regex& pattern) {
  std::vector<std::string> found;
  for (std::sregex_iterator it(text.begin(), text.end(), pattern), end; it != end; ++it)
    found.push_back((*it)[1]);
  return found;
}

}  // namespace vnt::guide::test
