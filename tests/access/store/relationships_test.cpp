// Enforced relationships. No statement makes one, so the definitions get the blocks that Access writes for
// it: at both ends a logical index of the foreign kind that names the other end.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "access/store/database_impl.h"
#include "tests/access/store/database_fixture.h"

namespace jet::testing {
namespace {

using ::testing::HasSubstr;

struct Cascades {
  bool updates = false, deletes = false, nulls = false;
};

constexpr std::uint32_t kNumber = 77;  // of both ends

void AddEnd(DatabaseImpl& db, const std::string& name, PageNo table, PageNo partner, std::uint32_t real,
            bool referenced, std::uint32_t number, std::uint32_t partner_number, Cascades cascades) {
  std::vector<PageNo> chain;
  const FormatInfo& f = db.context().format;
  RawTdef raw = SplitTdef(ReadTdefStream(db.pages(), f, table, &chain), f, table);
  IndexSpec spec;
  spec.name = name;
  RawTdef::Named block = MakeLogicalIndexBlock(spec, number, real);
  auto* p = reinterpret_cast<std::uint8_t*>(block.block.data());
  p[12] = referenced ? 1 : 2;
  StoreLe<std::uint32_t>(p + 13, partner_number);
  StoreLe<std::uint32_t>(p + 17, partner);
  p[21] = cascades.updates ? 1 : 0;
  p[22] = static_cast<std::uint8_t>((cascades.deletes ? 1 : 0) | (cascades.nulls ? 2 : 0));
  p[23] = LogicalIndex::kForeign;
  InsertLogicalIndex(block, &raw);
  WriteTdefStream(db.context(), JoinTdef(&raw), &chain);
}

// parents(id, code) with the keys (1, 'a') .. (5, 'e'); children(id, parent, code) with two for parent 2, one
// for parent 3 and one without a parent. Related by (id, code).
class Family : public OpenDatabase {
 public:
  explicit Family(Cascades cascades = {}) : OpenDatabase(Format::kAce14) {
    db->CreateTable("parents", {Col("id", ColumnType::kLong), Col("code", ColumnType::kText, 5)},
                    {Idx("PrimaryKey", {"id", "code"}, true, true)});
    db->CreateTable("children",
                    {Col("id", ColumnType::kLong), Col("parent", ColumnType::kLong),
                     Col("code", ColumnType::kText, 9), Col("more", ColumnType::kMemo)},
                    {Idx("PrimaryKey", {"id"}, true, true), Idx("toParent", {"parent", "code"})});
    const PageNo parents = db->FindTable("parents")->def().tdef_page;
    const PageNo children = db->FindTable("children")->def().tdef_page;
    auto& impl = db->impl();
    InStatement([&] {
      AddEnd(impl, ".rB", parents, children, 0, true, kNumber, kNumber + 1, cascades);
      AddEnd(impl, "family", children, parents, 1, false, kNumber + 1, kNumber, cascades);
    });
    CheckpointAndReopen();
    InStatement([&] {
      for (int i = 1; i <= 5; ++i) parent_rows.push_back(parents_().Insert(Key(i)));
      Child(1, 2);
      Child(2, 2);
      Child(3, 3);
      children_().Insert({Value::Integer(4), Value::Null(), Value::Text("zz"), Value::Null()});
    });
  }

  Table& parents_() { return *db->FindTable("parents"); }
  Table& children_() { return *db->FindTable("children"); }
  static std::vector<Value> Key(int i) {
    return {Value::Integer(i), Value::Text(std::string(1, static_cast<char>('a' + i - 1)))};
  }
  RowId Child(int id, int parent) {
    return children_().Insert(
        {Value::Integer(id), Key(parent)[0], Key(parent)[1], Value::Text(std::string(9000, 'm'))});
  }
  // "id>parent" of each child.
  std::string Children() {
    std::string out;
    TableCursor cursor(children_());
    Row row;
    for (RowId id; cursor.Next(&row, &id);) {
      out += std::to_string(row.GetInteger(0)) + ">" +
             (row.IsNull(1) ? "null" : std::to_string(row.GetInteger(1))) + " ";
    }
    return out;
  }
  // The refusal, or empty.
  std::string Try(const std::function<void()>& action) {
    try {
      InStatement(action);
    } catch (const Error& e) {
      EXPECT_EQ(e.kind(), ErrorKind::kConstraint) << e.what();
      return e.what();
    }
    return {};
  }
  std::vector<RowId> parent_rows;
};

TEST(Relationships, ARowRefersToOneThatExists) {
  Family f;
  EXPECT_THAT(f.Try([&] { f.Child(9, 7); }),
              HasSubstr("\"parents\" that does not exist (id = 7, code = 'g'"));
  EXPECT_EQ(f.Try([&] { f.Child(9, 5); }), "");
  const RowId child = WalkIndex(f.children_(), 0)[0];
  EXPECT_THAT(f.Try([&] { f.children_().Update(child, {{1, Value::Integer(3)}}); }), HasSubstr("id = 3"));
  EXPECT_EQ(f.Try([&] {
    f.children_().Update(child,
                         {{1, Value::Integer(3)}, {2, Value::Text("C  ")}});  // equal by the text order
  }),
            "");
  EXPECT_EQ(f.Try([&] { f.children_().Update(child, {{1, Value::Null()}}); }), "");
  EXPECT_THAT(f.Try([&] {
    f.children_().Update(child, {{2, Value::Text("too long")}, {1, Value::Integer(1)}});
  }),
              HasSubstr("does not exist"));
  EXPECT_EQ(f.Children(), "1>null 2>2 3>3 4>null 9>5 ");
}

TEST(Relationships, ARowThatIsReferredToStays) {
  Family f;
  EXPECT_THAT(f.Try([&] { f.parents_().Delete(f.parent_rows[1]); }),
              HasSubstr("cannot be deleted, because records of table \"children\" refer to it (relationship "
                        "\"family\")"));
  EXPECT_THAT(f.Try([&] {
    f.parents_().Update(f.parent_rows[1], {{0, Value::Integer(20)}});
  }),
              HasSubstr("cannot be given another key"));
  // Another letter case is the same key.
  EXPECT_EQ(f.Try([&] { f.parents_().Update(f.parent_rows[1], {{1, Value::Text("B")}}); }), "");
  EXPECT_EQ(f.Try([&] { f.parents_().Update(f.parent_rows[0], {{0, Value::Integer(20)}}); }), "");
  EXPECT_EQ(f.Try([&] { f.parents_().Delete(f.parent_rows[4]); }), "");
  EXPECT_EQ(f.parents_().row_count(), 4u);
  EXPECT_EQ(f.Children(), "1>2 2>2 3>3 4>null ");
}

TEST(Relationships, Cascades) {
  {
    Family f({.updates = true, .deletes = true});
    EXPECT_EQ(f.Try([&] {
      f.parents_().Update(f.parent_rows[1], {{0, Value::Integer(20)}, {1, Value::Text("x")}});
    }),
              "");
    EXPECT_EQ(f.Children(), "1>20 2>20 3>3 4>null ");
    EXPECT_EQ(f.Try([&] { f.parents_().Delete(f.parent_rows[2]); }), "");
    EXPECT_EQ(f.Children(), "1>20 2>20 4>null ");
    // What cascaded is taken back with the statement.
    EXPECT_NE(f.Try([&] {
      f.parents_().Delete(f.parent_rows[1]);
      f.Child(10, 9);
    }),
              "");
    EXPECT_EQ(f.Children(), "1>20 2>20 4>null ");
    EXPECT_EQ(f.children_().row_count(), 3u);
    f.CheckpointAndReopen();
    EXPECT_EQ(f.Children(), "1>20 2>20 4>null ");
    EXPECT_EQ(WalkIndex(f.children_(), 1).size(), 3u);
  }
  {
    Family f({.nulls = true});
    EXPECT_EQ(f.Try([&] { f.parents_().Delete(f.parent_rows[1]); }), "");
    EXPECT_EQ(f.Children(), "1>null 2>null 3>3 4>null ");
    EXPECT_NE(f.Try([&] { f.parents_().Update(f.parent_rows[2], {{0, Value::Integer(20)}}); }), "");
  }
}

// A row that two cascades reach, each from a row that a third one took along.
TEST(Relationships, CascadesMeetInOneRow) {
  OpenDatabase d;
  const auto table = [&](const char* name, std::initializer_list<const char*> columns) {
    std::vector<NewColumn> all;
    std::vector<NewIndex> indexes = {Idx("PrimaryKey", {"id"}, true, true)};
    for (const char* column : columns) {
      all.push_back(Col(column, ColumnType::kLong));
      if (std::string(column) != "id") indexes.push_back(Idx(std::string("by ") + column, {column}));
    }
    d->CreateTable(name, all, indexes);
    return d->FindTable(name)->def().tdef_page;
  };
  const PageNo root = table("root", {"id"}), left = table("left", {"id", "root"}),
               right = table("right", {"id", "root"}), leaf = table("leaf", {"id", "left", "right"});
  auto& impl = d.db->impl();
  std::uint32_t number = 7;
  const auto relate = [&](PageNo parent, PageNo child, std::uint32_t index) {
    const Cascades all{true, true, false};
    AddEnd(impl, fmt::format(".r{}", number), parent, child, 0, true, number, number + 1, all);
    AddEnd(impl, fmt::format("r{}", number), child, parent, index, false, number + 1, number, all);
    number += 2;
  };
  d.InStatement([&] {
    relate(root, left, 1);
    relate(root, right, 1);
    relate(left, leaf, 1);
    relate(right, leaf, 2);
  });
  d.CheckpointAndReopen();
  const auto insert = [&](const char* name, std::vector<std::int64_t> values) {
    std::vector<Value> row;
    for (const std::int64_t value : values) row.push_back(Value::Integer(value));
    return d->FindTable(name)->Insert(row);
  };
  RowId top;
  d.InStatement([&] {
    top = insert("root", {1});
    insert("root", {2});
    for (int i = 1; i <= 3; ++i) {
      insert("left", {i, i < 3 ? 1 : 2});
      insert("right", {i, i < 3 ? 1 : 2});
    }
    insert("leaf", {1, 1, 1});
    insert("leaf", {2, 1, 2});
    insert("leaf", {3, 3, 2});
    insert("leaf", {4, 3, 3});
  });
  d.InStatement([&] { d->FindTable("root")->Delete(top); });
  for (const auto& [name, rows] : {std::pair{"root", 1u}, {"left", 1u}, {"right", 1u}, {"leaf", 1u}}) {
    const auto t = d->FindTable(name);
    EXPECT_EQ(t->row_count(), rows) << name;
    for (int i = 0; i < static_cast<int>(t->def().indexes.size()); ++i)
      EXPECT_EQ(WalkIndex(*t, i).size(), rows);
  }
}

// A tree of rows in one table: id, over.
TEST(Relationships, OfATableToItself) {
  for (const bool cascades : {false, true}) {
    OpenDatabase d;
    d->CreateTable("tree", {Col("id", ColumnType::kLong), Col("over", ColumnType::kLong)},
                   {Idx("PrimaryKey", {"id"}, true, true), Idx("over", {"over"})});
    const PageNo tree = d->FindTable("tree")->def().tdef_page;
    auto& impl = d.db->impl();
    d.InStatement([&] {
      AddEnd(impl, ".rB", tree, tree, 0, true, 7, 8, {cascades, cascades, false});
      AddEnd(impl, "self", tree, tree, 1, false, 8, 7, {cascades, cascades, false});
    });
    d.CheckpointAndReopen();
    std::vector<RowId> rows;
    const auto insert = [&](int id, int over) {
      d.InStatement([&] {
        rows.push_back(d->FindTable("tree")->Insert({Value::Integer(id), Value::Integer(over)}));
      });
    };
    insert(1, 1);
    insert(2, 1);
    insert(3, 2);
    const auto table = d->FindTable("tree");
    EXPECT_EQ(ErrorOf([&] { insert(4, 5); }).first, ErrorKind::kConstraint);
    if (!cascades) {
      EXPECT_EQ(ErrorOf([&] { d.InStatement([&] { table->Delete(rows[1]); }); }).first,
                ErrorKind::kConstraint);
      d.InStatement([&] {
        table->Delete(rows[2]);
        table->Delete(rows[1]);
        table->Update(rows[0], {{0, Value::Integer(9)}, {1, Value::Integer(9)}});
        table->Delete(rows[0]);  // refers to itself only
      });
    } else {
      d.InStatement([&] { table->Update(rows[0], {{0, Value::Integer(9)}, {1, Value::Integer(9)}}); });
      Row row;
      ASSERT_TRUE(table->Fetch(rows[1], &row));
      EXPECT_EQ(row.GetInteger(1), 9);
      d.InStatement([&] { table->Delete(rows[0]); });
    }
    EXPECT_EQ(table->row_count(), 0u);
    EXPECT_TRUE(WalkIndex(*table, 0).empty());
    EXPECT_TRUE(WalkIndex(*table, 1).empty());
  }
}

TEST(Relationships, AnEndThatLeadsNowhereIsDamage) {
  OpenDatabase d;
  d->CreateTable("t", {Col("id", ColumnType::kLong)}, {Idx("i", {"id"})});
  auto& impl = d.db->impl();
  d.InStatement([&] { AddEnd(impl, "r", d->FindTable("t")->def().tdef_page, 3, 0, false, 8, 7, {}); });
  d.CheckpointAndReopen();
  const auto [kind, text] =
      ErrorOf([&] { d.InStatement([&] { d->FindTable("t")->Insert({Value::Integer(1)}); }); });
  EXPECT_EQ(kind, ErrorKind::kCorrupt);
  EXPECT_THAT(text, HasSubstr("relationship \"r\""));
  d.InStatement([&] { d->FindTable("t")->Insert({Value::Null()}); });
}

TEST(DefinitionLimits, MoreIndexesThanCanBeMaintainedMakeATableReadOnly) {
  OpenDatabase d;
  std::vector<NewIndex> indexes;
  for (int i = 0; i < 32; ++i) indexes.push_back(Idx("i" + std::to_string(i), {"id"}));
  d->CreateTable("t", {Col("id", ColumnType::kLong)}, indexes);
  d.InStatement([&] { d->FindTable("t")->Insert({Value::Integer(1)}); });
  auto& impl = d.db->impl();
  const FormatInfo& f = impl.context().format;
  d.InStatement([&] {
    const PageNo page = d->FindTable("t")->def().tdef_page;
    std::vector<PageNo> chain;
    RawTdef raw = SplitTdef(ReadTdefStream(d->pages(), f, page, &chain), f, page);
    raw.counters.push_back(raw.counters.back());
    raw.real_indexes.push_back(raw.real_indexes.back());
    WriteTdefStream(impl.context(), JoinTdef(&raw), &chain);
  });
  d.CheckpointAndReopen();
  EXPECT_THAT(d->FindTable("t")->def().read_only_reason, HasSubstr("33 indexes"));
  EXPECT_EQ(ErrorOf([&] { d.InStatement([&] { d->FindTable("t")->Insert({Value::Integer(2)}); }); }).first,
            ErrorKind::kNotSupported);
}

}  // namespace
}  // namespace jet::testing
