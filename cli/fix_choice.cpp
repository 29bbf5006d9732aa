#include "cli/fix_choice.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <optional>

#include <fmt/format.h>

#include "access/base/text.h"
#include "cli/nearest.h"

namespace vnt::cli {
namespace {

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

// What is meant as a number or a range, well written or not: "7", "7-9", "7-", "9 - 7".
bool IsNumeric(std::string_view text) {
  return text.find_first_not_of("0123456789- ") == std::string_view::npos;
}

// What a list may name, by numbers.
struct Numbered {
  std::string_view one, many;
  std::int32_t first, last;
};
constexpr Numbered kFixes{"fix", "fixes", 0, kFixCount - 1};
constexpr Numbered kNotices{"notice", "notices", 1, std::numeric_limits<std::int32_t>::max()};

// "7" or "7-9", within the limits.
NoticeRange Range(std::string_view text, const Numbered& of) {
  const std::size_t dash = text.find('-');
  const bool is_range = dash != std::string_view::npos;
  const auto first = Number(Trimmed(text.substr(0, dash)));
  const auto last = is_range ? Number(Trimmed(text.substr(dash + 1))) : first;
  if (first && last && *first > *last) {
    throw ChoiceError(
        fmt::format("The range \"{}\" runs backwards; it is written {}-{}.", text, *last, *first));
  }
  if (first && last && *first >= of.first && *last <= of.last) return {*first, *last};
  if (is_range && !(first && last)) {
    throw ChoiceError(fmt::format("\"{}\" is no range of {}, such as 7-9.", text, of.many));
  }
  throw ChoiceError(fmt::format("\"{}\" is no {}: they have the numbers {} to {}, several as 5,7-9.", text,
                                of.one, of.first, of.last));
}

// What stands between commas, without the blanks around it.
template <class Use>
void ForEachPart(std::string_view text, Use use) {
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(',', at), text.size());
    const std::string_view part = Trimmed(text.substr(at, end - at));
    if (part.empty()) {
      const bool has_comma = text.find(',') != std::string_view::npos;
      throw ChoiceError(fmt::format("\"{}\" names nothing{}.", text, has_comma ? " beside a comma" : ""));
    }
    use(part);
    at = end + 1;
  }
}

std::vector<std::string> Words(std::string_view text) {
  std::vector<std::string> words;
  for (std::string_view rest = Trimmed(text); !rest.empty();) {
    const std::string_view word = rest.substr(0, rest.find(' '));
    words.push_back(jet::UpperText(word));
    rest = Trimmed(rest.substr(word.size()));
  }
  return words;
}

bool HasWords(const FixEntry& fix, const std::vector<std::string>& words) {
  const std::vector<std::string> caption = Words(fix.caption);
  return std::ranges::all_of(words, [&](const std::string& word) {
    return std::ranges::any_of(caption, [&](const std::string& of) { return of.starts_with(word); });
  });
}

// What to say of words that no caption has all.
std::string NoSuchWords(std::string_view text, const std::vector<std::string>& words) {
  std::vector<std::string> known;
  for (const FixEntry& fix : FixCatalogue()) std::ranges::move(Words(fix.caption), std::back_inserter(known));
  for (const std::string& word : words) {
    if (std::ranges::any_of(known, [&](const std::string& of) { return of.starts_with(word); })) continue;
    if (const std::string nearest = Nearest(word, known); !nearest.empty()) {
      return fmt::format("No fix has the words \"{}\" in its caption; did you mean '{}'?", text,
                         jet::LowerText(nearest));
    }
  }
  return fmt::format("No fix has the words \"{}\" in its caption; vntfix list shows them all.", text);
}

std::vector<const FixEntry*> FixesOfWords(std::string_view text, Matches matches) {
  const std::vector<std::string> words = Words(text);
  std::vector<const FixEntry*> found;
  for (const FixEntry& fix : FixCatalogue()) {
    if (jet::EqualNames(fix.caption, text)) return {&fix};
    if (HasWords(fix, words)) found.push_back(&fix);
  }
  if (found.empty()) throw ChoiceError(NoSuchWords(text, words));
  if (found.size() == 1 || matches == Matches::kAll) return found;
  std::string candidates;
  for (const FixEntry* fix : found) {
    candidates += fmt::format("{}{} \"{}\"", candidates.empty() ? "" : ", ", fix->index, fix->caption);
  }
  throw ChoiceError(fmt::format("\"{}\" is more than one fix: {}.", text, candidates));
}

}  // namespace

FixSelection ChooseFixes(std::string_view text, Matches matches) {
  FixSelection selection;
  ForEachPart(text, [&](std::string_view part) {
    if (!IsNumeric(part)) {
      for (const FixEntry* fix : FixesOfWords(part, matches))
        selection.set(static_cast<std::size_t>(fix->index));
      return;
    }
    const NoticeRange range = Range(part, kFixes);
    for (int index = range.first; index <= range.last; ++index) {
      selection.set(static_cast<std::size_t>(index));
    }
  });
  return selection;
}

bool IsFixNumber(std::string_view text) {
  const auto number = Number(text);
  return number && *number < kFixCount;
}

std::vector<NoticeRange> ParseNotices(std::string_view text) {
  std::vector<NoticeRange> ranges;
  ForEachPart(text, [&](std::string_view part) { ranges.push_back(Range(part, kNotices)); });
  return ranges;
}

}  // namespace vnt::cli
