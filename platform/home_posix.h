// Places of a user on systems other than Windows.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vnt::platform {

// A variable of the environment; empty when it is not set.
std::string Environment(const char* name);

// $XDG_CONFIG_HOME/vntfix, else ~/.config/vntfix.
std::string UserConfigFolder();

// "\kv_soft\..." below a folder, each part in the letter case of the entry that is there, if one is.
std::filesystem::path PathWithin(const std::filesystem::path& folder, std::string_view path);

}  // namespace vnt::platform
