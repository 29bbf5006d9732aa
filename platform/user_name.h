// The parts of the operator name that differ by system, and the rule that turns a user name into it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace vnt::platform {

inline constexpr std::size_t kUserNameBuffer = 20;  // characters, the end mark included

// The logged-on user's name (UTF-8); nothing when the system cannot tell.
std::optional<std::string> LoggedOnUserName();

// Upper case, cut at the first NUL; "NONAME" for no name, an empty one, or one that does not fit the buffer.
std::string OperatorName(const std::optional<std::string>& user_name);

}  // namespace vnt::platform
