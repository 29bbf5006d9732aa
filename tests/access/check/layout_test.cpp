// Tables laid out as Access lays them out and this engine would not: rows older than columns, decimals whose
// definition names another length, rows of a few bytes, calculated columns. They are read and changed, and
// the check knows what is wrong with one.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "access/check/check.h"
#include "access/file/test_files.h"
#include "access/store/data_page.h"
#include "access/store/database.h"
#include "access/store/row_codec.h"
#include "access/store/tdef.h"

namespace jet {
namespace {

constexpr char kPath[] = "t.mdb";

std::string Faults(Database& db, bool remarks = true) {
  std::string text;
  for (const Finding& finding : CheckDatabase(db)) {
    if (finding.fatal || remarks) text += finding.text + "\n";
  }
  return text;
}

NewColumn Col(const std::string& name, ColumnType type, std::uint16_t characters = 255) {
  NewColumn c;
  c.name = name;
  c.type = type;
  c.characters = characters;
  return c;
}

std::string Bytes17(char low) {
  std::string raw(17, '\0');
  raw[13] = low;
  return raw;
}

using Rows = std::vector<std::vector<Value>>;

Rows ReadAll(Table& table, std::vector<RowId>* ids = nullptr) {
  Rows rows;
  TableCursor cursor(table);
  Row row;
  for (RowId id; cursor.Next(&row, &id);) {
    if (ids != nullptr) ids->push_back(id);
    rows.emplace_back();
    for (std::size_t c = 0; c < table.def().columns.size(); ++c) {
      rows.back().push_back(row.Get(static_cast<int>(c)));
    }
  }
  return rows;
}

class LayoutTest : public testing::Test {
 protected:
  void SetUp() override {
    Database::Create(files_, kPath, Format::kAce14);
    Open();
  }
  void Open() {
    db_.reset();
    db_ = Database::Open(files_, kPath, OpenMode::kReadWrite);
  }
  void Restart() {
    db_.reset();
    files_.Remove(kPath);
    SetUp();
  }
  void SaveAndOpen() {
    db_->Checkpoint();
    Open();
  }
  void Create(const std::vector<NewColumn>& columns, const Rows& rows) {
    StatementScope scope(*db_);
    db_->CreateTable("T", columns, {});
    const auto t = db_->FindTable("T");
    for (const auto& row : rows) t->Insert(row);
    scope.Commit();
  }
  std::shared_ptr<Table> T() { return db_->FindTable("T"); }
  void Change(const std::function<void(Table&)>& change) {
    StatementScope scope(*db_);
    change(*T());
    scope.Commit();
  }
  const FormatInfo& format() const { return GetFormatInfo(Format::kAce14); }
  // Writes into the definition of T, which has no indexes: the descriptor of a column, or the block before.
  void PatchColumn(unsigned column, std::uint16_t offset, std::uint8_t value) {
    PatchDefinition(
        static_cast<std::uint16_t>(format().tdef_counters_offset + column * format().column_bytes + offset),
        value);
  }
  void PatchDefinition(std::uint16_t offset, std::uint8_t value) {
    const PageNo page = T()->def().tdef_page;
    StatementScope scope(*db_);
    db_->pages().Write(page).mutable_data()[offset] = value;
    scope.Commit();
    SaveAndOpen();
  }
  // The stored bytes of all rows, in the order of the table; `change` may alter them.
  std::vector<std::string> Stored(const std::function<void(std::uint8_t*, std::size_t)>& change = {}) {
    const Definition d = ReadDefinition(db_->pages(), {format()}, T()->def().tdef_page);
    std::vector<RowId> ids;
    ReadAll(*T(), &ids);
    std::vector<std::string> rows;
    StatementScope scope(*db_);
    for (const RowId id : ids) {
      std::uint8_t* page = db_->pages().Write(id.page()).mutable_data();
      RowSlot slot = ReadSlot(format(), page, id.page(), id.slot());
      if (slot.moved()) {
        const RowPointer to = ReadRowPointer(page, id.page(), slot);
        page = db_->pages().Write(to.page).mutable_data();
        slot = ReadSlot(format(), page, to.page, to.row);
      }
      if (change) change(page + slot.start, slot.length());
      rows.emplace_back(reinterpret_cast<const char*>(page) + slot.start, slot.length());
    }
    scope.Commit();
    return rows;
  }

  MemoryFileSystem files_;
  std::unique_ptr<Database> db_;
};

// ---- Rows older than columns ----

// Adds a variable column to the definition as Access does it, which leaves the rows alone.
TEST_F(LayoutTest, RowsWithoutVariablePartAreReadAndChanged) {
  Rows rows;
  for (int i = 0; i < 700; ++i) {
    rows.push_back({Value::Integer(i), Value::Real(i / 4.0), Value::Integer(i % 2 - 1), Value::Text("abc")});
  }
  Create({Col("A", ColumnType::kLong), Col("B", ColumnType::kDouble), Col("C", ColumnType::kBoolean),
          Col("D", ColumnType::kText, 20)},
         rows);
  for (auto& row : rows) row[3] = Value::Null();
  // The rows lose the column: three columns, no variable part.
  std::vector<RowId> ids;
  ReadAll(*T(), &ids);
  {
    StatementScope scope(*db_);
    for (const RowId id : ids) {
      std::uint8_t* page = db_->pages().Write(id.page()).mutable_data();
      const RowSlot slot = ReadSlot(format(), page, id.page(), id.slot());
      std::string row(reinterpret_cast<const char*>(page) + slot.start, 2 + 4 + 8);
      row[0] = 3;
      row += static_cast<char>(page[slot.end - 1] & 7);
      const auto length = static_cast<std::uint32_t>(row.size());
      std::copy(row.begin(), row.end(), page + ResizeRow(format(), page, id.page(), id.slot(), length, 0));
    }
    scope.Commit();
  }
  SaveAndOpen();
  EXPECT_TRUE(ReadAll(*T()) == rows);
  EXPECT_EQ(Faults(*db_, false), "");

  Change([&](Table& t) {
    t.Update(ids[0], {{3, Value::Text("late")}});
    t.Update(ids[1], {{0, Value::Integer(-1)}});
    t.Update(ids[2], {{2, Value::Integer(-1)}});
    t.Update(ids[3], {{1, Value::Null()}, {3, Value::Text(std::string(20, 'x'))}});
    t.Delete(ids[699]);
  });
  rows[0][3] = Value::Text("late");
  rows[1][0] = Value::Integer(-1);
  rows[2][2] = Value::Integer(-1);
  rows[3][1] = Value::Null();
  rows[3][3] = Value::Text(std::string(20, 'x'));
  rows.pop_back();
  SaveAndOpen();
  EXPECT_TRUE(ReadAll(*T()) == rows);
  EXPECT_EQ(Faults(*db_, false), "");
}

// Where a variable column was dropped only the row itself can tell whether it was written with it.
TEST(RowFormatTest, DroppedColumnsLeaveItToTheRow) {
  TableDef def;
  TableLayout layout;
  const auto add = [&](std::uint16_t number, ColumnType type, std::uint16_t place) {
    ColumnDef c;
    c.number = number;
    c.type = type;
    c.fixed = type == ColumnType::kLong;
    (c.fixed ? c.fixed_offset : c.variable_index) = place;
    def.columns.push_back(c);
  };
  add(0, ColumnType::kLong, 0);
  add(2, ColumnType::kLong, 4);
  add(3, ColumnType::kText, 1);
  layout.max_columns = 4;
  layout.variable_columns = 2;
  const RowFormat format = MakeRowFormat(def, layout, false);
  const auto parse = [&](std::string_view row) {
    return RowView::Parse(format, {reinterpret_cast<const std::uint8_t*>(row.data()), row.size()}, 1, 0);
  };
  using std::string_view_literals::operator""sv;
  // Column 0 alone; columns 0 and 1, of which the second was fixed, or variable; all four.
  EXPECT_FALSE(parse("\1\0\7\0\0\0\1"sv).variable_part);
  EXPECT_FALSE(parse("\2\0\7\0\0\0\xAA\xBB\xCC\xDD\3"sv).variable_part);
  const RowView with = parse("\2\0\7\0\0\0ab\x8\0\6\0\1\0\3"sv);
  EXPECT_TRUE(with.variable_part);
  EXPECT_EQ(with.variable_count, 1);
  EXPECT_EQ(with.FixedEnd(), 6u);
  EXPECT_TRUE(parse("\4\0\7\0\0\0\1\0\0\0ab\xC\0\xC\0\xA\0\2\0\xF"sv).variable_part);
}

// Other readers take the ends of such rows for offsets, so that the first variable column brings every row
// one.
TEST_F(LayoutTest, FirstVariableColumnGivesEveryRowItsPlace) {
  for (const ColumnType type : {ColumnType::kText, ColumnType::kMemo}) {
    SCOPED_TRACE(static_cast<int>(type));
    Restart();
    Rows rows;
    for (int i = 0; i < 900; ++i) rows.push_back({Value::Integer(i), Value::Real(i * 0.25)});
    Create({Col("A", ColumnType::kLong), Col("B", ColumnType::kDouble)}, rows);
    db_->AddColumn("T", Col("N", type));
    for (auto& row : rows) row.push_back(Value::Null());
    EXPECT_TRUE(ReadAll(*T()) == rows);
    SaveAndOpen();
    EXPECT_TRUE(ReadAll(*T()) == rows);
    for (const std::string& stored : Stored()) {
      ASSERT_EQ(stored[0], 3);
      ASSERT_EQ(stored[stored.size() - 3], 1) << "one variable value";
    }
    EXPECT_EQ(Faults(*db_), "");
    // A second one leaves them alone.
    const std::vector<std::string> before = Stored();
    db_->AddColumn("T", Col("M", ColumnType::kMemo));
    EXPECT_TRUE(Stored() == before);
    Change([](Table& t) {
      std::vector<RowId> ids;
      ReadAll(t, &ids);
      for (const RowId id : ids) t.Update(id, {{3, Value::Text("m")}});
    });
    for (auto& row : rows) row.push_back(Value::Text("m"));
    SaveAndOpen();
    EXPECT_TRUE(ReadAll(*T()) == rows);
    EXPECT_EQ(Faults(*db_), "");
  }
}

// ---- Rows of a few bytes ----

TEST_F(LayoutTest, RowsHaveRoomForAPointer) {
  const Rows rows(600, {Value::Integer(-1), Value::Integer(0)});
  Create({Col("A", ColumnType::kBoolean), Col("B", ColumnType::kBoolean)}, rows);
  for (const std::string& stored : Stored()) ASSERT_EQ(stored, std::string("\2\0\0\0\1", 5));

  // As they were written once: three bytes.
  std::vector<RowId> ids;
  ReadAll(*T(), &ids);
  {
    StatementScope scope(*db_);
    for (const RowId id : ids) {
      std::uint8_t* page = db_->pages().Write(id.page()).mutable_data();
      const std::uint32_t at = ResizeRow(format(), page, id.page(), id.slot(), 3, 0);
      std::copy_n("\2\0\1", 3, page + at);
    }
    scope.Commit();
  }
  SaveAndOpen();
  EXPECT_TRUE(ReadAll(*T()) == rows);
  EXPECT_EQ(Faults(*db_),
            "Table \"T\" has 600 rows of less than 4 bytes, which cannot be moved to another page.\n");
  // A change gives a row its length; a new column gives it to all.
  Change([&](Table& t) { t.Update(ids[5], {{1, Value::Integer(0)}}); });
  EXPECT_EQ(Stored()[5].size(), 5u);
  db_->AddColumn("T", Col("C", ColumnType::kLong));
  EXPECT_EQ(Faults(*db_), "");
  Change([&](Table& t) {
    for (const RowId id : ids) t.Update(id, {{2, Value::Integer(77)}});
  });
  const Rows wanted(600, {Value::Integer(-1), Value::Integer(0), Value::Integer(77)});
  SaveAndOpen();
  EXPECT_TRUE(ReadAll(*T()) == wanted);
  EXPECT_EQ(Faults(*db_), "");
}

// ---- Lengths ----

// Access gives variable decimals the length 9 in the definition and 17 bytes in the row.
TEST_F(LayoutTest, DecimalsHaveSeventeenBytes) {
  Create({Col("A", ColumnType::kLong), Col("D", ColumnType::kBinary, 17), Col("E", ColumnType::kText, 10)},
         {{Value::Integer(1), Value::Blob(Bytes17(5)), Value::Text("one")},
          {Value::Integer(2), Value::Blob(std::string("\0\0\0\0\0\7\0\0\0", 9)), Value::Text("two")},
          {Value::Integer(3), Value::Null(), Value::Text("three")}});
  PatchColumn(1, 0, static_cast<std::uint8_t>(ColumnType::kDecimal));
  PatchColumn(1, format().column_precision_offset, 18);
  PatchColumn(1, format().column_precision_offset + 1, 0);
  PatchColumn(1, format().column_length_offset, 9);
  ASSERT_EQ(T()->def().columns[1].length, 9);
  EXPECT_NE(Faults(*db_).find("a value of column \"D\" has 9 bytes instead of 17"), std::string::npos);
  const auto number = [](std::int64_t n) { return Value::Dec(Decimal::FromScaledInt64(n, 0)); };
  std::vector<RowId> ids;
  Rows rows = ReadAll(*T(), &ids);
  EXPECT_EQ(rows[0][1], number(5));
  EXPECT_EQ(rows[1][1], number(7)) << "what an earlier version wrote is read";

  Change([&](Table& t) {
    t.Update(ids[0], {{1, number(-600)}});
    t.Update(ids[1], {{1, number(7)}});  // the same value
    t.Update(ids[2], {{1, number(8)}});
    t.Insert({Value::Integer(4), number(9), Value::Null()});
  });
  SaveAndOpen();
  rows[0][1] = number(-600);
  rows[2][1] = number(8);
  rows.push_back({Value::Integer(4), number(9), Value::Null()});
  EXPECT_TRUE(ReadAll(*T()) == rows);
  EXPECT_EQ(Faults(*db_), "");
  EXPECT_EQ(Stored()[0].substr(6, 17),
            std::string(1, '\x80') + std::string(12, '\0') + "\x58\x02" + std::string(2, '\0'));
}

TEST_F(LayoutTest, CheckKnowsWhatAChangeReliesOn) {
  struct Case {
    const char* finding;
    std::function<void()> damage;
  };
  const auto first_row = [this](const std::function<void(std::uint8_t*, std::size_t)>& change) {
    bool done = false;
    Stored([&](std::uint8_t* row, std::size_t size) {
      if (!done) change(row, size);
      done = true;
    });
  };
  const std::vector<Case> cases = {
      {"says that it takes 3 bytes of a row, and takes 4",
       [&] { PatchColumn(0, format().column_length_offset, 3); }},
      {"column \"A\" of a row runs into the values",
       [&] { PatchColumn(0, format().column_fixed_offset, 6); }},
      {"no place for its value of column \"M\"",
       [&] { first_row([](std::uint8_t* row, std::size_t size) { row[size - 3] = 1; }); }},
      {"more variable values than its table",
       [&] { first_row([](std::uint8_t* row, std::size_t size) { row[size - 3] = 3; }); }},
      {"ends within a character", [&] { first_row([](std::uint8_t* row, std::size_t) { --row[10]; }); }},
      {"the properties of a table contradict themselves",
       [&] {
         const auto objects = db_->FindTable("MSysObjects");
         const int name = objects->def().FindColumn("Name"), properties = objects->def().FindColumn("LvProp");
         StatementScope scope(*db_);
         std::vector<RowId> ids;
         const Rows rows = ReadAll(*objects, &ids);
         for (std::size_t i = 0; i < rows.size(); ++i) {
           if (rows[i][static_cast<std::size_t>(name)] != Value::Text("T")) continue;
           objects->Update(ids[i], {{properties, Value::Blob("MR2\1")}});
         }
         scope.Commit();
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.finding);
    Restart();
    NewColumn memo = Col("M", ColumnType::kMemo);
    Create({Col("A", ColumnType::kLong), Col("N", ColumnType::kText, 10), memo},
           {{Value::Integer(1), Value::Text("ab"), Value::Text("\xE2\x80\x93xyz")}});
    ASSERT_EQ(Faults(*db_), "");
    c.damage();
    EXPECT_NE(Faults(*db_).find(c.finding), std::string::npos) << Faults(*db_);
  }
}

}  // namespace
}  // namespace jet
