// Places of a user on systems other than Windows.
#pragma once

#include <string>

namespace vnt::platform {

// A variable of the environment; empty when it is not set.
std::string Environment(const char* name);

// $XDG_CONFIG_HOME/vntfix, else ~/.config/vntfix.
std::string UserConfigFolder();

}  // namespace vnt::platform
