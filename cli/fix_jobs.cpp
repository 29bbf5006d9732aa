#include "cli/fix_jobs.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <functional>
#include <memory>
#include <ostream>
#include <set>
#include <sstream>
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
// Notices that are worked on together: a statement for all of them goes to the server once, and what it
// searches it searches once.
constexpr std::size_t kMostTogether = 200;

using Notices = std::vector<std::int32_t>;

// A run of fixes for some notices; 0: for all.
struct NoticeResult {
  Notices notices;
  bool done = false;      // to its end, even if fixes had errors; else nothing is left of it
  bool in_doubt = false;  // unless this cannot be told
  int errors = 0;         // that fixes reported
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
  void Add(int step, const Notices& notices) {
    std::string rows;
    for (const std::int32_t notice : notices)
      rows += fmt::format("{}('{}', {}, {})", rows.empty() ? "" : ", ", fixes_, step, notice);
    session_->Run(fmt::format("INSERT INTO {} VALUES {}", kProgressTable, rows));
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

using Told = std::function<void(const NoticeResult&)>;

// One connection, and the notices that it is given.
class Job {
 public:
  Job(const std::string& source, const FixOptions& options, const Step& step, bool stamps, std::ostream& err)
      : err_(err), speaker_(err, source), silent_(unheard_, source), step_(step) {
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

  // Notices together where that goes without a word, else one by one.
  void Run(const Notices& notices, const Told& told) {
    if (notices.size() > 1 && RunTogether(notices, told)) return;
    for (const std::int32_t notice : notices) {
      if (InterruptedStatus() != 0) return;
      told(RunOne(notice));
    }
  }

 private:
  // False, and nothing is left of it, for a run that fails or in which a fix has an error: one by one it
  // shows of which notice.
  bool RunTogether(const Notices& notices, const Told& told) {
    if (!locks_->TryLock(notices, /*shared=*/false)) return false;
    unheard_.str({});
    state_.platform_services.messages = &silent_;
    state_.notices = notices;
    const NoticeResult result = RunScope(notices, Keeping::kCleanRun);
    state_.platform_services.messages = &speaker_;
    state_.notices.clear();
    if (!result.done && !result.in_doubt) return false;
    err_ << unheard_.str();
    told(result);
    return true;
  }

  NoticeResult RunOne(std::int32_t notice) {
    if (!locks_->TryLock({notice}, /*shared=*/false)) {
      speaker_.Say(notice == 0 ? "another run is at work."
                               : fmt::format("notice {}: another run is at work on it.", notice));
      return {.notices = {notice}};
    }
    speaker_.Begin(notice == 0 ? std::string() : fmt::format("notice {}: ", notice));
    return RunScope({notice}, step_.for_all ? Keeping::kFixes : Keeping::kWholeRun);
  }

  // The locks are had; they are given back.
  NoticeResult RunScope(const Notices& notices, Keeping keeping) {
    state_.ntc_id = notices.front();
    state_.keeping = keeping;
    Counting counting;
    const RunResult run = RunFixes(step_.fixes, counting);
    speaker_.Flush({});
    locks_->Unlock(notices, /*shared=*/false);
    if (run.ended_early && InterruptedStatus() == 0) {
      CloseDatabases();
      Open();
    }
    const bool in_doubt =
        std::ranges::any_of(run.fixes, [](const FixResult& r) { return r.status == FixStatus::kInDoubt; });
    const bool done = !run.refused && !run.ended_early;
    const bool is_written = done || keeping == Keeping::kFixes;
    return {notices, done, in_doubt, counting.errors, is_written ? counting.rows : 0};
  }

  void Open() {
    state_.current_database = source_;
    locks_ = OpenServerSession(source_);
    // A run for all notices waits for nobody, and nobody works beside it.
    if (!step_.for_all && !locks_->TryLock({0}, /*shared=*/true))
      throw db::DbError(db::kErrFailed, "vntfix", "Another run is at work on all notices.");
    OpenAccessDatabase();
    State().needs_reference = NeedsReference(step_.fixes);
  }

  std::ostream& err_;
  std::ostringstream unheard_;
  ProgramState state_;
  Speaker speaker_, silent_;
  const Step& step_;
  std::string source_;
  std::unique_ptr<ScopedProgramState> scoped_;
  std::shared_ptr<db::ServerSession> locks_;
};

// Notices as they are worked on together, so that every job has some.
std::vector<Notices> BlocksOf(const Notices& notices, std::size_t jobs) {
  const std::size_t most = std::clamp<std::size_t>((notices.size() + jobs - 1) / jobs, 1, kMostTogether);
  std::vector<Notices> blocks;
  for (std::size_t i = 0; i < notices.size(); i += most) {
    const auto begin = notices.begin() + static_cast<std::ptrdiff_t>(i);
    blocks.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(std::min(most, notices.size() - i)));
  }
  return blocks;
}

void RunHere(const std::string& source, const FixOptions& options, const Step& step, bool stamps,
             const std::vector<Notices>& blocks, std::ostream& err, const Told& told) {
  Job job(source, options, step, stamps, err);
  for (const Notices& block : blocks) {
    if (InterruptedStatus() != 0) return;
    job.Run(block, told);
  }
}

#ifndef _WIN32
// The share of one job: every `jobs`-th block. Never returns.
[[noreturn]] void RunChild(const std::string& source, const FixOptions& options, const Step& step,
                           bool stamps, const std::vector<Notices>& blocks, std::ostream& err, int pipe) {
  int status = 0;
  try {
    RunHere(source, options, step, stamps, blocks, err, [&](const NoticeResult& r) {
      const std::string line =
          fmt::format("{} {} {} {}\n", r.done ? 1 : 0, r.errors, r.rows, fmt::join(r.notices, " "));
      if (write(pipe, line.data(), line.size()) != std::ssize(line)) status = 1;
    });
  } catch (const std::exception& error) {
    err << "vntfix: " << source << ": a job ended: " << error.what() << '\n';
    status = 1;
  }
  err.flush();
  _exit(status);
}

// "done errors rows notice notice ..."
NoticeResult ResultIn(const std::string& line) {
  NoticeResult r;
  std::istringstream parts(line);
  parts >> r.done >> r.errors >> r.rows;
  for (std::int32_t notice = 0; parts >> notice;) r.notices.push_back(notice);
  return r;
}

void RunJobs(const std::string& source, const FixOptions& options, const Step& step, bool stamps,
             const Notices& notices, Streams& streams, const Told& told) {
  const std::size_t jobs = std::clamp<std::size_t>(notices.size(), 1, static_cast<std::size_t>(options.jobs));
  const std::vector<Notices> blocks = BlocksOf(notices, jobs);
  if (jobs == 1) return RunHere(source, options, step, stamps, blocks, streams.err, told);
  int ends[2];
  if (pipe(ends) != 0) throw db::DbError(db::kErrFailed, "vntfix", "There is no pipe for the jobs.");
  streams.out.flush();
  streams.err.flush();
  std::vector<pid_t> children;
  for (std::size_t i = 0; i < jobs; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      close(ends[0]);
      std::vector<Notices> share;
      for (std::size_t n = i; n < blocks.size(); n += jobs) share.push_back(blocks[n]);
      RunChild(source, options, step, stamps, share, streams.err, ends[1]);
    }
    if (child > 0) children.push_back(child);
  }
  close(ends[1]);
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> results(fdopen(ends[0], "r"), std::fclose);
  char line[PIPE_BUF];  // a line is written at once
  while (std::fgets(line, sizeof line, results.get()) != nullptr) told(ResultIn(line));
  for (const pid_t child : children) waitpid(child, nullptr, 0);
}
#else
void RunJobs(const std::string& source, const FixOptions& options, const Step& step, bool stamps,
             const Notices& notices, Streams& streams, const Told& told) {
  RunHere(source, options, step, stamps, BlocksOf(notices, 1), streams.err, told);
}
#endif

Notices AllNotices(const std::string& source) {
  const auto session = OpenServerSession(source);
  if (session->Find("vnt_ooak") == nullptr || session->Find("notice") == nullptr)
    throw db::DbError(db::kErrReadOnly, "vntfix",
                      "this is no notice database: it has no table vnt_ooak, or no table notice.");
  Notices notices;
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
  const Notices notices = AllNotices(source);
  const std::vector<Step> steps = StepsOf(selection);
  Progress progress(source, selection);
  if (progress.any()) streams.err << fmt::format("vntfix: {}: a run that did not end is taken up.\n", source);
  std::set<std::int32_t> failed, with_errors;
  std::int64_t rows = 0;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const Step& step = steps[i];
    const bool last = i + 1 == steps.size();
    const int number = static_cast<int>(i);
    Notices todo;
    for (const std::int32_t notice : step.for_all ? Notices{0} : notices) {
      // What comes behind a fix that has failed would meet rows that it does not expect.
      if (!progress.IsDone(number, notice) && !failed.contains(notice)) todo.push_back(notice);
    }
    const auto told = [&](const NoticeResult& r) {
      rows += r.rows;
      if (r.errors > 0) with_errors.insert(r.notices.begin(), r.notices.end());
      if (r.done) return progress.Add(number, r.notices);
      failed.insert(r.notices.begin(), r.notices.end());
      for (const std::int32_t notice : r.notices) {
        streams.err << fmt::format(
            "vntfix: {}: {} was not finished.\n", source,
            notice == 0 ? std::string("a fix for all notices") : fmt::format("notice {}", notice));
      }
    };
    std::set<std::int32_t> heard;
    const auto hear = [&](const NoticeResult& r) {
      heard.insert(r.notices.begin(), r.notices.end());
      told(r);
    };
    if (todo.empty()) continue;
    if (step.for_all) {
      RunHere(source, options, step, false, {todo}, streams.err, hear);
    } else {
      RunJobs(source, options, step, last, todo, streams, hear);
    }
    for (const std::int32_t notice : todo) {
      if (!heard.contains(notice)) told({.notices = {notice}});
    }
    if (InterruptedStatus() != 0 || failed.contains(0)) break;
  }
  if (failed.empty() && InterruptedStatus() == 0) progress.Finish();
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - began;
  if (!options.quiet) {
    streams.out << fmt::format("{}: {}, {} not finished, {} with errors, {} written, {:.3f} s\n", source,
                               CountOf(std::ssize(notices), "notice"), failed.size(), with_errors.size(),
                               CountOf(rows, "row"), seconds.count());
  }
  if (InterruptedStatus() != 0) return InterruptedStatus();
  return failed.empty() && with_errors.empty() ? kOk : kFailed;
}

}  // namespace vnt::cli
