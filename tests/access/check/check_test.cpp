// A sound file has no findings; each kind of damage has the finding it should have; no damage is too much.
#include "access/check/check.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "access/file/test_files.h"
#include "access/index/btree.h"
#include "access/store/data_page.h"
#include "access/store/tdef.h"
#include "access/store/usage_map.h"

namespace jet {
namespace {

constexpr char kPath[] = "test.mdb";

std::string Describe(const std::vector<Finding>& findings) {
  std::string text;
  for (const Finding& finding : findings)
    text += (finding.fatal ? "fatal: " : "untidy: ") + finding.text + "\n";
  return text;
}

// Two tables; rows with long values of each kind; enough of them for trees of two levels; a moved row.
void Fill(MemoryFileSystem& files, Format format) {
  Database::Create(files, kPath, format);
  const auto db = Database::Open(files, kPath, OpenMode::kReadWrite);
  StatementScope scope(*db);
  const auto column = [](const char* column_name, ColumnType type) {
    NewColumn c;
    c.name = column_name;
    c.type = type;
    return c;
  };
  const NewColumn id = column("Id", ColumnType::kLong), note = column("Note", ColumnType::kMemo),
                  size = column("Size", ColumnType::kDouble);
  NewColumn name = column("Name", ColumnType::kText);
  name.characters = 60;
  NewIndex primary{"PrimaryKey", {{"Id", false}}, true, true};
  NewIndex by_name{"ByName", {{"Name", true}, {"Size", false}}};
  db->CreateTable("First", {id, name, note, size}, {primary, by_name});
  db->CreateTable("Second", {id, name}, {primary});
  const auto first = db->FindTable("First");
  const auto second = db->FindTable("Second");
  for (int i = 0; i < 1200; ++i) {
    const std::size_t length = i % 10 == 0 ? 1500 : i % 97 == 0 ? 9000 : 20;
    first->Insert({Value::Integer(i), i % 7 == 0 ? Value::Null() : Value::Text("name " + std::to_string(i)),
                   Value::Text(std::string(length, static_cast<char>('a' + i % 26))), Value::Real(i * 0.5)});
    if (i < 50) second->Insert({Value::Integer(i), Value::Text("x")});
  }
  std::vector<RowId> ids;
  {
    TableCursor cursor(*first);
    Row row;
    RowId row_id;
    while (ids.size() < 40 && cursor.Next(&row, &row_id)) ids.push_back(row_id);
  }
  for (const RowId row_id : ids) first->Update(row_id, {{1, Value::Text(std::string(60, 'z'))}});
  scope.Commit();
  db->Checkpoint();
}

// An open copy of such a file, with what damaging it needs.
struct Patient {
  MemoryFileSystem files;
  std::unique_ptr<Database> db;
  const FormatInfo* format = nullptr;
  std::unique_ptr<PageAllocator> allocator;
  std::unique_ptr<StoreContext> context;
  Definition first, second;

  explicit Patient(const std::string& content) {
    files.SetContent(kPath, content);
    db = Database::Open(files, kPath, OpenMode::kReadWrite);
    format = &GetFormatInfo(db->format());
    allocator = MakePageAllocator(db->pages(), *format);
    context.reset(new StoreContext{db->pages(), *format, *allocator});
    first = Read("First");
    second = Read("Second");
  }
  Definition Read(const char* name) {
    return ReadDefinition(db->pages(), {*format}, db->FindTable(name)->def().tdef_page);
  }
  std::uint8_t* Page(PageNo page) { return db->pages().Write(page).mutable_data(); }
  PageNo FirstOf(RowPointer map) { return UsageMap(*context, map).Pages().front(); }
  PageNo Rows() { return FirstOf(first.layout.owned_map); }
  PageNo LongValues() { return FirstOf(first.layout.long_columns.begin()->second.owned_map); }
  // The first slot of the page with these flags.
  std::uint8_t* Slot(PageNo page, std::uint16_t flags, RowSlot* slot) {
    std::uint8_t* data = Page(page);
    for (unsigned i = 0; i < SlotCount(*format, data); ++i) {
      *slot = ReadSlot(*format, data, page, i);
      if (slot->flags == flags) return data + slot->start;
    }
    ADD_FAILURE() << "no such slot";
    return data;
  }
  BTree Tree(const Definition& d, std::size_t index) {
    return BTree(db->pages(), nullptr, d.def.indexes[index].root, d.def.tdef_page);
  }
  PageNo Root(std::size_t index) { return first.def.indexes[index].root; }
  std::string FirstKey(const Definition& d, std::size_t index, RowId* row) {
    BTree tree = Tree(d, index);
    BTree::Cursor cursor(tree);
    cursor.SeekFirst();
    *row = cursor.row();
    return std::string(cursor.key());
  }
};

class CheckTest : public testing::TestWithParam<Format> {
 protected:
  void SetUp() override {
    MemoryFileSystem files;
    Fill(files, GetParam());
    content_ = files.Content(kPath);
  }
  std::string content_;
};
INSTANTIATE_TEST_SUITE_P(Formats, CheckTest, testing::Values(Format::kJet4, Format::kAce14));

TEST_P(CheckTest, SoundFileHasNoFindings) {
  Patient p(content_);
  EXPECT_EQ(Describe(CheckDatabase(*p.db)), "");
}

struct Damage {
  const char* expected;
  bool fatal;
  std::function<void(Patient&)> damage;
};

// Each of them has its finding.
void ExpectFindings(const std::string& content, const std::vector<Damage>& cases) {
  for (const Damage& c : cases) {
    SCOPED_TRACE(c.expected);
    Patient p(content);
    c.damage(p);
    const std::vector<Finding> findings = CheckDatabase(*p.db);
    bool found = false;
    for (const Finding& finding : findings) {
      found = found || (finding.fatal == c.fatal && finding.text.find(c.expected) != std::string::npos);
    }
    EXPECT_TRUE(found) << Describe(findings);
  }
}

TEST_P(CheckTest, DamageOfRowsHasItsFinding) {
  ExpectFindings(
      content_,
      {
          {"calls it free", true, [](Patient& p) { p.allocator->Free(p.Rows()); }},
          {"is used twice", true,
           [](Patient& p) {
             UsageMap(*p.context, p.first.layout.owned_map).Add(p.FirstOf(p.second.layout.owned_map));
           }},
          {"does not own", true,
           [](Patient& p) {
             UsageMap(*p.context, p.first.layout.free_map).Add(p.FirstOf(p.second.layout.owned_map));
           }},
          {"past the end", true,
           [](Patient& p) {
             // The far end of an inline map.
             const MapRow map =
                 FindMapRow(*p.format, p.db->pages().Read(p.first.layout.owned_map.page).bytes(),
                            p.first.layout.owned_map);
             p.Page(p.first.layout.owned_map.page)[map.row_offset + map.row_bytes - 1] = 0x80;
           }},
          {"holds something else", true,
           [](Patient& p) { StoreLe<std::uint32_t>(p.Page(p.Rows()) + 4, 99); }},
          {"bounds of a row", true, [](Patient& p) { StoreLe<std::uint16_t>(p.Page(p.Rows()) + 16, 13); }},
          {"free bytes of page", false, [](Patient& p) { p.Page(p.Rows())[2] ^= 1; }},
          {"where there is no moved row", true,
           [](Patient& p) {
             RowSlot slot;
             std::uint8_t* row = p.Slot(p.Rows(), kSlotPointer, &slot);
             StorePointer(row, {p.Rows(), 0});
           }},
          {"have moved to", true,
           [](Patient& p) {
             // The second pointer row becomes a copy of the first.
             std::uint8_t* data = p.Page(p.Rows());
             std::uint8_t* before = nullptr;
             for (unsigned i = 0; i < SlotCount(*p.format, data); ++i) {
               const RowSlot slot = ReadSlot(*p.format, data, p.Rows(), i);
               if (!slot.moved()) continue;
               if (before != nullptr) std::copy_n(before, 4, data + slot.start);
               before = data + slot.start;
             }
           }},
          {"more columns than its table", true,
           [](Patient& p) {
             RowSlot slot;
             *p.Slot(p.FirstOf(p.second.layout.owned_map), 0, &slot) = 5;
           }},
          {"does not have the key of the row", true,
           [](Patient& p) {
             RowSlot slot;
             p.Slot(p.FirstOf(p.second.layout.owned_map), 0, &slot)[3] ^= 0x40;
           }},
      });
}

TEST_P(CheckTest, DamageOfIndexesHasItsFinding) {
  ExpectFindings(
      content_,
      {
          {"has no entry in", true,
           [](Patient& p) {
             RowId row;
             const std::string key = p.FirstKey(p.second, 0, &row);
             p.Tree(p.second, 0).Erase(key, row);
           }},
          {"where there is no row", true,
           [](Patient& p) { p.Tree(p.second, 0).Insert(std::string("\x7F\x70\0\0\0", 5), RowId(3, 200)); }},
          {"has two entries", true,
           [](Patient& p) {
             RowId row;
             p.FirstKey(p.second, 0, &row);
             p.Tree(p.second, 0).Insert(std::string("\x7F\x70\0\0\0", 5), row);
           }},
          {"same key", true,
           [](Patient& p) {
             RowId row;
             const std::string key = p.FirstKey(p.second, 0, &row);
             p.Tree(p.second, 0).Insert(key, RowId(row.page(), 1));
           }},
          {"not linked in their order", true,
           [](Patient& p) {
             const PageNo leaf = LoadLe<std::uint32_t>(p.Page(p.Root(0)) + 20);
             StoreLe<std::uint32_t>(p.Page(leaf) + 12, 0);
           }},
          {"not in ascending order", true,
           [](Patient& p) {
             std::uint8_t* leaf = p.Page(p.second.def.indexes[0].root);
             leaf[480 + 1] = 0xFF;
           }},
          {"missing in its page map", true,
           [](Patient& p) { UsageMap(*p.context, p.first.layout.index_maps[0]).Remove(p.Root(0)); }},
      });
}

TEST_P(CheckTest, DamageOfLongValuesAndDefinitionsHasItsFinding) {
  ExpectFindings(content_,
                 {
                     {"which has been deleted", true,
                      [](Patient& p) { DeleteRow(*p.format, p.Page(p.LongValues()), p.LongValues(), 0); }},
                     {"which another value uses too", true,
                      [](Patient& p) {
                        // All long values that stand in one row of their own on the first page lead to the
                        // first of them.
                        const TableLayout& layout = p.first.layout;
                        std::string first;
                        for (const PageNo page : UsageMap(*p.context, layout.owned_map).Pages()) {
                          std::uint8_t* data = p.Page(page);
                          for (std::size_t i = 14; i + 12 < 4096; ++i) {
                            if (LoadLe<std::uint32_t>(data + i) != (3000u | 1u << 30)) {
                              continue;
                            }
                            if (first.empty()) first.assign(reinterpret_cast<char*>(data) + i + 4, 4);
                            std::copy(first.begin(), first.end(), data + i + 4);
                          }
                        }
                      }},
                     {"bytes more than its parts", true,
                      [](Patient& p) { ++p.Page(p.first.layout.tdef_page)[p.format->tdef_length_offset]; }},
                     {"have the id", true,
                      [](Patient& p) {
                        // A row of the catalog begins with the number of its columns and the id.
                        const Definition objects = p.Read("MSysObjects");
                        for (const PageNo page : UsageMap(*p.context, objects.layout.owned_map).Pages()) {
                          std::uint8_t* data = p.Page(page);
                          for (unsigned i = 0; i < SlotCount(*p.format, data); ++i) {
                            std::uint8_t* id = data + ReadSlot(*p.format, data, page, i).start + 2;
                            if (LoadLe<std::uint32_t>(id) != p.second.layout.tdef_page) continue;
                            StoreLe<std::uint32_t>(id, p.first.layout.tdef_page);
                          }
                        }
                      }},
                     {"where no table is", true, [](Patient& p) { p.Page(p.first.layout.tdef_page)[0] = 9; }},
                     {"holds a table definition that the catalog does not list", false,
                      [](Patient& p) {
                        const MutablePageRef page = p.allocator->Allocate();
                        page.mutable_data()[0] = kPageTdef;
                      }},
                     {"neither used nor free", false, [](Patient& p) { p.allocator->Allocate(); }},
                     {"map of free pages ends", true,
                      [](Patient& p) {
                        const MapRow map = FindMapRow(*p.format, p.db->pages().Read(1).bytes(), {1, 0});
                        // Its last bytes go to the row behind it.
                        std::uint8_t* data = p.Page(1);
                        StoreLe<std::uint16_t>(
                            data + 14, static_cast<std::uint16_t>(map.row_offset + map.row_bytes - 8));
                        std::fill_n(data + map.row_offset + map.row_bytes - 8, 8, std::uint8_t{0});
                      }},
                 });
}

// Counters are written by checkpoints; what a file says after that must be right.
TEST_P(CheckTest, StaleRowCountIsUntidy) {
  Patient p(content_);
  StoreLe<std::uint32_t>(p.Page(p.second.layout.tdef_page) + p.second.layout.row_count_offset, 7);
  p.db->pages().Checkpoint();
  const Patient again(p.files.Content(kPath));
  const std::vector<Finding> findings = CheckDatabase(*again.db);
  ASSERT_EQ(findings.size(), 1u) << Describe(findings);
  EXPECT_EQ(findings[0].text, "Table \"Second\" has 50 rows and says that it has 7.");
  EXPECT_FALSE(findings[0].fatal);
}

TEST_P(CheckTest, AnyDamageIsSurvived) {
  std::mt19937 random(4711);
  int opened = 0, noticed = 0;
  for (int round = 0; round < 200; ++round) {
    std::string content = content_;
    const std::size_t pages = content.size() / 4096;
    for (unsigned hits = 1 + random() % 12; hits > 0; --hits) {
      const std::size_t page = 1 + random() % (pages - 1);
      // Mostly the beginnings of pages, where their structure is told.
      const std::size_t at = page * 4096 + (random() % 2 == 0 ? random() % 64 : random() % 4096);
      if (random() % 3 == 0) {
        content[at] = static_cast<char>(random());
      } else if (random() % 2 == 0) {
        content[at] = static_cast<char>(random() % pages);
      } else {
        content.replace(page * 4096, 4096, content.substr(random() % pages * 4096, 4096));
      }
    }
    MemoryFileSystem files;
    files.SetContent(kPath, content);
    try {
      const auto db = Database::Open(files, kPath, OpenMode::kRead);
      ++opened;
      const std::vector<Finding> findings = CheckDatabase(*db);
      noticed += findings.empty() ? 0 : 1;
      EXPECT_LE(findings.size(), 1000u);
    } catch (const Error& error) {
      EXPECT_EQ(error.kind(), ErrorKind::kCorrupt) << error.what();
    }
  }
  EXPECT_GT(opened, 100);
  EXPECT_GT(noticed, opened / 2);
}

}  // namespace
}  // namespace jet
