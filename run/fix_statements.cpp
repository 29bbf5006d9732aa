#include "run/fix_statements.h"

#include <algorithm>
#include <iterator>
#include <regex>
#include <utility>

namespace vnt {
namespace {

#include "statement_texts.inc"

// The files show what was sent for example rows. Values that came from these rows give way to their names.
std::string WithoutExamples(const std::string& line) {
  static const std::pair<std::regex, const char*> kExamples[] = {
      {std::regex(R"((ntc_id|grp_id|seq_no) = \d+)", std::regex::icase), "$1 = <$1>"},
      {std::regex(R"((from rf_ant_type\w* where pattern_id) = \d+)"), "$1 = <pattern_id>"},
      {std::regex(R"((AND emi_rcp) = '\w+' (AND beam_name) =  '\w+')"), "$1 = <emi_rcp> $2 =  <beam_name>"},
      {std::regex(R"((\bvalues *\().*\)$)", std::regex::icase), "$1<computed from the rows that were read>)"},
  };
  std::string text = line;
  for (const auto& [example, name] : kExamples) text = std::regex_replace(text, example, name);
  return text;
}

}  // namespace

std::vector<StatementSection> StatementsOf(std::string_view routine) {
  constexpr std::string_view kTitle = "== ";
  const auto file = std::ranges::find(kStatementFiles, routine, [](const auto& f) { return f.first; });
  if (file == std::end(kStatementFiles)) return {};
  std::vector<StatementSection> sections;
  for (std::string_view rest = file->second; !rest.empty();) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    const std::string line(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (line.starts_with(kTitle)) {
      const std::string title = line.substr(kTitle.size());
      sections.push_back({title.substr(0, title.find(" 12")), {}});
      continue;
    }
    if (sections.empty()) continue;
    std::vector<std::string>& lines = sections.back().lines;
    std::string text = WithoutExamples(line);
    // A statement that is sent again and again is named once; one that is sent twice as it stands, twice.
    if (text == line || std::ranges::find(lines, text) == lines.end()) lines.push_back(std::move(text));
  }
  return sections;
}

}  // namespace vnt
