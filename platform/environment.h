// Environment variables of the process.
#pragma once

#include <filesystem>

namespace vnt::platform {

// The path that a variable holds; empty when it is not set.
std::filesystem::path EnvironmentPath(const char* name);

}  // namespace vnt::platform
