#include <cstdlib>

#include "platform/environment.h"

namespace vnt::platform {

std::filesystem::path EnvironmentPath(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::filesystem::path() : std::filesystem::path(value);
}

}  // namespace vnt::platform
