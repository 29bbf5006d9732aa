// What a verification of a file found.
#pragma once

#include <cstdint>
#include <string>

#include "access/base/error.h"

namespace jet {

struct Finding {
  bool fatal = true;  // false: untidy, but harmless (as Access itself leaves it)
  std::int64_t page = Error::kNoPlace;
  std::string text;  // one sentence
};

}  // namespace jet
