// A database is worked on, and the disk fails, fills up or loses power at every single operation: what is
// opened afterwards is sound, and holds what was there before the checkpoint, or all of it.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <set>

#include "access/file/test_files.h"
#include "access/store/database.h"
#include "tests/access/crash/work_database.h"
#include "tests/access/file/fault.h"

namespace jet {
namespace {

using testing::ContentText;
using testing::Damage;
using testing::WorkStatements;

const std::string kPath = "/data/a.mdb";

// A cache so small that statements spill.
Database::Options SmallCache() {
  Database::Options options;
  options.pages.cache_bytes = 64 << 10;
  options.pages.undo_bytes = 32 << 10;
  return options;
}

void RunStatements(Database& database, const std::set<std::size_t>& skipped, std::set<std::size_t>* failed) {
  const auto work = WorkStatements();
  for (std::size_t i = 0; i < work.size(); ++i) {
    if (skipped.contains(i)) continue;
    try {
      StatementScope scope(database);
      work[i](database);
      scope.Commit();
    } catch (const Error&) {
      if (failed == nullptr) throw;
      failed->insert(i);
    }
  }
}

std::string TextOf(const std::string& content) {
  MemoryFileSystem files;
  files.SetContent(kPath, content);
  const auto database = Database::Open(files, kPath, OpenMode::kRead);
  EXPECT_EQ(Damage(*database), "");
  return ContentText(*database);
}

const Fault kFaults[] = {
    {MemoryFileSystem::Failure::kIo, false, false, 0},
    {MemoryFileSystem::Failure::kFull, true, false, 0},
    {MemoryFileSystem::Failure::kShortWrite, true, false, 0},
    {MemoryFileSystem::Failure::kIo, true, true, 0},
    {MemoryFileSystem::Failure::kShortWrite, true, true, 1},
    {MemoryFileSystem::Failure::kIo, true, true, 2},
};

class Crash : public ::testing::TestWithParam<Format> {
 protected:
  void SetUp() override {
    base_ = testing::MakeWorkDatabase(GetParam());
    old_text_ = TextOf(base_);
    MemoryFileSystem files;
    files.SetContent(kPath, base_);
    const auto database = Database::Open(files, kPath, OpenMode::kReadWrite, SmallCache());
    RunStatements(*database, {}, nullptr);
    work_operations_ = files.operations();
    database->Checkpoint();
    all_operations_ = files.operations();
    new_text_ = TextOf(files.Content(kPath));
    ASSERT_NE(new_text_, old_text_);
    ASSERT_GT(work_operations_, 50u) << "the cache is not small enough";
  }

  std::string base_, old_text_, new_text_;
  std::uint64_t work_operations_ = 0, all_operations_ = 0;
};

TEST_P(Crash, CheckpointIsAllOrNothing) {
  int old_states = 0, new_states = 0;
  for (const Fault& fault : kFaults) {
    for (std::uint64_t n = work_operations_ + 1; n <= all_operations_ + 1; ++n) {
      MemoryFileSystem files;
      files.SetContent(kPath, base_);
      auto database = Database::Open(files, kPath, OpenMode::kReadWrite, SmallCache());
      RunStatements(*database, {}, nullptr);
      files.FailAt(n, fault.failure, fault.from_then_on);
      bool completed = false;
      try {
        database->Checkpoint();
        completed = true;
      } catch (const Error&) {
      }
      if (fault.power_loss) files.LosePower(fault.keep_seed == 0 ? 0 : fault.keep_seed + 10 * n);
      database.reset();
      files.FailAt(0, fault.failure);
      Database::Open(files, kPath, OpenMode::kReadWrite);  // brings the file up to date
      const std::string text = TextOf(files.Content(kPath));
      ASSERT_TRUE(text == old_text_ || text == new_text_) << "operation " << n << " of " << all_operations_;
      if (completed) {
        ASSERT_TRUE(text == new_text_) << "operation " << n;
      }
      ++(text == new_text_ ? new_states : old_states);
    }
  }
  EXPECT_GT(old_states, 30);
  EXPECT_GE(new_states, static_cast<int>(std::size(kFaults)));
}

// A statement that fails half way is as if it had never been; the others and the next checkpoint go on.
TEST_P(Crash, FailedStatementIsTakenBack) {
  int failures = 0;
  for (std::uint64_t n = 1; n <= work_operations_; n += std::max<std::uint64_t>(1, work_operations_ / 40)) {
    MemoryFileSystem files;
    files.SetContent(kPath, base_);
    auto database = Database::Open(files, kPath, OpenMode::kReadWrite, SmallCache());
    files.FailAt(n, MemoryFileSystem::Failure::kFull);
    std::set<std::size_t> failed;
    RunStatements(*database, {}, &failed);
    files.FailAt(0, MemoryFileSystem::Failure::kFull);
    ASSERT_EQ(Damage(*database), "") << "operation " << n;
    const std::string text = ContentText(*database);
    try {
      database->Checkpoint();
    } catch (const Error&) {  // the fault struck while the statement was being taken back
      continue;
    }
    database.reset();
    ASSERT_TRUE(TextOf(files.Content(kPath)) == text) << "operation " << n;
    if (failed.empty()) continue;
    ++failures;

    MemoryFileSystem sound;
    sound.SetContent(kPath, base_);
    const auto other = Database::Open(sound, kPath, OpenMode::kReadWrite);
    RunStatements(*other, failed, nullptr);
    ASSERT_TRUE(ContentText(*other) == text) << "operation " << n << ", statement " << *failed.begin();
  }
  EXPECT_GT(failures, 10);
}

// Behind a mark at every border between statements: what follows is done, taken back and done again.
TEST_P(Crash, RevertedWorkMayBeDoneAgain) {
  const auto work = WorkStatements();
  for (std::size_t mark = 0; mark < work.size(); ++mark) {
    SCOPED_TRACE(mark);
    std::set<std::size_t> before, after;
    for (std::size_t i = 0; i < work.size(); ++i) (i < mark ? before : after).insert(i);
    MemoryFileSystem files;
    files.SetContent(kPath, base_);
    auto database = Database::Open(files, kPath, OpenMode::kReadWrite, SmallCache());
    RunStatements(*database, after, nullptr);
    database->Mark();
    const std::string at_mark = ContentText(*database);
    for (int round = 0; round < 2; ++round) {
      RunStatements(*database, before, nullptr);
      if (round == 1) database->BeginStatement();  // the revert ends it
      if (round == 1) database->DropIndex("grp", "beam_freq");
      database->RevertToMark();
      ASSERT_EQ(Damage(*database), "");
      ASSERT_TRUE(ContentText(*database) == at_mark);
    }
    RunStatements(*database, before, nullptr);
    database->Checkpoint();
    database.reset();
    ASSERT_TRUE(TextOf(files.Content(kPath)) == new_text_);
  }
}

TEST_P(Crash, DroppedWithoutCheckpointIsTheOldState) {
  MemoryFileSystem files;
  files.SetContent(kPath, base_);
  {
    const auto database = Database::Open(files, kPath, OpenMode::kReadWrite, SmallCache());
    RunStatements(*database, {}, nullptr);
  }
  EXPECT_TRUE(files.Content(kPath) == base_);
}

INSTANTIATE_TEST_SUITE_P(Formats, Crash, ::testing::Values(Format::kJet4, Format::kAce14));

}  // namespace
}  // namespace jet
