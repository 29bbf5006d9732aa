#include "run/run_report.h"

#include <algorithm>
#include <chrono>
#include <ostream>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "fixes/identity.h"
#include "platform/environment.h"
#include "platform/paths.h"
#include "platform/settings.h"
#include "program/program_state.h"
#include "run/report_file.h"
#include "run/run_record.h"

namespace vnt {
namespace {

// Whether what a fix writes depends on the order of day and month in the region.
bool ReadsDates(const FixEntry& fix) {
  return std::ranges::any_of(fix.routines,
                             [](const FixRoutine& routine) { return routine.run == FixDateInUse; });
}

class UnattendedReport : public RunObserver {
 public:
  void FixEnds(const FixResult& result) override { State().unattended_report += ReportLine(result) + "\n"; }
};

// Empty: none is wanted.
std::string ReportPath() { return platform::Utf8Of(platform::EnvironmentPath("VNTFIX_RUN_REPORT")); }

bool IsLines() {
  const std::string path = ReportPath();
  return !path.empty() && FormatOfName(path) == RecordFormat::kText;
}

// What keeps the report from its file, whatever stands in it; empty: nothing that can be told.
std::string WhyNotReported(const std::string& path) {
  if (WouldOverwriteDatabase(path)) {
    return fmt::format("The report {} would overwrite a database. It is not written.", path);
  }
  return {};
}

RunRecord RecordOfTheRun() {
  RunRecord record;
  record.file = State().current_database;
  if (State().ntc_id > 0) record.notices.push_back(State().ntc_id);
  return record;
}

std::string TextUntilItEnds() {
  const auto now = std::chrono::system_clock::now();
  if (IsLines()) {
    return fmt::format("The run that began at {:%Y-%m-%d %H:%M:%S} has not ended.\n",
                       fmt::localtime(std::chrono::system_clock::to_time_t(now)));
  }
  RunRecord record = RecordOfTheRun();
  record.stage = RecordStage::kRunning;
  record.started = now;
  return RecordText(record, RecordFormat::kJson);
}

std::string CannotBeWritten(const std::string& path) {
  return fmt::format("The report {} cannot be written.", path);
}

}  // namespace

std::string ReportLine(const FixResult& result) {
  const std::string index = result.fix == nullptr ? "" : std::to_string(result.fix->index);
  const std::string_view caption = result.fix == nullptr ? "History" : result.fix->caption;
  const double seconds = std::chrono::duration<double>(result.time).count();
  switch (result.status) {
    case FixStatus::kNotRun:
      return fmt::format("{:>2}  {:<42} not run", index, caption);
    case FixStatus::kUndone:
      return fmt::format("{:>2}  {:<42} undone", index, caption);
    case FixStatus::kInDoubt:
      return fmt::format("{:>2}  {:<42} perhaps saved", index, caption);
    case FixStatus::kStopped:
      return fmt::format("{:>2}  {:<42} stopped", index, caption);
    case FixStatus::kDone:
    case FixStatus::kFailed:
      break;
  }
  std::string outcome =
      fmt::format("{:>9} {:<4} {:>9.3f} s", result.rows, result.rows == 1 ? "row" : "rows", seconds);
  if (result.changed) outcome += fmt::format("  {} changed", *result.changed);
  if (!result.errors.empty()) {
    outcome += fmt::format("  {} error{}", result.errors.size(), result.errors.size() == 1 ? "" : "s");
  }
  if (result.fix != nullptr && ReadsDates(*result.fix)) {
    const bool day_first = platform::RegionalDateOrder() == platform::DateOrder::kDayFirst;
    outcome += day_first ? "  (day before month)" : "  (month before day)";
  }
  return fmt::format("{:>2}  {:<42} {}", index, caption, outcome);
}

void RunReport::FixEnds(const FixResult& result) { out_ << ReportLine(result) << std::endl; }

std::string StartUnattendedReport() {
  State().unattended_report.clear();
  const std::string path = ReportPath();
  if (path.empty()) return {};
  std::string fault = WhyNotReported(path);
  if (fault.empty() && !BeginReportFile(path, TextUntilItEnds())) fault = CannotBeWritten(path);
  return fault;
}

std::unique_ptr<RunObserver> MakeUnattendedReport() {
  if (IsLines()) return std::make_unique<UnattendedReport>();
  return std::make_unique<RunObserver>();
}

bool UnattendedReportIsRecord() { return !ReportPath().empty() && !IsLines(); }

void ReportUnattendedRun(const RunRecord& record) {
  if (UnattendedReportIsRecord()) State().unattended_report = RecordText(record, RecordFormat::kJson);
}

void ReportUnattendedRefusal(std::string_view why) {
  RunRecord record = RecordOfTheRun();
  record.started = record.ended = std::chrono::system_clock::now();
  record.result.refused = true;
  record.refusal = why;
  record.setting_fault = State().setting_fault;
  ReportUnattendedRun(record);
}

void ReportMessage(std::string_view text) {
  if (IsLines()) State().unattended_report.append(text) += "\n";
}

std::string FinishUnattendedReport() {
  const std::string path = ReportPath();
  if (path.empty()) return {};
  if (std::string fault = WhyNotReported(path); !fault.empty()) return fault;
  if (UnattendedReportIsRecord() && State().unattended_report.empty()) return {};
  return WriteReportFile(path, State().unattended_report) ? std::string() : CannotBeWritten(path);
}

}  // namespace vnt
