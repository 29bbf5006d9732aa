// The page store against a plain model: a vector of pages that is copied where the store has scopes.
#include "access/file/page_store.h"
#include "tests/access/file/kind_of.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <random>
#include <vector>

#include "access/file/test_files.h"

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
class RandomWork : public testing::TestWithParam<std::uint64_t> {};

TEST_P(RandomWork, EqualsModel) {
  std::mt19937_64 random(GetParam());
  const auto below = [&](std::uint64_t n) { return static_cast<PageNo>(random() % n); };
  MemoryFileSystem files;
  Model model, at_statement, at_mark, saved;
  std::string content;
  for (int i = 0; i < 40; ++i) {
    model.push_back(Filled(i));
    content += model.back();
  }
  files.SetContent(kPath, content);
  saved = at_mark = model;
  PageStoreOptions options;
  options.cache_bytes = kPage * (8 + below(24));
  options.undo_bytes = kPage * below(6);
  auto store = std::make_unique<Store>(files, OpenMode::kReadWrite, options);
  std::map<PageNo, PageRef> held;
  std::uint64_t next_fill = 1000;

  const auto check_held = [&] {
    for (const auto& [page, ref] : held) ASSERT_EQ(Text(ref.bytes()), model[page]) << "held page " << page;
  };
  for (int step = 0; step < 4000; ++step) {
    bool just_saved = false;
    const PageNo page = below(model.size());
    switch (below(21)) {
      case 0:
      case 1:
      case 2:
      case 3:
      case 4:
        ASSERT_EQ(Text((*store)->Read(page).bytes()), model[page]);
        break;
      case 5:
      case 6:
      case 7:
      case 8:
      case 9: {
        model[page] = Filled(++next_fill);
        MutablePageRef ref = (*store)->Write(page);
        std::memcpy(ref.mutable_data(), model[page].data(), kPage);
        break;
      }
      case 10: {
        MutablePageRef ref = (*store)->Append();
        ASSERT_EQ(ref.page_no(), model.size());
        ASSERT_EQ(Text(ref.bytes()), std::string(kPage, '\0'));
        model.push_back(Filled(++next_fill));
        std::memcpy(ref.mutable_data(), model.back().data(), kPage);
        break;
      }
      case 11:
      case 12:
        if (held.size() < 12) held[page] = (*store)->Read(page);
        break;
      case 13:
        held.clear();
        break;
      case 14:
      case 15:
        if ((*store)->in_statement()) {
          (*store)->CommitStatement();
        } else {
          at_statement = model;
          (*store)->BeginStatement();
        }
        break;
      case 16:
      case 17:
        if (!(*store)->in_statement()) break;
        (*store)->RollbackStatement();
        model = at_statement;
        std::erase_if(held, [&](const auto& item) { return item.first >= model.size(); });
        break;
      case 18:
        if ((*store)->in_statement()) break;
        switch (below(8)) {
          case 0:
            // A journal without anything in it that counts may stay.
            just_saved = (*store)->has_changes();
            (*store)->Checkpoint();
            EXPECT_FALSE((*store)->has_changes());
            EXPECT_FALSE(just_saved && files.Exists(kJournal));
            saved = at_mark = model;
            break;
          case 1:
          case 2:
            (*store)->Persist();
            saved = at_mark = model;
            just_saved = true;
            break;
          case 3:
          case 4:
            (*store)->Mark();
            at_mark = model;
            break;
        }
        break;
      case 19:
        if (below(12) != 0) break;
        held.clear();
        store = nullptr;  // drops what was not saved
        store = std::make_unique<Store>(files, OpenMode::kReadWrite, options);
        model = at_mark = saved;
        break;
      case 20:
        if (below(4) != 0) break;
        (*store)->RevertToMark();
        model = at_mark;
        std::erase_if(held, [&](const auto& item) { return item.first >= model.size(); });
        break;
    }
    check_held();
    // A copy of both files at any moment, as a killed process leaves them.
    if (step % 97 == 0 || just_saved) {
      MemoryFileSystem killed;
      killed.CopyFrom(files, kPath);
      if (files.Exists(kJournal)) killed.CopyFrom(files, kJournal);
      ExpectSame(*Store(killed, OpenMode::kRead, options), saved);
      ExpectSame(*Store(killed, OpenMode::kReadWrite, options), saved);
    }
    if (HasFatalFailure()) return;
    if (step % 500 == 0) {
      const bool same = model == saved;
      ASSERT_TRUE((*store)->has_changes() || same);
      ExpectSame(**store, model);
    }
  }
  ExpectSame(**store, model);
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
