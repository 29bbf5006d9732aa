// How many rows an index search finds: estimated by looking a few rows up, so that the planner's choice holds
// on files of any size and content.
#pragma once

#include <cstdint>
#include <vector>

#include "access/store/database.h"

namespace jet::sql {

class IndexStatistics {
 public:
  // Rows that share the values of the first `columns` columns of an index, on average over some rows of the
  // table. Costs some microseconds the first time, and again when the table has doubled or halved.
  double RowsPerPrefix(Table& table, int index, std::size_t columns);

 private:
  void ChooseRows(Table& table);
  void Sample(Table& table, int index, std::vector<double>* averages);

  std::uint32_t sampled_rows_ = 0;
  std::vector<RowId> probes_;                  // the rows that are looked up
  std::vector<std::vector<double>> averages_;  // per index, per number of columns - 1
};

}  // namespace jet::sql
