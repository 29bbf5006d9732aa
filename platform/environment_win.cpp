#include <cstdlib>
#include <string>

#include "platform/environment.h"

namespace vnt::platform {

// The narrow variables are in the system's code page, which cannot name every file.
std::filesystem::path EnvironmentPath(const char* name) {
  const std::string narrow = name;
  const wchar_t* value = _wgetenv(std::wstring(narrow.begin(), narrow.end()).c_str());
  return value == nullptr ? std::filesystem::path() : std::filesystem::path(value);
}

// Here a file that is opened takes no place among the standard streams.
void OccupyStandardStreams() {}

void LetLargeFilesFail() {}

}  // namespace vnt::platform
