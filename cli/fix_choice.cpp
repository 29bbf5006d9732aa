#include "cli/fix_choice.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include <fmt/format.h>

#include "access/base/text.h"

namespace vnt::cli {
namespace {

template <class Use>
void ForEachPart(std::string_view text, char separator, Use use) {
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(separator, at), text.size());
    use(text.substr(at, end - at));
    at = end + 1;
  }
}

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::optional<std::int32_t> Number(std::string_view text) {
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size() || text[0] == '-') return {};
  return number;
}

// "7" or "7-9".
std::optional<NoticeRange> Range(std::string_view text) {
  const std::size_t dash = text.find('-');
  const auto first = Number(Trimmed(text.substr(0, dash)));
  const auto last = dash == std::string_view::npos ? first : Number(Trimmed(text.substr(dash + 1)));
  if (!first || !last) return {};
  return NoticeRange{*first, *last};
}

std::vector<std::string> Words(std::string_view text) {
  std::vector<std::string> words;
  ForEachPart(text, ' ', [&](std::string_view word) {
    if (!word.empty()) words.push_back(jet::UpperText(word));
  });
  return words;
}

bool HasWords(const FixEntry& fix, const std::vector<std::string>& words) {
  const std::vector<std::string> caption = Words(fix.caption);
  return std::ranges::all_of(words, [&](const std::string& word) {
    return std::ranges::any_of(caption, [&](const std::string& of) { return of.starts_with(word); });
  });
}

const FixEntry& FixOfWords(std::string_view text) {
  const std::vector<std::string> words = Words(text);
  std::vector<const FixEntry*> found;
  for (const FixEntry& fix : FixCatalogue()) {
    if (jet::EqualNames(fix.caption, text)) return fix;
    if (HasWords(fix, words)) found.push_back(&fix);
  }
  if (found.empty() || words.empty()) {
    throw ChoiceError(
        fmt::format("No fix has the words \"{}\" in its caption; vntfix list shows them all.", text));
  }
  if (found.size() == 1) return *found.front();
  std::string candidates;
  for (const FixEntry* fix : found) {
    candidates += fmt::format("{}{} \"{}\"", candidates.empty() ? "" : ", ", fix->index, fix->caption);
  }
  throw ChoiceError(fmt::format("\"{}\" is more than one fix: {}.", text, candidates));
}

}  // namespace

FixSelection ChooseFixes(std::string_view text) {
  FixSelection selection;
  ForEachPart(text, ',', [&](std::string_view part) {
    part = Trimmed(part);
    const auto range = Range(part);
    if (!range) {
      selection.set(static_cast<std::size_t>(FixOfWords(part).index));
      return;
    }
    if (range->first > range->last || range->last >= kFixCount) {
      throw ChoiceError(fmt::format("\"{}\" is no fix: they have the numbers 0 to {}.", part, kFixCount - 1));
    }
    for (int index = range->first; index <= range->last; ++index) {
      selection.set(static_cast<std::size_t>(index));
    }
  });
  return selection;
}

std::vector<NoticeRange> ParseNotices(std::string_view text) {
  std::vector<NoticeRange> ranges;
  ForEachPart(text, ',', [&](std::string_view part) {
    const auto range = Range(Trimmed(part));
    if (!range || range->first < 1 || range->first > range->last) {
      throw ChoiceError(fmt::format(
          "\"{}\" is no notice: they have numbers from 1 to 2147483647, several as 5,7-9.", part));
    }
    ranges.push_back(*range);
  });
  return ranges;
}

}  // namespace vnt::cli
