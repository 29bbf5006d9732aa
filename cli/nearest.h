// What was probably meant by a mistyped word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vnt::cli {

// The one of `words` that the fewest letters typed wrong, left out, typed too much or exchanged with their
// neighbour make `word` of; empty when none is near.
std::string Nearest(std::string_view word, const std::vector<std::string>& words);

}  // namespace vnt::cli
