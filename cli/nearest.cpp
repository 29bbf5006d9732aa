#include "cli/nearest.h"

#include <algorithm>

namespace vnt::cli {
namespace {

// Changes that make `b` of `a`: the optimal string alignment distance.
std::size_t Distance(std::string_view a, std::string_view b) {
  // Rows of the table for the letters of `a` before last, last, and this one.
  std::vector<std::size_t> before(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
  for (std::size_t k = 0; k <= b.size(); ++k) row[k] = k;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    before.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t k = 1; k <= b.size(); ++k) {
      const std::size_t replaced = last[k - 1] + (a[i - 1] == b[k - 1] ? 0 : 1);
      row[k] = std::min({replaced, last[k] + 1, row[k - 1] + 1});
      if (i > 1 && k > 1 && a[i - 1] == b[k - 2] && a[i - 2] == b[k - 1]) {
        row[k] = std::min(row[k], before[k - 2] + 1);
      }
    }
  }
  return row[b.size()];
}

}  // namespace

std::string Nearest(std::string_view word, const std::vector<std::string>& words) {
  std::string nearest;
  // A third of the letters may be wrong, and one of a short word.
  std::size_t least = std::max<std::size_t>((word.size() + 1) / 3, 1) + 1;
  for (const std::string& candidate : words) {
    const std::size_t distance =
        candidate.starts_with(word) && word.size() > 1 ? 1 : Distance(word, candidate);
    if (distance >= least) continue;
    nearest = candidate;
    least = distance;
  }
  return nearest;
}

}  // namespace vnt::cli
