// vntfix fix and vntfix list.
#include <functional>
#include <map>
#include <new>
#include <ostream>
#include <string>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/interruptible.h"
#include "cli/output.h"
#include "platform/messages.h"
#include "platform/settings.h"
#include "program/error_trap.h"
#include "program/program_state.h"
#include "run/fix_runner.h"
#include "run/guards.h"
#include "run/reference_check.h"
#include "run/run_report.h"

namespace vnt::cli {
namespace {

// Texts on the error stream, each of them once within a fix.
class StreamMessages : public platform::Messages {
 public:
  explicit StreamMessages(std::ostream& err) : err_(err) {}
  void Show(std::string_view text, platform::MessageStyle) override {
    // Without memory it is told all the same.
    try {
      if (++shown_.try_emplace(std::string(text)).first->second > 1) return;
    } catch (const std::bad_alloc&) {
    }
    err_ << text << '\n';
  }
  // Shows the text unless it was shown since the last Forget().
  void ShowOnce(const std::string& text) {
    if (shown_.try_emplace(text, 1).second) err_ << text << '\n';
  }
  // A fix has ended; what it repeated is told with its number.
  void Forget() {
    for (const auto& [text, times] : shown_) {
      if (times > 1) err_ << fmt::format("{} ({} times)\n", text, times);
    }
    shown_.clear();
  }

 private:
  std::ostream& err_;
  std::map<std::string, int, std::less<>> shown_;
};

// Prints a line per fix as it ends, and on a terminal the name of the running one.
class FixPrinter : public RunReport {
 public:
  FixPrinter(Streams& streams, StreamMessages& messages)
      : RunReport(streams.out), streams_(streams), messages_(messages) {}

  void FixStarts(const FixEntry& fix, int number, int count) override {
    if (streams_.progress) {
      streams_.err << fmt::format("\r{}/{} {:<50}\r", number, count, fix.caption) << std::flush;
    }
  }

  // The runner's own message does not say what failed, and what goes into a log file is not shown at all.
  void FixEnds(const FixResult& result) override {
    for (const db::DbError& error : result.errors) {
      messages_.ShowOnce(std::to_string(error.number()) + " " + error.description());
    }
    messages_.Forget();
    RunReport::FixEnds(result);
  }

 private:
  Streams& streams_;
  StreamMessages& messages_;
};

FixSelection Select(const FixOptions& options) {
  FixSelection selection = DefaultSelection();
  if (options.all) selection.set();
  if (!options.only.empty()) selection.reset();
  for (const int index : options.only) selection.set(static_cast<std::size_t>(index));
  for (const int index : options.except) selection.reset(static_cast<std::size_t>(index));
  return selection;
}

// Whether there is no such notice. A database without notices as such is not judged here.
bool LacksNotice(std::int32_t ntc_id) {
  try {
    db::Recordset rows;
    rows.Open("select ntc_id from notice where ntc_id = " + std::to_string(ntc_id), MainCn());
    return rows.Eof();
  } catch (const db::DbError& error) {
    PassOnEnvironment(error);
    return false;  // the fixes have their own words for that
  }
}

}  // namespace

int Fix(const FixOptions& options, Streams& streams) {
  StreamMessages messages(streams.err);
  platform::ScopedMessages scoped_messages(messages);
  platform::ScopedSettings settings;
  if (options.reference) settings.Set("GLOBAL", "VeltRefdb", *options.reference);
  if (options.empty_template) settings.Set("GLOBAL", "EmptyDBV6", *options.empty_template);
  if (options.data_level) settings.Set("GLOBAL", "DataLevel", std::to_string(*options.data_level));
  if (options.date_order) {
    const bool day_first = *options.date_order == platform::DateOrder::kDayFirst;
    settings.Set("intl", "sShortDate", day_first ? "d/M/yyyy" : "M/d/yyyy");
  }

  ProgramState state;
  ScopedProgramState scoped_state(state);
  state.current_database = options.file;
  state.ntc_id = options.notice;
  const Interruptible interruptible;
  try {
    OpenAccessDatabase();
  } catch (const db::DbError& error) {
    TellError(error, streams.err);
    return InterruptedStatus() != 0 ? InterruptedStatus() : kRefused;
  }
  const FixSelection selection = Select(options);
  if (const std::string fault = ReferenceFault(selection); !fault.empty()) {
    streams.err << fault << '\n';
    return kRefused;
  }
  if (options.notice > 0 && LacksNotice(options.notice)) {
    streams.err << fmt::format("There is no notice {} in \"{}\".\n", options.notice, options.file);
    return kRefused;
  }
  FixPrinter printer(streams, messages);
  const RunResult result = RunFixes(selection, printer);
  if (result.refused) return kRefused;
  if (result.ended_early && InterruptedStatus() != 0) return InterruptedStatus();
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
