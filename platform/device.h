// Devices and pipes as places to write to.
#pragma once

#include <filesystem>
#include <string_view>

namespace vnt::platform {

// Writes the text to a device or a pipe. False when it could not be written in full: nobody reads from the
// pipe, or has taken nothing for ten seconds.
bool WriteToDevice(const std::filesystem::path& path, std::string_view text);

}  // namespace vnt::platform
