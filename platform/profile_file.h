// Where settings are: the part that differs by system.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vnt::platform {

// The file meant by a name: a bare one lies in the Windows folder, a path is as ResolvePath has it. The file
// need not exist.
std::filesystem::path ProfileFile(std::string_view name);

// What GetRegionalSetting gives where nothing stands in for it.
std::string ReadRegionalSetting(std::string_view key);

}  // namespace vnt::platform
