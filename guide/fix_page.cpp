#include "guide/fix_page.h"

#include <algorithm>
#include <map>
#include <span>
#include <sstream>
#include <stdexcept>

#include <fmt/format.h>

#include "run/fix_runner.h"
#include "run/fix_statements.h"
#include "run/reference_check.h"

namespace vnt::guide {
namespace {

constexpr std::string_view kByRow = "row by row";

std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

void ReadHead(const std::string& key, const std::string& value, FixProse& prose) {
  const std::vector<std::string> words = Words(value);
  if (words.empty()) throw std::runtime_error("no value after \"" + key + ":\"");
  const auto change = [&](ChangeKind kind) {
    return TableChange{kind, words[0], {words.begin() + 1, words.end()}};
  };
  if (key == "rows first") {
    prose.rows_first.push_back(change(ChangeKind::kUpdate));
  } else if (key == "rows") {
    prose.rows.push_back(change(ChangeKind::kUpdate));
  } else if (key == "inserts rows") {
    prose.rows.push_back(change(ChangeKind::kInsert));
  } else if (key == "deletes rows") {
    prose.rows.push_back(change(ChangeKind::kDelete));
  } else if (key == "example") {
    prose.example_query = value;
  } else {
    throw std::runtime_error("\"" + key + ":\" means nothing");
  }
}

std::string Trimmed(std::string text) {
  text.erase(0, std::min(text.find_first_not_of('\n'), text.size()));
  text.erase(text.find_last_not_of('\n') + 1);
  return text;
}

// The sections of a routine that are sent to that server for that scope.
const StatementSection* Find(const std::vector<StatementSection>& sections, std::string_view title) {
  const auto found = std::ranges::find(sections, title, &StatementSection::title);
  return found == sections.end() ? nullptr : &*found;
}

std::vector<std::string> StatementsSent(const FixEntry& fix) {
  std::vector<std::string> all;
  for (int i = 0; i < fix.routine_count; ++i) {
    const auto sections = StatementsOf(fix.routines[static_cast<std::size_t>(i)].name);
    const StatementSection* whole = Find(sections, "whole database");
    if (whole != nullptr) all.insert(all.end(), whole->lines.begin(), whole->lines.end());
  }
  return all;
}

std::string Code(std::string text) {
  // A bar would end the cell of a table.
  for (std::size_t at = 0; (at = text.find('|', at)) != std::string::npos; at += 2) text.insert(at, "\\");
  return text.empty() ? "" : "`" + text + "`";
}

std::string Listed(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + Code(name);
  return list;
}

std::string Described(const TableChange& change) {
  const std::string table = Code(change.table);
  switch (change.kind) {
    case ChangeKind::kUpdate:
      return fmt::format("{}: changes {}", table, Listed(change.columns));
    case ChangeKind::kInsert:
      return table + ": adds rows" + (change.columns.empty() ? "" : " (" + Listed(change.columns) + ")");
    case ChangeKind::kDelete:
      return table + ": deletes rows";
    case ChangeKind::kMakeTable:
      return table + ": is made anew";
    default:
      return table + ": is dropped";
  }
}

std::string Facts(const FixEntry& fix) {
  static const std::map<FixColumn, const char*> kColumns = {
      {FixColumn::kLeft, "left"}, {FixColumn::kMiddle, "middle"}, {FixColumn::kRight, "right"}};
  FixSelection alone;
  alone.set(static_cast<std::size_t>(fix.index));
  std::string facts = "|     |     |\n|:----|:----|\n";
  const auto fact = [&](std::string_view name, const std::string& value) {
    facts += fmt::format("| {} | {} |\n", name, value);
  };
  fact("Number", fmt::format("{}: `vntfix fix notices.mdb --only {}`", fix.index, fix.index));
  fact("Box", fmt::format("{} column, {} from the top; {} at the start", kColumns.at(fix.column), fix.row + 1,
                          fix.ticked ? "ticked" : "not ticked"));
  fact("Its turn", fmt::format("step {} of {}", fix.step, kFixCount));
  if (std::string(fix.tooltip) != std::string(fix.caption))
    fact("The box's hint", Code(std::string(fix.tooltip)));
  fact("Reference database", NeedsReference(alone) ? "is read" : "is not read");
  fact("With one notice", fix.reach.empty() ? "changes rows of that notice only"
                                            : fmt::format("**reaches further: it {}**", fix.reach));
  return facts;
}

std::string Changes(const FixEntry& fix, const FixProse& prose) {
  const auto changes = ChangesOf(fix, prose);
  if (changes.empty()) return "Nothing. A run adds its history rows all the same.\n";
  std::string text = "In this order:\n\n";
  int number = 0;
  for (const TableChange& change : changes) text += fmt::format("{}. {}\n", ++number, Described(change));
  std::set<std::string> read = TablesOf(fix, prose);
  for (const TableChange& change : changes) read.erase(change.table);
  if (!read.empty()) text += fmt::format("\nIt looks into {} as well.\n", Listed({read.begin(), read.end()}));
  return text;
}

std::string Table(const std::vector<std::vector<std::string>>& rows, bool first_column_is_plain) {
  std::string text;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    for (std::size_t c = 0; c < rows[r].size(); ++c) {
      const bool plain = r == 0 || (c == 0 && first_column_is_plain);
      text += "| " + (plain ? rows[r][c] : Code(rows[r][c])) + " ";
    }
    text += "|\n";
    if (r != 0) continue;
    for (std::size_t c = 0; c < rows[0].size(); ++c) text += "|:----";
    text += "|\n";
  }
  return text;
}

std::string ExampleText(const FixProse& prose, const Example& example) {
  if (example.tables.empty()) return "The fix changes nothing in the sample databases.\n";
  std::string text = fmt::format(
      "The fix alone, on sample databases (`vntfix sample folder --notices {} --seed 1`, data level -1):\n",
      kExampleNotices);
  for (const ExampleTable& table : example.tables) {
    text += fmt::format("\n**{}**: {}\n", Code(table.name), table.counts);
    if (!table.remarks.empty()) text += "\n";
    for (const std::string& remark : table.remarks) text += remark + "\n";
    if (!prose.example_query.empty() || table.rows.empty()) continue;
    auto rows = table.rows;
    rows.insert(rows.begin(), table.columns);
    text += "\n" + Table(rows, true);
  }
  if (prose.example_query.empty()) return text;
  text += fmt::format("\nOne part of it, before and after, as `vntfix sql` shows it:\n\n```sql\n{}\n```\n\n",
                      prose.example_query);
  return text + "Before:\n\n" + Table(example.before, false) + "\nAfter:\n\n" + Table(example.after, false);
}

void AppendStatements(const StatementSection& section, std::string_view title, std::string& text) {
  text += fmt::format("\n{}:\n\n", title);
  if (section.lines.empty()) {
    text += "Nothing is sent.\n";
    return;
  }
  text += "```sql\n";
  for (const std::string& line : section.lines) text += line + "\n";
  text += "```\n";
}

std::string Statements(const FixEntry& fix) {
  if (fix.routine_count == 0) return "It sends none.\n";
  std::string text =
      "As they are sent. Values of rows that were read stand as `<grp_id>` and the like; carriage return and "
      "line "
      "feed as `\\r` and `\\n`.\n";
  for (int i = 0; i < fix.routine_count; ++i) {
    const std::string name(fix.routines[static_cast<std::size_t>(i)].name);
    const auto sections = StatementsOf(name);
    if (fix.routine_count > 1) text += fmt::format("\n### {} of {}: {}\n", i + 1, fix.routine_count, name);
    const std::pair<const char*, const char*> kTitles[] = {
        {"whole database", "On the whole database"},
        {"notice", "On one notice"},
        {"Ingres, whole database", "On Ingres, the whole database"},
        {"Ingres, notice", "On Ingres, one notice"}};
    for (const auto& [key, title] : kTitles) {
      if (const StatementSection* section = Find(sections, key)) AppendStatements(*section, title, text);
    }
    if (Find(sections, "Ingres, whole database") == nullptr)
      text += "\nAn Ingres data source gets the same texts.\n";
    if (const StatementSection* rows = Find(sections, kByRow)) {
      text += "\nRow by row:\n\n";
      for (const std::string& line : rows->lines) text += "- " + line + "\n";
    }
  }
  return text;
}

}  // namespace

FixProse ReadProse(const std::string& text) {
  static constexpr std::string_view kMark = "---";
  FixProse prose;
  std::istringstream stream(text);
  std::string line;
  const bool has_head = text.starts_with(std::string(kMark) + "\n");
  if (has_head) std::getline(stream, line);
  while (has_head && std::getline(stream, line) && line != kMark) {
    const std::size_t colon = line.find(": ");
    if (colon == std::string::npos) throw std::runtime_error("\"" + line + "\" means nothing");
    ReadHead(line.substr(0, colon), line.substr(colon + 2), prose);
  }
  std::map<std::string, std::string> sections;
  std::string* section = nullptr;
  while (std::getline(stream, line)) {
    if (line.starts_with("## ")) {
      section = &sections[line.substr(3)];
    } else if (section != nullptr) {
      *section += line + "\n";
    } else if (!line.empty()) {
      throw std::runtime_error("\"" + line + "\" stands in no section");
    }
  }
  prose.purpose = Trimmed(std::move(sections["What it is for"]));
  prose.working = Trimmed(std::move(sections["How it works"]));
  prose.caution = Trimmed(std::move(sections["When not to use it"]));
  if (prose.purpose.empty()) throw std::runtime_error("nothing is said under \"What it is for\"");
  if (prose.caution.empty()) throw std::runtime_error("nothing is said under \"When not to use it\"");
  if (sections.size() > 3) throw std::runtime_error("it has a section of another name");
  return prose;
}

std::vector<TableChange> ChangesOf(const FixEntry& fix, const FixProse& prose) {
  std::vector<TableChange> changes = prose.rows_first;
  for (const std::string& statement : StatementsSent(fix)) {
    const auto change = TouchOf(statement).change;
    if (change && (changes.empty() || changes.back() != *change)) changes.push_back(*change);
  }
  changes.insert(changes.end(), prose.rows.begin(), prose.rows.end());
  return changes;
}

std::set<std::string> TablesOf(const FixEntry& fix, const FixProse& prose) {
  std::set<std::string> tables;
  for (const TableChange& change : ChangesOf(fix, prose)) tables.insert(change.table);
  for (const std::string& statement : StatementsSent(fix)) tables.merge(TouchOf(statement).read);
  return tables;
}

std::string PageName(int fix_index) { return fmt::format("{:02}.md", fix_index); }

std::string FixPage(const FixEntry& fix, const FixProse& prose, const Example& example) {
  std::string page = fmt::format("# {}. {}\n\n{}\n\n{}", fix.index, fix.caption, fix.summary, Facts(fix));
  page += fmt::format("\n## What it is for\n\n{}\n", prose.purpose);
  page += fmt::format("\n## What it changes\n\n{}", Changes(fix, prose));
  if (!prose.working.empty()) page += fmt::format("\n## How it works\n\n{}\n", prose.working);
  page += fmt::format("\n## When not to use it\n\n{}\n", prose.caution);
  page += fmt::format("\n## An example\n\n{}", ExampleText(prose, example));
  return page + fmt::format("\n## Its statements\n\n{}", Statements(fix));
}

std::string FixListPage() {
  std::string page = fmt::format(
      "# The {} fixes\n\nEach has a page of its own. They run in the order of the last column, whichever are "
      "chosen, and not in that of their numbers. Those marked \"yes\" run when nothing else is chosen.\n\n"
      "| Number | Fix | What it does | Default | Its turn |\n|----:|:----|:----|:----|----:|\n",
      kFixCount);
  for (int index = 0; index < kFixCount; ++index) {
    const FixEntry& fix = FixByIndex(index);
    page += fmt::format("| {} | [{}](fixes/{}) | {} | {} | {} |\n", index, fix.caption, PageName(index),
                        fix.summary, fix.ticked ? "yes" : "no", fix.step);
  }
  page += "\nThe same list in order of execution: ";
  for (const FixEntry& fix : FixCatalogue())
    page += fmt::format("{}[{}](fixes/{})", fix.step == 1 ? "" : ", ", fix.index, PageName(fix.index));
  return page + ". At the end every notice in scope gets a [history row](after-a-run.md#history-rows).\n";
}

}  // namespace vnt::guide
