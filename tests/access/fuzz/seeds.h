// How much the tests with damaged input try, and what.
#pragma once

#include <cstdint>
#include <cstdlib>

namespace jet {

inline std::uint64_t FromEnvironment(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

}  // namespace jet
