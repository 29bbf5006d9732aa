#include "cli/fix_jobs.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <ostream>
#include <set>
#include <vector>

#include <fmt/format.h>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include "access/base/interruption.h"
#include "cli/fix_printer.h"
#include "cli/fix_settings.h"
#include "cli/interruptible.h"
#include "cli/output.h"
#include "cli/server.h"
#include "db/services.h"
#include "platform/in_force.h"
#include "program/program_state.h"
#include "run/databases.h"
#include "run/guards.h"
#include "run/reference_check.h"

namespace vnt::cli {
namespace {

constexpr char kProgressTable[] = "vnt_jobs";

// A run of fixes for one notice, or for all.
struct NoticeResult {
  std::int32_t notice = 0;
  bool done = false;  // to its end, even if fixes had errors
  int errors = 0;     // that fixes reported
  std::int64_t rows = 0;
};

// Steps that are taken one after the other: fixes for each notice, or one fix for all of them.
struct Step {
  FixSelection fixes;
  bool for_all = false;
};

std::vector<Step> StepsOf(const FixSelection& selection) {
  std::vector<Step> steps;
  for (const FixEntry& fix : FixCatalogue()) {
    const auto index = static_cast<std::size_t>(fix.index);
    if (!selection.test(index)) continue;
    const bool for_all = !fix.reach.empty();
    if (steps.empty() || for_all || steps.back().for_all) steps.push_back({{}, for_all});
    steps.back().fixes.set(index);
  }
  // The history rows come with the last step.
  if (steps.empty() || steps.back().for_all) steps.push_back({});
  return steps;
}

// What an interrupted run of the same fixes has done.
class Progress {
 public:
  Progress(const std::string& source, const FixSelection& selection)
      : session_(OpenServerSession(source)), fixes_(selection.to_string()) {
    if (session_->Find(kProgressTable) == nullptr) {
      session_->Run(
          fmt::format("CREATE TABLE {} (fixes varchar(40), step integer, notice integer)", kProgressTable));
      session_->Commit();
      return;
    }
    const auto rows =
        session_->Open(fmt::format("SELECT step, notice FROM {} WHERE fixes = '{}'", kProgressTable, fixes_));
    rows->DescribeColumns();
    std::vector<db::Value> row;
    while (rows->Fetch(&row)) done_.insert({row[0].ToInt32(), row[1].ToInt32()});
    session_->Commit();
  }

  bool IsDone(int step, std::int32_t notice) const { return done_.contains({step, notice}); }
  bool any() const { return !done_.empty(); }
  void Add(int step, std::int32_t notice) {
    session_->Run(fmt::format("INSERT INTO {} VALUES ('{}', {}, {})", kProgressTable, fixes_, step, notice));
    session_->Commit();
  }
  void Finish() {
    session_->Run(fmt::format("DROP TABLE {}", kProgressTable));
    session_->Commit();
  }

 private:
  std::shared_ptr<db::ServerSession> session_;
  std::string fixes_;
  std::set<std::pair<int, std::int32_t>> done_;
};

class Counting : public RunObserver {
 public:
  void FixEnds(const FixResult& result) override {
    rows += result.rows;
    errors += static_cast<int>(result.errors.size());
  }
  std::int64_t rows = 0;
  int errors = 0;
};

// One connection, and the notices that it is given.
class Job {
 public:
  Job(const std::string& source, const FixOptions& options, const Step& step, bool stamps, std::ostream& err)
      : speaker_(err, source), step_(step) {
    PrepareState(options, speaker_, state_);
    scoped_ = std::make_unique<ScopedProgramState>(state_);
    state_.current_database = source;
    state_.stamps_history = stamps;
    source_ = source;
    Open();
  }
  ~Job() { CloseDatabases(); }
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;

  NoticeResult Run(std::int32_t notice) {
    NoticeResult result;
    result.notice = notice;
    if (!locks_->TryLock(notice, /*shared=*/false)) {
      speaker_.Say(notice == 0 ? "another run is at work."
                               : fmt::format("notice {}: another run is at work on it.", notice));
      return result;
    }
    state_.ntc_id = notice;
    Counting counting;
    speaker_.Begin(notice == 0 ? std::string() : fmt::format("notice {}: ", notice));
    const RunResult run = RunFixes(step_.fixes, counting);
    speaker_.Flush({});
    locks_->Unlock(notice, /*shared=*/false);
    result.done = !run.refused && !run.ended_early;
    result.rows = counting.rows;
    result.errors = counting.errors;
    if (run.ended_early && InterruptedStatus() == 0) {
      CloseDatabases();
      Open();
    }
    return result;
  }

 private:
  void Open() {
    state_.current_database = source_;
    locks_ = OpenServerSession(source_);
    // A run for all notices waits for nobody, and nobody works beside it.
    if (!step_.for_all && !locks_->TryLock(0, /*shared=*/true))
      throw db::DbError(db::kErrFailed, "vntfix", "Another run is at work on all notices.");
    OpenAccessDatabase();
    State().needs_reference = NeedsReference(step_.fixes);
  }

  ProgramState state_;
  Speaker speaker_;
  const Step& step_;
  std::string source_;
  std::unique_ptr<ScopedProgramState> scoped_;
  std::shared_ptr<db::ServerSession> locks_;
};

using Told = std::function<void(const NoticeResult&)>;

void RunHere(const std::string& source, const FixOptions& options, const Step& step, bool stamps,
             const std::vector<std::int32_t>& notices, std::ostream& err, const Told& told) {
  Job job(source, options, step, stamps, err);
  for (const std::int32_t notice : notices) {
    if (InterruptedStatus() != 0) return;
    told(job.Run(notice));
  }
}

#ifndef _WIN32
// The share of one job: every `jobs`-th notice. Never returns.
[[noreturn]] void RunChild(const std::string& source, const FixOptions& options, const Step& step,
                           bool stamps, const std::vector<std::int32_t>& notices, std::ostream& err,
                           int pipe) {
  int status = 0;
  try {
    RunHere(source, options, step, stamps, notices, err, [&](const NoticeResult& r) {
      const std::string line = fmt::format("{} {} {} {}\n", r.notice, r.done ? 1 : 0, r.errors, r.rows);
      if (write(pipe, line.data(), line.size()) != std::ssize(line)) status = 1;
    });
  } catch (const std::exception& error) {
    err << "vntfix: " << source << ": a job ended: " << error.what() << '\n';
    status = 1;
  }
  err.flush();
  _exit(status);
}

void RunJobs(const std::string& source, const FixOptions& options, const Step& step, bool stamps,
             const std::vector<std::int32_t>& notices, Streams& streams, const Told& told) {
  const int jobs = std::max(1, std::min<int>(options.jobs, static_cast<int>(notices.size())));
  if (jobs == 1) return RunHere(source, options, step, stamps, notices, streams.err, told);
  int ends[2];
  if (pipe(ends) != 0) throw db::DbError(db::kErrFailed, "vntfix", "There is no pipe for the jobs.");
  streams.out.flush();
  streams.err.flush();
  std::vector<pid_t> children;
  for (int i = 0; i < jobs; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      close(ends[0]);
      std::vector<std::int32_t> share;
      for (std::size_t n = static_cast<std::size_t>(i); n < notices.size();
           n += static_cast<std::size_t>(jobs))
        share.push_back(notices[n]);
      RunChild(source, options, step, stamps, share, streams.err, ends[1]);
    }
    if (child > 0) children.push_back(child);
  }
  close(ends[1]);
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> results(fdopen(ends[0], "r"), std::fclose);
  char line[128];
  while (std::fgets(line, sizeof line, results.get()) != nullptr) {
    NoticeResult r;
    int done = 0;
    long long rows = 0;
    if (std::sscanf(line, "%d %d %d %lld", &r.notice, &done, &r.errors, &rows) != 4) continue;
    r.done = done != 0;
    r.rows = rows;
    told(r);
  }
  for (const pid_t child : children) waitpid(child, nullptr, 0);
}
#else
void RunJobs(const std::string& source, const FixOptions& options, const Step& step, bool stamps,
             const std::vector<std::int32_t>& notices, Streams& streams, const Told& told) {
  RunHere(source, options, step, stamps, notices, streams.err, told);
}
#endif

std::vector<std::int32_t> AllNotices(const std::string& source) {
  const auto session = OpenServerSession(source);
  if (session->Find("vnt_ooak") == nullptr || session->Find("notice") == nullptr)
    throw db::DbError(db::kErrReadOnly, "vntfix",
                      "this is no notice database: it has no table vnt_ooak, or no table notice.");
  std::vector<std::int32_t> notices;
  const auto rows = session->Open("SELECT ntc_id FROM notice ORDER BY ntc_id");
  rows->DescribeColumns();
  std::vector<db::Value> row;
  while (rows->Fetch(&row)) notices.push_back(row[0].ToInt32());
  return notices;
}

}  // namespace

int FixAllNotices(const std::string& source, const FixOptions& options, const FixSelection& selection,
                  Streams& streams) {
  const auto began = std::chrono::steady_clock::now();
  const std::vector<std::int32_t> notices = AllNotices(source);
  const std::vector<Step> steps = StepsOf(selection);
  Progress progress(source, selection);
  if (progress.any()) streams.err << fmt::format("vntfix: {}: a run that did not end is taken up.\n", source);
  std::set<std::int32_t> failed, with_errors;
  std::int64_t rows = 0;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const Step& step = steps[i];
    const bool last = i + 1 == steps.size();
    const int number = static_cast<int>(i);
    std::vector<std::int32_t> todo;
    for (const std::int32_t notice : step.for_all ? std::vector<std::int32_t>{0} : notices) {
      // What comes behind a fix that has failed would meet rows that it does not expect.
      if (!progress.IsDone(number, notice) && !failed.contains(notice)) todo.push_back(notice);
    }
    const auto told = [&](const NoticeResult& r) {
      rows += r.rows;
      if (r.errors > 0) with_errors.insert(r.notice);
      if (r.done) {
        progress.Add(number, r.notice);
        return;
      }
      failed.insert(r.notice);
      streams.err << fmt::format(
          "vntfix: {}: {} was not finished.\n", source,
          r.notice == 0 ? std::string("a fix for all notices") : fmt::format("notice {}", r.notice));
    };
    std::set<std::int32_t> heard;
    const auto hear = [&](const NoticeResult& r) {
      heard.insert(r.notice);
      told(r);
    };
    if (todo.empty()) continue;
    if (step.for_all) {
      RunHere(source, options, step, false, todo, streams.err, hear);
    } else {
      RunJobs(source, options, step, last, todo, streams, hear);
    }
    for (const std::int32_t notice : todo) {
      if (!heard.contains(notice)) told({notice, false, 0, 0});
    }
    if (InterruptedStatus() != 0 || failed.contains(0)) break;
  }
  if (failed.empty() && InterruptedStatus() == 0) progress.Finish();
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - began;
  if (!options.quiet) {
    streams.out << fmt::format("{}: {} notices, {} not finished, {} with errors, {} rows written, {:.3f} s\n",
                               source, notices.size(), failed.size(), with_errors.size(), rows,
                               seconds.count());
  }
  if (InterruptedStatus() != 0) return InterruptedStatus();
  return failed.empty() && with_errors.empty() ? kOk : kFailed;
}

}  // namespace vnt::cli
