// Compacting: what is in a file stays, what is not needed goes, whatever happens meanwhile.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>

#include "access/base/error.h"
#include "access/check/check.h"
#include "access/check/compact_file.h"
#include "tests/access/base/value_text.h"
#include "tests/access/store/database_fixture.h"

namespace jet::testing {
namespace {

using ::testing::HasSubstr;

// Every table, system tables too, with definition and rows in their order.
std::string Everything(Database& database) {
  std::string text;
  for (const CatalogEntry& entry : database.Catalog()) {
    text += fmt::format("{} {} {} {}\n", entry.id, entry.name, entry.type, entry.flags);
    if (entry.type != 1) continue;
    const auto table = database.FindTable(entry.name);
    if (table == nullptr) continue;
    text += fmt::format("{} rows\n", table->row_count());
    for (const IndexDef& index : table->def().indexes) text += " /" + index.name;
    TableCursor cursor(*table);
    Row row;
    for (RowId id; cursor.Next(&row, &id); text += '\n') {
      for (std::size_t c = 0; c < table->def().columns.size(); ++c) {
        text += ValueText(row.Get(static_cast<int>(c))) + "|";
      }
    }
  }
  return text;
}

std::string Faults(Database& database) {
  std::string text;
  for (const Finding& finding : CheckDatabase(database)) {
    if (finding.fatal) text += finding.text + "\n";
  }
  return text;
}

struct State {
  std::string everything, faults;
};
State Read(MemoryFileSystem& files) {
  const auto database = Database::Open(files, kFile, OpenMode::kRead);
  return {Everything(*database), Faults(*database)};
}

// A file with much room in between: two tables that grew in turn, of which most rows are gone.
void MakeLooseFile(MemoryFileSystem& files, Format format, int rows) {
  Database::Create(files, kFile, format);
  const auto db = Database::Open(files, kFile, OpenMode::kReadWrite);
  StatementScope scope(*db);
  NewColumn counter = Col("id", ColumnType::kLong);
  counter.auto_number = true;
  for (const char* name : {"a", "b"}) {
    db->CreateTable(name, {counter, Col("name", ColumnType::kText), Col("note", ColumnType::kMemo)},
                    {Idx("key", {"id"}, true, true), Idx("name", {"name"})});
  }
  const std::shared_ptr<Table> tables[] = {db->FindTable("a"), db->FindTable("b")};
  std::vector<RowId> ids[2];
  for (int i = 0; i < rows; ++i) {
    for (int t = 0; t < 2; ++t) {
      const std::size_t note = i % 50 == 0 ? 9000 : i % 7 == 0 ? 300 : 20;
      ids[t].push_back(
          tables[t]->Insert({Value::Null(), Value::Text(fmt::format("row {} of {}", i * 7919 % rows, t)),
                             Value::Text(std::string(note, static_cast<char>('a' + i % 26)))}));
    }
  }
  for (int i = 0; i < rows; ++i) {
    if (i % 4 != 0) tables[i % 2]->Delete(ids[i % 2][static_cast<std::size_t>(i)]);
    // Rows that outgrow their page.
    if (i % 8 == 0) {
      tables[0]->Update(ids[0][static_cast<std::size_t>(i)], {{1, Value::Text(std::string(200, 'z'))}});
    }
  }
  db->CreateTable("last", {Col("id", ColumnType::kLong)}, {});
  scope.Commit();
  db->Checkpoint();
}

class Compact : public ::testing::TestWithParam<Format> {};
INSTANTIATE_TEST_SUITE_P(Formats, Compact, ::testing::Values(Format::kJet4, Format::kAce12, Format::kAce14));

TEST_P(Compact, KeepsWhatIsThereAndGivesBackTheRest) {
  MemoryFileSystem files;
  MakeLooseFile(files, GetParam(), 4000);
  const State before = Read(files);
  ASSERT_EQ(before.faults, "");
  const CompactedSizes sizes = CompactFile(files, kFile);
  EXPECT_LT(sizes.after, sizes.before * 4 / 5);
  EXPECT_EQ(files.Content(kFile).size(), sizes.after);
  const State after = Read(files);
  EXPECT_EQ(after.faults, "");
  EXPECT_TRUE(after.everything == before.everything);

  const std::string content = files.Content(kFile);
  const CompactedSizes again = CompactFile(files, kFile);
  EXPECT_EQ(again.before, again.after);
  EXPECT_TRUE(files.Content(kFile) == content) << "there was nothing to gain";

  // It can be worked on.
  const auto db = Database::Open(files, kFile, OpenMode::kReadWrite);
  StatementScope scope(*db);
  const auto table = db->FindTable("a");
  const RowId id = table->Insert({Value::Null(), Value::Text("new"), Value::Text(std::string(5000, 'n'))});
  Row row;
  ASSERT_TRUE(table->Fetch(id, &row));
  EXPECT_EQ(row.Get(0).integer(), 4001) << "autonumbers go on";
  scope.Commit();
  db->Checkpoint();
  EXPECT_EQ(Faults(*db), "");
}

// Large enough for a map of free pages with bitmap pages, and to need none afterwards.
TEST(CompactLarge, MovesTheMapOfFreePagesToo) {
  MemoryFileSystem files;
  Database::Create(files, kFile, Format::kJet4);
  {
    const auto db = Database::Open(files, kFile, OpenMode::kReadWrite);
    StatementScope scope(*db);
    db->CreateTable("t", {Col("id", ColumnType::kLong), Col("note", ColumnType::kOle)}, {Idx("key", {"id"})});
    const auto table = db->FindTable("t");
    std::vector<RowId> ids;
    for (int i = 0; i < 4500; ++i) {
      ids.push_back(table->Insert({Value::Integer(i), Value::Blob(std::string(4000, static_cast<char>(i)))}));
    }
    for (int i = 0; i < 4500; ++i) {
      if (i % 30 != 1) table->Delete(ids[static_cast<std::size_t>(i)]);
    }
    scope.Commit();
    db->Checkpoint();
  }
  const State before = Read(files);
  const CompactedSizes sizes = CompactFile(files, kFile);
  EXPECT_GT(sizes.before, 18'000'000U);
  EXPECT_LT(sizes.after, 1'000'000U);
  const State after = Read(files);
  EXPECT_EQ(after.faults, "");
  EXPECT_TRUE(after.everything == before.everything);
}

TEST_P(Compact, IsAllOrNothingWhateverFails) {
  MemoryFileSystem base;
  MakeLooseFile(base, GetParam(), 250);
  const std::string content = base.Content(kFile);
  const State old = Read(base);
  Database::Options small;
  small.pages.cache_bytes = 64 << 10;
  small.pages.undo_bytes = 32 << 10;
  std::uint64_t operations = 0;
  std::string compacted;
  {
    MemoryFileSystem files;
    files.SetContent(kFile, content);
    CompactFile(files, kFile, small);
    operations = files.operations();
    compacted = files.Content(kFile);
  }
  ASSERT_GT(operations, 20U);
  ASSERT_LT(compacted.size(), content.size());
  struct Fault {
    MemoryFileSystem::Failure failure;
    bool from_then_on, power_loss;
    std::uint64_t keep_seed;
  };
  const Fault kFaults[] = {{MemoryFileSystem::Failure::kIo, false, false, 0},
                           {MemoryFileSystem::Failure::kFull, true, false, 0},
                           {MemoryFileSystem::Failure::kIo, true, true, 0},
                           {MemoryFileSystem::Failure::kShortWrite, true, true, 1},
                           {MemoryFileSystem::Failure::kIo, true, true, 2}};
  int old_files = 0, whole_files = 0, uncut_files = 0;
  for (const Fault& fault : kFaults) {
    for (std::uint64_t n = 1; n <= operations; ++n) {
      SCOPED_TRACE(n);
      MemoryFileSystem files;
      files.SetContent(kFile, content);
      files.FailAt(n, fault.failure, fault.from_then_on);
      try {
        CompactFile(files, kFile, small);
      } catch (const Error&) {
      }
      if (fault.power_loss) files.LosePower(fault.keep_seed == 0 ? 0 : fault.keep_seed + 10 * n);
      files.FailAt(0, fault.failure);
      Database::Open(files, kFile, OpenMode::kReadWrite);  // brings the file up to date
      const std::string left = files.Content(kFile);
      const State now = Read(files);
      ASSERT_EQ(now.faults, "");
      ASSERT_TRUE(now.everything == old.everything);
      if (left == content) {
        ++old_files;
      } else if (left == compacted) {
        ++whole_files;
      } else {
        ASSERT_TRUE(left.substr(0, compacted.size()) == compacted);
        ++uncut_files;
      }
    }
  }
  EXPECT_GT(old_files, 30);
  EXPECT_GT(whole_files, 0);
  EXPECT_GT(uncut_files, 0);
}

TEST(CompactRefused, AFileWithFaultsStaysUntouched) {
  MemoryFileSystem files;
  MakeLooseFile(files, Format::kJet4, 200);
  std::string content = files.Content(kFile);
  // A page of the rows of table "b" vanishes.
  for (std::size_t page = content.size() / 4096 - 1; page > 20; --page) {
    if (content[page * 4096] == 1) {
      content.replace(page * 4096, 4096, 4096, '\0');
      break;
    }
  }
  files.SetContent(kFile, content);
  const auto [kind, text] = ErrorOf([&] { CompactFile(files, kFile); });
  EXPECT_EQ(kind, ErrorKind::kCorrupt);
  EXPECT_THAT(text, HasSubstr("is not compacted, because the check finds"));
  EXPECT_TRUE(files.Content(kFile) == content);
}

TEST(CompactRefused, FilesThatCannotBeWritten) {
  MemoryFileSystem files;
  EXPECT_EQ(ErrorOf([&] { CompactFile(files, kFile); }).first, ErrorKind::kNotFound);
  MakeLooseFile(files, Format::kJet4, 10);
  {
    const auto reader = Database::Open(files, kFile, OpenMode::kReadWrite);
    EXPECT_EQ(ErrorOf([&] { CompactFile(files, kFile); }).first, ErrorKind::kLocked);
  }
  files.SetReadOnly(kFile, true);
  EXPECT_EQ(ErrorOf([&] { CompactFile(files, kFile); }).first, ErrorKind::kReadOnly);
}

TEST(CompactRefused, AnEmptyDatabaseStaysAsItIs) {
  MemoryFileSystem files;
  Database::Create(files, kFile, Format::kAce14);
  const std::string content = files.Content(kFile);
  const CompactedSizes sizes = CompactFile(files, kFile);
  EXPECT_EQ(sizes.before, sizes.after);
  EXPECT_TRUE(files.Content(kFile) == content);
}

// Queries, forms, relationships and everything else in the system tables come through, byte for byte.
TEST(CompactSamples, KeepsWhatAccessPutThere) {
  int compacted = 0, refused = 0;
  for (const char* folder : {"jet3", "jet4", "ace12", "ace14", "hard"}) {
    for (const auto& path : Samples(folder)) {
      SCOPED_TRACE(path.string());
      const std::string content = ReadWhole(path);
      MemoryFileSystem files;
      files.SetContent(kFile, content);
      State before;
      CompactedSizes sizes;
      try {
        before = Read(files);
        sizes = CompactFile(files, kFile);
      } catch (const Error& error) {
        EXPECT_TRUE(error.kind() == ErrorKind::kCorrupt || error.kind() == ErrorKind::kReadOnly ||
                    error.kind() == ErrorKind::kNotSupported)
            << error.what();
        EXPECT_TRUE(files.Content(kFile) == content);
        ++refused;
        continue;
      }
      const State after = Read(files);
      EXPECT_EQ(after.faults, "");
      EXPECT_TRUE(after.everything == before.everything);
      EXPECT_EQ(files.Content(kFile).size(), sizes.after);
      compacted += sizes.after < sizes.before;
    }
  }
  if (compacted + refused == 0) GTEST_SKIP() << "ACCESS_SAMPLES is not set";
  std::printf("%d compacted, %d refused\n", compacted, refused);
  EXPECT_GT(compacted, 3);
}

}  // namespace
}  // namespace jet::testing
