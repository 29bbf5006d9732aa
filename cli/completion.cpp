#include "cli/completion.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <ostream>

#include <CLI/CLI.hpp>

#include "access/base/text.h"
#include "access/store/database.h"
#include "cli/command_line.h"
#include "cli/help_text.h"
#include "cli/tables.h"
#include "run/catalogue.h"

namespace vnt::cli {
namespace {

// The words before the one that is being typed, sorted as the parser would.
struct Line {
  const CLI::App* command = nullptr;
  std::vector<const CLI::Option*> options;
  const CLI::Option* awaits_value = nullptr;  // the last word is an option that takes the next one
  bool options_ended = false;                 // by "--"
  bool unknown = false;                       // the word that should name the command names none
  std::vector<std::string> arguments;
};

std::vector<const CLI::App*> Commands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

const CLI::Option* OptionNamed(const CLI::App& app, const std::string& word) {
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_positional() && option->check_name(word)) return option;
  }
  return nullptr;
}

Line Read(const CLI::App& app, const std::vector<std::string>& words) {
  Line line;
  for (const std::string& word : words) {
    const CLI::App& scope = line.command == nullptr ? app : *line.command;
    if (line.awaits_value != nullptr) {
      line.awaits_value = nullptr;
    } else if (!line.options_ended && word == "--") {
      line.options_ended = true;
    } else if (!line.options_ended && word.size() > 1 && word.starts_with('-')) {
      const std::size_t value = word.find('=');
      const CLI::Option* option = OptionNamed(scope, word.substr(0, value));
      if (option == nullptr) continue;
      line.options.push_back(option);
      if (TakesValue(*option) && value == std::string::npos) line.awaits_value = option;
    } else if (line.command == nullptr) {
      const auto commands = Commands(app);
      const auto found = std::ranges::find(commands, word, [](const CLI::App* c) { return c->get_name(); });
      if (found == commands.end()) line.unknown = true;
      if (found != commands.end() && !line.unknown) line.command = *found;
    } else {
      line.arguments.push_back(word);
    }
  }
  return line;
}

// The argument that the next word would be.
const CLI::Option* NextArgument(const CLI::App& command, std::size_t given) {
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_positional()) continue;
    const auto most = static_cast<std::size_t>(option->get_items_expected_max());
    if (given < most) return option;
    given -= most;
  }
  return nullptr;
}

std::vector<Candidate> FixNumbers() {
  std::vector<Candidate> numbers;
  for (int index = 0; index < kFixCount; ++index) {
    numbers.push_back({std::to_string(index), std::string(FixByIndex(index).caption)});
  }
  return numbers;
}

// Captions as they can be typed: the words, with one blank between them.
std::vector<Candidate> FixCaptions() {
  std::vector<Candidate> captions;
  for (const FixEntry& fix : FixCatalogue()) {
    std::string words;
    for (const char c : fix.caption) {
      if (c != ' ' || !words.ends_with(' ')) words += c;
    }
    if (words.ends_with(' ')) words.pop_back();
    captions.push_back({words, "fix " + std::to_string(fix.index)});
  }
  return captions;
}

std::vector<Candidate> TableNames(const std::vector<std::string>& files) {
  std::vector<Candidate> names;
  for (std::string file : files) {
    // Quotes are gone here, and a file that is called "~" is rare.
    const char* home = std::getenv("HOME");
    if (file.starts_with("~/") && home != nullptr) file.replace(0, 1, home);
    try {
      const auto database = jet::Database::Open(jet::PlatformFileSystem(), file, jet::OpenMode::kRead);
      for (const jet::CatalogEntry& entry : SortedCatalog(*database)) {
        const bool is_new = std::ranges::find(names, entry.name, &Candidate::word) == names.end();
        if (IsUserTable(entry) && is_new) names.push_back({entry.name, {}});
      }
    } catch (const std::exception&) {
      // Whoever presses a key asks for no message; the command will say what is wrong.
    }
  }
  return names;
}

std::vector<Candidate> ChoiceWords(std::string_view words) {
  std::vector<Candidate> choices;
  for (std::size_t at = 0; at <= words.size();) {
    const std::size_t end = std::min(words.find('|', at), words.size());
    choices.push_back({std::string(words.substr(at, end - at)), {}});
    at = end + 1;
  }
  return choices;
}

// Those that `typed` is the beginning of: as it was typed or, where there is none, in any letter case.
std::vector<Candidate> BeginningWith(std::string_view typed, const std::vector<Candidate>& all) {
  std::vector<Candidate> exact, similar;
  for (const Candidate& candidate : all) {
    const std::string_view begin = std::string_view(candidate.word).substr(0, typed.size());
    if (begin == typed) {
      exact.push_back(candidate);
    } else if (begin.size() == typed.size() && jet::EqualWords(begin, typed)) {
      similar.push_back(candidate);
    }
  }
  return exact.empty() ? similar : exact;
}

// What can stand where a value of that kind is expected; `typed` is its beginning.
Completion Values(const CLI::Option& option, const std::string& typed,
                  const std::vector<std::string>& files) {
  const std::string kind =
      option.get_positional() ? option.get_name(/*positional=*/true) : option.get_type_name();
  if (kind == "FOLDER") return {"folders", {}};
  if (kind == "BACKUP") return {"any", {}};
  if (kind == "OLD" || kind == "NEW") return {"databases", {}};
  if (kind == "FILE") {
    const bool is_result = option.check_name("--report") || option.check_name("--output");
    return {is_result ? "any" : "databases", {}};
  }
  Completion values;
  const bool is_list = kind == "FIXES" || kind == "TABLES";
  const std::size_t begun = is_list ? typed.rfind(',') + 1 : 0;
  const std::string before = typed.substr(0, begun), word = typed.substr(begun);
  if (kind == "FIX") values.candidates = BeginningWith(word, FixNumbers());
  if (kind == "FIXES") {
    values.candidates = BeginningWith(word, FixNumbers());
    if (!word.empty()) {
      std::ranges::copy(BeginningWith(word, FixCaptions()), std::back_inserter(values.candidates));
    }
  }
  if (kind == "TABLE" || kind == "TABLES") values.candidates = BeginningWith(word, TableNames(files));
  if (kind.find('|') != std::string::npos) values.candidates = BeginningWith(word, ChoiceWords(kind));
  for (Candidate& candidate : values.candidates) candidate.word.insert(0, before);
  return values;
}

std::vector<Candidate> CommandsOf(const CLI::App& app) {
  std::vector<Candidate> commands;
  for (const CLI::App* c : Commands(app)) commands.push_back({c->get_name(), c->get_description()});
  return commands;
}

// The options that can still be given.
std::vector<Candidate> Options(const CLI::App& app, const Line& line) {
  std::vector<Candidate> names;
  for (const CLI::Option* option : app.get_options()) {
    const auto forbids = [&](const CLI::Option* given) {
      return given == option || std::ranges::count(given->get_excludes(), option) != 0;
    };
    if (option->get_positional() || std::ranges::any_of(line.options, forbids)) continue;
    for (const std::string& name : option->get_lnames()) {
      names.push_back({"--" + name, option->get_description()});
    }
  }
  return names;
}

Completion CompleteOn(const CLI::App& app, const std::vector<std::string>& before, const std::string& typed) {
  const Line line = Read(app, before);
  if (line.unknown) return {};
  if (line.awaits_value != nullptr) return Values(*line.awaits_value, typed, line.arguments);
  const CLI::App& scope = line.command == nullptr ? app : *line.command;
  if (!line.options_ended && typed.starts_with('-')) {
    const std::size_t equals = typed.find('=');
    if (equals == std::string::npos) return {"none", BeginningWith(typed, Options(scope, line))};
    const CLI::Option* option = OptionNamed(scope, typed.substr(0, equals));
    if (option == nullptr || !TakesValue(*option)) return {};
    Completion values = Values(*option, typed.substr(equals + 1), line.arguments);
    for (Candidate& candidate : values.candidates) candidate.word.insert(0, typed.substr(0, equals + 1));
    return values;
  }
  if (line.command == nullptr) {
    return {"none", BeginningWith(typed, CommandsOf(app))};
  }
  const CLI::Option* argument = NextArgument(scope, line.arguments.size());
  if (argument == nullptr) return {};
  if (argument->get_name(/*positional=*/true) == "COMMAND")
    return {"none", BeginningWith(typed, CommandsOf(app))};
  return Values(*argument, typed, line.arguments);
}

}  // namespace

std::string WithoutQuotes(std::string_view word) {
  std::string text;
  char quote = 0;
  for (std::size_t i = 0; i < word.size(); ++i) {
    const char c = word[i];
    if (quote == 0 && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == quote) {
      quote = 0;
    } else if (c == '\\' && quote != '\'' && i + 1 < word.size()) {
      const char next = word[++i];
      // Between double quotes a backslash stays, but before what would mean something there.
      if (quote == '"' && std::string_view("\"\\$`").find(next) == std::string_view::npos) text += c;
      text += next;
    } else {
      text += c;
    }
  }
  return text;
}

Completion Complete(const std::vector<std::string>& words) {
  if (words.empty()) return {};
  Completion completion;
  WithCommandLine([&](const CLI::App& app) {
    completion = CompleteOn(app, {words.begin(), words.end() - 1}, words.back());
  });
  return completion;
}

int PrintCompletion(const std::vector<std::string>& arguments, Streams& streams) {
  if (arguments.empty()) return kUsage;
  std::vector<std::string> words(arguments.begin() + 1, arguments.end());
  // bash hands over every word as it was typed, fish the last one.
  const std::string& shell = arguments.front();
  if (shell == "bash") std::ranges::transform(words, words.begin(), WithoutQuotes);
  if (shell == "fish" && !words.empty()) words.back() = WithoutQuotes(words.back());
  const Completion completion = Complete(words);
  streams.out << completion.files << '\n';
  for (const Candidate& candidate : completion.candidates) {
    streams.out << candidate.word << '\t' << candidate.description << '\n';
  }
  return kOk;
}

}  // namespace vnt::cli
