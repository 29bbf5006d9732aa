// What a fix does to the sample databases, as the guide shows it: made by running it, so that it stays true.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vnt::guide {

struct ExampleTable {
  std::string name;
  std::string counts;                          // "52 rows changed, of 1775"
  std::vector<std::string> remarks;            // on the table as a whole
  std::vector<std::string> columns;            // of the rows below; the first tells what became of the row
  std::vector<std::vector<std::string>> rows;  // a changed value as "old → new"
  std::set<std::string> changed_columns;       // of changed rows, all of them
  bool rows_come_or_go = false;
};

struct Example {
  std::vector<ExampleTable> tables;  // those that differ; not the history
  // What the page's own query gives before and after; a row of names first.
  std::vector<std::vector<std::string>> before, after;
};

// Databases of 20 notices, in memory, on which each fix is tried.
class ExampleDatabases {
 public:
  ExampleDatabases();
  ~ExampleDatabases();
  ExampleDatabases(const ExampleDatabases&) = delete;
  ExampleDatabases& operator=(const ExampleDatabases&) = delete;

  // A run of this fix alone, at data level -1. `query` may be empty. std::runtime_error when the run is
  // refused or reports an error.
  Example Try(int fix_index, const std::string& query);
  // The tables of the sample's schema with their columns, in lower case.
  std::vector<std::pair<std::string, std::set<std::string>>> Schema() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

inline constexpr int kExampleNotices = 20;

}  // namespace vnt::guide
