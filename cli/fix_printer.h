// What `vntfix fix` prints: a line per fix as it ends, its errors, and what there is to say beside.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "cli/cli.h"
#include "cli/commands.h"
#include "cli/progress_line.h"
#include "platform/messages.h"
#include "run/run_record.h"
#include "run/run_report.h"

namespace vnt::cli {

// Sentences on the error stream, each after the names of program and file. What the fixes show while they run
// waits for Flush().
class Speaker : public platform::Messages {
 public:
  Speaker(std::ostream& err, std::string file) : err_(err), file_(std::move(file)) {}

  void Say(std::string_view text) { err_ << "vntfix: " << file_ << ": " << text << '\n'; }
  void Show(std::string_view text, platform::MessageStyle) override;
  // From now on texts belong to a fix, and wait.
  void Begin(std::string where);
  // Says what waited, equal texts once, but for the reports of those errors.
  void Flush(const std::vector<db::DbError>& errors);

 private:
  std::ostream& err_;
  std::string file_;
  std::string where_;  // "fix 7: "; empty between fixes
  std::map<std::string, int> waiting_;
};

class FixPrinter : public RunObserver {
 public:
  // `by_notice`: a line per notice in place of one per fix.
  FixPrinter(Streams& streams, Speaker& speaker, const FixOptions& options, const FixSelection& selection,
             bool by_notice)
      : streams_(streams),
        speaker_(speaker),
        options_(options),
        selection_(selection),
        by_notice_(by_notice),
        lines_(streams.out),
        progress_(streams.err, streams.progress && !options.quiet) {}

  void BackupAdvances(std::uint64_t done, std::uint64_t all) override { progress_.Backup(done, all); }
  void RunStarts() override { progress_.Start(selection_); }
  void FixStarts(const FixEntry& fix, int number, int count) override;
  void FixAdvances(std::int64_t, std::int64_t rows) override { progress_.Advance(rows); }
  void FixEnds(const FixResult& result) override;
  void RunEnds() override;
  // The last line: what was done in all, and where the backup is.
  void Total(const RunRecord& record);

 private:
  void SayErrors(const FixResult& result);

  Streams& streams_;
  Speaker& speaker_;
  const FixOptions& options_;
  const FixSelection selection_;
  bool by_notice_;
  RunReport lines_;
  ProgressLine progress_;
  std::int64_t rows_of_notice_ = 0;
  std::size_t errors_of_notice_ = 0;
};

}  // namespace vnt::cli
