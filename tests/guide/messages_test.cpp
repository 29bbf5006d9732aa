// The chapter on messages: each sentence that the programs can say is in it, and what it lists they can say.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "tests/guide/guide_files.h"

namespace vnt::guide {
namespace {

namespace fs = std::filesystem;
using test::Content;
using test::kGuide;
using test::kSources;
using test::Matches;

std::string WithSingleBlanks(const std::string& text) {
  std::string result;
  for (const char c : text) {
    const bool blank = std::isspace(static_cast<unsigned char>(c)) != 0;
    if (!blank || (!result.empty() && result.back() != ' ')) result += blank ? ' ' : c;
  }
  while (result.ends_with(' ')) result.pop_back();
  return result;
}

// The texts between double quotes in C++, those that follow each other joined; raw ones are left out.
std::vector<std::string> Literals(const std::string& source) {
  std::vector<std::string> literals;
  bool goes_on = false;
  for (std::size_t at = 0; at < source.size(); ++at) {
    if (std::isspace(static_cast<unsigned char>(source[at])) != 0) continue;
    if (source.compare(at, 2, "//") == 0) {
      at = source.find('\n', at);
      if (at == std::string::npos) break;
    } else if (source.compare(at, 2, "R\"") == 0) {
      const std::size_t open = source.find('(', at);
      const std::string close = ")" + source.substr(at + 2, open - at - 2) + "\"";
      at = source.find(close, open) + close.size() - 1;
      goes_on = false;
    } else if (source[at] == '"' || source[at] == '\'') {
      std::size_t end = at + 1;
      while (end < source.size() && source[end] != source[at] && source[end] != '\n')
        end += source[end] == '\\' ? 2 : 1;
      const bool text = source[at] == '"';
      if (text && !goes_on) literals.emplace_back();
      if (text) literals.back() += source.substr(at + 1, end - at - 1);
      goes_on = text;
      at = end;
    } else {
      goes_on = false;
    }
  }
  return literals;
}

// The fixed parts of a message, between what stands for names and numbers.
std::vector<std::string> Parts(std::string text, const std::regex& gap) {
  static const std::regex kEscapedQuote(R"(\\(["']))"), kLineEnd(R"(\\n)");
  text = std::regex_replace(std::regex_replace(text, kEscapedQuote, "$1"), kLineEnd, " ");
  std::vector<std::string> parts;
  for (std::sregex_token_iterator it(text.begin(), text.end(), gap, -1), end; it != end; ++it) {
    const std::string part = WithSingleBlanks(*it);
    if (std::ranges::count_if(part, [](unsigned char c) { return std::isalpha(c) != 0; }) > 3)
      parts.push_back(part.substr(part.front() == ' '));
  }
  return parts;
}

// No caption that ends in "..." and no piece of SQL that ends in the name of a row.
bool IsSentence(const std::string& literal) {
  static const std::regex kNone(R"(\.\.\.$|\W\w\.$)");
  if (std::regex_search(literal, kNone)) return false;
  static const std::regex kEnd(R"(\w.* .*[.!?]\s*(\\n)?$)");
  return std::regex_search(literal, kEnd);
}

// Folders and files that say nothing to users, or say it as help and captions.
bool SaysMessages(const fs::path& source) {
  static const std::set<std::string> kOthers = {
      "cli/command_line.cpp",         "cli/help_text.cpp",   "cli/list_command.cpp", "run/catalogue.cpp",
      "access/file/memory_files.cpp", "ui/report_frame.cpp", "ui/report_rows.cpp"};
  static const std::set<std::string> kFolders = {"access", "cli",     "compare", "db",       "fixes",
                                                 "freq",   "help",    "history", "platform", "program",
                                                 "run",    "startup", "ui"};
  const fs::path name = source.lexically_relative(kSources);
  return kFolders.contains(name.begin()->string()) && !kOthers.contains(name.generic_string()) &&
         (name.extension() == ".cpp" || name.extension() == ".h");
}

std::vector<std::pair<std::string, std::string>> LiteralsOfThePrograms() {
  std::vector<std::pair<std::string, std::string>> all;  // file, text
  for (const fs::directory_entry& folder : fs::directory_iterator(kSources)) {
    if (!folder.is_directory()) continue;
    for (const auto& entry : fs::recursive_directory_iterator(folder.path())) {
      if (!SaysMessages(entry.path())) continue;
      for (std::string& literal : Literals(Content(entry.path())))
        all.emplace_back(entry.path().lexically_relative(kSources).generic_string(), std::move(literal));
    }
  }
  return all;
}

std::string Chapter() {
  static const std::regex kBar(R"(\\\|)");
  return std::regex_replace(Content(kGuide / "messages.md"), kBar, "|");
}

TEST(Messages, EachSentenceOfTheProgramsIsInTheGuide) {
  static const std::regex kGap(R"(\{[^{}]*\})");
  const std::string chapter = WithSingleBlanks(Chapter());
  int sentences = 0;
  for (const auto& [file, literal] : LiteralsOfThePrograms()) {
    if (!IsSentence(literal)) continue;
    ++sentences;
    for (const std::string& part : Parts(literal, kGap))
      EXPECT_NE(chapter.find(part), std::string::npos) << file << ": " << literal << "\nlacking: " << part;
  }
  EXPECT_GT(sentences, 300);
}

TEST(Messages, TheGuideListsNoneThatTheProgramsDoNotSay) {
  static const std::regex kRow(R"(\n\| `([^`]+)` \|)"), kItem(R"(\n- `([^`]+)`)"), kGap("…"),
      kValue(R"(\{[^{}]*\})");
  std::string said;
  for (const auto& [file, literal] : LiteralsOfThePrograms()) {
    for (const std::string& part : Parts(literal, kValue)) said += part + "\n";
  }
  const std::string chapter = Chapter();
  std::vector<std::string> listed = Matches(chapter, kRow);
  for (std::string& item : Matches(chapter, kItem)) listed.push_back(std::move(item));
  EXPECT_GT(listed.size(), 250U);
  for (const std::string& message : listed) {
    for (const std::string& part : Parts(message, kGap))
      EXPECT_NE(said.find(part), std::string::npos) << message << "\nnowhere: " << part;
  }
}

TEST(Messages, LiteralsAreFound) {
  EXPECT_EQ(Literals("a(\"It is \"  // \"no\"\n  \"one.\", 'x', \"b\\\"c\");"),
            (std::vector<std::string>{"It is one.", "b\\\"c"}));
  EXPECT_EQ(Literals("R\"x(no \"text\")x\" \"yes\""), (std::vector<std::string>{"yes"}));
}

}  // namespace
}  // namespace vnt::guide
