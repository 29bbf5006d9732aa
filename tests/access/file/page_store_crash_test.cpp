// Crash safety by enumeration: work that is persisted, goes on, is persisted again and brought to the file
// fails, or loses power, at every single operation; what the next open finds is exactly one of the states
// that were persisted.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "access/file/journal.h"
#include "access/file/page_store.h"
#include "access/file/test_files.h"
#include "tests/access/file/fault.h"
#include "tests/access/file/kind_of.h"

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
void FirstWork(PageStore& store) {
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

// Pages that the first work has changed and others. Before that more pages than the cache holds are changed
// and taken back, so that records are given up; some of their slots are taken again.
void SecondWork(PageStore& store) {
  std::uint64_t seed = 5000;
  const auto fill = [&](const MutablePageRef& page) { Fill(page.mutable_bytes(), ++seed); };
  store.BeginStatement();
  for (PageNo page = 20; page < 370; ++page) fill(store.Write(page));
  for (int i = 0; i < 30; ++i) fill(store.Append());
  store.RollbackStatement();
  for (PageNo page = 340; page < 420; ++page) fill(store.Write(page));
  for (int i = 0; i < 5; ++i) fill(store.Append());
}

// Every page written again, in a cache that has to spill.
void WriteAll(PageStore& store, std::uint64_t seed) {
  for (PageNo page = 0; page < store.page_count(); ++page) {
    Fill(store.Write(page).mutable_bytes(), seed + page);
  }
}

std::unique_ptr<PageStore> OpenStore(FileSystem& files, OpenMode mode = OpenMode::kReadWrite) {
  PageStoreOptions options;
  options.cache_bytes = 64 * kPage;
  return std::make_unique<PageStore>(files, files.Open(kPath, mode), kJournal, mode == OpenMode::kReadWrite,
                                     kPage, options);
}

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

// What the file holds after neither, the first, and both works.
const std::string& State(int persisted) {
  static const std::vector<std::string> states = [] {
    MemoryFileSystem files;
    files.SetContent(kPath, OldContent());
    std::vector<std::string> made = {files.Content(kPath)};
    const auto store = OpenStore(files);
    FirstWork(*store);
    store->Checkpoint();
    made.push_back(files.Content(kPath));
    SecondWork(*store);
    store->Checkpoint();
    made.push_back(files.Content(kPath));
    return made;
  }();
  return states[static_cast<std::size_t>(persisted)];
}

int StateOf(const std::string& content) {
  for (int i = 0; i < 3; ++i) {
    if (content == State(i)) return i;
  }
  return -1;
}

// Reads every page, without a byte being written.
std::string ContentThroughStore(MemoryFileSystem& files) {
  const std::uint64_t operations = files.operations();
  const auto store = OpenStore(files, OpenMode::kRead);
  std::string content;
  for (PageNo page = 0; page < store->page_count(); ++page) {
    const PageRef ref = store->Read(page);
    content.append(reinterpret_cast<const char*>(ref.data()), kPage);
  }
  EXPECT_EQ(files.operations(), operations);
  return content;
}

// The first work persisted, the second one brought to the file; returns how many of them came back.
int DoAll(PageStore& store) {
  int persisted = 0;
  try {
    FirstWork(store);
    store.Persist();
    ++persisted;
    SecondWork(store);
    store.Checkpoint();
    ++persisted;
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::kIo);
  }
  return persisted;
}

class Crash : public testing::TestWithParam<std::size_t> {};

TEST_P(Crash, LeavesAPersistedState) {
  const Fault& fault = kFaults[GetParam()];
  int seen[3] = {};
  bool untouched = false;
  for (std::uint64_t n = 1; !untouched; ++n) {
    MemoryFileSystem files;
    files.SetContent(kPath, State(0));
    auto store = OpenStore(files);
    files.FailAt(n, fault.failure, fault.from_then_on);
    const int persisted = DoAll(*store);
    untouched = files.operations() < n;
    if (fault.power_loss) files.LosePower(fault.keep_seed == 0 ? 0 : fault.keep_seed + 100 * n);
    store.reset();
    files.FailAt(0, fault.failure);
    SCOPED_TRACE(n);
    const int read = StateOf(ContentThroughStore(files));
    OpenStore(files);
    EXPECT_FALSE(files.Exists(kJournal)) << "operation " << n;
    const int state = StateOf(files.Content(kPath));
    ASSERT_GE(state, persisted) << "operation " << n;
    ASSERT_EQ(state, read) << "operation " << n;
    ++seen[state];
  }
  EXPECT_GT(seen[0], 5);  // spilling alone is that many operations
  EXPECT_GT(seen[1], 40);
  EXPECT_GT(seen[2], 0);
}

// What a crash left is brought to the file, which is cut short at every operation and has to be done again.
TEST_P(Crash, RecoveryMayBeInterrupted) {
  const Fault& fault = kFaults[GetParam()];
  std::uint64_t total = 0;
  {
    MemoryFileSystem files;
    files.SetContent(kPath, State(0));
    EXPECT_EQ(DoAll(*OpenStore(files)), 2);
    total = files.operations();
  }
  for (const std::uint64_t left :
       {std::uint64_t{4}, std::uint64_t{9}}) {  // the file is complete, or half written
    for (std::uint64_t n = 1;; ++n) {
      MemoryFileSystem files;
      files.SetContent(kPath, State(0));
      auto store = OpenStore(files);
      files.FailAt(total - left + 1, MemoryFileSystem::Failure::kIo, true);
      EXPECT_EQ(DoAll(*store), 1);
      files.LosePower(7);
      store.reset();
      ASSERT_TRUE(files.Exists(kJournal));
      files.FailAt(files.operations() + n, fault.failure, fault.from_then_on);
      bool completed = false;
      try {
        OpenStore(files);
        completed = true;
      } catch (const Error&) {
      }
      if (fault.power_loss) files.LosePower(fault.keep_seed == 0 ? 0 : fault.keep_seed + n);
      files.FailAt(0, fault.failure);
      OpenStore(files);
      ASSERT_EQ(StateOf(files.Content(kPath)), 2) << "operation " << n;
      if (completed) break;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Faults, Crash, testing::Range<std::size_t>(0, std::size(kFaults)));

TEST(Persist, LeavesTheFileAlone) {
  MemoryFileSystem files;
  files.SetContent(kPath, State(0));
  auto store = OpenStore(files);
  FirstWork(*store);
  store->Persist();
  SecondWork(*store);
  EXPECT_TRUE(files.Content(kPath) == State(0));
  MemoryFileSystem killed;
  killed.CopyFrom(files, kPath);
  killed.CopyFrom(files, kJournal);
  EXPECT_EQ(StateOf(ContentThroughStore(killed)), 1);
  store.reset();
  EXPECT_EQ(StateOf(files.Content(kPath)), 1) << "what was persisted gets to the file, the rest is dropped";
  EXPECT_FALSE(files.Exists(kJournal));
}

// Pages go to the journal again and again, in a statement that is then taken back: what they held in
// between must not be found as the newest.
TEST(Persist, RecordsOfARolledBackStatementDoNotCount) {
  MemoryFileSystem files;
  files.SetContent(kPath, State(0));
  auto store = OpenStore(files);
  std::string expected = State(0);
  const auto change = [&](PageNo page, std::uint64_t seed) {
    Fill(store->Write(page).mutable_bytes(), seed);
    Fill({reinterpret_cast<std::uint8_t*>(expected.data()) + page * kPage, kPage}, seed);
  };
  for (std::uint64_t round = 1; round < 4; ++round) {
    for (PageNo page = 0; page < 200; page += 2) change(page, 1000 * round + page);
    store->BeginStatement();
    for (int again = 0; again < 3; ++again) WriteAll(*store, 7);
    store->RollbackStatement();
    change(300, round);
    store->Persist();
    MemoryFileSystem killed;
    killed.CopyFrom(files, kPath);
    killed.CopyFrom(files, kJournal);
    EXPECT_TRUE(ContentThroughStore(killed) == expected) << "round " << round;
  }
}

// Pages that change over and over take the place of what is no longer needed, and a journal that has grown
// too long is brought to the file.
TEST(Persist, KeepsTheJournalShort) {
  MemoryFileSystem files;
  files.SetContent(kPath, State(0));
  auto store = OpenStore(files);
  std::size_t longest = 0;
  for (std::uint64_t i = 1; i < 20; ++i) {
    WriteAll(*store, 1000 * i);
    store->Persist();
    longest = std::max(longest, files.Content(kJournal).size());
  }
  EXPECT_LT(longest, 2 * State(0).size() * 11 / 10 + 8192);
  PageStoreOptions options;
  options.journal_bytes = 1 << 20;
  store.reset();
  store = std::make_unique<PageStore>(files, files.Open(kPath, OpenMode::kReadWrite), kJournal, true, kPage,
                                      options);
  for (std::uint64_t i = 20; i < 23; ++i) {
    WriteAll(*store, 1000 * i);
    store->Persist();
  }
  EXPECT_FALSE(files.Exists(kJournal));
  std::string expected(kPages * kPage, '\0');
  for (PageNo page = 0; page < kPages; ++page) {
    Fill({reinterpret_cast<std::uint8_t*>(expected.data()) + page * kPage, kPage}, 22000 + page);
  }
  EXPECT_TRUE(files.Content(kPath) == expected);
}

// Three pieces of work, each behind a mark, the first persisted. A failure, at every operation, takes the
// running piece back and persists those before it: at once, or once there is room again.
TEST(Revert, AfterAFailureLeavesWholePiecesOfWork) {
  const auto piece = [](PageStore& store, int number) {
    const std::uint64_t seed = 1000 * static_cast<std::uint64_t>(number);
    for (PageNo page = 20; page < 150; page += static_cast<PageNo>(number)) {
      store.BeginStatement();
      Fill(store.Write(page).mutable_bytes(), seed + page);
      Fill(store.Write(page / 7).mutable_bytes(), seed + page);
      if (page % 3 == 0) Fill(store.Append().mutable_bytes(), seed + page);
      store.CommitStatement();
    }
    store.BeginStatement();
    for (PageNo page = 200; page < 330; ++page) Fill(store.Write(page).mutable_bytes(), seed + page);
    if (number == 2) {
      store.RollbackStatement();
    } else {
      store.CommitStatement();
    }
  };
  constexpr int kPieces = 3;
  std::vector<std::string> states = {OldContent()};
  for (int count = 1; count <= kPieces; ++count) {
    MemoryFileSystem files;
    files.SetContent(kPath, OldContent());
    const auto store = OpenStore(files);
    for (int number = 1; number <= count; ++number) piece(*store, number);
    store->Checkpoint();
    states.push_back(files.Content(kPath));
  }
  const struct {
    MemoryFileSystem::Failure failure;
    bool from_then_on, also_while_reverting;
  } faults[] = {
      {MemoryFileSystem::Failure::kFull, false, false},
      {MemoryFileSystem::Failure::kFull, true, false},
      {MemoryFileSystem::Failure::kIo, true, true},
      {MemoryFileSystem::Failure::kShortWrite, true, false},
  };
  int kept[kPieces + 1] = {};
  for (const auto& fault : faults) {
    bool untouched = false;
    for (std::uint64_t n = 1; !untouched; ++n) {
      SCOPED_TRACE(n);
      MemoryFileSystem files;
      files.SetContent(kPath, OldContent());
      auto store = OpenStore(files);
      files.FailAt(n, fault.failure, fault.from_then_on);
      int done = 0, persisted = 0;
      try {
        piece(*store, 1);
        ++done;
        store->Persist();
        ++persisted;
        for (int number = 2; number <= kPieces; ++number) {
          piece(*store, number);
          store->Mark();
          ++done;
        }
        store->Checkpoint();
        persisted = done;
      } catch (const Error&) {
      }
      untouched = files.operations() < n;
      // What failed to become durable may be so all the same.
      int expected = persisted, or_else = done;
      if (!untouched && persisted < kPieces) {
        if (!fault.also_while_reverting) files.FailAt(0, fault.failure);
        try {
          store->RevertToMark();
          // The first piece had no mark behind it.
          const int at_mark = done == 1 && persisted == 0 ? 0 : done;
          std::string content;
          for (PageNo page = 0; page < store->page_count(); ++page) {
            content.append(reinterpret_cast<const char*>(store->Read(page).data()), kPage);
          }
          ASSERT_TRUE(content == states[static_cast<std::size_t>(at_mark)]);
          store->Persist();
          expected = or_else = at_mark;
        } catch (const Error&) {
        }
      }
      store.reset();
      files.FailAt(0, fault.failure);
      OpenStore(files);
      ASSERT_FALSE(files.Exists(kJournal));
      const std::string& content = files.Content(kPath);
      int found = -1;
      for (int i = 0; i <= kPieces; ++i) {
        if (content == states[static_cast<std::size_t>(i)]) found = i;
      }
      ASSERT_TRUE(found == expected || found == or_else) << found << " " << expected << " " << or_else;
      ++kept[found];
    }
  }
  for (const int count : kept) EXPECT_GT(count, 3);
}

// A file system with a journal that waits: of a run that was killed, or one that stopped while the file was
// being overwritten.
void Interrupt(MemoryFileSystem& files, bool applying) {
  files.SetContent(kPath, State(0));
  auto store = OpenStore(files);
  FirstWork(*store);
  store->Persist();
  if (applying) {
    // Header, sync; then appended pages and the first old ones.
    files.FailAt(files.operations() + 5, MemoryFileSystem::Failure::kIo, true);
    EXPECT_THROW(store->Checkpoint(), Error);
  }
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
  return ErrorKind::kFailed;
}

TEST(Journal, IsNotAppliedToAnotherFileNorWhenDamaged) {
  const auto overwrite = [](std::string text, std::size_t at, const std::string& with) {
    return text.replace(at, with.size(), with);
  };
  const auto in_journal_pages = [&](const MemoryFileSystem& f, std::string copy, const std::string& with) {
    const std::string journal = f.Content(kJournal);
    constexpr std::size_t kRecord = internal::Journal::kPrefixBytes + kPage;
    for (std::size_t at = 8192; at + kRecord <= journal.size(); at += kRecord) {
      const auto page = LoadLe<PageNo>(reinterpret_cast<const std::uint8_t*>(journal.data()) + at);
      if (page < kPages) copy = overwrite(copy, page * kPage + 1000, with);
    }
    return copy;
  };
  const struct {
    const char* what;
    bool applying;
    std::function<void(MemoryFileSystem&)> change;
  } cases[] = {
      {"a longer file", true, [&](auto& f) { f.SetContent(kPath, std::string((kPages + 41) * kPage, 'x')); }},
      {"a file that has grown", false,
       [&](auto& f) { f.SetContent(kPath, State(0) + std::string(kPage, 'x')); }},
      {"a shorter file", true, [&](auto& f) { f.SetContent(kPath, State(0).substr(kPage)); }},
      {"another file of that size", true,
       [&](auto& f) { f.SetContent(kPath, std::string(State(0).size(), 'x')); }},
      {"a page changed since", true,
       [&](auto& f) { f.SetContent(kPath, overwrite(f.Content(kPath), kPage + 17, "changed")); }},
      {"a byte of a page of the journal changed in a file that was not touched", false,
       [&](auto& f) { f.SetContent(kPath, overwrite(f.Content(kPath), 8 * kPage + 17, "!")); }},
      {"an older copy, which differs in the pages of the journal only", true,
       [&](auto& f) { f.SetContent(kPath, in_journal_pages(f, State(0), "older")); }},
      {"a record changed", false,
       [&](auto& f) { f.SetContent(kJournal, overwrite(f.Content(kJournal), 15000, "changed")); }},
      {"a record changed while the file was being written", true,
       [&](auto& f) { f.SetContent(kJournal, overwrite(f.Content(kJournal), 15000, "changed")); }},
      {"a journal cut short", false,
       [&](auto& f) {
         f.SetContent(kJournal, f.Content(kJournal).substr(0, f.Content(kJournal).size() - 1));
       }},
      {"a journal cut off in its first header, of a file half written", true,
       [&](auto& f) { f.SetContent(kJournal, f.Content(kJournal).substr(0, 300)); }},
      {"a journal of another version", false,
       [&](auto& f) {
         f.SetContent(kJournal, overwrite(overwrite(f.Content(kJournal), 4096 + 7, "\x03"), 7, "\x03"));
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    MemoryFileSystem files;
    Interrupt(files, c.applying);
    c.change(files);
    const std::string content = files.Content(kPath);
    EXPECT_EQ(OpenFails(files, OpenMode::kReadWrite), ErrorKind::kCorrupt);
    EXPECT_EQ(OpenFails(files, OpenMode::kRead), ErrorKind::kCorrupt);
    EXPECT_TRUE(files.Content(kPath) == content);
    EXPECT_TRUE(files.Exists(kJournal));
  }
}

// A program was killed while it brought the file up to date; the disk keeps what it was given.
void KillHalfway(MemoryFileSystem& files) {
  const std::string before = State(0);
  for (std::uint64_t more = 1; more < 100; ++more) {
    files.SetContent(kPath, before);
    auto store = OpenStore(files);
    FirstWork(*store);
    files.FailAt(files.operations() + more, MemoryFileSystem::Failure::kIo, true);
    EXPECT_THROW(store->Checkpoint(), Error);
    store.reset();
    files.FailAt(0, MemoryFileSystem::Failure::kIo);
    if (files.Content(kPath) != before) return;
    if (files.Exists(kJournal)) files.Remove(kJournal);
  }
  FAIL() << "the file was never touched";
}

// Without a second header a journal may be that of a commit that was cut short, which is nothing to keep; not
// where the file was touched since.
TEST(Journal, IsKeptWithoutItsSecondHeaderWhenTheFileIsHalfWritten) {
  const std::string zeros(512, '\0');
  const struct {
    const char* what;
    std::function<std::string(std::string)> change;
  } cases[] = {
      {"cut off behind the first header", [](const std::string& j) { return j.substr(0, 512); }},
      {"cut off before the second header", [](const std::string& j) { return j.substr(0, 4096); }},
      {"without it, and cut short",
       [&](std::string j) { return j.replace(4096, 512, zeros).substr(0, j.size() - 1); }},
      {"without it, and with a damaged record",
       [&](std::string j) { return j.replace(4096, 512, zeros).replace(15000, 3, "bad"); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    MemoryFileSystem files;
    KillHalfway(files);
    const std::string content = files.Content(kPath);
    const std::string changed = c.change(files.Content(kJournal));
    files.SetContent(kJournal, changed);
    EXPECT_EQ(OpenFails(files, OpenMode::kReadWrite), ErrorKind::kCorrupt);
    EXPECT_EQ(OpenFails(files, OpenMode::kRead), ErrorKind::kCorrupt);
    EXPECT_TRUE(files.Content(kPath) == content);
    EXPECT_TRUE(files.Content(kJournal) == changed);
  }
  MemoryFileSystem files;
  KillHalfway(files);
  files.SetContent(kJournal, files.Content(kJournal).replace(4096, 512, zeros));
  EXPECT_NO_THROW(OpenStore(files));
  EXPECT_EQ(StateOf(files.Content(kPath)), 1) << "one header is enough";
}

// A journal that was never committed has no second header, and the first one, if at all, is torn.
TEST(Journal, IsRemovedOnlyWhenItWasNeverCommitted) {
  const struct {
    std::string journal;
    bool removed;
  } cases[] = {
      {std::string(), true},
      {std::string(511, 'x'), true},
      {std::string(5000, '\0'), true},
      {std::string("pgjrnl\x1A\x04") + std::string(600, 'x'), true},
      {std::string("pgjrnl\x1A\x03") + std::string(600, 'x'), false},
      {std::string(20000, 'x'), false},
      {std::string(4096, '\0') + "x", false},
  };
  for (const auto& c : cases) {
    MemoryFileSystem files;
    files.SetContent(kPath, OldContent());
    files.SetContent(kJournal, c.journal);
    if (c.removed) {
      EXPECT_NO_THROW(OpenStore(files, OpenMode::kRead));
      EXPECT_NO_THROW(OpenStore(files));
    } else {
      EXPECT_EQ(OpenFails(files, OpenMode::kRead), ErrorKind::kCorrupt);
      EXPECT_EQ(OpenFails(files, OpenMode::kReadWrite), ErrorKind::kCorrupt);
    }
    EXPECT_EQ(files.Exists(kJournal), !c.removed);
    EXPECT_TRUE(files.Content(kPath) == OldContent());
  }
}

// One bit, anywhere in a header or record, and bytes of records here and there: what was committed is found
// exactly, or everything stays as it is.
TEST(Journal, ABitFlippedIsRecoveredFromOrRefused) {
  int recovered = 0, refused = 0;
  for (const bool applying : {false, true}) {
    MemoryFileSystem before;
    Interrupt(before, applying);
    const std::string journal = before.Content(kJournal);
    std::vector<std::size_t> places;
    for (const std::size_t header : {0u, 4096u}) {
      for (std::size_t i = 0; i < 512; i += applying ? 1 : 7) places.push_back(header + i);
    }
    for (std::size_t i = 0; i < internal::Journal::kPrefixBytes; i += 3) places.push_back(8192 + i);
    for (std::size_t at = 8192; at < journal.size(); at += 9973) places.push_back(at);
    for (const std::size_t place : places) {
      SCOPED_TRACE(place);
      MemoryFileSystem files;
      files.CopyFrom(before, kPath);
      std::string flipped = journal;
      flipped[place] = static_cast<char>(flipped[place] ^ (1 << place % 8));
      files.SetContent(kJournal, flipped);
      try {
        OpenStore(files);
        ++recovered;
        ASSERT_EQ(StateOf(files.Content(kPath)), 1);
        ASSERT_FALSE(files.Exists(kJournal));
      } catch (const Error& error) {
        ++refused;
        ASSERT_EQ(error.kind(), ErrorKind::kCorrupt);
        ASSERT_TRUE(files.Content(kPath) == before.Content(kPath));
        ASSERT_TRUE(files.Content(kJournal) == flipped);
      }
    }
  }
  EXPECT_GT(recovered, 1000) << "one header is enough";
  EXPECT_GT(refused, 100);
}

// Sectors all over the file, changed by somebody after the crash: pages in the journal that are old, new or
// half written, pages that are not in it, and what was appended.
TEST(Journal, NoForeignSectorIsOverwritten) {
  for (const bool applying : {false, true}) {
    MemoryFileSystem before;
    Interrupt(before, applying);
    const std::string content = before.Content(kPath);
    for (std::size_t sector = 0; sector * 512 < content.size(); sector += applying ? 3 : 19) {
      SCOPED_TRACE(sector);
      MemoryFileSystem files;
      files.CopyFrom(before, kPath);
      files.CopyFrom(before, kJournal);
      const std::size_t place = sector * 512 + sector * 7 % 512;
      files.ChangeBehind(kPath, place, std::string(1, static_cast<char>(content[place] ^ 0x10)));
      const std::string changed = files.Content(kPath);
      ASSERT_EQ(OpenFails(files, sector % 2 == 0 ? OpenMode::kReadWrite : OpenMode::kRead),
                ErrorKind::kCorrupt);
      ASSERT_TRUE(files.Content(kPath) == changed);
      ASSERT_TRUE(files.Content(kJournal) == before.Content(kJournal));
    }
  }
}

// Numbers that nothing stands behind, in a header whose checksum is right, make nothing large.
TEST(Journal, ItsNumbersAreBoundedByWhatThereIs) {
  MemoryFileSystem before;
  Interrupt(before, true);
  std::string journal = before.Content(kJournal);
  for (const std::size_t field : {16u, 20u, 24u, 48u}) {
    MemoryFileSystem files;
    files.CopyFrom(before, kPath);
    std::string planted = journal;
    for (const std::size_t header : {0u, 4096u}) {
      auto* bytes = reinterpret_cast<std::uint8_t*>(planted.data()) + header;
      StoreLe<std::uint32_t>(bytes + field, 0x7FFFFFFF);
      StoreLe<std::uint64_t>(bytes + 504, internal::Journal::HeaderChecksum(bytes));
    }
    files.SetContent(kJournal, planted);
    EXPECT_EQ(OpenFails(files, OpenMode::kReadWrite), ErrorKind::kCorrupt) << field;
    EXPECT_EQ(files.Content(kPath).size(), before.Content(kPath).size());
  }
}

// Between opening and saving the file is replaced, moved, deleted or changed: the work is lost, and what is
// there stays as it is, without a journal that waits for it.
TEST(Replaced, TheFileThatWasOpenedIsTheOneThatIsChanged) {
  const struct {
    const char* what;
    std::function<void(MemoryFileSystem&)> change;
  } cases[] = {
      {"replaced", [](auto& f) { f.SetContent(kPath, std::string(5 * kPage, 'r')); }},
      {"deleted", [](auto& f) { f.Remove(kPath); }},
      {"moved", [](auto& f) { f.Rename(kPath, "/data/b.mdb"); }},
      {"copied over", [](auto& f) { f.ChangeBehind(kPath, 0, std::string(kPages * kPage, 'c')); }},
      {"changed by a byte", [](auto& f) { f.ChangeBehind(kPath, 399 * kPage, "!"); }},
  };
  for (const auto& c : cases) {
    for (const bool persisted : {false, true}) {
      for (const bool by_persist : {false, true}) {
        SCOPED_TRACE(fmt::format("{}, {}, {}", c.what, persisted, by_persist));
        MemoryFileSystem files;
        files.SetContent(kPath, OldContent());
        auto store = OpenStore(files);
        FirstWork(*store);
        if (persisted) {
          store->Persist();
          SecondWork(*store);
        }
        c.change(files);
        const bool there = files.Exists(kPath);
        const std::string content = there ? files.Content(kPath) : "";
        try {
          if (by_persist) {
            store->Persist();
          } else {
            store->Checkpoint();
          }
          ADD_FAILURE() << "nothing was said";
        } catch (const Error& error) {
          EXPECT_EQ(error.kind(), ErrorKind::kIo);
          EXPECT_NE(std::string(error.what()).find("by another program"), std::string::npos) << error.what();
        }
        EXPECT_EQ(store->durability(), Durability::kLost);
        EXPECT_THROW(store->Write(3), Error);
        EXPECT_THROW(store->RevertToMark(), Error);
        store.reset();
        EXPECT_EQ(files.Exists(kPath), there);
        if (there) {
          EXPECT_TRUE(files.Content(kPath) == content);
        }
        EXPECT_FALSE(files.Exists(kJournal));
      }
    }
  }
}

// A file that is replaced when the n-th piece is written to it.
class ReplacedFile : public File {
 public:
  ReplacedFile(MemoryFileSystem& files, int write)
      : files_(files), file_(files.Open(kPath, OpenMode::kReadWrite)), left_(write) {}
  const std::string& path() const override { return file_->path(); }
  void Read(std::uint64_t offset, MutableBytes out) override { file_->Read(offset, out); }
  void Write(std::uint64_t offset, Bytes data) override {
    if (--left_ == 0) {
      files_.Remove(kPath);
      files_.SetContent(kPath, "another");
    }
    file_->Write(offset, data);
  }
  void Sync() override { file_->Sync(); }
  void SyncAll() override { file_->SyncAll(); }
  std::uint64_t Size() override { return file_->Size(); }
  void Truncate(std::uint64_t size) override { file_->Truncate(size); }
  FileStamp Stamp() override { return file_->Stamp(); }
  bool IsInPlace() override { return file_->IsInPlace(); }
  bool LockContent(bool patiently) override { return file_->LockContent(patiently); }
  void ShareContent() override { file_->ShareContent(); }
  bool HasWriter() override { return file_->HasWriter(); }

 private:
  MemoryFileSystem& files_;
  std::unique_ptr<File> file_;
  int left_;
};

TEST(Replaced, WhileItIsBroughtUpToDate) {
  for (const int write : {1, 3}) {
    MemoryFileSystem files;
    files.SetContent(kPath, OldContent());
    {
      PageStore store(files, std::make_unique<ReplacedFile>(files, write), kJournal, true, kPage);
      FirstWork(store);
      try {
        store.Checkpoint();
        ADD_FAILURE() << "nothing was said";
      } catch (const Error& error) {
        EXPECT_EQ(error.kind(), ErrorKind::kIo);
      }
      EXPECT_EQ(store.durability(), Durability::kLost);
    }
    EXPECT_EQ(files.Content(kPath), "another");
    EXPECT_FALSE(files.Exists(kJournal));
  }
}

// While a run works, readers see the last saved state. They hold off the file's being brought up to date;
// what was done waits in the journal.
TEST(Readers, SeeTheLastSavedStateWhileAnotherWrites) {
  MemoryFileSystem files;
  files.SetContent(kPath, State(0));
  auto store = OpenStore(files);
  FirstWork(*store);
  EXPECT_EQ(StateOf(ContentThroughStore(files)), 0);
  store->Persist();
  auto reader = OpenStore(files, OpenMode::kRead);
  EXPECT_EQ(StateOf(ContentThroughStore(files)), 0);
  SecondWork(*store);
  EXPECT_EQ(OpenFails(files, OpenMode::kReadWrite), ErrorKind::kLocked);
  try {
    store->Checkpoint();
    ADD_FAILURE() << "somebody is reading";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::kLocked);
  }
  EXPECT_EQ(StateOf(ContentThroughStore(files)), 0);
  MemoryFileSystem killed;
  killed.CopyFrom(files, kPath);
  killed.CopyFrom(files, kJournal);
  EXPECT_EQ(StateOf(ContentThroughStore(killed)), 2) << "nothing is lost";
  reader.reset();
  store->Checkpoint();
  EXPECT_EQ(StateOf(files.Content(kPath)), 2);
  EXPECT_EQ(StateOf(ContentThroughStore(files)), 2);
  EXPECT_FALSE(files.Exists(kJournal));
}

// Only after it was opened does a journal appear beside the file, such as one of another program that opened
// another file of that name.
TEST(Journal, AForeignOneIsNotOverwritten) {
  MemoryFileSystem other;
  Interrupt(other, false);
  MemoryFileSystem files;
  files.SetContent(kPath, OldContent());
  auto store = OpenStore(files);
  store->Write(3).mutable_data()[0] ^= 1;
  files.SetContent(kJournal, other.Content(kJournal));
  EXPECT_THROW(store->Checkpoint(), Error);
  store.reset();
  EXPECT_TRUE(files.Content(kPath) == OldContent());
  EXPECT_TRUE(files.Content(kJournal) == other.Content(kJournal));
}

TEST(Checkpoint, FailureStopsFurtherWriting) {
  int again = 0, old_states = 0, waiting = 0;
  for (std::uint64_t n = 1;; ++n) {
    SCOPED_TRACE(n);
    MemoryFileSystem files;
    files.SetContent(kPath, State(0));
    auto store = OpenStore(files);
    FirstWork(*store);
    SecondWork(*store);
    files.FailAt(files.operations() + n, MemoryFileSystem::Failure::kFull);
    if (KindOf([&] { store->Checkpoint(); }) == ErrorKind::kFailed) break;
    if (KindOf([&] { store->Write(1); }) != ErrorKind::kIo) {
      ++again;  // pages did not get to the journal: it may be tried again
      store->Checkpoint();
      EXPECT_EQ(StateOf(files.Content(kPath)), 2);
      continue;
    }
    EXPECT_EQ(KindOf([&] { store->Append(); }), ErrorKind::kIo);
    EXPECT_EQ(KindOf([&] { store->Checkpoint(); }), ErrorKind::kIo);
    std::string content;
    for (PageNo page = 0; page < store->page_count(); ++page) {
      const PageRef ref = store->Read(page);
      content.append(reinterpret_cast<const char*>(ref.data()), kPage);
    }
    EXPECT_EQ(StateOf(content), 2) << "it can still be read";
    store.reset();
    const int state = StateOf(ContentThroughStore(files));
    EXPECT_EQ(state, files.Exists(kJournal) ? 2 : 0) << "nothing is left lying beside an old file";
    ++(state == 0 ? old_states : waiting);
  }
  EXPECT_GT(again, 0);
  EXPECT_GT(old_states, 3);
  EXPECT_GT(waiting, 5);
}

// Something fails, and while that is being dealt with the power goes.
TEST(Checkpoint, PowerLossAfterAFailure) {
  std::uint64_t total = 0;
  {
    MemoryFileSystem files;
    files.SetContent(kPath, State(0));
    EXPECT_EQ(DoAll(*OpenStore(files)), 2);
    total = files.operations();
  }
  for (std::uint64_t n = 1; n < total; ++n) {
    if (n % 29 != 0 && n + 40 < total) continue;
    for (std::uint64_t later = 1; later <= 10; ++later) {
      for (std::uint64_t keep_seed = 0; keep_seed < 3; ++keep_seed) {
        MemoryFileSystem files;
        files.SetContent(kPath, State(0));
        auto store = OpenStore(files);
        files.FailAt(n, MemoryFileSystem::Failure::kIo);
        files.FailAlsoFrom(n + later);
        const int persisted = DoAll(*store);
        store.reset();
        files.LosePower(keep_seed == 0 ? 0 : keep_seed + 1000 * n + 10 * later);
        OpenStore(files);
        ASSERT_GE(StateOf(files.Content(kPath)), persisted) << "operations " << n << " and " << n + later;
      }
    }
  }
}

// A statement that cannot be taken back must never reach the file. Going back further may still be possible.
TEST(Statement, FailedRollbackStopsFurtherWriting) {
  MemoryFileSystem files;
  files.SetContent(kPath, OldContent());
  PageStoreOptions options;
  options.cache_bytes = 8 * kPage;
  options.undo_bytes = 8 * kPage;
  PageStore store(files, files.Open(kPath, OpenMode::kReadWrite), kJournal, true, kPage, options);
  for (PageNo i = 0; i < 50; ++i) store.Write(i).mutable_data()[0] ^= 1;
  store.BeginStatement();
  // The last ones are in the cache still, and are so noted there. In the end they are in the journal.
  for (PageNo i = 50; i-- > 0;) store.Write(i).mutable_data()[1] ^= 1;
  std::vector<PageRef> held;  // no place in memory is left
  for (PageNo i = 100; i < 116; ++i) held.push_back(store.Read(i));
  files.FailAt(files.operations() + 1, MemoryFileSystem::Failure::kIo, true);
  store.RollbackStatement();
  files.FailAt(0, MemoryFileSystem::Failure::kIo);
  EXPECT_THROW(store.Checkpoint(), Error);
  EXPECT_THROW(store.Write(3), Error);
  EXPECT_TRUE(files.Content(kPath) == OldContent());
  store.RevertToMark();
  for (PageNo i = 0; i < 50; ++i) {
    EXPECT_EQ(store.Read(i).data()[0], static_cast<std::uint8_t>(OldContent()[i * kPage])) << i;
  }
  store.Write(3).mutable_data()[1] ^= 1;
  store.Checkpoint();
  std::string expected = OldContent();
  expected[3 * kPage + 1] ^= 1;
  EXPECT_TRUE(files.Content(kPath) == expected);
}

}  // namespace
}  // namespace jet
