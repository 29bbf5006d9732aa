// Trees keep in mind where they looked last. These tests do what could make them look in the wrong place:
// runs of neighbouring keys, two trees that take over each other's pages, and statements that are rolled
// back.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "access/file/test_files.h"
#include "access/index/btree.h"
#include "access/index/index_tree.h"

namespace jet {
namespace {

constexpr PageNo kOwner = 2;
constexpr unsigned kKeys = 6000;

struct Entry {
  std::string key;
  RowId row;
  auto operator<=>(const Entry&) const = default;
};

std::string KeyOf(unsigned value) {
  std::string key = "\x7F";
  for (int shift = 24; shift >= 0; shift -= 8) key += static_cast<char>(value >> shift);
  return key + std::string(20, 'x');  // some fifty leaves
}

// The page that was freed last goes to the one who asks next.
class SharedPages : public IndexPageAllocator {
 public:
  explicit SharedPages(PageStore& pages) : pages_(pages) {}
  MutablePageRef AllocateIndexPage() override {
    if (free.empty()) return pages_.Append();
    MutablePageRef page = pages_.Write(free.back());
    free.pop_back();
    return page;
  }
  void FreeIndexPage(PageNo page) override {
    free.push_back(page);
    pages_.BeginEra();
  }

  std::vector<PageNo> free;

 private:
  PageStore& pages_;
};

// A tree, and the set it must agree with.
struct ModelledTree {
  ModelledTree(PageStore& store, SharedPages& allocator)
      : root(store.Append().page_no()), tree(store, &allocator, root, kOwner) {
    BTree::InitRoot(store.Write(root), kOwner);
  }

  bool HasKey(const std::string& key) const {
    const auto at = model.lower_bound({key, RowId()});
    return at != model.end() && at->key == key;
  }
  void Insert(const Entry& entry) {
    const bool expected = !HasKey(entry.key);
    if (!model.insert(entry).second) return;
    bool is_new = !expected;
    tree.Insert(entry.key, entry.row, &is_new);
    EXPECT_EQ(is_new, expected);
  }
  void Erase(const Entry& entry) {
    const Entry gone = entry;
    EXPECT_TRUE(tree.Erase(gone.key, gone.row));
    model.erase(gone);
  }
  void Look(const std::string& key) {
    EXPECT_EQ(tree.Contains(key), HasKey(key));
    BTree::Cursor cursor(tree);
    cursor.Seek(key);
    const auto expected = model.lower_bound({key, RowId()});
    ASSERT_EQ(cursor.valid(), expected != model.end());
    EXPECT_TRUE(!cursor.valid() || (cursor.key() == expected->key && cursor.row() == expected->row));
  }
  void Verify(PageStore& store) const {
    std::vector<Finding> findings;
    auto expected = model.begin();
    const auto compare = [&](std::string_view key, RowId row) {
      ASSERT_TRUE(expected != model.end() && expected->key == key && expected->row == row);
      ++expected;
    };
    CheckIndexTree(store, root, kOwner, false, compare, &findings);
    EXPECT_TRUE(expected == model.end());
    for (const Finding& finding : findings) ADD_FAILURE() << finding.text;
  }

  PageNo root;
  BTree tree;
  std::set<Entry> model;
};

class Neighbours : public ::testing::TestWithParam<unsigned> {
 protected:
  Neighbours()
      : store_(files_, files_.Open("t", OpenMode::kCreateNew), "t.journal", true, 4096, {}),
        allocator_(store_) {
    while (store_.page_count() <= kOwner) store_.Append();
  }

  // A run of changes next to each other.
  void Run(ModelledTree& t, ModelledTree& other) {
    const unsigned start = random_() % kKeys;
    const unsigned kind = random_() % 4;
    auto next = t.model.lower_bound({KeyOf(start), RowId()});
    for (unsigned i = 0, length = 1 + random_() % 150; i < length; ++i) {
      const RowId row(1 + random_() % 50, static_cast<std::uint8_t>(random_() % 3));
      if (kind == 0) t.Insert({KeyOf(start + i), row});
      if (kind == 1) t.Insert({KeyOf(start - std::min(i, start)), row});
      if (kind >= 2 && next != t.model.end()) {
        t.Erase(*next++);
      }
      if (i % 8 == 0) t.Look(KeyOf(start + random_() % 200));
      if (i % 16 == 0) other.Look(KeyOf(start + i));
    }
  }

  MemoryFileSystem files_;
  PageStore store_;
  SharedPages allocator_;
  std::mt19937 random_{GetParam()};
};

TEST_P(Neighbours, TreesThatTakeOverEachOthersPagesStayApart) {
  ModelledTree a(store_, allocator_), b(store_, allocator_);
  for (unsigned i = 0; i < kKeys; i += 2) a.Insert({KeyOf(i), RowId(9, 1)});
  for (int round = 0; round < 400 && !HasFailure(); ++round) {
    ModelledTree& t = round % 2 == 0 ? a : b;
    ModelledTree& other = round % 2 == 0 ? b : a;
    const std::set<Entry> before = t.model;
    const std::vector<PageNo> free = allocator_.free;
    store_.BeginStatement();
    Run(t, other);
    if (random_() % 4 == 0) {
      store_.RollbackStatement();
      t.model = before;
      allocator_.free = free;
    } else {
      store_.CommitStatement();
    }
    for (int i = 0; i < 5; ++i) {
      a.Look(KeyOf(random_() % kKeys));
      b.Look(KeyOf(random_() % kKeys));
    }
  }
  a.Verify(store_);
  b.Verify(store_);
}

TEST_P(Neighbours, ALeafThatWasGivenAwayIsNotLookedAt) {
  ModelledTree a(store_, allocator_), b(store_, allocator_);
  for (unsigned i = 0; i < kKeys; i += 10) {
    a.Insert({KeyOf(i + 5), RowId(9, 1)});
    b.Insert({KeyOf(i), RowId(9, 2)});
  }
  const unsigned place = 1000 * GetParam();
  while (allocator_.free.empty()) a.Erase(*a.model.lower_bound({KeyOf(place), RowId()}));
  unsigned key = place;
  while (!allocator_.free.empty()) b.Insert({KeyOf(++key), RowId(9, 2)});
  a.Look(KeyOf(place + 1));
  a.Verify(store_);
  b.Verify(store_);
}

INSTANTIATE_TEST_SUITE_P(BTree, Neighbours, ::testing::Values(1u, 2u, 3u, 4u));

}  // namespace
}  // namespace jet
