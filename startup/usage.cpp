#include "startup/usage.h"

namespace vnt {
namespace {

constexpr CommandLineForm kForms[] = {
    {"VNTFixdb", "opens the window"},
    {"VNTFixdb Active", "opens it with the database CurDatabase and the notice Ntc_id of KV_SOFT.ini"},
    {"VNTFixdb TEXT",
     "any other text: runs the default fixes on that database and ends, with status 0, or 1 when\n"
     "the run was refused, ended early, a fix reported an error, the report cannot be written, or Ntc_id\n"
     "is no notice of it; a signal that ends the run early gives 128 plus its number"},
    {"VNTFixdb --help, -h, --version", ""},
};

constexpr std::string_view kNotes =
    R"(Settings in section [VNTFIXV7] of KV_SOFT.ini for a run without a window: CurDatabase, Ntc_id (0: all notices),
Backup=1 (copies the database first), Quiet=1 (messages go to standard error and the report, never into boxes).
VNTFIX_RUN_REPORT names a file for the report; JSON where it ends in .json. VNTFIX_OPEN names a database that
VNTFixdb alone opens in its window. vntfix --help tells of the command line tool.)";

constexpr std::size_t kMeaningColumn = 18;

}  // namespace

std::span<const CommandLineForm> CommandLineForms() { return kForms; }

std::string_view UsageNotes() { return kNotes; }

std::string UsageText() {
  std::string text;
  for (const CommandLineForm& form : kForms) {
    std::string line(form.line);
    if (!form.meaning.empty()) line.resize(kMeaningColumn, ' ');
    text += line;
    for (const char c : form.meaning) {
      text += c;
      if (c == '\n') text.append(kMeaningColumn, ' ');
    }
    text += '\n';
  }
  return text.append("\n").append(kNotes);
}

}  // namespace vnt
