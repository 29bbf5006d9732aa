// Crash safety by enumeration: work that is persisted, goes on, is persisted again and brought to the file
// fails, or loses power, at every single operation; what the next open finds is exactly one of the states
// that were persisted.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/access/file/fault.h"
#include "tests/access/file/interrupted_work.h"
#include "tests/access/file/kind_of.h"

namespace jet {
namespace {

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

// Closing brings what was persisted to the file, and fails, or loses power, at every single operation. Pages
// of work that was not persisted stand in the journal meanwhile; what the next open makes of it knows nothing
// of them.
TEST_P(Crash, ClosingInTheMiddleOfWorkMayBeInterrupted) {
  const Fault& fault = kFaults[GetParam()];
  bool untouched = false;
  int interrupted = 0;
  for (std::uint64_t n = 1; !untouched; ++n) {
    MemoryFileSystem files;
    files.SetContent(kPath, State(0));
    auto store = OpenStore(files);
    FirstWork(*store);
    store->Persist();
    SecondWork(*store);
    const std::uint64_t last = files.operations() + n;
    files.FailAt(last, fault.failure, fault.from_then_on);
    store.reset();
    untouched = files.operations() < last;
    if (fault.power_loss) files.LosePower(fault.keep_seed == 0 ? 0 : fault.keep_seed + 100 * n);
    files.FailAt(0, fault.failure);
    SCOPED_TRACE(n);
    interrupted += files.Exists(kJournal) ? 1 : 0;
    ASSERT_EQ(StateOf(ContentThroughStore(files)), 1);
    OpenStore(files);
    ASSERT_EQ(StateOf(files.Content(kPath)), 1);
    EXPECT_FALSE(files.Exists(kJournal));
  }
  EXPECT_GT(interrupted, 5);
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

constexpr int kPieces = 3;

void DoPiece(PageStore& store, int number) {
  const std::uint64_t seed = 1000 * number;
  for (PageNo page = 20; page < 150; page += number) {
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
}

// What the file holds after none of the pieces, one, ... all.
std::vector<std::string> StatesOfPieces() {
  std::vector<std::string> states = {OldContent()};
  for (int count = 1; count <= kPieces; ++count) {
    MemoryFileSystem files;
    files.SetContent(kPath, OldContent());
    const auto store = OpenStore(files);
    for (int number = 1; number <= count; ++number) DoPiece(*store, number);
    store->Checkpoint();
    states.push_back(files.Content(kPath));
  }
  return states;
}

struct Progress {
  int done = 0;       // pieces with a mark behind them, or persisted
  int persisted = 0;  // known to be durable
};

Progress DoPieces(PageStore& store) {
  Progress p;
  try {
    DoPiece(store, 1);
    ++p.done;
    store.Persist();
    ++p.persisted;
    for (int number = 2; number <= kPieces; ++number) {
      DoPiece(store, number);
      store.Mark();
      ++p.done;
    }
    store.Checkpoint();
    p.persisted = p.done;
  } catch (const Error&) {
  }
  return p;
}

// Three pieces of work, each behind a mark, the first persisted. A failure, at every operation, takes the
// running piece back and persists those before it: at once, or once there is room again.
TEST(Revert, AfterAFailureLeavesWholePiecesOfWork) {
  const std::vector<std::string> states = StatesOfPieces();
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
      const auto [done, persisted] = DoPieces(*store);
      untouched = files.operations() < n;
      // What failed to become durable may be so all the same.
      int expected = persisted, or_else = done;
      if (!untouched && persisted < kPieces) {
        if (!fault.also_while_reverting) files.FailAt(0, fault.failure);
        try {
          store->RevertToMark();
          // The first piece had no mark behind it.
          const int at_mark = done == 1 && persisted == 0 ? 0 : done;
          ASSERT_TRUE(Content(*store) == states[at_mark]);
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
      const int found = std::ranges::find(states, content) - states.begin();
      ASSERT_TRUE(found == expected || found == or_else) << found << " " << expected << " " << or_else;
      ++kept[found];
    }
  }
  for (const int count : kept) EXPECT_GT(count, 3);
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
    EXPECT_EQ(StateOf(Content(*store)), 2) << "it can still be read";
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
