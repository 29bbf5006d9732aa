// Files that Access wrote: they read as an independent reader reads them, and are sound to the check.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "access/base/error.h"
#include "access/check/check.h"
#include "tests/access/samples/mdb_export.h"
#include "tests/access/samples/sample_files.h"

namespace jet {
namespace {

namespace fs = std::filesystem;

TEST(AccessSamples, ReadAsAnIndependentReaderReadsThem) {
  SKIP_WITHOUT_SAMPLES();
  if (!HaveMdbExport()) GTEST_SKIP() << "mdb-export is not installed";
  for (const std::string& file : ReadableSamples()) {
    const auto db = Database::Open(PlatformFileSystem(), file, OpenMode::kRead);
    for (const std::string& name : TablesOf(*db, false)) {
      SCOPED_TRACE(file + " table " + name);
      const auto table = db->FindTable(name);
      ASSERT_TRUE(table);
      CompareTable(file, *table);
    }
  }
}

TEST(AccessSamples, AreSound) {
  SKIP_WITHOUT_SAMPLES();
  for (const std::string& file : ReadableSamples()) {
    const auto db = Database::Open(PlatformFileSystem(), file, OpenMode::kRead);
    for (const Finding& finding : CheckDatabase(*db)) {
      if (IsOddOnPurpose(file) && finding.text.find("the map of free pages") != std::string::npos) continue;
      if (finding.fatal) ADD_FAILURE() << file << ": " << finding.text;
    }
  }
}

TEST(AccessSamples, Access97IsReadOnly) {
  SKIP_WITHOUT_SAMPLES();
  int refused = 0;
  for (const std::string& file : Samples({"jet3"})) {
    SCOPED_TRACE(file);
    MemoryFileSystem files;
    const auto db = OpenCopy(files, file);
    EXPECT_FALSE(db->writable());
    for (const std::string& name : TablesOf(*db, false)) {
      const auto table = db->FindTable(name);
      EXPECT_NE(table->def().read_only_reason, "");
      const std::vector<ReadRow> rows = ReadAll(*table);
      if (rows.empty()) continue;
      try {
        StatementScope scope(*db);
        table->Delete(rows[0].id);
        ADD_FAILURE() << name;
      } catch (const Error& error) {
        ++refused;
        EXPECT_TRUE(error.kind() == ErrorKind::kReadOnly || error.kind() == ErrorKind::kNotSupported)
            << error.what();
      }
    }
  }
  EXPECT_GT(refused, 0);
}

TEST(AccessSamples, ProtectedFilesAreRefused) {
  SKIP_WITHOUT_SAMPLES();
  int count = 0;
  for (const std::string& file : Samples({"refused"})) {
    ++count;
    try {
      Database::Open(PlatformFileSystem(), file, OpenMode::kRead);
      ADD_FAILURE() << file;
    } catch (const Error& error) {
      EXPECT_EQ(error.kind(), ErrorKind::kNotSupported);
      const std::string text = error.what();
      EXPECT_NE(text.find("password"), std::string::npos) << text;
    }
  }
  EXPECT_GT(count, 0);
}

// The types of calculated columns stand in their properties; values of no bytes are Null.
TEST(AccessSamples, CalculatedColumnsHaveTheirTypes) {
  SKIP_WITHOUT_SAMPLES();
  const auto first_row = [](const std::string& name, std::size_t row) {
    for (const std::string& file : Samples({"hard"})) {
      if (fs::path(file).filename() != name) continue;
      const auto db = Database::Open(PlatformFileSystem(), file, OpenMode::kRead);
      const auto table = db->FindTable("Table1");
      EXPECT_NE(table->def().read_only_reason.find("is calculated"), std::string::npos);
      std::string text;
      const std::vector<ReadRow> rows = ReadAll(*table);
      for (std::size_t c = 0; c < table->def().columns.size(); ++c) {
        const ColumnDef& column = table->def().columns[c];
        if (!column.calculated) continue;
        text += column.name + ":" + std::to_string(static_cast<int>(column.type)) + "=" +
                Show(rows.at(row).values[c]) + " ";
        TableCursor cursor(*table);
        Row read;
        RowId id;
        while (cursor.Next(&read, &id) && id != rows[row].id) continue;
        EXPECT_EQ(read.IsNull(static_cast<int>(c)), rows[row].values[c].is_null());
      }
      return text;
    }
    return std::string("no such file");
  };
  EXPECT_EQ(
      first_row("calcFieldTestV2010.accdb", 1),
      "LastFirst:10=Simpson, Bart LastFirstLen:4=13 MonthlySalary:5=-0.0833 IsRich:1=0 "
      "AllNames:12=Simpson, Bart=Simpson, Bart WeeklySalary:16=-0.0192307692307692 SalaryTest:5=-1.0000 "
      "BoolTest:1=-1 DecimalTest:16=-36.222200 FloatTest:6=0.003589 "
      "BigNumTest:16=-0.0784734499180612994241100748 ");
  EXPECT_EQ(first_row("extDateTestV2019.accdb", 0), "DateNormalCalc:8=43999.000000 ");
  EXPECT_EQ(first_row("extDateTestV2019.accdb", 4), "DateNormalCalc:8=Null ");
}

}  // namespace
}  // namespace jet
