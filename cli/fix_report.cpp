#include "cli/fix_report.h"

#include <chrono>
#include <ostream>
#include <utility>

#include <fmt/format.h>

#include "run/report_file.h"

namespace vnt::cli {
namespace {

RecordFormat FormatOf(const FixOptions& options) {
  if (options.format == DiffFormat::kText) return RecordFormat::kText;
  if (options.format == DiffFormat::kJson) return RecordFormat::kJson;
  return FormatOfName(options.report);
}

RunRecord NotBegun(const std::string& file, const FixOptions& options) {
  RunRecord record;
  record.kind = options.dry_run ? RecordKind::kDryRun : RecordKind::kRun;
  record.stage = RecordStage::kNotBegun;
  record.file = file;
  return record;
}

}  // namespace

FixReport::FixReport(const FixOptions& options) : options_(options) {
  for (const std::string& file : options.files) records_.push_back(NotBegun(file, options));
}

RunRecord FixReport::Refused(const std::string& file, const FixOptions& options) {
  RunRecord record = NotBegun(file, options);
  record.stage = RecordStage::kEnded;
  record.started = record.ended = std::chrono::system_clock::now();
  record.result.refused = true;
  return record;
}

bool FixReport::is_printed() const { return options_.report == kStandardOutput; }

std::string FixReport::Text() const {
  const RecordFormat format = FormatOf(options_);
  const bool list = format == RecordFormat::kJson && records_.size() != 1;
  std::string text = list ? "[\n" : "";
  for (std::size_t i = 0; i < records_.size(); ++i) {
    text += (i == 0 ? "" : list ? ",\n" : "\n") + RecordText(records_[i], format);
  }
  return list ? text + "]\n" : text;
}

std::string FixReport::Begin() {
  if (options_.report.empty() || is_printed()) return {};
  if (BeginReportFile(options_.report, Text())) return {};
  return fmt::format("the report {} cannot be written. Nothing was done.", options_.report);
}

void FixReport::Starts(std::size_t file) {
  RunRecord& record = records_[file];
  record.stage = RecordStage::kRunning;
  record.started = std::chrono::system_clock::now();
  // Where this fails, the former one stays; Finish() tells if the last one fails too.
  if (!options_.report.empty() && !is_printed()) BeginReportFile(options_.report, Text());
}

void FixReport::Ends(std::size_t file, RunRecord record) { records_[file] = std::move(record); }

bool FixReport::Finish(Streams& streams) const {
  if (options_.report.empty()) return true;
  if (is_printed()) {
    streams.out << Text();
    return true;
  }
  if (WriteReportFile(options_.report, Text())) {
    if (!options_.quiet) streams.out << "report: " << options_.report << '\n';
    return true;
  }
  streams.err << fmt::format("vntfix: the report {} cannot be written.\n", options_.report);
  return false;
}

}  // namespace vnt::cli
