#include "run/fix_runner.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "history/history.h"
#include "platform/messages.h"
#include "platform/settings.h"
#include "program/error_trap.h"
#include "program/program_state.h"

namespace vnt {
namespace {

using platform::MessageStyle;
using platform::ShowMessage;

constexpr char kSource[] = "VNTFixdb";

// Fixes that take no time are made durable together, so that a run on one notice does not spend its time
// waiting for the disk. A run that is killed loses the fix that was running and, of those before it, at most
// what was done in this time.
constexpr auto kPersistInterval = std::chrono::milliseconds(250);

// Makes the reference connection anew. False when it cannot be opened; nothing is told here.
bool OpenReferenceDatabase() {
  auto reference = std::make_unique<db::cadodb>();
  reference->DBName = db::Value::Text(State().reference_database);
  reference->Mode = db::AccessMode::kRead;
  db::cadodb& opening = *reference;
  State().reference_connection = std::move(reference);
  return Resumed([&] { opening.OpenADOConnection(); });
}

// The conditions of a run, in order; each refusal has its message. On success the reference database is open.
bool PreconditionsHold() {
  if (State().current_database.empty()) {
    ShowMessage("No Database open.  Please open a database to fix.", MessageStyle::kInformation);
    return false;
  }
  State().reference_database = platform::GetSettingString("GLOBAL", "VeltRefdb");
  if (State().reference_database.empty()) {
    ShowMessage("Cannot find veltrefdb in the kv_soft ini file", MessageStyle::kPlain);
    return false;
  }
  if (State().read_only) {
    ShowMessage("VNTFixdb cannot fix a readonly database. ", MessageStyle::kCritical);
    return false;
  }
  if (!OpenReferenceDatabase()) {
    ShowMessage("Problem opening the velt reference database.  Please make sure it has been installed. ",
                MessageStyle::kCritical);
    return false;
  }
  return true;
}

// Adds a row to the history of every notice in scope.
void StampHistory() {
  constexpr std::string_view kStatusOfUnknown = "01";
  std::string sql = "select ntc_id, st_cur from notice";
  if (State().ntc_id > 0) sql += " where ntc_id = " + std::to_string(State().ntc_id);
  db::Recordset notices;
  notices.Open(sql, MainCn());
  for (; !notices.Eof(); notices.MoveNext()) {
    const std::int32_t ntc_id = notices.Get("ntc_id").ToInt32();
    const db::Value st_cur = notices.Get("st_cur");
    WriteHistoryStamp(ntc_id, st_cur.is_null() ? std::string(kStatusOfUnknown) : st_cur.ToText());
  }
  notices.Close();
}

// Counts what happens while one fix runs: statements and rows as the connections tell them, errors as the
// fixes report them.
class Counter {
 public:
  Counter() : former_on_error_(State().on_error) {
    State().on_error = [this](const db::DbError& error) { Count(error); };
    db::Connection::SetObserver([this](const db::StatementEvent& event) {
      if (!event.text.empty()) ++result_.statements;
      result_.rows += event.rows;
    });
  }
  ~Counter() {
    db::Connection::SetObserver({});
    State().on_error = former_on_error_;
  }
  Counter(const Counter&) = delete;
  Counter& operator=(const Counter&) = delete;

  void Start(const FixEntry* fix) {
    result_ = FixResult{};
    result_.fix = fix;
    start_ = std::chrono::steady_clock::now();
  }
  FixResult End() {
    result_.time = std::chrono::steady_clock::now() - start_;
    return std::move(result_);
  }
  void Count(const db::DbError& error) {
    result_.errors.push_back(error);
    if (former_on_error_) former_on_error_(error);
  }
  void MarkNotImplemented() { result_.implemented = false; }

 private:
  std::function<void(const db::DbError&)> former_on_error_;
  FixResult result_;
  std::chrono::steady_clock::time_point start_;
};

class Run {
 public:
  explicit Run(RunObserver& observer) : observer_(observer) {}

  RunResult Execute(const FixSelection& selection) {
    observer_.RunStarts();
    const int count = static_cast<int>(selection.count());
    int number = 0;
    for (const FixEntry& fix : FixCatalogue()) {
      if (!selection.test(static_cast<std::size_t>(fix.index))) continue;
      observer_.FixStarts(fix, ++number, count);
      counter_.Start(&fix);
      for (const FixRoutine& routine :
           std::span(fix.routines).first(static_cast<std::size_t>(fix.routine_count))) {
        if (routine.run == nullptr) {
          counter_.MarkNotImplemented();
        } else {
          UnderTrap(routine.run);
        }
      }
      EndFix();
    }
    counter_.Start(nullptr);
    UnderTrap(StampHistory);
    EndFix(/*last=*/true);
    observer_.RunEnds();
    return std::move(result_);
  }

 private:
  // The runner's error trap: what reaches it abandons the routine, and the next one runs. The words
  // mislead, since a database is open by then; they are kept because users know them.
  template <class Routine>
  void UnderTrap(Routine&& routine) {
    try {
      routine();
    } catch (const db::DbError& error) {
      Trap(error);
    } catch (const std::exception& error) {
      Trap(db::DbError(db::kErrNotFound, kSource, error.what()));
    }
  }
  void Trap(const db::DbError& error) {
    counter_.Count(error);
    ShowMessage("No Database is open!", MessageStyle::kCritical);
  }

  // What was done becomes durable; a failure of that counts as the fix's own.
  void EndFix(bool last = false) {
    const auto now = std::chrono::steady_clock::now();
    if (last || now - last_persist_ >= kPersistInterval) {
      Trapped([last] {
        // A connection that never opened has nothing to keep, and every fix has said so.
        const auto& main = State().main_connection;
        if (!main || !main->has_connection() || !main->Cn().is_open()) return;
        if (last) {
          main->Cn().Checkpoint();
        } else {
          main->Cn().Persist();
        }
      });
      last_persist_ = std::chrono::steady_clock::now();
    }
    result_.fixes.push_back(counter_.End());
    observer_.FixEnds(result_.fixes.back());
  }

  RunObserver& observer_;
  Counter counter_;
  RunResult result_;
  std::chrono::steady_clock::time_point last_persist_ = std::chrono::steady_clock::now();
};

}  // namespace

FixSelection DefaultSelection() {
  FixSelection selection;
  for (const FixEntry& fix : FixCatalogue()) selection.set(static_cast<std::size_t>(fix.index), fix.ticked);
  return selection;
}

bool RunResult::failed() const {
  return std::ranges::any_of(fixes, [](const FixResult& fix) { return !fix.errors.empty(); });
}

RunResult RunFixes(const FixSelection& selection, RunObserver& observer) {
  State().run_remark.clear();  // of the run before
  if (!PreconditionsHold()) {
    RunResult refused;
    refused.refused = true;
    return refused;
  }
  RunResult result = Run(observer).Execute(selection);
  // Between runs the reference database belongs to whoever wants to open it.
  State().reference_connection.reset();
  return result;
}

}  // namespace vnt
