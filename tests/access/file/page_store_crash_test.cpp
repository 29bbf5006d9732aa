// Crash safety by enumeration: a checkpoint fails, or loses power, at every single operation; what the next
// open finds is exactly the old or exactly the new state.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <random>
#include <string>

#include "access/file/page_store.h"
#include "access/file/test_files.h"

namespace jet {
namespace {

constexpr std::uint32_t kPage = 2048;
constexpr PageNo kPages = 400;
const std::string kPath = "/data/a.mdb";
const std::string kJournal = "/data/a.mdb-journal";

void Fill(MutableBytes out, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  for (std::size_t i = 0; i < out.size(); i += 8) StoreLe<std::uint64_t>(out.data() + i, random());
}

std::string OldContent() {
  std::string content(kPages * kPage, '\0');
  Fill({reinterpret_cast<std::uint8_t*>(content.data()), content.size()}, 7);
  return content;
}

// Single pages, a run longer than the write buffer, the first and the last page, and appended pages, in a
// cache that has to spill.
void Work(PageStore& store) {
  std::uint64_t seed = 11;
  const auto fill = [&](const MutablePageRef& page) { Fill(page.mutable_bytes(), ++seed); };
  for (const PageNo page : {0u, 5u, 7u, 8u, kPages - 1}) fill(store.Write(page));
  for (PageNo page = 100; page < 360; ++page) fill(store.Write(page));
  for (int i = 0; i < 40; ++i) fill(store.Append());
  store.BeginStatement();
  fill(store.Write(5));
  fill(store.Append());
  store.RollbackStatement();
}

std::unique_ptr<PageStore> OpenStore(FileSystem& files, OpenMode mode = OpenMode::kReadWrite) {
  PageStoreOptions options;
  options.cache_bytes = 256 * kPage;
  return std::make_unique<PageStore>(files, files.Open(kPath, mode), kJournal, mode == OpenMode::kReadWrite,
                                     kPage, options);
}

struct Fault {
  MemoryFileSystem::Failure failure;
  bool from_then_on;
  bool power_loss;
  std::uint64_t keep_seed;
};

const Fault kFaults[] = {
    {MemoryFileSystem::Failure::kIo, false, false, 0},
    {MemoryFileSystem::Failure::kIo, true, false, 0},
    {MemoryFileSystem::Failure::kFull, false, false, 0},
    {MemoryFileSystem::Failure::kFull, true, false, 0},
    {MemoryFileSystem::Failure::kShortWrite, false, false, 0},
    {MemoryFileSystem::Failure::kShortWrite, true, false, 0},
    {MemoryFileSystem::Failure::kIo, true, true, 0},
    {MemoryFileSystem::Failure::kIo, false, true, 3},
    {MemoryFileSystem::Failure::kIo, true, true, 1},
    {MemoryFileSystem::Failure::kIo, true, true, 2},
    {MemoryFileSystem::Failure::kShortWrite, true, true, 4},
    {MemoryFileSystem::Failure::kShortWrite, true, true, 5},
};

class Crash : public testing::TestWithParam<std::size_t> {
 protected:
  static const std::string& Old() {
    static const std::string content = OldContent();
    return content;
  }
  static const std::string& New() {
    static const std::string content = [] {
      MemoryFileSystem files;
      files.SetContent(kPath, Old());
      const auto store = OpenStore(files);
      Work(*store);
      store->Checkpoint();
      return files.Content(kPath);
    }();
    return content;
  }
  // Runs work and checkpoint with a fault at operation `n`; whether it got through untouched.
  static bool RunWithFault(MemoryFileSystem& files, std::uint64_t n, const Fault& fault) {
    files.SetContent(kPath, Old());
    const std::uint64_t start = files.operations();
    auto store = OpenStore(files);
    files.FailAt(start + n, fault.failure, fault.from_then_on);
    bool completed = false;
    try {
      Work(*store);
      store->Checkpoint();
      completed = true;
    } catch (const Error& error) {
      EXPECT_TRUE(error.kind() == ErrorKind::kIo || error.kind() == ErrorKind::kFull);
    }
    const bool reached = files.operations() - start >= n;
    if (fault.power_loss) files.LosePower(fault.keep_seed == 0 ? 0 : fault.keep_seed + 100 * n);
    store.reset();
    files.FailAt(0, fault.failure);
    if (completed) {
      EXPECT_TRUE(files.Content(kPath) == New()) << "a checkpoint that came back without an error is durable";
    }
    return completed && !reached;
  }
};

TEST_P(Crash, LeavesOldOrNewState) {
  const Fault& fault = kFaults[GetParam()];
  int old_states = 0, new_states = 0;
  bool untouched = false;
  for (std::uint64_t n = 1; !untouched; ++n) {
    MemoryFileSystem files;
    untouched = RunWithFault(files, n, fault);
    OpenStore(files);  // rolls back
    EXPECT_FALSE(files.Exists(kJournal)) << "operation " << n;
    const std::string content = files.Content(kPath);
    ASSERT_TRUE(content == Old() || content == New()) << "neither old nor new after operation " << n;
    ++(content == Old() ? old_states : new_states);
    if (untouched && !fault.power_loss) {
      EXPECT_TRUE(content == New());
    }
  }
  EXPECT_GT(old_states, 40);  // spilling alone is that many operations
  EXPECT_GT(new_states, 0);
}

// The roll-back itself is cut short, at every operation, and has to be done again.
TEST_P(Crash, RollbackMayBeInterrupted) {
  const Fault& fault = kFaults[GetParam()];
  // The database is complete and synced, the journal not yet void: the most there is to take back.
  std::uint64_t total = 0;
  {
    MemoryFileSystem files;
    RunWithFault(files, 1u << 30, fault);
    total = files.operations();
  }
  for (std::uint64_t n = 1;; ++n) {
    MemoryFileSystem files;
    // The voiding of the journal is the third last operation: write, sync, remove.
    RunWithFault(files, total - 2, {MemoryFileSystem::Failure::kIo, true, true, 0});
    ASSERT_TRUE(files.Exists(kJournal));
    ASSERT_TRUE(files.Content(kPath) == New());
    const std::uint64_t start = files.operations();
    files.FailAt(start + n, fault.failure, fault.from_then_on);
    bool completed = false;
    try {
      OpenStore(files);
      completed = true;
    } catch (const Error&) {
    }
    if (fault.power_loss) files.LosePower(fault.keep_seed == 0 ? 0 : fault.keep_seed + n);
    files.FailAt(0, fault.failure);
    OpenStore(files);
    ASSERT_TRUE(files.Content(kPath) == Old()) << "operation " << n;
    if (completed) break;
  }
}

INSTANTIATE_TEST_SUITE_P(Faults, Crash, testing::Range<std::size_t>(0, std::size(kFaults)));

// A file system with a checkpoint that stopped while the database was being overwritten.
void Interrupt(MemoryFileSystem& files, const std::string& old_content) {
  files.SetContent(kPath, old_content);
  auto store = OpenStore(files);
  Work(*store);
  // Journal: create, records, sync, header, sync, folder; then appended pages and the first old ones.
  files.FailAt(files.operations() + 9, MemoryFileSystem::Failure::kIo, true);
  EXPECT_THROW(store->Checkpoint(), Error);
  files.LosePower(99);
  ASSERT_TRUE(files.Exists(kJournal));
}

ErrorKind OpenFails(FileSystem& files, OpenMode mode) {
  try {
    OpenStore(files, mode);
  } catch (const Error& error) {
    return error.kind();
  }
  ADD_FAILURE() << "the file opened";
  return ErrorKind::kSql;
}

TEST(Journal, WaitingJournalKeepsReadersOut) {
  MemoryFileSystem files;
  Interrupt(files, OldContent());
  const std::uint64_t operations = files.operations();
  EXPECT_EQ(OpenFails(files, OpenMode::kRead), ErrorKind::kReadOnly);
  EXPECT_EQ(files.operations(), operations);
  OpenStore(files, OpenMode::kReadWrite);
  OpenStore(files, OpenMode::kRead);
  EXPECT_TRUE(files.Content(kPath) == OldContent());
}

TEST(Journal, IsNotAppliedToAnotherFileNorWhenDamaged) {
  const auto overwrite = [](std::string text, std::size_t at, const std::string& with) {
    return text.replace(at, with.size(), with);
  };
  const std::string old_content = OldContent();
  const struct {
    const char* what;
    std::function<void(MemoryFileSystem&)> change;
  } cases[] = {
      {"a longer file", [&](auto& f) { f.SetContent(kPath, std::string((kPages + 41) * kPage, 'x')); }},
      {"a shorter file", [&](auto& f) { f.SetContent(kPath, old_content.substr(kPage)); }},
      {"another file of that size",
       [&](auto& f) { f.SetContent(kPath, std::string(old_content.size(), 'x')); }},
      {"a page changed since",
       [&](auto& f) { f.SetContent(kPath, overwrite(f.Content(kPath), kPage + 17, "changed")); }},
      {"an older copy, which differs in the pages of the journal only",
       [&](auto& f) {
         const std::string journal = f.Content(kJournal);
         std::string copy = old_content;
         for (std::size_t at = 512; at + 48 + kPage <= journal.size(); at += 48 + kPage) {
           const auto page = LoadLe<PageNo>(reinterpret_cast<const std::uint8_t*>(journal.data()) + at);
           copy = overwrite(copy, page * kPage + 1000, "older");
         }
         f.SetContent(kPath, copy);
       }},
      {"a record changed",
       [&](auto& f) { f.SetContent(kJournal, overwrite(f.Content(kJournal), 5000, "changed")); }},
      {"a journal cut short",
       [&](auto& f) {
         f.SetContent(kJournal, f.Content(kJournal).substr(0, f.Content(kJournal).size() - 1));
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    MemoryFileSystem files;
    Interrupt(files, old_content);
    c.change(files);
    const std::string content = files.Content(kPath);
    EXPECT_EQ(OpenFails(files, OpenMode::kReadWrite), ErrorKind::kCorrupt);
    EXPECT_TRUE(files.Content(kPath) == content);
    EXPECT_TRUE(files.Exists(kJournal));
  }
}

TEST(Journal, WithoutValidHeaderIsRemoved) {
  for (const std::string& journal : {std::string(), std::string(511, 'x'), std::string(5000, '\0'),
                                     std::string("pgjrnl\x1A\x02") + std::string(600, 'x')}) {
    MemoryFileSystem files;
    files.SetContent(kPath, OldContent());
    files.SetContent(kJournal, journal);
    EXPECT_NO_THROW(OpenStore(files, OpenMode::kRead));
    OpenStore(files);
    EXPECT_FALSE(files.Exists(kJournal));
    EXPECT_TRUE(files.Content(kPath) == OldContent());
  }
}

// Only after it was opened does a journal appear beside the file, such as one of another program that opened
// another file of that name.
TEST(Journal, AForeignOneIsNotOverwritten) {
  MemoryFileSystem other;
  Interrupt(other, OldContent());
  MemoryFileSystem files;
  files.SetContent(kPath, OldContent());
  auto store = OpenStore(files);
  Work(*store);
  files.SetContent(kJournal, other.Content(kJournal));
  EXPECT_THROW(store->Checkpoint(), Error);
  store.reset();
  EXPECT_TRUE(files.Content(kPath) == OldContent());
  EXPECT_TRUE(files.Content(kJournal) == other.Content(kJournal));
}

TEST(Checkpoint, FailureStopsFurtherWriting) {
  MemoryFileSystem files;
  files.SetContent(kPath, OldContent());
  auto store = OpenStore(files);
  Work(*store);
  files.FailAt(files.operations() + 9, MemoryFileSystem::Failure::kFull);
  EXPECT_THROW(store->Checkpoint(), Error);
  EXPECT_TRUE(files.Content(kPath) == OldContent()) << "rolled back at once";
  EXPECT_FALSE(files.Exists(kJournal));
  const auto kind = [&](const std::function<void()>& action) {
    try {
      action();
    } catch (const Error& error) {
      return error.kind();
    }
    return ErrorKind::kSql;
  };
  EXPECT_EQ(kind([&] { store->Write(1); }), ErrorKind::kIo);
  EXPECT_EQ(kind([&] { store->Append(); }), ErrorKind::kIo);
  EXPECT_EQ(kind([&] { store->Checkpoint(); }), ErrorKind::kIo);
  EXPECT_NO_THROW(store->Read(1));
}

// A checkpoint fails, and while it is being taken back the power goes.
TEST(Checkpoint, PowerLossWhileAFailureIsTakenBack) {
  const std::string old_content = OldContent();
  std::uint64_t first = 0, last = 0;
  std::string new_content;
  {
    MemoryFileSystem files;
    files.SetContent(kPath, old_content);
    auto store = OpenStore(files);
    Work(*store);
    first = files.operations() + 1;
    store->Checkpoint();
    last = files.operations();
    new_content = files.Content(kPath);
  }
  for (std::uint64_t n = first; n < last; ++n) {
    for (std::uint64_t later = 1; later <= 10; ++later) {
      for (std::uint64_t keep_seed = 0; keep_seed < 3; ++keep_seed) {
        MemoryFileSystem files;
        files.SetContent(kPath, old_content);
        auto store = OpenStore(files);
        Work(*store);
        files.FailAt(n, MemoryFileSystem::Failure::kIo);
        files.FailAlsoFrom(n + later);
        EXPECT_THROW(store->Checkpoint(), Error);
        files.LosePower(keep_seed == 0 ? 0 : keep_seed + 1000 * n + 10 * later);
        store.reset();
        OpenStore(files);
        const std::string content = files.Content(kPath);
        ASSERT_TRUE(content == old_content || content == new_content)
            << "operations " << n << " and " << n + later;
      }
    }
  }
}

// A statement that cannot be taken back must never reach the file.
TEST(Statement, FailedRollbackStopsFurtherWriting) {
  MemoryFileSystem files;
  files.SetContent(kPath, OldContent());
  PageStoreOptions options;
  options.cache_bytes = 8 * kPage;
  options.undo_bytes = 0;
  PageStore store(files, files.Open(kPath, OpenMode::kReadWrite), kJournal, true, kPage, options);
  for (PageNo i = 0; i < 50; ++i) store.Write(i).mutable_data()[0] ^= 1;
  store.BeginStatement();
  for (PageNo i = 0; i < 50; ++i) store.Write(i).mutable_data()[1] ^= 1;
  files.FailAt(files.operations() + 3, MemoryFileSystem::Failure::kIo, true);
  store.RollbackStatement();
  files.FailAt(0, MemoryFileSystem::Failure::kIo);
  EXPECT_THROW(store.Checkpoint(), Error);
  EXPECT_TRUE(files.Content(kPath) == OldContent());
}

}  // namespace
}  // namespace jet
