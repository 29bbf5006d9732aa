// What a test needs of its process, the same on every system: variables of the environment and a folder of
// its own.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <string>

namespace vnt::test {

// UTF-8 as the path that it names; a narrow std::string means another code page on some systems.
inline std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}
inline std::string Utf8Of(const std::filesystem::path& path) {
  const std::u8string utf8 = path.u8string();
  return {utf8.begin(), utf8.end()};
}

// An empty value unsets the variable.
inline void SetVariable(const std::string& name, const std::string& value) {
#ifdef _WIN32
  _wputenv_s(PathOf(name).c_str(), PathOf(value).c_str());
#else
  if (value.empty()) {
    unsetenv(name.c_str());
  } else {
    setenv(name.c_str(), value.c_str(), 1);
  }
#endif
}

// A new folder for temporary files.
inline std::filesystem::path NewFolder(const std::string& prefix) {
  std::random_device random;
  for (;;) {
    const auto folder = std::filesystem::temp_directory_path() /
                        (prefix + std::to_string(random()) + std::to_string(random()));
    if (std::filesystem::create_directories(folder)) return folder;
  }
}

}  // namespace vnt::test
