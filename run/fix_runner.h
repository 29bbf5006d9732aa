// The fix runner: preconditions, the ticked fixes in their fixed order, the history stamp.
#pragma once

#include <bitset>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "access/store/changed_rows.h"
#include "db/error.h"
#include "run/catalogue.h"

namespace vnt {

using FixSelection = std::bitset<kFixCount>;  // by check-box index
FixSelection DefaultSelection();

// What became of a fix.
enum class FixStatus {
  kNotRun,
  kDone,     // ran to its end
  kFailed,   // ran to its end and reported errors
  kUndone,   // began, and nothing of it is in the database
  kInDoubt,  // came to its end; whether it is in the database cannot be told, since saving it failed half way
  kStopped,  // did not come to its end; what it had executed stays (a data source cannot take it back)
};

struct FixResult {
  const FixEntry* fix = nullptr;  // null for the history stamp
  FixStatus status = FixStatus::kNotRun;
  std::int64_t statements = 0;
  std::int64_t rows = 0;  // written, whether or not they differ afterwards
  // Rows that are not what they were before the fix; none where that was not counted.
  std::optional<std::int64_t> changed;
  std::vector<db::DbError> errors;
  // Of the history stamp: what kept the file from being brought up to date at the end. All that was done is
  // in the journal.
  std::optional<db::DbError> unsaved;
  std::chrono::steady_clock::duration time{};
};

// Watches a run; every method may be left as it is.
class RunObserver {
 public:
  virtual ~RunObserver() = default;
  // The backup before a run is being made: how many bytes of how many have been gone through.
  virtual void BackupAdvances(std::uint64_t /*done*/, std::uint64_t /*all*/) {}
  virtual void RunStarts() {}  // preconditions hold (hourglass on)
  virtual void FixStarts(const FixEntry&, int /*number*/, int /*count*/) {}
  // The running fix has taken that many steps (statements sent, rows written one by one) and written that
  // many rows. Called between them; what it does must not touch the database.
  virtual void FixAdvances(std::int64_t /*steps*/, std::int64_t /*rows*/) {}
  // Also told, at the end of a run that ended early, of every fix that is not what it was told to be, or that
  // was told of never.
  virtual void FixEnds(const FixResult&) {}
  virtual void RunEnds() {}  // hourglass off
};

struct RunResult {
  bool refused = false;  // a precondition failed; nothing was run
  // A failure of the surroundings or a request from outside ended the run: the fix that was running is
  // undone, those that are kDone or kFailed are in the database. One message has told so.
  bool ended_early = false;
  std::vector<FixResult> fixes;  // all that were selected, in order of execution; the history stamp last
  bool failed() const;           // any error reported, ended early, or the file is not up to date
};

// What fixes that reach beyond a notice have changed in the runs over several.
using ChangesOfNotices = std::map<const FixEntry*, jet::ChangedRows>;

// The click handler's work, on the program-wide state. Shows the refusals and error reports through its
// messages; "Fix complete." is left to the caller, who knows whether a window is visible.
//
// Errors of statements are the fixes' own, and the run goes on. A failure of the surroundings
// (DbError::is_environment(), no memory) ends it at once.
//
// `together` is for one of several runs, else null.
RunResult RunFixes(const FixSelection& selection, RunObserver& observer,
                   ChangesOfNotices* together = nullptr);

}  // namespace vnt
