// The page store against a plain model: a vector of pages that is copied where the store has scopes.
#include "access/file/page_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "access/file/test_files.h"
#include "tests/access/file/kind_of.h"

namespace jet {
namespace {

constexpr std::uint32_t kPage = 2048;
const std::string kPath = "/data/a.mdb";
const std::string kJournal = "/data/a.mdb-journal";

using Model = std::vector<std::string>;

std::string Filled(std::uint64_t seed) {
  std::string page(kPage, '\0');
  std::mt19937_64 random(seed);
  for (std::size_t i = 0; i < kPage; i += 8) {
    const std::uint64_t v = random();
    std::memcpy(page.data() + i, &v, 8);
  }
  return page;
}

std::string Text(Bytes bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

class Store {
 public:
  Store(FileSystem& files, OpenMode mode, const PageStoreOptions& options)
      : pages_(files, files.Open(kPath, mode), kJournal, mode == OpenMode::kReadWrite, kPage, options) {}
  PageStore* operator->() { return &pages_; }
  PageStore& operator*() { return pages_; }

 private:
  PageStore pages_;
};

void ExpectSame(PageStore& store, const Model& model) {
  ASSERT_EQ(store.page_count(), model.size());
  for (PageNo i = 0; i < model.size(); ++i) ASSERT_EQ(Text(store.Read(i).bytes()), model[i]) << "page " << i;
}

// Random reads, writes, appends, statements, marks, saves and reopenings, with handles that are held for a
// while, in a cache so small that nearly everything spills.
class RandomWork : public testing::TestWithParam<std::uint64_t> {
 protected:
  PageNo Below(std::uint64_t n) { return random_() % n; }

  void Begin(int pages) {
    std::string content;
    for (int i = 0; i < pages; ++i) {
      model_.push_back(Filled(i));
      content += model_.back();
    }
    files_.SetContent(kPath, content);
    saved_ = at_mark_ = model_;
    options_.cache_bytes = kPage * (8 + Below(24));
    options_.undo_bytes = kPage * Below(6);
    Open();
  }
  void Open() { store_ = std::make_unique<Store>(files_, OpenMode::kReadWrite, options_); }
  void Read(PageNo page) { ASSERT_EQ(Text(store().Read(page).bytes()), model_[page]); }
  void Write(PageNo page) {
    model_[page] = Filled(++next_fill_);
    const MutablePageRef ref = store().Write(page);
    std::memcpy(ref.mutable_data(), model_[page].data(), kPage);
  }
  void Append() {
    const MutablePageRef ref = store().Append();
    ASSERT_EQ(ref.page_no(), model_.size());
    ASSERT_EQ(Text(ref.bytes()), std::string(kPage, '\0'));
    model_.push_back(Filled(++next_fill_));
    std::memcpy(ref.mutable_data(), model_.back().data(), kPage);
  }
  void BeginOrCommit() {
    if (store().in_statement()) {
      store().CommitStatement();
    } else {
      at_statement_ = model_;
      store().BeginStatement();
    }
  }
  void GoBackTo(const Model& model) {
    model_ = model;
    std::erase_if(held_, [&](const auto& item) { return item.first >= model_.size(); });
  }
  // Returns whether anything was saved.
  bool SaveOrMark() {
    bool saved = false;
    switch (Below(8)) {
      case 0:
        // A journal without anything in it that counts may stay.
        saved = store().has_changes();
        saving_ = true;
        store().Checkpoint();
        saving_ = false;
        EXPECT_FALSE(store().has_changes());
        EXPECT_FALSE(saved && files_.Exists(kJournal) && !failures_);
        saved_ = at_mark_ = model_;
        break;
      case 1:
      case 2:
        saving_ = true;
        store().Persist();
        saving_ = false;
        saved_ = at_mark_ = model_;
        saved = true;
        break;
      case 3:
      case 4:
        store().Mark();
        at_mark_ = model_;
        break;
    }
    return saved;
  }
  void Reopen() {
    held_.clear();
    store_ = nullptr;  // drops what was not saved
    Open();
    model_ = at_mark_ = saved_;
  }
  // One step; returns whether anything was saved.
  bool Step() {
    const PageNo page = Below(model_.size());
    const PageNo kind = Below(21);
    if (kind < 5) {
      Read(page);
    } else if (kind < 10) {
      Write(page);
    } else if (kind == 10) {
      Append();
    } else if (kind < 13) {
      if (held_.size() < 12) held_[page] = store().Read(page);
    } else if (kind == 13) {
      held_.clear();
    } else if (kind < 16) {
      BeginOrCommit();
    } else if (kind < 18) {
      if (!store().in_statement()) return false;
      store().RollbackStatement();
      GoBackTo(at_statement_);
    } else if (kind == 18) {
      return !store().in_statement() && SaveOrMark();
    } else if (kind == 19) {
      if (Below(12) == 0) Reopen();
    } else if (Below(4) == 0) {
      store().RevertToMark();
      GoBackTo(at_mark_);
    }
    return false;
  }
  // A copy of both files at any moment, as a killed process leaves them.
  void ExpectSavedAfterKill() {
    MemoryFileSystem killed;
    killed.CopyFrom(files_, kPath);
    if (files_.Exists(kJournal)) killed.CopyFrom(files_, kJournal);
    ExpectSame(*Store(killed, OpenMode::kRead, options_), saved_);
    ExpectSame(*Store(killed, OpenMode::kReadWrite, options_), saved_);
  }
  PageStore& store() { return **store_; }

  std::mt19937_64 random_{GetParam()};
  MemoryFileSystem files_;
  PageStoreOptions options_;
  std::unique_ptr<Store> store_;
  Model model_, at_statement_, at_mark_, saved_;
  std::map<PageNo, PageRef> held_;
  std::uint64_t next_fill_ = 1000;
  bool saving_ = false;    // true when that has failed
  bool failures_ = false;  // operations may fail: a journal that says nothing may stay
};

TEST_P(RandomWork, EqualsModel) {
  Begin(40);
  for (int step = 0; step < 4000; ++step) {
    const bool just_saved = Step();
    for (const auto& [page, ref] : held_) ASSERT_EQ(Text(ref.bytes()), model_[page]) << "held page " << page;
    if (step % 97 == 0 || just_saved) ExpectSavedAfterKill();
    if (HasFatalFailure()) return;
    if (step % 500 == 0) {
      const bool same = model_ == saved_;
      ASSERT_TRUE(store().has_changes() || same);
      ExpectSame(store(), model_);
    }
  }
  ExpectSame(store(), model_);
}

// The same while operations fail and power is lost, wherever that strikes: the store goes on from its mark,
// or is closed; whoever opens the file finds what was saved last, or what was being saved, and nothing else.
TEST_P(RandomWork, LeavesWhatWasSavedWhateverFails) {
  // Small files have a digest of all pages in their journal, large ones may have none.
  Begin(GetParam() % 2 == 0 ? 40 : 600);
  failures_ = true;
  using Failure = MemoryFileSystem::Failure;
  int found_new = 0, went_on = 0;
  for (int round = 0; round < 120; ++round) {
    const auto failure = std::array{Failure::kIo, Failure::kFull, Failure::kShortWrite}[Below(3)];
    files_.FailAt(files_.operations() + 1 + Below(60), failure, Below(2) == 0);
    bool failed = false;
    for (int step = Below(120); step > 0 && !failed; --step) {
      try {
        Step();
      } catch (const Error& error) {
        ASSERT_TRUE(error.is_environment()) << error.what();
        failed = true;
      }
      if (HasFatalFailure()) return;
    }
    const bool was_saving = std::exchange(saving_, false);
    if (failed && store_ != nullptr && Below(3) == 0) {
      files_.FailAt(0, failure);
      bool reverted = false;
      try {
        store().RevertToMark();
        reverted = true;
      } catch (const Error&) {
        // closed below
      }
      if (reverted) {
        GoBackTo(at_mark_);
        ExpectSame(store(), model_);
        ++went_on;
        continue;
      }
    }
    if (Below(2) == 0) files_.LosePower(Below(4));
    held_.clear();
    store_ = nullptr;
    if (Below(3) == 0) files_.LosePower(Below(4));
    files_.FailAt(0, failure);
    const Model saving = std::exchange(model_, saved_);
    Open();
    if (was_saving && saving != saved_) {
      Model found;
      for (PageNo page = 0; page < store().page_count(); ++page)
        found.push_back(Text(store().Read(page).bytes()));
      if (found == saving) {
        model_ = saving;
        ++found_new;
      }
    }
    ExpectSame(store(), model_);
    if (HasFatalFailure()) return;
    saved_ = at_mark_ = model_;
    store().Mark();
  }
  EXPECT_GE(found_new + went_on, 1);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomWork, testing::Range<std::uint64_t>(1, 25));

struct Opened {
  MemoryFileSystem files;
  std::optional<Store> store;

  explicit Opened(PageNo pages, PageStoreOptions options = {}, OpenMode mode = OpenMode::kReadWrite) {
    std::string content;
    for (PageNo i = 0; i < pages; ++i) content += Filled(i);
    files.SetContent(kPath, content);
    store.emplace(files, mode, options);
  }
};

TEST(PageStore, PinnedPageFollowsWritesAndRollback) {
  Opened o(4);
  const PageRef reader = (*o.store)->Read(2);
  const std::uint8_t* address = reader.data();
  const std::string before = Text(reader.bytes());
  (*o.store)->BeginStatement();
  (*o.store)->Write(2).mutable_data()[7] ^= 0xFF;
  EXPECT_NE(Text(reader.bytes()), before);
  (*o.store)->RollbackStatement();
  EXPECT_EQ(Text(reader.bytes()), before);
  EXPECT_EQ(reader.data(), address);
  EXPECT_EQ((*o.store)->Read(2).data(), address);
  EXPECT_FALSE((*o.store)->has_changes());
}

TEST(PageStore, PageCutOffByRollbackDoesNotComeBack) {
  Opened o(2);
  (*o.store)->BeginStatement();
  MutablePageRef cut = (*o.store)->Append();
  cut.mutable_data()[0] = 1;
  (*o.store)->RollbackStatement();
  EXPECT_EQ((*o.store)->page_count(), 2u);
  EXPECT_EQ(KindOf([&] { (*o.store)->Read(2); }), ErrorKind::kCorrupt);
  const MutablePageRef fresh = (*o.store)->Append();
  cut.mutable_data()[1] = 1;  // harmless
  EXPECT_EQ(Text(fresh.bytes()), std::string(kPage, '\0'));
}

TEST(PageStore, CacheGrowsWhenAllPagesAreHeld) {
  PageStoreOptions options;
  options.cache_bytes = 1;
  Opened o(100, options);
  std::vector<PageRef> held;
  for (PageNo i = 0; i < 100; ++i) held.push_back((*o.store)->Read(i));
  for (PageNo i = 0; i < 100; ++i) EXPECT_EQ(Text(held[i].bytes()), Filled(i));
}

TEST(PageStore, MisuseIsRefused) {
  PageStoreOptions options;
  options.max_file_bytes = 3 * kPage;
  Opened o(2, options);
  (*o.store)->BeginStatement();
  EXPECT_EQ(KindOf([&] { (*o.store)->BeginStatement(); }), ErrorKind::kInvalid);
  EXPECT_EQ(KindOf([&] { (*o.store)->Checkpoint(); }), ErrorKind::kInvalid);
  (*o.store)->CommitStatement();
  (*o.store)->Append();
  EXPECT_EQ(KindOf([&] { (*o.store)->Append(); }), ErrorKind::kIo);
  EXPECT_EQ(KindOf([&] { (*o.store)->Write(3); }), ErrorKind::kCorrupt);
  EXPECT_EQ(KindOf([&] { (*o.store)->Read(0xFFFFFFFF); }), ErrorKind::kCorrupt);

  Opened reader(2, {}, OpenMode::kRead);
  EXPECT_EQ(KindOf([&] { (*reader.store)->Write(0); }), ErrorKind::kReadOnly);
  EXPECT_EQ(KindOf([&] { (*reader.store)->Append(); }), ErrorKind::kReadOnly);

  MemoryFileSystem odd;
  odd.SetContent(kPath, std::string(kPage + 1, 'x'));
  EXPECT_EQ(KindOf([&] { Store(odd, OpenMode::kRead, {}); }), ErrorKind::kCorrupt);
}

// Opening, reading and rolled back work must leave the file alone altogether.
TEST(PageStore, NothingIsWrittenWithoutChanges) {
  Opened o(50);
  for (PageNo i = 0; i < 50; ++i) (*o.store)->Read(i);
  (*o.store)->BeginStatement();
  (*o.store)->Write(3).mutable_data()[0] = 9;
  (*o.store)->Append();
  (*o.store)->RollbackStatement();
  (*o.store)->Checkpoint();
  EXPECT_EQ(o.files.operations(), 0u);
}

}  // namespace
}  // namespace jet
