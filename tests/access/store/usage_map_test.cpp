#include "access/store/usage_map.h"

#include <set>

#include "tests/access/store/store_fixture.h"

namespace jet {
namespace {

using testing::TestFile;

// A map against a set of page numbers, over ranges that force rebasing, lengthening and conversion.
TEST(UsageMapTest, BehavesLikeASet) {
  for (const PageNo range : {400u, 1400u, 33000u}) {
    TestFile file;
    // Bits only mean pages that exist.
    file.Begin();
    while (file.pages().page_count() < 3) file.allocator().Allocate();
    StoreContext& context = file.context();
    const RowPointer neighbour = CreateUsageMap(context);
    const RowPointer row = CreateUsageMap(context, neighbour.page);
    ASSERT_EQ(row.page, neighbour.page);
    UsageMap(context, neighbour).Add(2);
    while (file.pages().page_count() < range) file.pages().Append();
    UsageMap map(context, row);
    std::set<PageNo> model;
    std::uint32_t seed = range;
    const PageNo start = range / 3;
    for (int i = 0; i < 3000; ++i) {
      seed = seed * 1664525 + 1013904223;
      // At first around the middle, then everywhere.
      const PageNo page = i < 200 ? start + (seed >> 8) % 300 % (range - start) : (seed >> 8) % range;
      if ((seed & 3) == 0) {
        map.Remove(page);
        model.erase(page);
      } else {
        map.Add(page);
        model.insert(page);
      }
      ASSERT_EQ(map.Contains(page), model.count(page) == 1) << page;
    }
    EXPECT_EQ(map.Pages(), std::vector<PageNo>(model.begin(), model.end())) << "range " << range;
    for (const PageNo from : {0u, start, range - 1}) {
      const auto want = model.lower_bound(from);
      const auto got = map.Next(from);
      ASSERT_EQ(got.has_value(), want != model.end());
      if (got) {
        EXPECT_EQ(*got, *want);
      }
    }
    EXPECT_EQ(map.BitmapPages().empty(), range <= 1400) << "a small map stays in its row";
    EXPECT_EQ(UsageMap(context, neighbour).Pages(), std::vector<PageNo>{2}) << "a neighbour was disturbed";
    file.Commit();
  }
}

TEST(UsageMapTest, DeletingAMapFreesItsBitmapsAndAtLastItsPage) {
  TestFile file;
  file.Begin();
  StoreContext& context = file.context();
  const RowPointer a = CreateUsageMap(context);
  const RowPointer b = CreateUsageMap(context, a.page);
  std::vector<PageNo> pages;
  for (int i = 0; i < 2500; ++i) pages.push_back(file.allocator().Allocate().page_no());
  for (const PageNo p : pages) UsageMap(context, b).Add(p);
  const std::size_t bitmaps = UsageMap(context, b).BitmapPages().size();
  EXPECT_EQ(bitmaps, 1u);
  const PageNo before = file.FreePages();
  DeleteUsageMap(context, b);
  EXPECT_EQ(file.FreePages(), before + 1);
  const RowPointer again = CreateUsageMap(context, a.page);
  EXPECT_EQ(again, b) << "the slot serves again";
  EXPECT_TRUE(UsageMap(context, again).Pages().empty());
  DeleteUsageMap(context, again);
  DeleteUsageMap(context, a);
  EXPECT_EQ(file.FreePages(), before + 2);
  file.Commit();
}

TEST(UsageMapTest, DamageIsReported) {
  TestFile file;
  file.Begin();
  StoreContext& context = file.context();
  const RowPointer row = CreateUsageMap(context);
  const UsageMap map(context, row);
  const auto set_byte = [&](std::uint32_t at, std::uint8_t value) {
    const MutablePageRef page = context.pages.Write(row.page);
    page.mutable_data()[4096 - 69 + at] = value;
  };
  set_byte(0, 7);
  EXPECT_EQ(testing::KindOfError([&] { map.Next(0); }), ErrorKind::kCorrupt) << "unknown kind";
  set_byte(0, 1);
  set_byte(1, 0xFF);
  set_byte(2, 0xFF);
  EXPECT_EQ(testing::KindOfError([&] { map.Next(0); }), ErrorKind::kCorrupt) << "bitmap past the end";
  set_byte(0, 0);
  set_byte(1, 0);
  set_byte(2, 0);
  set_byte(68, 0x80);
  EXPECT_EQ(testing::KindOfError([&] { map.Next(0); }), ErrorKind::kCorrupt) << "page past the end";
  file.Commit();
}

// Pages come and go; nothing is given out twice, the lowest free page comes first, and the map survives its
// growth into a reference map.
TEST(PageAllocatorTest, GivesEachPageOnceAndTheLowestFirst) {
  TestFile file;
  file.Begin();
  PageAllocator& allocator = file.allocator();
  std::set<PageNo> used;
  for (int i = 0; i < 6000; ++i) {
    const MutablePageRef page = allocator.Allocate();
    ASSERT_TRUE(used.insert(page.page_no()).second) << page.page_no();
    ASSERT_TRUE(std::all_of(page.bytes().begin(), page.bytes().end(), [](auto b) { return b == 0; }));
  }
  const PageNo count = file.pages().page_count();
  EXPECT_LE(count, 6003u) << "two first pages and one bitmap page";
  for (const PageNo page : {5000u, 70u, 800u}) {
    allocator.Free(page);
    used.erase(page);
  }
  allocator.Forget();
  for (const PageNo page : {70u, 800u, 5000u, count}) EXPECT_EQ(allocator.Allocate().page_no(), page);
  file.Commit();
}

TEST(PageAllocatorTest, RollbackAndFullFile) {
  TestFile file(Format::kJet4, 40);
  file.Begin();
  const PageNo first = file.allocator().Allocate().page_no();
  file.Rollback();
  EXPECT_EQ(file.pages().page_count(), 2u);
  file.Begin();
  EXPECT_EQ(file.allocator().Allocate().page_no(), first);
  EXPECT_EQ(testing::KindOfError([&] {
              for (int i = 0; i < 100; ++i) file.allocator().Allocate();
            }),
            ErrorKind::kIo);
  file.Rollback();
}

}  // namespace
}  // namespace jet
