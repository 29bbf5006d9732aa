// What --help prints.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vnt::cli {

struct HelpEntry {
  std::string_view name, text;
};
// What holds for all commands: variables, and exit statuses.
std::span<const HelpEntry> EnvironmentEntries();
std::span<const HelpEntry> ExitStatusEntries();

// "FILE...", in brackets where it may be left out.
std::string ArgumentName(const CLI::Option& option);
// "-h, --help", "--report FILE".
std::string OptionName(const CLI::Option& option);
// Whether a word belongs to the option.
bool TakesValue(const CLI::Option& option);

// Of the program, or of one command: usage, what it does, arguments, options, and its footer (examples).
std::string HelpText(const CLI::App& app);

}  // namespace vnt::cli
