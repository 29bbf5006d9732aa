// Matchers that mean the same on every system.
#pragma once

#include <gmock/gmock.h>

#include <regex>
#include <string>

namespace vnt::test {

// The library's own regular expressions know neither brackets nor braces on Windows.
MATCHER_P(ContainsMatch, pattern, std::string("contains a match of ") + pattern) {
  return std::regex_search(std::string(arg), std::regex(pattern));
}

}  // namespace vnt::test
