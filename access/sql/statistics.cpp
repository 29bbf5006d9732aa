#include "access/sql/statistics.h"

#include <algorithm>

namespace jet::sql {
namespace {

constexpr std::size_t kProbes = 6;
constexpr int kMaxEntries = 300;          // counted per probe
constexpr double kRowsOfEmptyTable = 10;  // assumed: it may have grown when the plan is used again

}  // namespace

double IndexStatistics::RowsPerPrefix(Table& table, int index, std::size_t columns) {
  const std::uint32_t rows = table.row_count();
  if (rows > 2 * sampled_rows_ || 2 * rows < sampled_rows_ || averages_.empty()) {
    averages_.assign(table.def().indexes.size(), {});
    sampled_rows_ = rows;
    ChooseRows(table);
  }
  std::vector<double>& averages = averages_[index];
  if (averages.empty()) Sample(table, index, &averages);
  return averages[columns - 1];
}

// The rows number 1, 5, 25, ...: neighbours are often alike.
void IndexStatistics::ChooseRows(Table& table) {
  probes_.clear();
  TableCursor rows(table);
  Row row;
  RowId id;
  for (std::uint64_t number = 1, next = 1; probes_.size() < kProbes && rows.Next(&row, &id); ++number) {
    if (number != next) continue;
    next *= 5;
    probes_.push_back(id);
  }
}

void IndexStatistics::Sample(Table& table, int index, std::vector<double>* averages) {
  const IndexDef& def = table.def().indexes[index];
  averages->assign(def.columns.size(), 0);
  Row row;
  const auto gone = [&](RowId probe) { return !table.Fetch(probe, &row); };
  if (std::any_of(probes_.begin(), probes_.end(), gone)) ChooseRows(table);
  for (const RowId probe : probes_) {
    table.Fetch(probe, &row);
    std::vector<Value> values;
    for (std::size_t k = 0; k < def.columns.size(); ++k) {
      values.push_back(row.Get(def.columns[k].column));
      const std::string key = table.MakeKey(index, values);
      IndexCursor entries(table, index, {key, false, key, false});
      RowId entry;
      int count = 0;
      while (count < kMaxEntries && entries.Next(&entry)) ++count;
      (*averages)[k] += count;
      if (count == kMaxEntries) (*averages)[k] += table.row_count() / 20.0;  // nobody knows how many more
    }
  }
  for (double& average : *averages) {
    average = probes_.empty() ? kRowsOfEmptyTable : average / probes_.size();
  }
}

}  // namespace jet::sql
