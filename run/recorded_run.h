// A run of the fixes between a backup and a record of what it did.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "run/fix_runner.h"
#include "run/run_record.h"

namespace vnt {

struct Recording {
  bool dry_run = false;               // what the record says of the run
  bool fingerprints = false;          // of the file before and after; a backup needs them anyway
  std::optional<std::string> backup;  // the folder for a backup; empty: that of the database
};

// RunFixes() on the program-wide state; with `notices`, once for each of them, as one record with the sums of
// all. The backup is made, durably, when the preconditions hold and before the
// first fix; its record is written when the run has ended, however it did. An error of the backup (DbError)
// keeps the run from beginning; what fails after the run is told in the record. A data source has neither
// backup nor fingerprints.
RunRecord RunRecorded(const FixSelection& selection, const std::vector<std::int32_t>& notices,
                      const Recording& recording, RunObserver& observer);

}  // namespace vnt
