// Memo and OLE values: every kind, and where their pages go.
#include "access/store/long_value.h"

#include "tests/access/store/store_fixture.h"

namespace jet::testing {
namespace {

class LongValueTest : public ::testing::Test {
 protected:
  LongValueTest() {
    table_ = file_.MakeTable({Column("id", ColumnType::kLong), Column("memo", ColumnType::kMemo),
                              Column("blob", ColumnType::kOle), Column("note", ColumnType::kText, 255)},
                             {});
  }
  static std::string Content(std::size_t size, char seed = 'a') {
    std::string s(size, ' ');
    for (std::size_t i = 0; i < size; ++i) s[i] = static_cast<char>('a' + (i * 7 + i / 97 + seed) % 26);
    return s;
  }
  Value Get(RowId id, int column) {
    Row row;
    EXPECT_TRUE(table_->Fetch(id, &row));
    return row.Get(column);
  }

  TestFile file_;
  std::shared_ptr<StoredTable> table_;
};

TEST_F(LongValueTest, EveryKindReadsBackAndFreesItsPages) {
  file_.Begin();
  // Sizes around the limits: inline 64 bytes, one row 4076, pieces of 4072.
  const std::vector<std::size_t> sizes = {0,    1,    64,   65,   4075,  4076,   4077,
                                          4080, 8143, 8144, 8145, 12217, 100000, 1000000};
  std::vector<RowId> rows;
  for (const std::size_t size : sizes) {
    rows.push_back(table_->Insert({Value::Integer(static_cast<int>(size)), Value::Text(Content(size / 2)),
                                   Value::Blob(Content(size, 'q')), Value::Null()}));
  }
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    EXPECT_EQ(Get(rows[i], 1), Value::Text(Content(sizes[i] / 2))) << sizes[i];
    EXPECT_EQ(Get(rows[i], 2), Value::Blob(Content(sizes[i], 'q'))) << sizes[i];
  }
  file_.Commit();

  // Written again and again, the values take no more room.
  const PageNo pages = file_.pages().page_count();
  for (int round = 0; round < 5; ++round) {
    file_.Begin();
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      table_->Update(rows[i], {{2, Value::Blob(Content(sizes[i], static_cast<char>('b' + round)))}});
    }
    file_.Commit();
  }
  EXPECT_LE(file_.pages().page_count(), pages + 1);
  EXPECT_EQ(Get(rows.back(), 2), Value::Blob(Content(sizes.back(), 'f')));

  file_.Begin();
  for (const RowId id : rows) table_->Delete(id);
  file_.Commit();
  for (const auto& [number, maps] : table_->layout().long_columns) {
    EXPECT_TRUE(UsageMap(file_.context(), maps.owned_map).Pages().empty());
    EXPECT_TRUE(UsageMap(file_.context(), maps.free_map).Pages().empty());
  }
}

// Changing another column, even by a rewrite of the row, leaves references as they are.
TEST_F(LongValueTest, UntouchedValuesKeepTheirReference) {
  file_.Begin();
  const RowId id = table_->Insert(
      {Value::Integer(1), Value::Text(Content(9000)), Value::Blob(Content(30)), Value::Text("x")});
  Row row;
  const auto raw = [&] {
    EXPECT_TRUE(table_->Fetch(id, &row));
    Bytes memo, blob;
    EXPECT_TRUE(RowAccess::View(row).Raw(table_->def().columns[1], &memo));
    EXPECT_TRUE(RowAccess::View(row).Raw(table_->def().columns[2], &blob));
    return std::string(memo.begin(), memo.end()) + std::string(blob.begin(), blob.end());
  };
  const std::string before = raw();
  table_->Update(id, {{3, Value::Text(std::string(200, 'y'))}});
  EXPECT_EQ(raw(), before);
  table_->Update(id, {{3, Value::Null()}, {0, Value::Integer(5)}});
  EXPECT_EQ(raw(), before);
  EXPECT_EQ(Get(id, 1), Value::Text(Content(9000)));
  file_.Commit();
}

TEST_F(LongValueTest, DamagedChainsEndInAnError) {
  file_.Begin();
  const RowId id =
      table_->Insert({Value::Integer(1), Value::Null(), Value::Blob(Content(20000)), Value::Null()});
  Row row;
  ASSERT_TRUE(table_->Fetch(id, &row));
  Bytes raw;
  ASSERT_TRUE(RowAccess::View(row).Raw(table_->def().columns[2], &raw));
  const RowPointer first = LoadPointer(raw.data() + 4);
  const MutablePageRef page = file_.pages().Write(first.page);
  const RowSlot slot = ReadSlot(file_.context().format, page.data(), first.page, first.row);
  const auto point_to = [&](RowPointer to) { StorePointer(page.mutable_data() + slot.start, to); };
  const RowPointer second = LoadPointer(page.data() + slot.start);
  struct Case {
    const char* what;
    RowPointer next;
  };
  for (const Case& c : {Case{"end too early", {0, 0}}, Case{"page past the end", {0xFFFFF, 0}},
                        Case{"not a page of long values", {1, 0}}, Case{"no such slot", {second.page, 9}}}) {
    point_to(c.next);
    EXPECT_EQ(KindOfError([&] { row.Get(2); }), ErrorKind::kCorrupt) << c.what;
  }
  // A loop comes to its end with the length, and freeing it is refused before harm is done.
  point_to(first);
  EXPECT_EQ(row.Get(2).bytes().size(), 20000u);
  EXPECT_EQ(KindOfError([&] { table_->Delete(id); }), ErrorKind::kCorrupt);
  file_.Rollback();
}

}  // namespace
}  // namespace jet::testing
