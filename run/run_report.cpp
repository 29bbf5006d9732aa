#include "run/run_report.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <utility>

#include <fmt/format.h>

#include "access/store/file_kind.h"
#include "fixes/identity.h"
#include "platform/environment.h"
#include "platform/paths.h"
#include "platform/settings.h"
#include "program/program_state.h"
#include "run/run_record.h"

namespace vnt {
namespace {

// Whether what a fix writes depends on the order of day and month in the region.
bool ReadsDates(const FixEntry& fix) {
  return std::ranges::any_of(fix.routines,
                             [](const FixRoutine& routine) { return routine.run == FixDateInUse; });
}

class FileReport : public RunObserver {
 public:
  explicit FileReport(std::ofstream file) : file_(std::move(file)), report_(file_) {}
  void FixEnds(const FixResult& result) override { report_.FixEnds(result); }

 private:
  std::ofstream file_;
  RunReport report_;
};

std::filesystem::path ReportPath() { return platform::EnvironmentPath("VNTFIX_RUN_REPORT"); }

// Not open when there is to be no such report. Line ends are the same everywhere.
std::ofstream OpenReport(std::ios::openmode mode, RecordFormat format = RecordFormat::kText) {
  std::ofstream file;
  const auto path = ReportPath();
  if (!path.empty() && FormatOfName(platform::Utf8Of(path)) == format && !jet::IsDatabaseOrJournal(path)) {
    file.open(path, std::ios::binary | std::ios::out | mode);
  }
  return file;
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
  std::string outcome = fmt::format("{:>9} rows {:>9.3f} s", result.rows, seconds);
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
  const auto path = ReportPath();
  if (path.empty()) return {};
  if (jet::IsDatabaseOrJournal(path)) {
    return fmt::format("The report {} would overwrite a database. It is not written.",
                       platform::Utf8Of(path));
  }
  std::ofstream file = OpenReport(std::ios::trunc, FormatOfName(platform::Utf8Of(path)));
  // Some places tell only when something is written.
  file << (UnattendedReportIsRecord() ? " " : "") << std::flush;
  if (file) return {};
  return fmt::format("The report {} cannot be written.", platform::Utf8Of(path));
}

bool UnattendedReportIsRecord() {
  return !ReportPath().empty() && FormatOfName(platform::Utf8Of(ReportPath())) == RecordFormat::kJson;
}

void WriteUnattendedRecord(const RunRecord& record) {
  OpenReport(std::ios::trunc, RecordFormat::kJson) << RecordText(record, RecordFormat::kJson) << std::flush;
}

void WriteUnattendedRefusal(std::string_view why) {
  RunRecord record;
  record.file = State().current_database;
  if (State().ntc_id > 0) record.notices.push_back(State().ntc_id);
  record.started = record.ended = std::chrono::system_clock::now();
  record.result.refused = true;
  record.refusal = why;
  WriteUnattendedRecord(record);
}

std::unique_ptr<RunObserver> MakeUnattendedReport() {
  std::ofstream file = OpenReport(std::ios::app);
  if (file.is_open()) return std::make_unique<FileReport>(std::move(file));
  return std::make_unique<RunObserver>();
}

void ReportMessage(std::string_view text) { OpenReport(std::ios::app) << text << std::endl; }

}  // namespace vnt
