// The tree against std::set, with the whole tree verified after every batch, and against damage.
#include "access/index/btree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "access/base/error.h"
#include "access/file/test_files.h"
#include "access/index/index_page.h"
#include "access/index/index_tree.h"

namespace jet {
namespace {

constexpr PageNo kOwner = 2;
constexpr PageNo kRoot = 3;

class TestAllocator : public IndexPageAllocator {
 public:
  explicit TestAllocator(PageStore& pages) : pages_(pages) {}
  MutablePageRef AllocateIndexPage() override {
    if (free_.empty()) {
      MutablePageRef page = pages_.Append();
      used_.insert(page.page_no());
      return page;
    }
    MutablePageRef page = pages_.Write(free_.back());
    free_.pop_back();
    used_.insert(page.page_no());
    std::fill(page.mutable_bytes().begin(), page.mutable_bytes().end(), std::uint8_t{0});
    return page;
  }
  void FreeIndexPage(PageNo page) override {
    EXPECT_EQ(used_.erase(page), 1u) << "page " << page << " freed twice";
    MutablePageRef ref = pages_.Write(page);
    std::fill(ref.mutable_bytes().begin(), ref.mutable_bytes().end(), std::uint8_t{0x99});
    free_.push_back(page);
    pages_.BeginEra();
  }
  const std::set<PageNo>& used() const { return used_; }

 private:
  PageStore& pages_;
  std::vector<PageNo> free_;
  std::set<PageNo> used_;
};

struct Entry {
  std::string key;
  RowId row;
  auto operator<=>(const Entry&) const = default;
};

// A tree in a file in memory, with the set it must agree with.
class Fixture {
 public:
  explicit Fixture(std::size_t cache_bytes = 64u << 20)
      : store_(files_, MakeFile(), "t.journal", true, 4096, {cache_bytes, std::uint64_t{1} << 31}),
        allocator_(store_),
        tree_(store_, &allocator_, kRoot, kOwner) {
    for (PageNo page = 0; page <= kRoot; ++page) store_.Append();
    BTree::InitRoot(store_.Write(kRoot), kOwner);
  }

  BTree& tree() { return tree_; }
  PageStore& store() { return store_; }
  const std::set<Entry>& model() const { return model_; }
  int depth() const { return depth_; }

  void Insert(const Entry& entry) {
    if (model_.insert(entry).second) tree_.Insert(entry.key, entry.row);
  }
  void Erase(const Entry& entry) { EXPECT_EQ(tree_.Erase(entry.key, entry.row), model_.erase(entry) == 1); }

  void Verify(bool long_keys = false) {
    std::vector<Finding> findings;
    auto expected = model_.begin();
    bool same = true;
    const IndexTreeReport report = CheckIndexTree(
        store_, kRoot, kOwner, false,
        [&](std::string_view key, RowId row) {
          same = same && expected != model_.end() && expected->key == key && expected->row == row;
          if (same) ++expected;
        },
        &findings);
    for (const Finding& finding : findings) {
      // With keys that fill half a page, nodes with one child cannot be avoided.
      if (long_keys && finding.text.find("only one child") != std::string::npos) continue;
      ADD_FAILURE() << finding.text;
    }
    EXPECT_TRUE(same && expected == model_.end());
    std::set<PageNo> pages(report.pages.begin(), report.pages.end());
    pages.erase(kRoot);
    EXPECT_EQ(pages, allocator_.used());
    depth_ = report.depth;
    for (const PageNo page : report.pages) VerifyLinksOfChildren(page);
  }

 private:
  // Nodes are linked with the other children of their parent, and with no others. The check of a file, which
  // meets files of other programs too, lets missing links pass.
  void VerifyLinksOfChildren(PageNo parent) {
    const auto view = [](const PageRef& page) {
      return internal::IndexPageView(page.bytes(), page.page_no(), kOwner, false);
    };
    const PageRef page = store_.Read(parent);
    if (view(page).is_leaf()) return;
    std::vector<PageNo> children{0};
    const internal::EntryList entries(view(page));
    for (std::size_t i = 0; i < entries.size(); ++i) children.push_back(entries.child(i));
    if (view(page).tail() != 0) children.push_back(view(page).tail());
    children.push_back(0);
    for (std::size_t i = 1; i + 1 < children.size(); ++i) {
      const PageRef child = store_.Read(children[i]);
      if (view(child).is_leaf()) return;
      EXPECT_EQ(view(child).previous(), children[i - 1]) << "before node " << children[i];
      EXPECT_EQ(view(child).next(), children[i + 1]) << "behind node " << children[i];
    }
  }

  std::unique_ptr<File> MakeFile() { return files_.Open("t", OpenMode::kCreateNew); }

  MemoryFileSystem files_;
  PageStore store_;
  TestAllocator allocator_;
  BTree tree_;
  std::set<Entry> model_;
  int depth_ = 0;
};

std::string IntKey(std::uint32_t value) {
  std::string key = "\x7F";
  for (int shift = 24; shift >= 0; shift -= 8) key += static_cast<char>(value >> shift);
  return key;
}

struct Shape {
  const char* name;
  std::function<Entry(std::mt19937&, int)> make;
};

RowId Row(unsigned n) { return RowId(n / 100 + 1, static_cast<std::uint8_t>(n % 100)); }

const Shape kShapes[] = {
    {"ascending",
     [](std::mt19937&, int i) {
       return Entry{IntKey(static_cast<unsigned>(i)), Row(i)};
     }},
    {"descending",
     [](std::mt19937&, int i) {
       return Entry{IntKey(0x7FFFFFFFu - i), Row(i)};
     }},
    {"random",
     [](std::mt19937& r, int i) {
       return Entry{IntKey(static_cast<unsigned>(r())), Row(i)};
     }},
    {"few keys, many rows",
     [](std::mt19937& r, int i) {
       return Entry{IntKey(r() % 5), Row(i)};
     }},
    {"text",
     [](std::mt19937& r, int i) {
       std::string key = "\x7F";
       for (unsigned n = r() % 40; n > 0; --n) key += static_cast<char>('A' + r() % 26);
       return Entry{key + std::string("\1\0", 2), Row(i)};
     }},
    {"long text, equal beginnings",
     [](std::mt19937& r, int i) {
       std::string key(200 + r() % 300, 'x');
       return Entry{key += IntKey(static_cast<unsigned>(r())), Row(i)};
     }},
    {"very long keys",
     [](std::mt19937& r, int i) {
       std::string key(1 + r() % 3590, static_cast<char>('a' + r() % 3));
       return Entry{key + IntKey(static_cast<unsigned>(r())), Row(i)};
     }},
    // No encoder makes keys that are beginnings of each other except for empty binary values.
    {"keys that begin other keys",
     [](std::mt19937& r, int i) {
       return Entry{std::string(r() % 60, '\0'), Row(i)};
     }},
};

TEST(BTree, AgreesWithASet) {
  const unsigned seed = 20260;
  for (const Shape& shape : kShapes) {
    SCOPED_TRACE(shape.name);
    std::mt19937 random(seed);
    Fixture f;
    const bool long_keys = shape.name == std::string("very long keys");
    const int batches = 6, batch = long_keys ? 400 : 2500;
    std::vector<Entry> live;
    int made = 0;
    for (int b = 0; b < batches; ++b) {
      for (int i = 0; i < batch; ++i) {
        live.push_back(shape.make(random, made++));
        f.Insert(live.back());
      }
      f.Verify(long_keys);
      // The first half of the batches erases some entries at random, the others nearly all, in different
      // orders.
      std::sort(live.begin(), live.end());
      if (b % 3 == 0) std::shuffle(live.begin(), live.end(), random);
      if (b % 3 == 2) std::reverse(live.begin(), live.end());
      const std::size_t keep = b < batches / 2 ? live.size() * 2 / 3 : static_cast<std::size_t>(b);
      while (live.size() > keep) {
        f.Erase(live.back());
        live.pop_back();
        if (live.size() % 997 == 0) f.Verify(long_keys);
      }
      f.Verify(long_keys);
    }
    for (const Entry& entry : live) f.Erase(entry);
    f.Verify(long_keys);
    EXPECT_TRUE(f.model().empty());
    EXPECT_EQ(f.depth(), 1);
    if (HasFailure()) return;
  }
}

TEST(BTree, DeepTreesShrinkAgain) {
  // Some 30 entries a node: five levels.
  std::mt19937 random(7);
  Fixture f;
  std::vector<Entry> entries;
  for (unsigned i = 0; i < 40000; ++i) {
    std::string tail(random() % 40 + 80, static_cast<char>('a' + random() % 26));
    entries.push_back({IntKey(static_cast<unsigned>(random())) + tail, Row(i)});
  }
  for (const Entry& entry : entries) f.Insert(entry);
  f.Verify();
  EXPECT_GE(f.depth(), 4);
  // From the left, from the right, and from the middle outwards, so that whole subtrees go.
  std::sort(entries.begin(), entries.end());
  for (int third = 0; third < 3; ++third) {
    const std::size_t count = entries.size() / 3;
    std::vector<Entry> gone;
    if (third == 0) {
      gone.assign(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(count));
      entries.erase(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(count));
    } else if (third == 1) {
      gone.assign(entries.rbegin(), entries.rbegin() + static_cast<std::ptrdiff_t>(count));
      entries.resize(entries.size() - count);
    } else {
      gone = entries;
      std::rotate(gone.begin(), gone.begin() + static_cast<std::ptrdiff_t>(gone.size() / 2), gone.end());
    }
    for (std::size_t i = 0; i < gone.size(); ++i) {
      f.Erase(gone[i]);
      if (i % 1000 == 0) f.Verify();
    }
    f.Verify();
    if (HasFailure()) return;
  }
}

TEST(BTree, AppendedKeysFillTheirPages) {
  Fixture f;
  for (unsigned i = 0; i < 100000; ++i) f.Insert({IntKey(0x80000000u + i), Row(i)});
  f.Verify();
  // With a shared prefix of three or four bytes an entry takes five or six.
  EXPECT_LT(f.store().page_count(), 100000u / 540u);
}

TEST(BTree, ContainsLooksAtKeysOnly) {
  Fixture f;
  std::mt19937 random(3);
  std::set<std::uint32_t> keys;
  for (unsigned i = 0; i < 20000; ++i) {
    const std::uint32_t key = static_cast<std::uint32_t>(random()) % 5000 * 2;
    keys.insert(key);
    f.Insert({IntKey(key), Row(i)});
  }
  for (std::uint32_t key = 0; key < 10000; ++key) {
    ASSERT_EQ(f.tree().Contains(IntKey(key)), keys.count(key) == 1) << key;
  }
  EXPECT_FALSE(f.tree().Contains("\x7F"));
  EXPECT_FALSE(f.tree().Contains(IntKey(2) + "x"));
}

// Others leave a separator as it was when the last entry of its leaf goes. What is looked for then may begin
// the next leaf.
TEST(BTree, ContainsLooksBehindALeafThatEndsBeforeItsSeparator) {
  Fixture f;
  constexpr unsigned kRows = 2000, kRowsOfKey = 47;
  for (unsigned i = 0; i < kRows; ++i) f.Insert({IntKey(i / kRowsOfKey), Row(i)});
  const PageRef root = f.store().Read(kRoot);
  const PageNo leaf_no =
      internal::EntryList(internal::IndexPageView(root.bytes(), kRoot, kOwner, false)).child(0);
  MutablePageRef leaf = f.store().Write(leaf_no);
  internal::IndexPageView view(leaf.bytes(), leaf_no, kOwner, false);
  internal::IndexPageEditor editor(leaf.mutable_bytes(), &view);
  unsigned behind = static_cast<unsigned>(internal::EntryList(view).size());
  const unsigned shared = behind / kRowsOfKey;
  ASSERT_NE(behind % kRowsOfKey, 0u) << "no key stands in both leaves";
  for (; behind > shared * kRowsOfKey; --behind) editor.Erase(view.Last());
  EXPECT_TRUE(f.tree().Contains(IntKey(shared)));
  EXPECT_TRUE(f.tree().Contains(IntKey(shared - 1)));
  EXPECT_TRUE(f.tree().Contains(IntKey(kRows / kRowsOfKey)));
  EXPECT_FALSE(f.tree().Contains(IntKey(shared - 1) + "x"));
  EXPECT_FALSE(f.tree().Contains(IntKey(kRows / kRowsOfKey + 1)));
}

TEST(BTree, CursorSurvivesChanges) {
  Fixture f;
  std::mt19937 random(11);
  for (unsigned i = 0; i < 5000; ++i) f.Insert({IntKey(static_cast<unsigned>(random())), Row(i)});
  BTree::Cursor cursor(f.tree());
  cursor.SeekFirst();
  unsigned next_row = 100000;
  std::size_t steps = 0;
  while (cursor.valid()) {
    const Entry here{std::string(cursor.key()), cursor.row()};
    ASSERT_TRUE(f.model().count(here));
    // Erase the entry it stands on, others, and put new ones before and behind.
    for (int i = 0; i < 3; ++i) {
      const Entry around{IntKey(static_cast<unsigned>(random())), Row(next_row++)};
      if (random() % 4 == 0) f.Insert(around);
      const auto victim = f.model().lower_bound(around);
      if (victim != f.model().end() && random() % 2 == 0) f.Erase(Entry(*victim));
    }
    if (random() % 2 == 0) f.Erase(here);
    const auto expected = f.model().upper_bound(here);
    cursor.Next();
    ASSERT_EQ(cursor.valid(), expected != f.model().end());
    if (cursor.valid()) {
      ASSERT_EQ(cursor.key(), expected->key);
    }
    ASSERT_LT(++steps, 100000u);
  }
  // Everything under the cursor is taken back, to a time before its page existed.
  f.store().BeginStatement();
  for (unsigned i = 0; i < 3000; ++i) f.tree().Insert(IntKey(i), Row(300000 + i));
  cursor.Seek(IntKey(2000));
  ASSERT_EQ(cursor.key(), IntKey(2000));
  f.store().RollbackStatement();
  cursor.Next();
  ASSERT_EQ(cursor.valid(), !f.model().empty());
  if (cursor.valid()) {
    EXPECT_EQ(cursor.key(), f.model().upper_bound({IntKey(2000), Row(302000)})->key);
  }
}

TEST(BTree, SeekFindsTheFirstNotLess) {
  for (int size : {0, 1, 50, 3000}) {
    Fixture f;
    std::mt19937 random(5);
    for (int i = 0; i < size; ++i) f.Insert({IntKey(random() % 1000), Row(static_cast<unsigned>(i))});
    BTree::Cursor cursor(f.tree());
    for (unsigned key = 0; key <= 1000; ++key) {
      const auto expected = f.model().lower_bound({IntKey(key), RowId()});
      cursor.Seek(IntKey(key));
      ASSERT_EQ(cursor.valid(), expected != f.model().end());
      if (cursor.valid()) {
        ASSERT_EQ(cursor.row(), expected->row);
      }
    }
    cursor.Seek(std::string(5000, '\xFF'));
    EXPECT_FALSE(cursor.valid());
  }
}

TEST(BTree, ReadsPagesAsOthersLeaveThem) {
  // A node without a tail, and a prefix that reaches into the row pointer.
  Fixture f;
  for (unsigned i = 0; i < 100; ++i) f.Insert({IntKey(5), Row(i)});
  MutablePageRef leaf = f.store().Append();
  std::copy_n(f.store().Read(kRoot).data(), 4096, leaf.mutable_data());
  internal::IndexPageView view(leaf.bytes(), leaf.page_no(), kOwner, false);
  internal::EntryList entries(view);
  MutablePageRef root = f.store().Write(kRoot);
  internal::InitIndexPage(root.mutable_bytes(), internal::kNodePage, kOwner, 0);
  std::uint8_t node_entry[13];
  std::copy_n(entries[99].data(), 9, node_entry);
  StoreBe32(node_entry + 9, leaf.page_no());
  internal::IndexPageView root_view(root.bytes(), kRoot, kOwner, false);
  internal::IndexPageEditor(root.mutable_bytes(), &root_view).Insert(0, node_entry);
  BTree tree(f.store(), nullptr, kRoot, kOwner);
  BTree::Cursor cursor(tree);
  unsigned count = 0;
  for (cursor.SeekFirst(); cursor.valid(); cursor.Next()) ++count;
  EXPECT_EQ(count, 100u);
  cursor.Seek(IntKey(6));
  EXPECT_FALSE(cursor.valid());
  TestAllocator allocator(f.store());
  BTree changing(f.store(), &allocator, kRoot, kOwner);
  changing.Insert(IntKey(6), Row(1));
  EXPECT_TRUE(changing.Contains(IntKey(6)));
  EXPECT_TRUE(changing.Erase(IntKey(6), Row(1)));
  EXPECT_EQ(internal::IndexPageView(root.bytes(), kRoot, kOwner, false).tail(), leaf.page_no());
}

TEST(BTree, RefusesKeysThatFitNoPage) {
  Fixture f;
  f.Insert({std::string(BTree::kMaxKeyBytes, 'x'), Row(1)});
  try {
    f.tree().Insert(std::string(BTree::kMaxKeyBytes + 1, 'x'), Row(2));
    ADD_FAILURE();
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::kTooLarge);
  }
  f.Verify();
}

// Bytes are overwritten at random: every operation ends, with a result or with kCorrupt.
TEST(BTree, DamageIsReportedNotFollowed) {
  std::mt19937 random(99);
  int refused = 0;
  for (int round = 0; round < 300; ++round) {
    Fixture f;
    for (unsigned i = 0; i < 3000; ++i) {
      f.tree().Insert(IntKey(static_cast<unsigned>(random())) + std::string(round % 3 * 30, 'q'), Row(i));
    }
    const PageNo count = f.store().page_count();
    for (unsigned hits = 1 + random() % 20; hits > 0; --hits) {
      const PageNo page = kRoot + random() % (count - kRoot);
      // Mostly header fields and the bitmap.
      const unsigned offset = random() % 3 == 0 ? random() % 4096 : random() % 480;
      MutablePageRef ref = f.store().Write(page);
      if (random() % 4 == 0) {
        StoreLe<std::uint32_t>(ref.mutable_data() + 12 + 4 * (random() % 3),
                               random() % count);  // wrong links
      } else {
        ref.mutable_data()[offset] = static_cast<std::uint8_t>(random());
      }
    }
    const auto attempt = [&](const std::function<void()>& action) {
      try {
        action();
      } catch (const Error& error) {
        EXPECT_EQ(error.kind(), ErrorKind::kCorrupt) << error.what();
        EXPECT_GE(error.page(), 0) << error.what();
        ++refused;
      }
    };
    attempt([&] {
      BTree::Cursor cursor(f.tree());
      int steps = 0;
      for (cursor.SeekFirst(); cursor.valid() && steps < 100000; cursor.Next()) ++steps;
      EXPECT_LT(steps, 100000);
    });
    std::vector<Finding> findings;
    CheckIndexTree(
        f.store(), kRoot, kOwner, false, [](std::string_view, RowId) {}, &findings);
    for (unsigned i = 0; i < 100; ++i) {
      attempt([&] { f.tree().Contains(IntKey(static_cast<unsigned>(random()))); });
      attempt([&] { f.tree().Erase(IntKey(static_cast<unsigned>(random())), Row(i)); });
    }
    // The allocator of this test counts what is freed; changes of damaged trees need one that does not care.
    struct Lenient : IndexPageAllocator {
      explicit Lenient(PageStore& p) : pages(p) {}
      MutablePageRef AllocateIndexPage() override { return pages.Append(); }
      void FreeIndexPage(PageNo) override {}
      PageStore& pages;
    } lenient(f.store());
    BTree tree(f.store(), &lenient, kRoot, kOwner);
    for (unsigned i = 0; i < 300; ++i) {
      const std::string key = IntKey(static_cast<unsigned>(random()));
      attempt([&] { tree.Insert(key, Row(i)); });
      if (random() % 2 == 0) attempt([&] { tree.Erase(key, Row(i)); });
    }
  }
  EXPECT_GT(refused, 100);
}

}  // namespace
}  // namespace jet
