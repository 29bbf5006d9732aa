#include "startup/unshown_window.h"

#include "platform/messages.h"
#include "platform/settings.h"
#include "program/program_state.h"
#include "run/recorded_run.h"
#include "run/run_report.h"
#include "startup/run_messages.h"

namespace vnt {
namespace {

class Watcher : public RunObserver {
 public:
  Watcher(RunObserver& report, RunMessages& messages) : report_(report), messages_(messages) {}
  void FixEnds(const FixResult& result) override { report_.FixEnds(result); }
  void RunEnds() override { messages_.RunEnds(); }

 private:
  RunObserver& report_;
  RunMessages& messages_;
};

}  // namespace

bool UnshownWindow::Automatic_Fix() {
  const std::unique_ptr<RunObserver> report = MakeUnattendedReport();
  RunMessages messages;
  Watcher watcher(*report, messages);
  Recording recording;
  if (platform::GetSettingInt("VNTFIXV7", "Backup") > 0) recording.backup = "";
  recording.fingerprints = UnattendedReportIsRecord();
  try {
    const RunRecord record = RunRecorded(selection_, {}, recording, watcher);
    ReportUnattendedRun(record);
    if (!record.fault.empty()) platform::ShowMessage(record.fault, platform::MessageStyle::kCritical);
    return !record.result.refused && !record.result.failed() && record.fault.empty();
  } catch (const db::DbError& error) {
    // Nothing was run: no backup could be made.
    ShowError(error);
    ReportUnattendedRefusal(error.description());
    return false;
  }
}

}  // namespace vnt
