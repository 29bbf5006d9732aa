// A data source on a server that is a copy of a file, made anew for each test from a copy that stays.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "db/connection.h"
#include "tests/cli/folder_test.h"

namespace vnt::test {

// For the options of all commands that take a data source.
inline constexpr char kSource[] = "dsn:TLKP-ING";
inline constexpr char kUser[] = "--user=postgres";

class NoticeSource : public cli::FolderTest {
 protected:
  NoticeSource();

  // Samples of that many notices, and what goes beyond what samples hold: Nulls, empty and long texts, texts
  // in other letters, dates before 1900, codes with blanks, equal frequencies, halves to round.
  void MakeHardSample(const std::string& format, const char* notices);
  // Copies the file to the data source, and keeps it as the seed.
  void Seed(const std::string& file);
  // Puts the seed into the data source.
  void Restore();
  // Runs the fixes on a copy of the file and on the data source; says what is different afterwards.
  std::string DifferenceAfter(const std::vector<std::string>& options);

  // With the reference databases of the sample.
  cli::Outcome Fix(const std::string& database, std::vector<std::string> options);
  // The rows of a query, as CSV.
  std::string Rows(const std::string& database, const std::string& query);
  db::Connection& admin() { return admin_; }

  std::string file_;  // the notice database of the sample

 private:
  db::Connection admin_;
};

}  // namespace vnt::test
