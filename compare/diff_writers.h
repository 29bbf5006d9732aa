// Differences of two databases as text, CSV or JSON, written as they are found.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "compare/compare.h"

namespace vnt::compare {

enum class DiffFormat { kText, kCsv, kJson };

// What is being compared, as the reader shall know it.
struct DiffNames {
  std::string old_name, new_name;
  std::int32_t notice = 0;   // 0: all
  bool only_counts = false;  // no rows will come
};

// Nobody reads any more what is written: the rest of the comparison is for nothing.
struct OutputFailed {};

class DiffWriter : public Sink {
 public:
  explicit DiffWriter(std::ostream& out) : out_(out) {}
  // Raises OutputFailed.
  void Progress(std::uint64_t, std::uint64_t) override {
    if (!out_) throw OutputFailed();
  }
  // After the comparison: totals, and what closes the document.
  virtual void Finish(const Summary& summary) = 0;

 protected:
  std::ostream& out_;
};

// Text: a line for each changed cell, each added and each removed row, and for each table, then the totals.
// CSV: a line for each changed cell, row, table or column that one side lacks, or the counts of each table
// that differs; equal databases give the header alone. JSON: one document, described by
// docs/diff.schema.json.
std::unique_ptr<DiffWriter> MakeDiffWriter(DiffFormat format, const DiffNames& names, std::ostream& out);

// A value on one line: texts in double quotes, and in them \, carriage return and line feed as "\\", "\r",
// "\n".
std::string Described(const jet::Value& value, jet::ColumnType type);
// The key of a row that differs, such as "ntc_id=12 seq_no=1"; empty where its table has no key.
std::string KeyText(const RowDifference& row);
// "removed", "added" or "changed".
std::string_view NameOf(Difference kind);

// The values of a changed cell, described. Values that differ in less than their usual text shows (-0, parts
// of a second, the last bits of a single in a double) get all their digits.
void DescribeChange(const jet::Value& old_value, jet::ColumnType old_type, const jet::Value& new_value,
                    jet::ColumnType new_type, std::string* old_text, std::string* new_text);

}  // namespace vnt::compare
