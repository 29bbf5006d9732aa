// vntfix list: the catalogue, and what each fix sends.
#include <ostream>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/fix_choice.h"
#include "cli/output.h"
#include "run/catalogue.h"
#include "run/fix_statements.h"

namespace vnt::cli {
namespace {

// Statements as they are sent, each ended by a semicolon; everything else as SQL comments.
void PrintStatements(const FixEntry& fix, std::ostream& out) {
  out << fmt::format("-- {} {}\n", fix.index, fix.caption);
  if (fix.routine_count == 0) out << "-- sends nothing\n";
  for (int i = 0; i < fix.routine_count; ++i) {
    const std::string_view routine = fix.routines[static_cast<std::size_t>(i)].name;
    for (const StatementSection& section : StatementsOf(routine)) {
      const bool is_words = section.title == "row by row";
      out << fmt::format("-- {}, {}{}\n", routine, section.title, section.lines.empty() ? ": nothing" : ":");
      for (const std::string& line : section.lines) out << (is_words ? "--   " + line : line + ";") << '\n';
    }
  }
  out << '\n';
}

}  // namespace

int List(const ListOptions& options, Streams& streams) {
  std::vector<int> chosen;
  const auto choose = [&](const FixSelection& selection) {
    for (int index = 0; index < kFixCount; ++index) {
      if (selection.test(static_cast<std::size_t>(index))) chosen.push_back(index);
    }
  };
  try {
    // In the order in which they are named.
    for (const std::string& fixes : options.fixes) choose(ChooseFixes(fixes, Matches::kAll));
  } catch (const ChoiceError& error) {
    streams.err << "vntfix list: " << error.what() << '\n';
    return kUsage;
  }
  if (options.fixes.empty()) choose(FixSelection().set());
  std::vector<std::vector<std::string>> rows;
  for (const int index : chosen) {
    const FixEntry& fix = FixByIndex(index);
    if (options.sql) PrintStatements(fix, streams.out);
    std::string summary(fix.summary);
    if (!fix.reach.empty()) summary += fmt::format(" With --notice too it {}.", fix.reach);
    rows.push_back({std::to_string(index), fix.ticked ? "x" : "", std::string(fix.caption), summary});
  }
  if (!options.sql) {
    PrintTable({"index", "default", "caption", "what it does"}, rows, {true, false, false, false},
               streams.out, streams.width);
  }
  return kOk;
}

}  // namespace vnt::cli
