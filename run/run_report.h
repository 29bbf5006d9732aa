// A run as text: a line per fix with rows changed and time, as `vntfix fix` prints it and as the unattended
// run writes it to the file that the environment variable VNTFIX_RUN_REPORT names.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include "run/fix_runner.h"

namespace vnt {

struct RunRecord;

// The line of one fix, without line end:
//   " 7  Convert Frequencies MHz to GHz                    120 rows     0.004 s  1 error"
//   "22  Sort Frequencies                           undone"
// A fix that reads dates by the region says in which order it did.
std::string ReportLine(const FixResult& result);

// Each line reaches its reader at once.
class RunReport : public RunObserver {
 public:
  // The stream must outlive the report.
  explicit RunReport(std::ostream& out) : out_(out) {}
  void FixEnds(const FixResult& result) override;

 private:
  std::ostream& out_;
};

// The report of an unattended run, in the file that VNTFIX_RUN_REPORT names: lines, or where the name ends in
// ".json" the record of the run. It is gathered in the program-wide state and written at the end; until then
// the file says that the run has not ended. Where the variable is not set, all of these do nothing.

// Begins an empty one, of the current database and notice. Gives a sentence on why it cannot be written;
// empty: it can, or none is wanted.
std::string StartUnattendedReport();
// Adds the line of each fix.
std::unique_ptr<RunObserver> MakeUnattendedReport();
// Whether the record is wanted, and takes it for the report.
bool UnattendedReportIsRecord();
void ReportUnattendedRun(const RunRecord& record);
// The same for a run that was refused before it began.
void ReportUnattendedRefusal(std::string_view why);
// Adds a message that nobody could be shown.
void ReportMessage(std::string_view text);
// Writes it, whole or not at all. Gives a sentence when it was not, which may be that of the begin.
std::string FinishUnattendedReport();

}  // namespace vnt
