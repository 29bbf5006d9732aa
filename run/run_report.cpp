#include "run/run_report.h"

#include <chrono>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>

#include "platform/environment.h"

namespace vnt {
namespace {

class FileReport : public RunObserver {
 public:
  explicit FileReport(std::ofstream file) : file_(std::move(file)), report_(file_) {}
  void FixEnds(const FixResult& result) override { report_.FixEnds(result); }

 private:
  std::ofstream file_;
  RunReport report_;
};

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
      result.implemented ? fmt::format("{:>9} rows {:>9.3f} s", result.rows, seconds) : "not implemented";
  if (!result.errors.empty()) {
    outcome += fmt::format("  {} error{}", result.errors.size(), result.errors.size() == 1 ? "" : "s");
  }
  return fmt::format("{:>2}  {:<42} {}", index, caption, outcome);
}

void RunReport::FixEnds(const FixResult& result) { out_ << ReportLine(result) << std::endl; }

std::unique_ptr<RunObserver> MakeReportFromEnvironment() {
  if (const auto path = platform::EnvironmentPath("VNTFIX_RUN_REPORT"); !path.empty()) {
    std::ofstream file(path);
    if (file) return std::make_unique<FileReport>(std::move(file));
  }
  return std::make_unique<RunObserver>();
}

}  // namespace vnt
