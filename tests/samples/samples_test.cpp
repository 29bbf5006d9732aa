// Sample databases: reproducible, sound as files, and with defects in the promised share.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "access/check/check.h"
#include "access/file/test_files.h"
#include "access/sql/session.h"
#include "samples/sample_database.h"

namespace vnt::samples {
namespace {

using Content = std::map<std::string, std::vector<std::string>>;  // table -> rows as text

std::string RowText(const jet::Table& table, const jet::Row& row) {
  std::string text;
  for (int i = 0; i < static_cast<int>(table.def().columns.size()); ++i) {
    const jet::Value value = row.Get(i);
    text += '|';
    switch (value.kind()) {
      case jet::ValueKind::kNull:
        text += "null";
        break;
      case jet::ValueKind::kInteger:
        text += std::to_string(value.integer());
        break;
      case jet::ValueKind::kReal:
        text += std::to_string(value.real());
        break;
      default:
        text += "'" + value.bytes() + "'";
    }
  }
  return text;
}

Content Make(int notices, std::uint64_t seed, jet::Format format = jet::Format::kJet4) {
  jet::MemoryFileSystem files;
  SampleOptions options;
  options.notices = notices;
  options.seed = seed;
  options.format = format;
  const SampleFiles made = MakeSample(files, "", options);
  Content content;
  for (const std::string& path : {made.notice, made.reference, made.empty_template}) {
    const auto database = jet::Database::Open(files, path, jet::OpenMode::kRead);
    for (const jet::Finding& finding : jet::CheckDatabase(*database))
      ADD_FAILURE() << path << ": " << finding.text;
    if (path != made.notice) continue;
    for (const jet::CatalogEntry& entry : database->Catalog()) {
      if (entry.type != 1 || entry.system()) continue;
      const auto table = database->FindTable(entry.name);
      auto& rows = content[entry.name];
      jet::TableCursor cursor(*table);
      jet::Row row;
      jet::RowId id;
      while (cursor.Next(&row, &id)) rows.push_back(RowText(*table, row));
      EXPECT_EQ(rows.size(), table->row_count()) << entry.name;
    }
  }
  return content;
}

TEST(SampleDatabase, SameSeedGivesTheSameRowsInEveryFormat) {
  const Content once = Make(20, 5);
  EXPECT_EQ(once, Make(20, 5));
  EXPECT_EQ(once, Make(20, 5, jet::Format::kAce12));
  EXPECT_EQ(once, Make(20, 5, jet::Format::kAce14));
  EXPECT_NE(once.at("assgn"), Make(20, 6).at("assgn"));
}

TEST(SampleDatabase, RowsOfTheFirstNoticesDoNotDependOnHowManyFollow) {
  const Content few = Make(10, 1);
  const Content more = Make(30, 1);
  for (const auto& [table, rows] : few) {
    const auto& others = more.at(table);
    ASSERT_LE(rows.size(), others.size()) << table;
    EXPECT_TRUE(std::equal(rows.begin(), rows.end(), others.begin())) << table;
  }
}

TEST(SampleDatabase, FailureLeavesNothingBehindAndNothingIsOverwritten) {
  jet::MemoryFileSystem files;
  files.SetContent("/template.mdb", "somebody's");
  EXPECT_THROW(MakeSample(files, "", {.notices = 10}), jet::Error);
  EXPECT_EQ(files.Content("/template.mdb"), "somebody's");
  EXPECT_FALSE(files.Exists("/reference.mdb"));
  files.Remove("/template.mdb");
  files.FailAt(files.operations() + 20, jet::MemoryFileSystem::Failure::kFull);
  EXPECT_THROW(MakeSample(files, "", {.notices = 10}), jet::Error);
  for (const char* path : {"/template.mdb", "/reference.mdb", "/notices.mdb"})
    EXPECT_FALSE(files.Exists(path)) << path;
  const std::uint64_t before = files.operations();
  MakeSample(files, "", {.notices = 10});
  const std::uint64_t all = files.operations() - before;
  for (std::uint64_t n = 1; n <= all; n += 7) {
    jet::MemoryFileSystem failing;
    failing.FailAt(n, jet::MemoryFileSystem::Failure::kFull);
    try {
      MakeSample(failing, "", {.notices = 10});
    } catch (const jet::Error&) {
      for (const std::string path : {"/template.mdb", "/reference.mdb", "/notices.mdb"}) {
        EXPECT_FALSE(failing.Exists(path)) << path << " after " << n;
        EXPECT_FALSE(failing.Exists(path + jet::kJournalSuffix)) << path << " after " << n;
      }
    }
  }
}

TEST(SampleDatabase, TablesStandInProportion) {
  const Content content = Make(100, 1);
  for (const auto& [table, rows] : content) EXPECT_FALSE(rows.empty()) << table;
  EXPECT_EQ(content.at("notice").size(), 100u);
  EXPECT_EQ(content.at("grp").size(), 800u);
  const double assignments = static_cast<double>(content.at("assgn").size()) / 800;
  EXPECT_GT(assignments, 10);
  EXPECT_LT(assignments, 13);
}

}  // namespace
}  // namespace vnt::samples
