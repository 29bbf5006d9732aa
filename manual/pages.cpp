#include "manual/pages.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "cli/command_line.h"
#include "cli/help_text.h"
#include "manual/roff.h"
#include "run/catalogue.h"
#include "startup/usage.h"

namespace vnt::manual {
namespace {

constexpr char kVolume[] = "Notice databases";
constexpr char kWindowPurpose[] = "repair databases of satellite network notices in a window";

std::string Source() {
  return fmt::format("VNTFixdb {}.{}.{}", VNT_VERSION_MAJOR, VNT_VERSION_MINOR, VNT_VERSION_REVISION);
}

std::string Capitals(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// A sentence as the line of the section NAME has it.
std::string Purpose(std::string sentence) {
  sentence.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(sentence.front())));
  if (sentence.ends_with('.')) sentence.pop_back();
  return sentence;
}

std::string Sentence(std::string text) {
  if (!text.empty() && !text.ends_with('.')) text += '.';
  return text;
}

std::vector<const CLI::App*> Commands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

// "--report FILE" with what is to be replaced in another letter.
std::string Term(const CLI::Option& option) {
  const std::string name = cli::OptionName(option);
  const std::size_t value = cli::TakesValue(option) ? name.rfind(' ') : std::string::npos;
  if (value == std::string::npos) return Bold(name);
  return Bold(name.substr(0, value)) + " " + Italic(name.substr(value + 1));
}

template <class Options>
std::string Names(const Options& options) {
  std::string names;
  for (const CLI::Option* option : options) {
    names += (names.empty() ? "--" : ", --") + option->get_lnames().front();
  }
  return names;
}

void AddOptions(const CLI::App& app, Page& page) {
  page.Section("OPTIONS");
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_positional()) continue;
    std::string text = Sentence(option->get_description());
    // In the order of the command's options: that of the sets is an accident.
    std::vector<const CLI::Option*> excluded, needed;
    for (const CLI::Option* other : app.get_options()) {
      if (option->get_excludes().contains(const_cast<CLI::Option*>(other))) excluded.push_back(other);
      if (option->get_needs().contains(const_cast<CLI::Option*>(other))) needed.push_back(other);
    }
    if (!needed.empty()) text += " Only with " + Names(needed) + ".";
    if (!excluded.empty()) text += " Not with " + Names(excluded) + ".";
    page.Entry(Term(*option), text);
  }
}

void AddEnvironment(Page& page) {
  page.Section("ENVIRONMENT");
  for (const cli::HelpEntry& variable : cli::EnvironmentEntries()) {
    page.Entry(Bold(variable.name), Sentence(std::string(variable.text)));
  }
}

void AddExitStatus(Page& page) {
  page.Section("EXIT STATUS");
  for (const cli::HelpEntry& status : cli::ExitStatusEntries()) {
    page.Entry(Bold(status.name), Sentence(std::string(status.text)));
  }
}

void AddFixes(Page& page) {
  page.Section("FIXES");
  page.Paragraph("In the order in which they run; those marked with * run unless they are left out.");
  for (const FixEntry& fix : FixCatalogue()) {
    std::string text(fix.summary);
    if (!fix.reach.empty()) text += fmt::format(" With --notice too it {}.", fix.reach);
    std::string caption(fix.caption);
    if (caption.ends_with(' ')) caption.pop_back();
    page.Entry(Bold(fmt::format("{}{}", fix.index, fix.ticked ? " *" : "")) + " " + Plain(caption), text);
  }
}

File PageOfCommand(const CLI::App& command, const std::string& date) {
  const std::string name = "vntfix-" + command.get_name();
  Page page(Capitals(name), date, Source(), kVolume);
  page.Section("NAME");
  page.Name(name, Purpose(command.get_description()));
  page.Section("SYNOPSIS");
  std::string line = Bold("vntfix " + command.get_name());
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_positional()) line += " " + Italic(cli::ArgumentName(*option));
  }
  page.Line(line + " [" + Italic("OPTIONS") + "]");
  page.Section("DESCRIPTION");
  page.Paragraph(Sentence(command.get_description()));
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_positional()) continue;
    page.Entry(Italic(option->get_name(true)), Sentence(option->get_description()));
  }
  AddOptions(command, page);
  if (command.get_name() == "fix") AddFixes(page);
  constexpr std::string_view kExamples = "Examples:\n";
  const std::string footer = command.get_footer();
  const std::size_t examples = std::min(footer.find(kExamples), footer.size());
  if (examples > 0) {
    page.Section("NOTES");
    page.Paragraph(std::string_view(footer).substr(0, examples));
  }
  if (examples < footer.size()) {
    page.Section("EXAMPLES");
    page.Example(std::string_view(footer).substr(examples + kExamples.size()));
  }
  AddEnvironment(page);
  AddExitStatus(page);
  page.Section("SEE ALSO");
  page.Line(Bold("vntfix") + "(1)");
  return {"vntfix/" + name + ".1", page.text()};
}

File PageOfTool(const CLI::App& app, const std::string& date) {
  Page page("VNTFIX", date, Source(), kVolume);
  page.Section("NAME");
  page.Name("vntfix", Purpose(app.get_description()));
  page.Section("SYNOPSIS");
  page.Line(Bold("vntfix") + " " + Italic("COMMAND") + " ...");
  page.Section("DESCRIPTION");
  page.Paragraph(app.get_description());
  page.Paragraph("Each command has a page of its own.");
  page.Section("COMMANDS");
  for (const CLI::App* command : Commands(app)) {
    page.Entry(Bold("vntfix-" + command->get_name()) + "(1)", Sentence(command->get_description()));
  }
  AddOptions(app, page);
  AddEnvironment(page);
  AddExitStatus(page);
  page.Section("SEE ALSO");
  page.Line(Bold("VNTFixdb") + "(1)");
  return {"vntfix/vntfix.1", page.text()};
}

File PageOfWindow(const std::string& date) {
  Page page("VNTFIXDB", date, Source(), kVolume);
  page.Section("NAME");
  page.Name("VNTFixdb", kWindowPurpose);
  page.Section("SYNOPSIS");
  page.Line(Bold("VNTFixdb") + " [" + Italic("TEXT") + "]");
  page.Section("DESCRIPTION");
  for (const CommandLineForm& form : CommandLineForms()) {
    const std::string meaning = form.meaning.empty() ? "prints, and ends" : std::string(form.meaning);
    page.Entry(Bold(form.line), Sentence(meaning));
  }
  page.Section("SETTINGS");
  page.Paragraph(UsageNotes());
  AddEnvironment(page);
  page.Section("SEE ALSO");
  page.Line(Bold("vntfixdb-open") + "(1), " + Bold("vntfix") + "(1)");
  return {"vntfixdb/VNTFixdb.1", page.text()};
}

File PageOfOpener(const std::string& date) {
  Page page("VNTFIXDB-OPEN", date, Source(), kVolume);
  page.Section("NAME");
  page.Name("vntfixdb-open", "show a database in the window of VNTFixdb");
  page.Section("SYNOPSIS");
  page.Line(Bold("vntfixdb-open") + " [" + Italic("FILE") + "]");
  page.Section("DESCRIPTION");
  page.Paragraph(
      "Opens the window of VNTFixdb with the database FILE, as a file manager does. No fix is run, whatever "
      "is "
      "given, and the file is not written to: a database that opening alone would change stays unopened, "
      "with a "
      "message, and can be opened from the menu.");
  page.Section("SEE ALSO");
  page.Line(Bold("VNTFixdb") + "(1)");
  return {"vntfixdb/vntfixdb-open.1", page.text()};
}

}  // namespace

std::vector<File> Pages(const std::string& date) {
  std::vector<File> pages;
  cli::WithCommandLine([&](const CLI::App& app) {
    pages.push_back(PageOfTool(app, date));
    for (const CLI::App* command : Commands(app)) pages.push_back(PageOfCommand(*command, date));
  });
  pages.push_back(PageOfWindow(date));
  pages.push_back(PageOfOpener(date));
  return pages;
}

}  // namespace vnt::manual
