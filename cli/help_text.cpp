#include "cli/help_text.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

namespace vnt::cli {
namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kIndent = 2;
constexpr std::size_t kNameWidth = 24;

constexpr HelpEntry kEnvironment[] = {
    {"VNTFIX_WINDIR", "folder of KV_SOFT.ini and WIN.INI"},
    {"VNTFIX_CDRIVE", "folder that stands for drive C: (logs)"},
    {"VNTFIX_SQL_LOG", "file that gets every statement sent"},
};
constexpr std::size_t kVariableWidth = 22;

constexpr HelpEntry kExitStatuses[] = {
    {"0", "done"},
    {"1",
     "done, with errors: of a fix or a statement, or check found a fault, or diff a difference; or a run "
     "that ended early, with the finished fixes kept"},
    {"2", "wrong usage"},
    {"3", "refused, and the file is as it was; or what was named is not in it: a notice, a table"},
    {"4", "done, but the output could not be written"},
    {"128 and more", "ended by the signal of that number less 128"},
};
constexpr std::size_t kStatusWidth = 3;

// A name and, beside it or below a long one, the text, wrapped.
void AppendEntry(std::string_view name, std::string_view text, std::string* out,
                 std::size_t name_width = kNameWidth) {
  const std::size_t start = kIndent + name_width;
  std::string line = std::string(kIndent, ' ').append(name);
  if (line.size() + kIndent > start) {
    *out += line + "\n";
    line.clear();
  }
  line.resize(start, ' ');
  bool empty = true;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    const std::string_view word = text.substr(at, end - at);
    if (!empty && line.size() + 1 + word.size() > kWidth) {
      *out += line + "\n";
      line.assign(start, ' ');
      empty = true;
    }
    if (!empty) line += ' ';
    line += word;
    empty = false;
    at = end + 1;
  }
  *out += line + "\n";
}

void AppendOfAllCommands(std::string* out) {
  *out += "\nEnvironment:\n";
  for (const HelpEntry& variable : kEnvironment)
    AppendEntry(variable.name, variable.text, out, kVariableWidth);
  *out += "\nExit status:\n";
  for (const HelpEntry& status : kExitStatuses) {
    if (status.name.size() < kStatusWidth) {
      AppendEntry(status.name, status.text, out, kStatusWidth);
    } else {
      *out += fmt::format("  {}: {}\n", status.name, status.text);
    }
  }
}

std::string Usage(const CLI::App& app) {
  std::string usage =
      "Usage: " + (app.get_parent() == nullptr ? "" : app.get_parent()->get_name() + " ") + app.get_name();
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_positional()) usage += " " + ArgumentName(*option);
  }
  const bool has_commands = !app.get_subcommands([](const CLI::App*) { return true; }).empty();
  return usage + (has_commands ? " COMMAND ..." : " [OPTIONS]") + "\n";
}

}  // namespace

std::span<const HelpEntry> EnvironmentEntries() { return kEnvironment; }

std::span<const HelpEntry> ExitStatusEntries() { return kExitStatuses; }

std::string ArgumentName(const CLI::Option& option) {
  std::string name = option.get_name(/*positional=*/true);
  if (option.get_items_expected_max() > 1) name += "...";
  return option.get_required() ? name : "[" + name + "]";
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

std::string OptionName(const CLI::Option& option) {
  std::string name = option.get_name(/*positional=*/false, /*all_options=*/true);
  for (std::size_t at = 0; (at = name.find(',', at)) != std::string::npos; at += 2) name.insert(at + 1, " ");
  return TakesValue(option) ? name + " " + option.get_type_name() : name;
}

std::string HelpText(const CLI::App& app) {
  std::string text = Usage(app) + "\n" + app.get_description() + "\n";
  std::string arguments, options;
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_positional()) {
      AppendEntry(option->get_name(true), option->get_description(), &arguments);
    } else {
      AppendEntry(OptionName(*option), option->get_description(), &options);
    }
  }
  if (!arguments.empty()) text += "\n" + arguments;
  const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
  if (!commands.empty()) text += "\nCommands:\n";
  for (const CLI::App* command : commands) {
    AppendEntry(command->get_name(), command->get_description(), &text);
  }
  text += "\nOptions:\n" + options;
  if (!app.get_footer().empty()) text += "\n" + app.get_footer();
  AppendOfAllCommands(&text);
  return text;
}

}  // namespace vnt::cli
