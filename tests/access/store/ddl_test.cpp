// Tables, columns and indexes that come and go.
#include <gmock/gmock.h>

#include <set>

#include "access/store/format.h"
#include "tests/access/store/database_fixture.h"

namespace jet::testing {
namespace {

using ::testing::HasSubstr;

// A table of n rows: id 1..n, text "row k", number k / 2.
void MakeRows(OpenDatabase& d, int n) {
  NewColumn id = Col("id", ColumnType::kLong);
  id.auto_number = true;
  d->CreateTable("rows", {id, Col("text", ColumnType::kText, 50), Col("number", ColumnType::kLong)},
                 {Idx("PrimaryKey", {"id"}, true, true)});
  d.InStatement([&] {
    const auto t = d->FindTable("rows");
    for (int i = 1; i <= n; ++i) {
      t->Insert({Value::Null(), Value::Text("row " + std::to_string(i)), Value::Integer(i / 2)});
    }
  });
}

TEST(CreateTableTest, RefusesBeforeAnythingIsWritten) {
  OpenDatabase d;
  d->CreateTable("taken", {Col("a", ColumnType::kLong)}, {});
  d->Checkpoint();
  const NewColumn a = Col("a", ColumnType::kLong);
  NewColumn auto1 = Col("x", ColumnType::kLong), auto2 = Col("y", ColumnType::kLong);
  auto1.auto_number = auto2.auto_number = true;
  NewColumn scale = Col("d", ColumnType::kDecimal);
  scale.scale = 19;
  std::vector<NewColumn> too_many, too_wide;
  for (int i = 0; i < 256; ++i) too_many.push_back(Col("c" + std::to_string(i), ColumnType::kLong));
  for (int i = 0; i < 9; ++i) {
    too_wide.push_back(Col("c" + std::to_string(i), ColumnType::kText, 255));
    too_wide.back().fixed_length = true;
  }
  std::vector<NewIndex> many_indexes;
  for (int i = 0; i < 33; ++i) many_indexes.push_back(Idx("i" + std::to_string(i), {"a"}));
  struct Case {
    std::string name;
    std::vector<NewColumn> columns;
    std::vector<NewIndex> indexes;
    ErrorKind kind;
    const char* text;
  };
  const Case cases[] = {
      {"TAKEN", {a}, {}, ErrorKind::kExists, "taken"},
      {"msysqueries", {a}, {}, ErrorKind::kExists, "MSysQueries"},
      {"", {a}, {}, ErrorKind::kInvalid, "empty"},
      {std::string(65, 'n'), {a}, {}, ErrorKind::kInvalid, "64"},
      {" n", {a}, {}, ErrorKind::kInvalid, "blank"},
      {"a.b", {a}, {}, ErrorKind::kInvalid, "."},
      {"a[b", {a}, {}, ErrorKind::kInvalid, "["},
      {"n", {}, {}, ErrorKind::kInvalid, "no columns"},
      {"n", too_many, {}, ErrorKind::kInvalid, "255"},
      {"n", too_wide, {}, ErrorKind::kTooLarge, "4060"},
      {"n", {a, Col("A", ColumnType::kText)}, {}, ErrorKind::kExists, "\"A\""},
      {"n", {Col("b!", ColumnType::kText)}, {}, ErrorKind::kInvalid, "!"},
      {"n", {Col("b", ColumnType::kText, 256)}, {}, ErrorKind::kInvalid, "255"},
      {"n", {scale}, {}, ErrorKind::kInvalid, "scale"},
      {"n", {auto1, auto2}, {}, ErrorKind::kInvalid, "autonumber"},
      {"n", {Col("b", ColumnType::kBigInt)}, {}, ErrorKind::kNotSupported, "\"b\""},
      {"n", {a}, {Idx("i", {"b"})}, ErrorKind::kNoColumn, "\"b\""},
      {"n", {a}, {Idx("i", {"a", "A"})}, ErrorKind::kInvalid, "twice"},
      {"n", {a}, {Idx("i", {"a"}), Idx("I", {"a"})}, ErrorKind::kExists, "\"I\""},
      {"n", {a}, {Idx("i", {"a"}, true, true), Idx("j", {"a"}, true, true)}, ErrorKind::kExists, "primary"},
      {"n", {a}, many_indexes, ErrorKind::kInvalid, "32"},
      {"n", {Col("o", ColumnType::kOle)}, {Idx("i", {"o"})}, ErrorKind::kNotSupported, "\"o\""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name + " " + c.text);
    const auto [kind, text] = ErrorOf([&] { d->CreateTable(c.name, c.columns, c.indexes); });
    EXPECT_EQ(kind, c.kind) << text;
    EXPECT_THAT(text, HasSubstr(c.text));
    EXPECT_FALSE(d->has_changes());
  }
}

TEST(CreateTableTest, DefinitionsReadBackInEveryFormat) {
  for (const Format format : {Format::kJet4, Format::kAce12, Format::kAce14}) {
    OpenDatabase d(format);
    NewColumn text = Col("Text", ColumnType::kText, 40);
    text.required = true;
    text.default_value = "\"x\"";
    NewColumn fixed = Col("Fixed", ColumnType::kText, 6);
    fixed.fixed_length = true;
    NewColumn decimal = Col("Decimal", ColumnType::kDecimal);
    decimal.precision = 20;
    decimal.scale = 4;
    NewIndex two = Idx("two", {"Long", "Text"});
    two.columns[1].second = true;
    two.ignore_nulls = true;
    d->CreateTable("T\xC3\xA4st",
                   {Col("Long", ColumnType::kLong), text, Col("Yes", ColumnType::kBoolean), fixed, decimal,
                    Col("Memo", ColumnType::kMemo)},
                   {two, Idx("pk", {"Yes", "Long"}, true, true)});
    d.CheckpointAndReopen();
    const auto t = d->FindTable("t\xC3\x84ST");
    ASSERT_NE(t, nullptr);
    const TableDef& def = t->def();
    EXPECT_EQ(def.name, "T\xC3\xA4st");
    ASSERT_EQ(def.columns.size(), 6u);
    EXPECT_EQ(def.columns[0].fixed_offset, 0);
    EXPECT_EQ(def.columns[1].length, 80);
    EXPECT_TRUE(def.columns[1].required && def.columns[1].compressed_unicode && !def.columns[1].fixed);
    EXPECT_EQ(def.columns[1].default_value, "\"x\"");
    EXPECT_EQ(def.columns[1].sort_version, format == Format::kAce14 ? 1 : 0);
    EXPECT_TRUE(def.columns[3].fixed);
    EXPECT_EQ(def.columns[3].fixed_offset, 4);
    EXPECT_EQ(def.columns[4].fixed_offset, 16);
    EXPECT_EQ(def.columns[4].precision, 20);
    EXPECT_EQ(def.columns[4].scale, 4);
    EXPECT_EQ(def.columns[5].variable_index, 1);
    ASSERT_EQ(def.indexes.size(), 2u);
    EXPECT_EQ(def.indexes[0].name, "two");
    EXPECT_TRUE(def.indexes[0].columns[1].descending && def.indexes[0].ignore_nulls &&
                !def.indexes[0].unique);
    EXPECT_TRUE(def.indexes[1].primary && def.indexes[1].unique && def.indexes[1].required);
    EXPECT_EQ(def.indexes[1].columns[0].column, 2);
    EXPECT_EQ(def.read_only_reason, "");
    EXPECT_EQ(d->FindTable("Tast"), nullptr);
  }
}

TEST(CreateTableTest, DefinitionsOverSeveralPages) {
  OpenDatabase d;
  std::vector<NewColumn> columns;
  std::vector<Value> values;
  for (int i = 0; i < 255; ++i) {
    columns.push_back(Col("a name of some length for column number " + std::to_string(i),
                          i % 2 == 0 ? ColumnType::kText : ColumnType::kInteger));
    values.push_back(i % 2 == 0 ? Value::Text(std::to_string(i)) : Value::Integer(i));
  }
  d->CreateTable("wide", columns, {Idx("last", {columns[254].name})});
  RowId id;
  d.InStatement([&] { id = d->FindTable("wide")->Insert(values); });
  d.CheckpointAndReopen();
  const auto t = d->FindTable("wide");
  Row row;
  ASSERT_TRUE(t->Fetch(id, &row));
  for (int i = 0; i < 255; ++i) {
    EXPECT_EQ(t->def().columns[static_cast<std::size_t>(i)].name, columns[static_cast<std::size_t>(i)].name);
    EXPECT_EQ(row.Get(i), values[static_cast<std::size_t>(i)]);
  }
  EXPECT_EQ(ErrorOf([&] { d->AddColumn("wide", Col("one more", ColumnType::kLong)); }).first,
            ErrorKind::kInvalid);
  const PageNo pages = d->pages().page_count();
  d->DropTable("wide");
  d->CreateTable("wide", columns, {Idx("last", {columns[254].name})});
  EXPECT_LE(d->pages().page_count(), pages);  // every page of the old one was free again
}

TEST(DropTableTest, FreesEverythingAndForgetsTheName) {
  OpenDatabase d;
  MakeRows(d, 10);
  d->Checkpoint();
  const std::uint32_t rights = d->FindTable("MSysACEs")->row_count();
  PageNo pages = 0;
  for (int round = 0; round < 3; ++round) {
    d->CreateTable("big", {Col("a", ColumnType::kLong), Col("m", ColumnType::kMemo)}, {Idx("a", {"a"})});
    EXPECT_GT(d->FindTable("MSysACEs")->row_count(), rights);
    d.InStatement([&] {
      const auto t = d->FindTable("big");
      for (int i = 0; i < 300; ++i) t->Insert({Value::Integer(i), Value::Text(std::string(5000, 'm'))});
    });
    d->DropTable("BIG");
    d.CheckpointAndReopen();
    EXPECT_EQ(d->FindTable("big"), nullptr);
    EXPECT_EQ(d->FindTable("MSysACEs")->row_count(), rights);
    if (round == 0) pages = d->pages().page_count();
    EXPECT_EQ(d->pages().page_count(), pages);
  }
  EXPECT_EQ(d->FindTable("rows")->row_count(), 10u);
  EXPECT_EQ(ErrorOf([&] { d->DropTable("big"); }).first, ErrorKind::kNoTable);
  EXPECT_EQ(ErrorOf([&] { d->DropTable("MSysACEs"); }).first, ErrorKind::kInvalid);
}

TEST(DropTableTest, RefusesWhatARelationshipRefersTo) {
  OpenDatabase d;
  MakeRows(d, 3);
  d.InStatement([&] {
    const auto t = d->FindTable("MSysRelationships");
    std::vector<Value> values(t->def().columns.size());
    const auto set = [&](const char* column, Value v) {
      values[static_cast<std::size_t>(t->def().FindColumn(column))] = v;
    };
    set("szRelationship", Value::Text("r"));
    set("szObject", Value::Text("elsewhere"));
    set("szReferencedObject", Value::Text("Rows"));
    t->Insert(values);
  });
  EXPECT_EQ(ErrorOf([&] { d->DropTable("rows"); }).first, ErrorKind::kConstraint);
  EXPECT_EQ(d->FindTable("rows")->row_count(), 3u);
}

TEST(AddColumnTest, OldRowsReadAsNullAndNewOnesHoldValues) {
  OpenDatabase d;
  MakeRows(d, 500);
  const auto old = d->FindTable("rows");
  const std::uint64_t version = d->schema_version();
  NewColumn number = Col("added", ColumnType::kDouble);
  number.default_value = "7";
  d->AddColumn("rows", number);
  d->AddColumn("rows", Col("memo", ColumnType::kMemo));
  d->AddColumn("rows", Col("yes", ColumnType::kBoolean));
  EXPECT_GT(d->schema_version(), version);
  const auto t = d->FindTable("rows");
  EXPECT_NE(t, old);
  EXPECT_EQ(t->row_count(), 500u);  // counters that were only in memory have come along
  d.InStatement([&] {
    const RowId id = t->Insert({Value::Null(), Value::Text("new"), Value::Integer(1), Value::Real(2.5),
                                Value::Text(std::string(9000, 'x')), Value::Integer(-1)});
    Row row;
    ASSERT_TRUE(t->Fetch(id, &row));
    EXPECT_EQ(row.GetInteger(0), 501);
    EXPECT_EQ(row.GetReal(3), 2.5);
    const RowId first = WalkIndex(*t, 0).front();
    ASSERT_TRUE(t->Fetch(first, &row));
    EXPECT_TRUE(row.IsNull(3) && row.IsNull(4));
    EXPECT_EQ(row.GetInteger(5), 0);
    t->Update(first, {{3, Value::Real(1.0)}, {4, Value::Text("memo")}, {5, Value::Integer(-1)}});
  });
  // Through the replaced object nothing can be changed any more, for it knows too few columns.
  d.InStatement([&] { EXPECT_THROW(old->Insert({Value::Null(), Value::Null(), Value::Null()}), Error); });
  d.CheckpointAndReopen();
  const auto again = d->FindTable("rows");
  EXPECT_EQ(again->row_count(), 501u);
  EXPECT_EQ(again->def().columns[3].default_value, "7");
  Row row;
  ASSERT_TRUE(again->Fetch(WalkIndex(*again, 0).front(), &row));
  EXPECT_EQ(row.GetReal(3), 1.0);
  EXPECT_EQ(row.Get(4), Value::Text("memo"));
  EXPECT_EQ(ErrorOf([&] { d->AddColumn("rows", Col("ADDED", ColumnType::kLong)); }).first,
            ErrorKind::kExists);
}

TEST(IndexTest, BuiltFromRowsAndDropped) {
  OpenDatabase d;
  MakeRows(d, 3000);
  NewIndex by_text = Idx("by text", {"text"}, true);
  by_text.columns[0].second = true;
  d->CreateIndex("rows", by_text);
  const auto [kind, text] = ErrorOf([&] { d->CreateIndex("rows", Idx("by number", {"number"}, true)); });
  EXPECT_EQ(kind, ErrorKind::kDuplicate);
  EXPECT_EQ(d->FindTable("rows")->def().indexes.size(), 2u);
  d->CreateIndex("rows", Idx("by number", {"number", "id"}));
  EXPECT_EQ(ErrorOf([&] { d->CreateIndex("rows", Idx("BY TEXT", {"id"})); }).first, ErrorKind::kExists);
  EXPECT_EQ(ErrorOf([&] { d->CreateIndex("rows", Idx("k", {"number"}, true, true)); }).first,
            ErrorKind::kExists);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(WalkIndex(*d->FindTable("rows"), i).size(), 3000u);

  d->DropIndex("rows", "by text");  // the one after it moves up
  d.CheckpointAndReopen();
  const auto t = d->FindTable("rows");
  ASSERT_EQ(t->def().indexes.size(), 2u);
  EXPECT_EQ(t->def().indexes[1].name, "by number");
  d.InStatement([&] { t->Insert({Value::Null(), Value::Null(), Value::Integer(-5)}); });
  const std::vector<RowId> rows = WalkIndex(*t, 1);
  ASSERT_EQ(rows.size(), 3001u);
  Row row;
  ASSERT_TRUE(t->Fetch(rows.front(), &row));
  EXPECT_EQ(row.GetInteger(2), -5);
  EXPECT_EQ(ErrorOf([&] { d->DropIndex("rows", "by text"); }).first, ErrorKind::kNotFound);
}

TEST(RollbackTest, DefinitionsAndCountersComeBack) {
  OpenDatabase d;
  MakeRows(d, 100);
  const auto table = d->FindTable("rows");
  const std::uint32_t objects = d->FindTable("MSysObjects")->row_count();
  {
    StatementScope scope(*d.db);
    d->AddColumn("rows", Col("extra", ColumnType::kMemo));
    d->CreateIndex("rows", Idx("by text", {"text"}));
    d->DropIndex("rows", "PrimaryKey");
    d->CreateTable("other", {Col("a", ColumnType::kLong)}, {});
    d->FindTable("other")->Insert({Value::Integer(1)});
    d->FindTable("rows")->Insert({Value::Null(), Value::Null(), Value::Null(), Value::Null()});
  }
  EXPECT_EQ(d->FindTable("other"), nullptr);
  EXPECT_EQ(d->FindTable("rows"), table);
  EXPECT_EQ(table->def().columns.size(), 3u);
  {
    StatementScope scope(*d.db);
    d->DropTable("rows");
    EXPECT_EQ(d->FindTable("rows"), nullptr);
  }
  ASSERT_EQ(d->FindTable("rows"), table);
  EXPECT_EQ(d->FindTable("MSysObjects")->row_count(), objects);
  d.InStatement([&] { table->Insert({Value::Null(), Value::Null(), Value::Null()}); });
  d.CheckpointAndReopen();
  EXPECT_EQ(d->FindTable("rows")->row_count(), 101u);
  EXPECT_EQ(WalkIndex(*d->FindTable("rows"), 0).size(), 101u);
}

}  // namespace
}  // namespace jet::testing
