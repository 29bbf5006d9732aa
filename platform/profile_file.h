// Which file a profile reader reads: the part that differs by system.
#pragma once

#include <filesystem>
#include <string_view>

namespace vnt::platform {

// The file meant by a name: a bare one lies in the Windows folder, a path is as ResolvePath has it. The file
// need not exist.
std::filesystem::path ProfileFile(std::string_view name);

}  // namespace vnt::platform
