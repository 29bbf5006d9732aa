// vntfix fix and vntfix list.
#include <ostream>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/output.h"
#include "db/guards/guards.h"
#include "startup/platform/messages.h"
#include "startup/platform/settings.h"
#include "startup/state/program_state.h"
#include "ui/runner/fix_runner.h"
#include "ui/runner/run_report.h"

namespace vnt::cli {
namespace {

class StreamMessages : public platform::Messages {
 public:
  explicit StreamMessages(std::ostream& err) : err_(err) {}
  void Show(std::string_view text, platform::MessageStyle) override { err_ << text << '\n'; }

 private:
  std::ostream& err_;
};

// Prints a line per fix as it ends, and on a terminal the name of the running one.
class FixPrinter : public RunReport {
 public:
  explicit FixPrinter(Streams& streams) : RunReport(streams.out), streams_(streams) {}

  void FixStarts(const FixEntry& fix, int number, int count) override {
    if (streams_.progress) {
      streams_.err << fmt::format("\r{}/{} {:<50}\r", number, count, fix.caption) << std::flush;
    }
  }

 private:
  Streams& streams_;
};

FixSelection Select(const FixOptions& options) {
  FixSelection selection = DefaultSelection();
  if (options.all) selection.set();
  if (!options.only.empty()) selection.reset();
  for (const int index : options.only) selection.set(static_cast<std::size_t>(index));
  for (const int index : options.except) selection.reset(static_cast<std::size_t>(index));
  return selection;
}

}  // namespace

int Fix(const FixOptions& options, Streams& streams) {
  StreamMessages messages(streams.err);
  platform::ScopedMessages scoped_messages(messages);
  platform::ScopedSettings settings;
  if (options.reference) settings.Set("GLOBAL", "VeltRefdb", *options.reference);
  if (options.empty_template) settings.Set("GLOBAL", "EmptyDBV6", *options.empty_template);
  if (options.data_level) settings.Set("GLOBAL", "DataLevel", std::to_string(*options.data_level));

  ProgramState state;
  ScopedProgramState scoped_state(state);
  state.current_database = options.file;
  state.ntc_id = options.notice;
  try {
    OpenAccessDatabase();
  } catch (const db::DbError& error) {
    ShowError(error);
    return kRefused;
  }
  FixPrinter printer(streams);
  const RunResult result = RunFixes(Select(options), printer);
  if (result.refused) return kRefused;
  return result.failed() ? kFailed : kOk;
}

int List(Streams& streams) {
  std::vector<std::vector<std::string>> rows;
  for (int index = 0; index < kFixCount; ++index) {
    const FixEntry& fix = FixByIndex(index);
    rows.push_back(
        {std::to_string(index), fix.ticked ? "x" : "", std::string(fix.caption), std::string(fix.summary)});
  }
  PrintTable({"index", "default", "caption", "what it does"}, rows, {true, false, false, false}, streams.out);
  return kOk;
}

}  // namespace vnt::cli
