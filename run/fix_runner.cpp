#include "run/fix_runner.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

#include "db/services.h"
#include "history/history.h"
#include "platform/in_force.h"
#include "platform/messages.h"
#include "platform/settings.h"
#include "program/error_trap.h"
#include "program/notice_scope.h"
#include "program/program_state.h"
#include "program/rows.h"
#include "run/end_of_run.h"
#include "run/guards.h"

namespace vnt {
namespace {

using platform::MessageStyle;
using platform::ShowMessage;

constexpr char kSource[] = "VNTFixdb";

// Makes the reference connection anew. Gives why it cannot be opened; empty: it is open.
std::string OpenReferenceDatabase() {
  auto reference = std::make_unique<db::cadodb>();
  reference->DBName = db::Value::Text(State().reference_database);
  reference->Mode = db::AccessMode::kRead;
  db::cadodb& opening = *reference;
  State().reference_connection = std::move(reference);
  try {
    opening.OpenADOConnection();
    return {};
  } catch (const db::DbError& error) {
    return error.description();  // whatever the reason: nothing has begun yet
  }
}

constexpr std::string_view kSharedSection = "GLOBAL";
constexpr std::string_view kReference = "VeltRefdb";

// The conditions of a run, in order; each refusal has its message. On success the reference database is open,
// unless none is needed.
bool PreconditionsHold() {
  if (State().current_database.empty()) {
    ShowMessage("No Database open.  Please open a database to fix.", MessageStyle::kInformation);
    return false;
  }
  State().reference_database = platform::GetSettingString(kSharedSection, kReference);
  if (State().needs_reference && State().reference_database.empty()) {
    ShowMessage("Cannot find veltrefdb in the kv_soft ini file", MessageStyle::kPlain,
                "No run begins without the pattern reference database, whatever is ticked. " +
                    platform::WhereSettingIs(kSharedSection, kReference));
    return false;
  }
  if (State().read_only) {
    ShowMessage("VNTFixdb cannot fix a readonly database. ", MessageStyle::kCritical,
                State().read_only_reason);
    return false;
  }
  if (!State().needs_reference) return true;
  if (const std::string reason = OpenReferenceDatabase(); !reason.empty()) {
    ShowMessage("Problem opening the velt reference database.  Please make sure it has been installed. ",
                MessageStyle::kCritical,
                std::string(kReference) + "=" + State().reference_database + "\n" + reason);
    return false;
  }
  return true;
}

// Adds a row to the history of every notice in scope.
void StampHistory() {
  constexpr std::string_view kStatusOfUnknown = "01";
  ForEachRow("select ntc_id, st_cur from notice" + CurrentNotice(kWhereNotice), [&](db::Recordset& notice) {
    WriteHistoryStamp(notice.Get("ntc_id").ToInt32(), notice.Get("st_cur").TextOr(kStatusOfUnknown));
  });
}

// Beside the errors of a fix while this lives: which fix of which database it is.
class ErrorContext {
 public:
  explicit ErrorContext(const FixEntry* fix) {
    std::string& text = State().error_context;
    text = "In the history, on ";
    if (fix != nullptr)
      text = "In fix " + std::to_string(fix->index) + ", \"" + std::string(fix->caption) + "\", on ";
    text += State().current_database + ". The run goes on.";
  }
  ~ErrorContext() { State().error_context.clear(); }
  ErrorContext(const ErrorContext&) = delete;
  ErrorContext& operator=(const ErrorContext&) = delete;
};

// Counts what happens while one fix runs: statements and rows as the connections tell them, errors as the
// fixes report them. The time that a message waits to be read is not the fix's.
class Counter {
 public:
  explicit Counter(RunObserver& watcher) : watcher_(watcher), former_on_error_(State().on_error) {
    State().on_error = [this](const db::DbError& error) { Count(error); };
    platform::InForce<db::Services>().observer = [this](const db::StatementEvent& event) {
      if (!event.text.empty()) ++result_->statements;
      result_->rows += event.rows;
      watcher_.FixAdvances(++steps_, result_->rows);
    };
  }
  ~Counter() {
    platform::InForce<db::Services>().observer = {};
    State().on_error = std::move(former_on_error_);
  }
  Counter(const Counter&) = delete;
  Counter& operator=(const Counter&) = delete;

  // Counts in `result` from now on.
  void Start(FixResult& result) {
    result_ = &result;
    result.errors.clear();
    result.statements = result.rows = 0;
    steps_ = 0;
    start_ = WorkingTime();
  }
  void End() { result_->time = WorkingTime() - start_; }
  void Count(const db::DbError& error) {
    result_->errors.push_back(error);
    if (former_on_error_) former_on_error_(error);
  }

 private:
  static std::chrono::steady_clock::duration WorkingTime() {
    return std::chrono::steady_clock::now().time_since_epoch() - platform::TimeWaited();
  }

  RunObserver& watcher_;
  std::function<void(const db::DbError&)> former_on_error_;
  std::int64_t steps_ = 0;
  FixResult nothing_;
  FixResult* result_ = &nothing_;
  std::chrono::steady_clock::duration start_{};
};

class Run {
 public:
  Run(const FixSelection& selection, RunObserver& observer, ChangesOfNotices* together)
      : observer_(observer), together_(together), counter_(observer) {
    for (const FixEntry& fix : FixCatalogue()) {
      if (selection.test(static_cast<std::size_t>(fix.index))) Add(&fix);
    }
    Add(nullptr);
    message_.reserve(kMessageBytes);
  }

  RunResult Execute() {
    observer_.RunStarts();
    try {
      for (FixResult& result : result_.fixes) RunOne(result);
      observer_.RunEnds();
    } catch (...) {
      EndEarly(std::current_exception());
    }
    return std::move(result_);
  }

 private:
  // Room for what became of a run, so that it can be told without memory.
  static constexpr std::size_t kMessageBytes = 8192;

  void Add(const FixEntry* fix) { result_.fixes.emplace_back().fix = fix; }

  void RunOne(FixResult& result) {
    SetBorder();
    saving_ = false;
    result.status = FixStatus::kUndone;  // until it has come to its end
    if (result.fix != nullptr) {
      observer_.FixStarts(*result.fix, static_cast<int>(done_) + 1,
                          static_cast<int>(result_.fixes.size()) - 1);
    }
    RunRoutines(result);
    EndCounting(result);
    if (State().keeping == Keeping::kCleanRun && !result.errors.empty())
      throw db::DbError(result.errors.front());
    if (State().counts_changes) CountChanges(result);
    saving_ = true;
    ++done_;
    Save(result);
    EndCounting(result);
    observer_.FixEnds(result);
    told_ = done_;
  }

  // Changes may be put off (on a server); when one of them turns out to fail, what the fix did is taken back
  // and it runs again, each statement at once, so that the error comes where it belongs. A run that is kept
  // whole has no place to go back to but its begin: it puts nothing off, or ends.
  void RunRoutines(FixResult& result) {
    db::Connection* const cn = OpenMain();
    counter_.Start(result);
    if (State().keeping == Keeping::kWholeRun) {
      if (cn != nullptr) cn->SetDeferring(false);
      return RunRoutinesOnce(result);
    }
    try {
      if (cn != nullptr) cn->SetDeferring(true);
      RunRoutinesOnce(result);
      if (cn != nullptr) cn->SetDeferring(false);
    } catch (const db::DbError& error) {
      if (error.number() != db::kErrRepeat || cn == nullptr || State().keeping != Keeping::kFixes) throw;
      cn->RevertToMark();
      cn->SetDeferring(false);
      counter_.Start(result);
      RunRoutinesOnce(result);
    }
  }

  void RunRoutinesOnce(FixResult& result) {
    const ErrorContext context(result.fix);
    if (result.fix == nullptr) {
      if (State().stamps_history) UnderTrap(StampHistory);
      return;
    }
    for (const FixRoutine& routine :
         std::span(result.fix->routines).first(static_cast<std::size_t>(result.fix->routine_count))) {
      UnderTrap(routine.run);
    }
  }

  // A look that fails costs the run nothing but the number.
  void CountChanges(FixResult& result) const {
    const bool reaches = result.fix != nullptr && !result.fix->reach.empty();
    Attempt([&] {
      jet::ChangedRows* const sum = together_ != nullptr && reaches ? &(*together_)[result.fix] : nullptr;
      if (db::Connection* const cn = OpenMain()) result.changed = cn->ChangedRows(sum);
    });
  }

  void EndCounting(FixResult& result) {
    counter_.End();
    result.status = result.errors.empty() ? FixStatus::kDone : FixStatus::kFailed;
  }

  // The runner's error trap: what reaches it abandons the routine, and the next one runs. The words
  // mislead, since a database is open by then; they are kept because users know them.
  template <class Routine>
  void UnderTrap(Routine&& routine) {
    try {
      routine();
    } catch (const db::DbError& error) {
      PassOnEnvironment(error);
      Trap(error);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& error) {
      Trap(db::DbError(db::kErrFailed, kSource, error.what()));
    }
  }
  void Trap(const db::DbError& error) {
    counter_.Count(error);
    ShowMessage("No Database is open!", MessageStyle::kCritical,
                std::to_string(error.number()) + " " + error.description() + "\n" + State().error_context);
  }

  // A connection that never opened has nothing to keep, and every fix says so.
  static db::Connection* OpenMain() {
    const auto& main = State().main_connection;
    return main && main->has_connection() && main->Cn().is_open() ? &main->Cn() : nullptr;
  }

  // What is done now is what a failing fix is taken back to.
  void SetBorder() {
    if (done_ > 0 && State().keeping != Keeping::kFixes) return;
    if (db::Connection* cn = OpenMain()) cn->Mark();
    marked_ = done_;
  }

  // What was done becomes durable, if it is time.
  void Save(FixResult& result) {
    const bool last = result.fix == nullptr;
    const auto now = std::chrono::steady_clock::now();
    const bool is_time =
        State().keeping == Keeping::kFixes && now - last_persist_ >= State().persist_interval;
    if (!last && !is_time) return;
    Trapped([&] {
      db::Connection* const cn = OpenMain();
      if (cn == nullptr) return;
      if (last) {
        BringUpToDate(*cn, result);
      } else {
        cn->Persist();
      }
    });
    persisted_ = marked_ = done_;
    last_persist_ = std::chrono::steady_clock::now();
  }

  // Somebody who reads may hold that off: then everything is in the journal, and nothing has failed.
  static void BringUpToDate(db::Connection& cn, FixResult& stamp) {
    try {
      cn.Checkpoint();
    } catch (const db::DbError& error) {
      if (error.is_environment() || cn.IsSaved() || DurabilityOf(&cn) != db::Durability::kAll) throw;
      stamp.unsaved = error;
      ShowMessage(error.description(), MessageStyle::kPlain);
    }
  }

  // Puts the database at the last border, makes that durable, and tells what became of the fixes.
  void EndEarly(const std::exception_ptr& failure) {
    result_.ended_early = true;
    const FixStatus unfinished = GoBack();
    for (std::size_t i = persisted_; i < result_.fixes.size(); ++i) {
      FixResult& result = result_.fixes[i];
      if (result.status == FixStatus::kNotRun) break;
      result.status = i < done_ ? unfinished : FixStatus::kUndone;
      if (unfinished == FixStatus::kStopped) result.status = unfinished;
    }
    // Observers may fail for want of memory; the run's own message is told all the same.
    Attempt([&] {
      for (std::size_t i = std::min(persisted_, told_); i < result_.fixes.size(); ++i) {
        observer_.FixEnds(result_.fixes[i]);
      }
    });
    Attempt([&] { observer_.RunEnds(); });
    const bool counted = AppendEndOfRun(failure, result_.fixes, &message_);
    if (counted && !State().dry_run) message_ += " The report names all of them.";
    if (State().dry_run) message_ += " It was a dry run: nothing of it is in the file.";
    if (State().current_database.empty()) message_ += " The database is closed.";
    Attempt([&] { ShowMessage(message_, MessageStyle::kCritical); });
  }

  // Leaves in persisted_ how many fixes are in the database. Gives what became of the others that began.
  FixStatus GoBack() {
    db::Connection* const cn = OpenMain();
    db::Durability durability = DurabilityOf(cn);
    bool can_go_back = true;
    bool went_back = false;
    bool kept = false;
    if (saving_ && durability == db::Durability::kAll) {
      persisted_ = done_;  // what failed came after it was durable
    } else {
      kept = Attempt([&] {
        if (cn != nullptr) can_go_back = cn->RevertToMark();
        if (!can_go_back) return;
        done_ = marked_;
        went_back = true;
        if (cn != nullptr) cn->Checkpoint();
      });
    }
    if (!can_go_back) {
      persisted_ = done_;
      return FixStatus::kStopped;
    }
    // After a failure to go back what was true before it holds.
    if (went_back) durability = DurabilityOf(cn);
    if (went_back && durability == db::Durability::kAll) persisted_ = done_;
    if (durability == db::Durability::kLost) persisted_ = 0;  // also what was in the journal before
    // The connections hold what is not in the database.
    if (!kept && !IsIngres()) ReopenAccessDatabase();
    return durability == db::Durability::kUnknown ? FixStatus::kInDoubt : FixStatus::kUndone;
  }

  static db::Durability DurabilityOf(db::Connection* cn) {
    return cn == nullptr ? db::Durability::kAll : cn->GetDurability();
  }

  // Whether `step` came to its end, and gave true if it gives anything.
  template <class Step>
  static bool Attempt(Step&& step) {
    try {
      if constexpr (std::is_void_v<decltype(step())>) {
        step();
        return true;
      } else {
        return step();
      }
    } catch (const std::exception&) {
      return false;
    }
  }

  RunObserver& observer_;
  ChangesOfNotices* const together_;
  Counter counter_;
  RunResult result_;
  std::string message_;
  // Numbers of fixes: that came to their end; that were done at the last border; that are durable; that the
  // observer was told of.
  std::size_t done_ = 0, marked_ = 0, persisted_ = 0, told_ = 0;
  bool saving_ = false;
  std::chrono::steady_clock::time_point last_persist_ = std::chrono::steady_clock::now();
};

// Between runs the reference database belongs to whoever wants to open it.
class ReferenceRelease {
 public:
  ReferenceRelease() = default;
  ~ReferenceRelease() { State().reference_connection.reset(); }
  ReferenceRelease(const ReferenceRelease&) = delete;
  ReferenceRelease& operator=(const ReferenceRelease&) = delete;
};

}  // namespace

FixSelection DefaultSelection() {
  FixSelection selection;
  for (const FixEntry& fix : FixCatalogue()) selection.set(static_cast<std::size_t>(fix.index), fix.ticked);
  return selection;
}

bool RunResult::failed() const {
  return ended_early ||
         std::ranges::any_of(fixes, [](const FixResult& fix) { return !fix.errors.empty() || fix.unsaved; });
}

RunResult RunFixes(const FixSelection& selection, RunObserver& observer, ChangesOfNotices* together) {
  const ReferenceRelease release;
  State().run_remark.clear();  // of the run before
  if (!PreconditionsHold()) {
    RunResult refused;
    refused.refused = true;
    return refused;
  }
  return Run(selection, observer, together).Execute();
}

}  // namespace vnt
