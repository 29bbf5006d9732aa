// Tables: constraints, moved rows, indexes and maps in step with the rows, statements taken back.
#include <map>
#include <random>

#include "tests/access/store/wide_table.h"

namespace jet::testing {
namespace {

TEST(TableTest, ConstraintsAreCheckedBeforeAnythingIsWritten) {
  TestFile file;
  file.Begin();
  std::vector<ColumnDef> columns = WideColumns();
  columns[2].allow_zero_length = false;
  columns[5].required = true;
  auto table = file.MakeTable(columns, WideIndexes());
  const Record good = {Value::Integer(1),  Value::Integer(2), Value::Text("n"), Value::Text("m"),
                       Value::Integer(-1), Value::Real(4),    Value::Blob("b")};
  const RowId id = table->Insert(good);
  Record other = good;
  other[0] = Value::Integer(7);
  other[5] = Value::Real(9);
  const RowId id2 = table->Insert(other);
  file.Commit();

  struct Case {
    const char* what;
    int column;
    Value value;
    ErrorKind kind;
    const char* names;
  };
  const std::vector<Case> cases = {
      {"required", 5, Value::Null(), ErrorKind::kConstraint, "\"amount\""},
      {"Null in the primary key", 1, Value::Null(), ErrorKind::kConstraint, "\"seq\""},
      {"zero-length text", 2, Value::Text(""), ErrorKind::kConstraint, "\"name\""},
      {"too long", 2, Value::Text(std::string(256, 'x')), ErrorKind::kTooLarge, "\"name\""},
      {"out of range", 1, Value::Integer(40000), ErrorKind::kTooLarge, "\"seq\""},
      {"no number", 5, Value::Text("x"), ErrorKind::kType, "\"amount\""},
      {"duplicate primary key", 0, Value::Integer(1), ErrorKind::kDuplicate, "id = 1, seq = 2"},
      {"duplicate in a unique index", 5, Value::Real(4), ErrorKind::kDuplicate, "\"uq\""},
  };
  const auto rows = Rows(*table);
  for (const Case& c : cases) {
    std::string text;
    file.Begin();
    EXPECT_EQ(KindOfError([&] { table->Update(id2, {{c.column, c.value}}); }, &text), c.kind) << c.what;
    EXPECT_NE(text.find(c.names), std::string::npos) << text;
    EXPECT_NE(text.find("\"Things\""), std::string::npos) << text;
    Record record = other;
    record[1] = Value::Integer(3);
    record[5] = Value::Real(10);
    record[static_cast<std::size_t>(c.column)] = c.value;
    if (c.column == 0) record[1] = Value::Integer(2);
    EXPECT_EQ(KindOfError([&] { table->Insert(record); }), c.kind) << c.what;
    // Committed, not rolled back: nothing was written.
    file.Commit();
    EXPECT_EQ(Rows(*table), rows) << c.what;
  }
  CheckConsistent(file, *table, {{id, good}, {id2, other}});
  // A record against its own key is no duplicate; keys that are all Null are exempt.
  file.Begin();
  table->Update(id, {{0, Value::Integer(1)}, {1, Value::Real(2.2)}});
  file.Commit();
}

TEST(TableTest, ARowThatGrowsKeepsItsIdentifier) {
  TestFile file;
  file.Begin();
  auto table = file.MakeTable({Column("id", ColumnType::kLong), Column("text", ColumnType::kText, 255)},
                              {Index("by_text", {1})});
  std::map<RowId, Record> model;
  for (int i = 0; i < 100; ++i) {
    const Record r = {Value::Integer(i), Value::Text("short")};
    model[table->Insert(r)] = r;
  }
  // Grow past the page, back and forth, twice over; among them rows that were moved already.
  for (const std::size_t size : {200u, 30u, 255u, 100u, 2u, 250u}) {
    for (auto& [id, record] : model) {
      if ((id.slot() + size) % 3 == 0) continue;
      record[1] = Value::Text(std::string(size, static_cast<char>('a' + id.slot() % 26)));
      table->Update(id, {{1, record[1]}});
    }
    CheckConsistent(file, *table, model);
    if (HasFatalFailure()) return;
  }
  unsigned moved = 0, bodies = 0;
  for (const PageNo p : UsageMap(file.context(), table->layout().owned_map).Pages()) {
    const PageRef page = file.pages().Read(p);
    for (unsigned s = 0; s < SlotCount(file.context().format, page.data()); ++s) {
      const RowSlot slot = ReadSlot(file.context().format, page.data(), p, s);
      moved += slot.moved() ? 1 : 0;
      bodies += slot.body() ? 1 : 0;
    }
  }
  EXPECT_GT(moved, 10u);
  EXPECT_EQ(moved, bodies) << "one body for each pointer row";
  for (const auto& [id, record] : model) table->Delete(id);
  CheckConsistent(file, *table, {});
  file.Commit();
}

TEST(TableTest, OldRowsAndDroppedColumns) {
  TestFile file;
  file.Begin();
  auto table = file.MakeTable({Column("a", ColumnType::kLong), Column("gone", ColumnType::kText, 20),
                               Column("b", ColumnType::kText, 20), Column("f", ColumnType::kDouble)},
                              {});
  const RowId id = table->Insert({Value::Integer(1), Value::Text("old"), Value::Text("bee"), Value::Real(2)});
  // The same rows with a definition that dropped a column and has three more.
  TableDef def = table->def();
  TableLayout layout = table->layout();
  def.columns.erase(def.columns.begin() + 1);
  ColumnDef late = Column("late", ColumnType::kInteger), flag = Column("flag", ColumnType::kBoolean),
            text = Column("text", ColumnType::kText, 30);
  late.number = 4;
  late.fixed_offset = 12;
  flag.number = 5;
  text.number = 6;
  text.variable_index = 2;
  def.columns.insert(def.columns.end(), {late, flag, text});
  layout.max_columns = 7;
  layout.variable_columns = 3;
  auto altered = std::make_shared<StoredTable>(file.context(), def, layout);
  const Record old = {Value::Integer(1), Value::Text("bee"), Value::Real(2),
                      Value::Null(),     Value::Integer(0),  Value::Null()};
  EXPECT_EQ(Rows(*altered), std::vector<Record>{old});
  altered->Update(id, {{2, Value::Real(2.5)}});
  EXPECT_EQ(Rows(*altered)[0][2], Value::Real(2.5)) << "in place";
  altered->Update(id, {{4, Value::Integer(-1)}, {3, Value::Integer(12)}});
  const Record now = {Value::Integer(1),  Value::Text("bee"), Value::Real(2.5),
                      Value::Integer(12), Value::Integer(-1), Value::Null()};
  EXPECT_EQ(Rows(*altered), std::vector<Record>{now});
  file.Commit();
}

TEST(TableTest, AnUpdateRaisesTheCounterOfItsColumn) {
  TestFile file;
  file.Begin();
  std::vector<ColumnDef> columns = {Column("id", ColumnType::kLong)};
  columns[0].auto_number = true;
  auto table = file.MakeTable(columns, {});
  file.Commit();
  file.Begin();
  const RowId row = table->Insert({Value::Null()});
  table->Update(row, {{0, Value::Integer(40)}});
  table->Insert({Value::Null()});
  table->Update(row, {{0, Value::Integer(7)}});
  table->Insert({Value::Null()});
  file.Commit();
  std::vector<std::int64_t> ids;
  for (const Record& r : Rows(*table)) ids.push_back(r[0].integer());
  EXPECT_EQ(ids, (std::vector<std::int64_t>{7, 41, 42})) << "up with the highest, never down";
}

TEST(TableTest, AutonumbersAndCountersFollowTheStatement) {
  TestFile file;
  file.Begin();
  std::vector<ColumnDef> columns = {Column("id", ColumnType::kLong), Column("v", ColumnType::kInteger)};
  columns[0].auto_number = true;
  IndexDef key = Index("pk", {0});
  key.primary = key.unique = key.required = true;
  auto table = file.MakeTable(columns, {key, Index("v", {1})});
  file.Commit();
  const auto insert = [&](Value id) { return table->Insert({std::move(id), Value::Integer(1)}); };
  file.Begin();
  insert(Value::Null());
  insert(Value::Integer(10));
  insert(Value::Null());
  insert(Value::Integer(5));
  EXPECT_EQ(KindOfError([&] { insert(Value::Integer(11)); }), ErrorKind::kDuplicate);
  file.Commit();
  file.Begin();
  insert(Value::Null());
  file.Rollback();
  EXPECT_EQ(table->row_count(), 4u);
  file.Begin();
  insert(Value::Null());
  file.Commit();
  std::vector<std::int64_t> ids;
  for (const Record& r : Rows(*table)) ids.push_back(r[0].integer());
  EXPECT_EQ(ids, (std::vector<std::int64_t>{1, 10, 11, 5, 12}));
  // Written down, and found again by another object for the same table.
  table->Flush();
  const auto again = std::make_shared<StoredTable>(file.context(), table->def(), table->layout());
  EXPECT_EQ(again->row_count(), 5u);
  const PageRef page = file.pages().Read(table->layout().tdef_page);
  EXPECT_EQ(LoadLe<std::uint32_t>(page.data() + 20), 12u);
  EXPECT_EQ(LoadLe<std::uint32_t>(page.data() + 67), 5u) << "distinct primary keys";
  EXPECT_EQ(LoadLe<std::uint32_t>(page.data() + 79), 1u) << "distinct values of v";
}

TEST(TableTest, DeletedSlotsServeAgainUnlessHeld) {
  TestFile file;
  file.Begin();
  auto table = file.MakeTable({Column("id", ColumnType::kLong)}, {});
  std::vector<RowId> ids;
  for (int i = 0; i < 20; ++i) ids.push_back(table->Insert({Value::Integer(i)}));
  table->HoldRowIds();
  table->Delete(ids[3]);
  table->Delete(ids[19]);
  const RowId fresh = table->Insert({Value::Integer(100)});
  EXPECT_EQ(std::count(ids.begin(), ids.end(), fresh), 0);
  Row row;
  EXPECT_FALSE(table->Fetch(ids[3], &row));
  table->ReleaseRowIds();
  EXPECT_EQ(table->Insert({Value::Integer(101)}), ids[3]);
  EXPECT_EQ(table->Insert({Value::Integer(102)}), ids[19]);
  file.Commit();
}

// Emptying and filling a table over and over takes no more room.
TEST(TableTest, SpaceIsUsedAgain) {
  TestFile file;
  file.Begin();
  IndexDef key = Index("pk", {0});
  key.primary = key.unique = key.required = true;
  auto table = file.MakeTable({Column("id", ColumnType::kLong), Column("t", ColumnType::kText, 50)}, {key});
  PageNo pages = 0;
  for (int round = 0; round < 4; ++round) {
    for (int i = 0; i < 20000; ++i) {
      table->Insert({Value::Integer(i), Value::Text(std::string(static_cast<std::size_t>(i % 40), 'q'))});
    }
    if (round == 0) pages = file.pages().page_count();
    EXPECT_LE(file.pages().page_count(), pages + pages / 50) << "round " << round;
    TableCursor cursor(*table);
    Row row;
    RowId id;
    while (cursor.Next(&row, &id)) table->Delete(id);
    EXPECT_EQ(table->row_count(), 0u);
  }
  file.Commit();
}

TEST(TableTest, CursorsSurviveChangesAndRollback) {
  TestFile file;
  file.Begin();
  IndexDef key = Index("pk", {0});
  key.primary = key.unique = key.required = true;
  auto table = file.MakeTable({Column("id", ColumnType::kLong), Column("t", ColumnType::kText, 255)}, {key});
  for (int i = 0; i < 500; ++i) table->Insert({Value::Integer(i), Value::Text("t")});
  file.Commit();
  TableCursor rows(*table);
  IndexCursor::Bounds bounds;
  bounds.lower = table->MakeKey(0, {Value::Integer(100)});
  bounds.lower_open = true;
  bounds.upper = table->MakeKey(0, {Value::Integer(400)});
  bounds.upper_open = true;
  IndexCursor keys(*table, 0, bounds);
  Row row;
  RowId id;
  std::vector<std::int64_t> scanned, sought;
  const auto step = [&] {
    if (rows.Next(&row, &id)) scanned.push_back(row.GetInteger(0));
    if (keys.Next(&id) && table->Fetch(id, &row)) sought.push_back(row.GetInteger(0));
  };
  for (int i = 0; i < 50; ++i) step();
  file.Begin();
  {
    // Grow all rows and add many: pages change and come under the cursors, then go again.
    std::vector<RowId> all;
    TableCursor other(*table);
    while (other.Next(&row, &id)) all.push_back(id);
    for (const RowId r : all) table->Update(r, {{1, Value::Text(std::string(150, 'x'))}});
    for (int i = 0; i < 3000; ++i) table->Insert({Value::Integer(1000 + i), Value::Text("u")});
    for (const RowId r : all) table->Delete(r);
    for (int i = 0; i < 20; ++i) step();
  }
  file.Rollback();
  const std::size_t done = scanned.size();
  for (int i = 0; i < 600; ++i) step();
  EXPECT_EQ(std::set<std::int64_t>(sought.begin(), sought.end()).size(), sought.size()) << "no row twice";
  EXPECT_EQ(sought.front(), 101);
  EXPECT_LE(sought.back(), 399);
  EXPECT_GE(scanned.size(), done);
  EXPECT_EQ(Rows(*table).size(), 500u);
}

TEST(TableTest, ReadOnlyReasonsAndLargeRecords) {
  TestFile file;
  file.Begin();
  std::vector<ColumnDef> columns;
  for (int i = 0; i < 20; ++i) columns.push_back(Column("c" + std::to_string(i), ColumnType::kText, 255));
  auto table = file.MakeTable(columns, {});
  std::string text;
  EXPECT_EQ(KindOfError([&] { table->Insert(Record(20, Value::Text(std::string(230, 'x')))); }, &text),
            ErrorKind::kTooLarge);
  EXPECT_NE(text.find("record is too large"), std::string::npos) << text;
  TableDef def = table->def();
  def.read_only_reason = "it has calculated columns.";
  auto read_only = std::make_shared<StoredTable>(file.context(), def, table->layout());
  EXPECT_EQ(KindOfError([&] { read_only->Insert(Record(20)); }, &text), ErrorKind::kNotSupported);
  EXPECT_NE(text.find("calculated"), std::string::npos) << text;
  file.Commit();
}

TEST(TableTest, BuildingAndFreeingAnIndex) {
  TestFile file;
  file.Begin();
  IndexDef unique = Index("u", {1});
  unique.unique = true;
  auto table = file.MakeTable({Column("id", ColumnType::kLong), Column("v", ColumnType::kInteger)},
                              {Index("plain", {0}), unique});
  TableDef bare = table->def();
  bare.indexes.clear();
  TableLayout layout = table->layout();
  layout.index_maps.clear();
  layout.distinct_count_offsets.clear();
  auto filler = std::make_shared<StoredTable>(file.context(), bare, layout);
  std::map<RowId, Record> model;
  for (int i = 0; i < 3000; ++i) {
    const Record r = {Value::Integer(i * 7919 % 1000), i % 5 == 0 ? Value::Null() : Value::Integer(i)};
    model[filler->Insert(r)] = r;
  }
  filler->Flush();
  table = std::make_shared<StoredTable>(file.context(), table->def(), table->layout());
  table->BuildIndex(0);
  table->BuildIndex(1);
  CheckConsistent(file, *table, model);
  if (HasFatalFailure()) return;
  const PageNo free_pages = file.FreePages();
  const std::size_t index_pages = UsageMap(file.context(), table->layout().index_maps[0]).Pages().size();
  table->FreeIndex(0);
  EXPECT_EQ(file.FreePages(), free_pages + index_pages);
  filler->Insert({Value::Integer(1), Value::Integer(1)});
  BTree::InitRoot(file.pages().Write(table->def().indexes[1].root), table->layout().tdef_page);
  std::string text;
  EXPECT_EQ(KindOfError([&] { table->BuildIndex(1); }, &text), ErrorKind::kDuplicate);
  EXPECT_NE(text.find("v = "), std::string::npos) << text;
  file.Rollback();
}

}  // namespace
}  // namespace jet::testing
