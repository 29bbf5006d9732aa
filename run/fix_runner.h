// The fix runner: preconditions, the ticked fixes in their fixed order, the history stamp.
#pragma once

#include <bitset>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "db/error.h"
#include "run/catalogue.h"

namespace vnt {

using FixSelection = std::bitset<kFixCount>;  // by check-box index
FixSelection DefaultSelection();

struct FixResult {
  const FixEntry* fix = nullptr;  // null for the history stamp
  std::int64_t statements = 0;
  std::int64_t rows = 0;  // rows changed
  std::vector<db::DbError> errors;
  std::chrono::steady_clock::duration time{};
  bool implemented = true;
};

// Watches a run; every method may be left as it is.
class RunObserver {
 public:
  virtual ~RunObserver() = default;
  virtual void RunStarts() {}  // preconditions hold (hourglass on)
  virtual void FixStarts(const FixEntry&, int /*number*/, int /*count*/) {}
  virtual void FixEnds(const FixResult&) {}
  virtual void RunEnds() {}  // hourglass off
};

struct RunResult {
  bool refused = false;          // a precondition failed; nothing was run
  std::vector<FixResult> fixes;  // in order of execution; the history stamp last
  bool failed() const;           // any error reported
};

// The click handler's work, on the program-wide state. Shows the refusals and error reports through its
// messages; "Fix complete." is left to the caller, who knows whether a window is visible.
RunResult RunFixes(const FixSelection& selection, RunObserver& observer);

}  // namespace vnt
