// Fixes and notices as they are named on the command line.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "run/fix_runner.h"

namespace vnt::cli {

// What was named is nothing, or more than one thing; the text says so in a sentence.
class ChoiceError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Several with commas between them: an index ("7"), a range of them ("7-9"), or words of a caption in any
// letter case ("sort freq"), each the beginning of a word of it, which no other caption has all.
enum class Matches { kOne, kAll };
// With kAll, words choose every fix whose caption has them.
FixSelection ChooseFixes(std::string_view text, Matches matches = Matches::kOne);

// Whether it is the number of a fix.
bool IsFixNumber(std::string_view text);

struct NoticeRange {
  std::int32_t first = 0;
  std::int32_t last = 0;
};
// "7", "5-9", several with commas between them.
std::vector<NoticeRange> ParseNotices(std::string_view text);

}  // namespace vnt::cli
