#include "startup/unshown_window.h"

#include "run/run_report.h"

namespace vnt {

bool UnshownWindow::Automatic_Fix() {
  const std::unique_ptr<RunObserver> report = MakeUnattendedReport();
  const RunResult result = RunFixes(selection_, *report);
  return !result.refused && !result.failed();
}

}  // namespace vnt
