// Completion of a command line that is being typed. The shells' own files (packaging/completions) ask for it
// with the hidden command
//
//   vntfix __complete SHELL WORD...
//
// whose words are those of the line behind the program's name, the last of them the one that is being typed,
// empty where a new one begins. The answer is a line that says what files may stand there ("none", "any",
// "databases" or "folders"), then a line for each candidate: the word, a tab, what it is. A candidate is the
// whole word, so that of --only 7,8 is "7,8".
//
// What is offered comes from the parser's own table of commands and options. A database that is named on the
// line is opened for reading, for the names of its tables; whatever cannot be read gives none.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/cli.h"

namespace vnt::cli {

inline constexpr std::string_view kCompletionCommand = "__complete";

struct Candidate {
  std::string word;
  std::string description;  // may be empty
};

struct Completion {
  std::string_view files = "none";
  std::vector<Candidate> candidates;
};

// `words` without quotes, as the program would get them.
Completion Complete(const std::vector<std::string>& words);

// A word as it stands on the line of a shell, without its quotes and backslashes; the last quote may be open.
// Nothing else is expanded: what a completion runs must not depend on what was typed.
std::string WithoutQuotes(std::string_view word);

// The hidden command: a shell, and the words, which bash hands over as they were typed.
int PrintCompletion(const std::vector<std::string>& arguments, Streams& streams);

}  // namespace vnt::cli
