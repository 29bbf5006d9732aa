// A journal is dropped only where the file can do without it.
#include <gtest/gtest.h>

#include "access/base/error.h"
#include "access/file/drop_journal.h"
#include "access/file/test_files.h"
#include "access/store/database.h"
#include "tests/access/crash/work_database.h"

namespace jet::testing {
namespace {

const std::string kPath = "/data/a.mdb";

void Work(FileSystem& files) {
  const auto database = Database::Open(files, kPath, OpenMode::kReadWrite);
  for (const auto& statement : WorkStatements()) {
    StatementScope scope(*database);
    statement(*database);
    scope.Commit();
  }
  database->Checkpoint();
}

std::string ContentOf(FileSystem& files) {
  return ContentText(*Database::Open(files, kPath, OpenMode::kReadWrite));
}

TEST(DropJournal, LeavesTheFileAsItWasOrRefuses) {
  const std::string before = MakeWorkDatabase(Format::kJet4);
  MemoryFileSystem undisturbed;
  undisturbed.SetContent(kPath, before);
  Work(undisturbed);
  const std::string wanted = ContentOf(undisturbed);

  int dropped = 0, refused = 0;
  for (const bool power_loss : {false, true}) {
    for (std::uint64_t n = 1;; ++n) {
      SCOPED_TRACE(n);
      MemoryFileSystem files;
      files.SetContent(kPath, before);
      files.FailAt(n, MemoryFileSystem::Failure::kIo, /*from_then_on=*/true);
      bool failed = false;
      try {
        Work(files);
      } catch (const Error&) {
        failed = true;
      }
      if (!failed) break;
      files.FailAt(0, MemoryFileSystem::Failure::kIo);
      if (power_loss) files.LosePower(n);
      const std::string journal = JournalPath(files, kPath);
      const bool waits = files.Exists(journal);
      try {
        EXPECT_EQ(DropJournal(files, kPath, journal), waits);
        EXPECT_FALSE(files.Exists(journal));
        // Where nothing was left of the journal the file may have been complete.
        EXPECT_TRUE(!waits || files.Content(kPath) == before);
        dropped += waits;
      } catch (const Error& error) {
        ++refused;
        EXPECT_TRUE(error.kind() == ErrorKind::kInvalid || error.kind() == ErrorKind::kCorrupt)
            << error.what();
        EXPECT_TRUE(files.Exists(journal));
        EXPECT_TRUE(error.kind() == ErrorKind::kCorrupt || ContentOf(files) == wanted);
      }
    }
  }
  EXPECT_GT(dropped, 3);
  EXPECT_GT(refused, 5);
}

TEST(DropJournal, NeedsTheFileForItself) {
  MemoryFileSystem files;
  files.SetContent(kPath, MakeWorkDatabase(Format::kJet4));
  const auto writer = Database::Open(files, kPath, OpenMode::kReadWrite);
  try {
    DropJournal(files, kPath, JournalPath(files, kPath));
    ADD_FAILURE() << "no error";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::kLocked);
  }
}

}  // namespace
}  // namespace jet::testing
