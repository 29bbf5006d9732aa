// Files that Access wrote, and what an independent reader says of them.
//
// The files are in the folder that the environment variable ACCESS_SAMPLES names (subfolders jet3, jet4,
// ace12, ace14, hard, refused). Changes are made to copies in memory.
#pragma once

#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "access/file/test_files.h"
#include "access/store/database.h"

namespace jet {

std::vector<std::string> Samples(std::initializer_list<const char*> folders);
// All but those that are to be refused.
std::vector<std::string> ReadableSamples();
// Its map of free pages contradicts its tables: pages in use are said to be free.
bool IsOddOnPurpose(const std::string& file);

#define SKIP_WITHOUT_SAMPLES()                                                     \
  if (std::getenv("ACCESS_SAMPLES") == nullptr) {                                  \
    GTEST_SKIP() << "ACCESS_SAMPLES names no folder with files that Access wrote"; \
  }

// A copy of the file in memory, open for writing.
std::unique_ptr<Database> OpenCopy(MemoryFileSystem& files, const std::string& file);
std::vector<std::string> TablesOf(Database& db, bool system);

struct ReadRow {
  RowId id;
  std::vector<Value> values;
  bool operator==(const ReadRow&) const = default;
};
std::vector<ReadRow> ReadAll(Table& table);

std::string Show(const Value& value);

// Expects of a table what mdb-export says of it; without `in_order`, its rows in any order.
void CompareTable(const std::string& file, Table& table, bool in_order = true);

}  // namespace jet
