// What a run did, as rows of a list.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "run/run_record.h"

namespace vnt::ui {

// A fix by the number that it has in the guide and for vntfix, and its caption; the history, which has none,
// for null.
std::string NumberedName(const FixEntry* fix);

struct ReportRow {
  int step = 0;                   // in the order of the run, from 1
  const FixEntry* fix = nullptr;  // null for the history
  std::string status;
  std::int64_t rows = 0;     // written
  std::int64_t changed = 0;  // really; -1 where that is not known
  double seconds = 0;
  std::int64_t errors = 0;
};
enum class ReportColumn { kStep, kFix, kStatus, kRows, kChanged, kSeconds, kErrors };
inline constexpr int kReportColumns = 7;

std::vector<ReportRow> ReportRows(const RunRecord& record);
std::string TextOf(const ReportRow& row, ReportColumn column);
// Negative, 0 or positive; rows that are alike in the column come in the order of the run.
int Order(const ReportRow& a, const ReportRow& b, ReportColumn column);

struct ErrorRow {
  std::string fix;
  std::int32_t number = 0;
  std::string text;
  std::int64_t count = 0;
};
std::vector<ErrorRow> ErrorRows(const RunRecord& record);
// Lines of fields with tabs between them, under a head, as a spreadsheet takes them.
std::string ErrorsText(const std::vector<ErrorRow>& errors);

// What the list cannot say: the file, the scope, when, the outcome, the backup. A few lines.
std::string Summary(const RunRecord& record);

}  // namespace vnt::ui
