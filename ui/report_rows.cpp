#include "ui/report_rows.h"

#include <algorithm>
#include <compare>
#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace vnt::ui {
namespace {

// The history comes last.
int PlaceOf(const ReportRow& row) { return row.fix == nullptr ? kFixCount : row.fix->index; }

template <typename T>
int Sign(const T& a, const T& b) {
  return a < b ? -1 : b < a ? 1 : 0;
}

}  // namespace

std::string NumberedName(const FixEntry* fix) {
  return fix == nullptr ? "History" : fmt::format("{}. {}", fix->index, fix->caption);
}

std::vector<ReportRow> ReportRows(const RunRecord& record) {
  std::vector<ReportRow> rows;
  for (const FixResult& fix : record.result.fixes) {
    ReportRow& row = rows.emplace_back();
    row.step = static_cast<int>(rows.size());
    row.fix = fix.fix;
    row.status = StatusWord(fix.status);
    row.rows = fix.rows;
    row.changed = fix.changed.value_or(-1);
    row.seconds = std::chrono::duration<double>(fix.time).count();
    row.errors = static_cast<std::int64_t>(fix.errors.size());
  }
  return rows;
}

std::string TextOf(const ReportRow& row, ReportColumn column) {
  switch (column) {
    case ReportColumn::kStep:
      return std::to_string(row.step);
    case ReportColumn::kFix:
      return NumberedName(row.fix);
    case ReportColumn::kStatus:
      return row.status;
    case ReportColumn::kRows:
      return std::to_string(row.rows);
    case ReportColumn::kChanged:
      return row.changed < 0 ? "" : std::to_string(row.changed);
    case ReportColumn::kSeconds:
      return fmt::format("{:.3f}", row.seconds);
    case ReportColumn::kErrors:
      break;
  }
  return row.errors == 0 ? "" : std::to_string(row.errors);
}

int Order(const ReportRow& a, const ReportRow& b, ReportColumn column) {
  int order = 0;
  switch (column) {
    case ReportColumn::kStep:
      break;
    case ReportColumn::kFix:
      order = Sign(PlaceOf(a), PlaceOf(b));
      break;
    case ReportColumn::kStatus:
      order = Sign(a.status, b.status);
      break;
    case ReportColumn::kRows:
      order = Sign(a.rows, b.rows);
      break;
    case ReportColumn::kChanged:
      order = Sign(a.changed, b.changed);
      break;
    case ReportColumn::kSeconds:
      order = Sign(a.seconds, b.seconds);
      break;
    case ReportColumn::kErrors:
      order = Sign(a.errors, b.errors);
      break;
  }
  return order != 0 ? order : Sign(a.step, b.step);
}

std::vector<ErrorRow> ErrorRows(const RunRecord& record) {
  std::vector<ErrorRow> rows;
  for (const FixResult& fix : record.result.fixes) {
    for (const CountedError& error : Counted(fix.errors)) {
      rows.push_back({NumberedName(fix.fix), error.error->number(), error.error->description(), error.count});
    }
  }
  return rows;
}

std::string ErrorsText(const std::vector<ErrorRow>& errors) {
  std::string text = "Fix\tNumber\tError\tTimes\n";
  for (const ErrorRow& error : errors) {
    std::string line = error.text;
    std::ranges::replace_if(
        line, [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
    text += fmt::format("{}\t{}\t{}\t{}\n", error.fix, error.number, line, error.count);
  }
  return text;
}

std::string Summary(const RunRecord& record) {
  const auto time = [](std::chrono::system_clock::time_point point) {
    return fmt::localtime(std::chrono::system_clock::to_time_t(point));
  };
  std::string text = record.file;
  text +=
      record.notices.empty() ? ", all notices" : fmt::format(", notice {}", fmt::join(record.notices, ", "));
  text += fmt::format("\n{:%Y-%m-%d %H:%M:%S} to {:%H:%M:%S}: {}", time(record.started), time(record.ended),
                      OutcomeOf(record.result));
  if (record.kind == RecordKind::kDryRun) text += ". Nothing was written.";
  if (!record.backup.empty()) text += "\nBackup: " + record.backup;
  const std::vector<FixResult>& fixes = record.result.fixes;
  if (!fixes.empty() && fixes.back().unsaved) {
    text += "\nNot up to date: " + fixes.back().unsaved->description();
  }
  return text;
}

}  // namespace vnt::ui
