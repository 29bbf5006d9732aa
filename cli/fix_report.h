// The report of vntfix fix: what became of each FILE, in the file that --report names.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/cli.h"
#include "cli/commands.h"
#include "run/run_record.h"

namespace vnt::cli {

// It is there, whole, from before the first run on: whoever is killed leaves one that says which file was
// being worked on and which were not begun. Where no report is wanted, all of this does nothing. JSON of
// several FILEs is an array, whatever became of them.
class FixReport {
 public:
  explicit FixReport(const FixOptions& options);

  // Takes the place of a former report. Gives a sentence on why it cannot; empty: it has.
  std::string Begin();
  void Starts(std::size_t file);
  void Ends(std::size_t file, RunRecord record);
  // The last one. False, and says why, when it cannot be written.
  bool Finish(Streams& streams) const;

  // The record of a run that was refused before it began.
  static RunRecord Refused(const std::string& file, const FixOptions& options);

 private:
  std::string Text() const;
  bool is_printed() const;

  const FixOptions& options_;
  std::vector<RunRecord> records_;  // by FILE
};

}  // namespace vnt::cli
