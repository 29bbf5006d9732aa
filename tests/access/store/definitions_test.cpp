// What is opened and what is refused, what definitions say, and that damage is an error that names its page.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "access/base/bytes.h"
#include "access/store/names.h"
#include "access/store/properties.h"
#include "access/store/tdef.h"
#include "tests/access/store/database_fixture.h"

namespace jet::testing {
namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;

// The file of an empty database, as bytes to be spoilt.
std::string EmptyFile(Format format) {
  OpenDatabase d(format);
  return d.files.Content(kFile);
}

void WalkEverything(Database& db) {
  for (const CatalogEntry& entry : db.Catalog()) {
    const std::shared_ptr<Table> table = db.FindTable(entry.name);
    if (table == nullptr) continue;
    TableCursor cursor(*table);
    Row row;
    RowId id;
    while (cursor.Next(&row, &id)) {
      for (int c = 0; c < static_cast<int>(table->def().columns.size()); ++c) row.Get(c);
    }
  }
}

TEST(Names, LetterCaseAndBlanksAtTheEndDoNotCount) {
  EXPECT_TRUE(SameName("ntc_ID  ", "NTC_id"));
  EXPECT_FALSE(SameName(" ntc_id", "ntc_id"));
  EXPECT_TRUE(
      SameName("Gr\xC3\xB6\xC3\x9F"
               "e ",
               "GR\xC3\x96\xC3\x9F"
               "E"));
  EXPECT_FALSE(
      SameName("Gr\xC3\xB6\xC3\x9F"
               "e",
               "Grosse"));
}

TEST(OpenTest, RefusesWhatItCannotHandle) {
  struct Case {
    const char* what;
    std::function<void(std::string*)> spoil;
    ErrorKind kind;
    const char* text;
  };
  const Case cases[] = {
      {"empty", [](std::string* s) { s->clear(); }, ErrorKind::kNotSupported, "is empty"},
      {"text", [](std::string* s) { *s = "no database"; }, ErrorKind::kNotSupported,
       "not an Access database"},
      {"other start", [](std::string* s) { (*s)[0] = 'M'; }, ErrorKind::kNotSupported,
       "not an Access database"},
      {"money", [](std::string* s) { s->replace(4, 15, "MSISAM Database"); }, ErrorKind::kNotSupported,
       "Money"},
      {"version", [](std::string* s) { (*s)[0x14] = 9; }, ErrorKind::kNotSupported, "format version 9"},
      // The key and password fields are masked, so any other byte means that they are not empty.
      {"key", [](std::string* s) { (*s)[0x3E] ^= 1; }, ErrorKind::kNotSupported, "encoded"},
      {"password", [](std::string* s) { (*s)[0x42] ^= 'p'; }, ErrorKind::kNotSupported, "password required"},
      {"one page", [](std::string* s) { s->resize(4096); }, ErrorKind::kCorrupt, "cut short"},
      {"half a page", [](std::string* s) { s->resize(s->size() - 100); }, ErrorKind::kCorrupt, "cut short"},
      {"map page", [](std::string* s) { (*s)[4096] = 4; }, ErrorKind::kCorrupt, "Page 1 "},
      {"catalog page", [](std::string* s) { (*s)[2 * 4096] = 1; }, ErrorKind::kCorrupt, "Page 2 "},
  };
  const std::string good = EmptyFile(Format::kJet4);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    MemoryFileSystem files;
    std::string content = good;
    c.spoil(&content);
    files.SetContent(kFile, content);
    for (const OpenMode mode : {OpenMode::kRead, OpenMode::kReadWrite}) {
      const auto [kind, text] = ErrorOf([&] { Database::Open(files, kFile, mode); });
      EXPECT_EQ(kind, c.kind);
      EXPECT_THAT(text, HasSubstr(c.text));
    }
    EXPECT_EQ(files.Content(kFile), content);
  }
}

TEST(OpenTest, LocksAndReadOnly) {
  OpenDatabase d;
  EXPECT_EQ(ErrorOf([&] { Database::Open(d.files, kFile, OpenMode::kReadWrite); }).first, ErrorKind::kLocked);
  d.db.reset();
  d.files.SetAccessUsers(kFile, "ADMIN on PC7");
  EXPECT_THAT(ErrorOf([&] { d.Open(); }).second, HasSubstr("ADMIN on PC7"));
  d.Open(OpenMode::kRead);  // reading beside Access is allowed
  EXPECT_FALSE(d->writable());
  EXPECT_EQ(ErrorOf([&] { d->CreateTable("a", {Col("b", ColumnType::kLong)}, {}); }).first,
            ErrorKind::kReadOnly);
  d.files.SetAccessUsers(kFile, "");
  d.files.SetReadOnly(kFile, true);
  EXPECT_EQ(ErrorOf([&] { d.Open(); }).first, ErrorKind::kReadOnly);
  EXPECT_EQ(ErrorOf([&] { Database::Open(d.files, "other.mdb", OpenMode::kRead); }).first,
            ErrorKind::kNotFound);
}

TEST(OpenTest, AWriteThatAccessLeftUnfinishedKeepsWritersOut) {
  OpenDatabase d;
  d.db.reset();
  std::string content = d.files.Content(kFile);
  content[0xE00 + 2 * 3] = content[0xE00 + 2 * 3 + 1] = '\0';  // the bytes of the user in slot 3
  d.files.SetContent(kFile, content);
  const auto [kind, text] = ErrorOf([&] { d.Open(); });
  EXPECT_EQ(kind, ErrorKind::kCorrupt);
  EXPECT_THAT(text, HasSubstr("in the middle of a write"));
  d.Open(OpenMode::kRead);
  EXPECT_NE(d->FindTable("MSysObjects"), nullptr);
}

// A journal that says nothing keeps nobody from reading, also where it cannot be removed.
TEST(OpenTest, AVoidJournalKeepsNoReaderOut) {
  OpenDatabase d;
  d.db.reset();
  const std::string journal = std::string(kFile) + "-vntjournal";
  d.files.SetContent(journal, std::string(4096, '\0'));
  d.files.SetReadOnly(kFile, true);
  d.Open(OpenMode::kRead);
  d.db.reset();
  d.files.SetReadOnly(kFile, false);
  d.files.SetAccessUsers(kFile, "ADMIN on PC7");
  d.Open(OpenMode::kRead);
  d.db.reset();
  d.files.SetAccessUsers(kFile, "");
  EXPECT_TRUE(d.files.Exists(journal)) << "readers write nothing";
  d.Open();
  EXPECT_FALSE(d.files.Exists(journal));
}

// A run was killed: readers see what it had saved, without a byte being written, and the next writer brings
// the file up to date.
TEST(OpenTest, AWaitingJournalIsReadThrough) {
  OpenDatabase d;
  const std::string before = d.files.Content(kFile), journal = std::string(kFile) + "-vntjournal";
  {
    StatementScope scope(*d.db);
    d->CreateTable("saved", {Col("n", ColumnType::kLong)}, {});
    scope.Commit();
  }
  d->Persist();
  const std::string saved = d.files.Content(journal);
  EXPECT_TRUE(d.files.Content(kFile) == before);
  d.files.LosePower();
  d.db.reset();
  d.files.SetReadOnly(kFile, true);
  d.Open(OpenMode::kRead);
  EXPECT_NE(d->FindTable("saved"), nullptr);
  d.db.reset();
  EXPECT_TRUE(d.files.Content(journal) == saved);
  EXPECT_TRUE(d.files.Content(kFile) == before);
  d.files.SetReadOnly(kFile, false);
  d.Open();
  EXPECT_NE(d->FindTable("saved"), nullptr);
  EXPECT_FALSE(d.files.Exists(journal));
  EXPECT_FALSE(d.files.Content(kFile) == before);
}

// However a file is reached, its journal is the one beside the file itself.
TEST(OpenTest, TheJournalOfALinkIsThatOfTheFile) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::temp_directory_path() / ("jet-link-" + std::to_string(std::random_device()()));
  fs::create_directories(folder / "links");
  const std::string file = (folder / "a.mdb").string(), link = (folder / "links" / "b.mdb").string();
  fs::create_symlink(file, link);
  FileSystem& files = PlatformFileSystem();
  Database::Create(files, file, Format::kJet4);
  std::ofstream(file + "-vntjournal", std::ios::binary) << std::string(4096, '\0');
  EXPECT_EQ(Database::Open(files, link, OpenMode::kReadWrite)->path(), link);
  EXPECT_FALSE(fs::exists(file + "-vntjournal")) << "a void journal is removed";
  fs::remove_all(folder);
}

TEST(OpenTest, OpeningAndReadingWriteNothing) {
  OpenDatabase d(Format::kAce14);
  const std::string before = d.files.Content(kFile);
  const std::uint64_t operations = d.files.operations();
  WalkEverything(*d.db);
  d->Checkpoint();
  d.db.reset();
  EXPECT_EQ(d.files.Content(kFile), before);
  EXPECT_EQ(d.files.operations(), operations);
}

TEST(DefinitionTest, DamagedDefinitionsAreErrors) {
  OpenDatabase d;
  std::vector<NewColumn> columns;
  for (int i = 0; i < 200; ++i)
    columns.push_back(Col("a column with a long name " + std::to_string(i), ColumnType::kText));
  d->CreateTable("wide", columns, {Idx("first", {columns[0].name})});
  const PageNo page = d->FindTable("wide")->def().tdef_page;
  d->Checkpoint();
  d.db.reset();
  const std::string good = d.files.Content(kFile);
  const std::size_t at = std::size_t{page} * 4096;
  struct Case {
    const char* what;
    std::size_t offset;
    std::vector<std::uint8_t> bytes;
  };
  const std::uint32_t self = page;
  const Case cases[] = {
      {"page type", 0, {4}},
      {"ring", 4, {static_cast<std::uint8_t>(self), static_cast<std::uint8_t>(self >> 8), 0, 0}},
      {"chain cut off", 4, {0, 0, 0, 0}},
      {"chain past the end", 4, {0xFF, 0xFF, 0xFF, 0x7F}},
      {"length 0", 8, {0, 0, 0, 0}},
      {"length too large", 8, {0xFF, 0xFF, 0xFF, 0xFF}},
      {"more columns ever than can be", 41, {0xFF, 0xFF}},
      {"fewer columns ever than now", 41, {1, 0}},
      {"columns", 45, {0xFF, 0xFF}},
      {"logical indexes", 47, {0xFF, 0xFF, 0xFF, 0x7F}},
      {"real indexes", 51, {0xFF, 0xFF, 0xFF, 0xFF}},
      {"column number", 63 + 12 + 5, {0xF0, 0}},
      {"column number twice", 63 + 12 + 5, {1, 0}},
      {"variable index", 63 + 12 + 7, {0xF0, 0}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::string content = good;
    std::copy(c.bytes.begin(), c.bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(at + c.offset));
    d.files.SetContent(kFile, content);
    d.Open(OpenMode::kRead);
    const auto [kind, text] = ErrorOf([&] { d->FindTable("wide"); });
    EXPECT_EQ(kind, ErrorKind::kCorrupt);
    EXPECT_THAT(text, HasSubstr("Page "));
    EXPECT_NE(d->FindTable("MSysACEs"), nullptr);  // other tables do not suffer
    d.db.reset();
  }
}

// Any byte of a definition may be wrong: then there is an error, or a definition, but nothing worse.
TEST(DefinitionTest, AnySpoiltByteIsHarmless) {
  OpenDatabase d;
  d->CreateTable(
      "t", {Col("id", ColumnType::kLong), Col("text", ColumnType::kText), Col("memo", ColumnType::kMemo)},
      {Idx("pk", {"id"}, true, true), Idx("by text", {"text", "id"})});
  const std::shared_ptr<Table> t = d->FindTable("t");
  PageRef page = d->pages().Read(t->def().tdef_page);
  const FormatInfo& format = GetFormatInfo(Format::kJet4);
  std::string stream(reinterpret_cast<const char*>(page.data()), LoadLe<std::uint32_t>(page.data() + 8));
  int errors = 0;
  for (std::size_t i = 8; i < stream.size(); ++i) {
    for (const int value : {0x00, 0x7F, 0xFF}) {
      std::string spoilt = stream;
      spoilt[i] = static_cast<char>(value);
      try {
        const Definition def = InterpretTdef(SplitTdef(spoilt, format, 9), {format, 1033, 0}, 9);
        for (const IndexDef& index : def.def.indexes) {
          for (const IndexColumn& c : index.columns) ASSERT_LT(c.column, def.def.columns.size());
        }
      } catch (const Error& e) {
        EXPECT_EQ(e.kind(), ErrorKind::kCorrupt);
        ++errors;
      }
    }
  }
  EXPECT_GT(errors, 100);
}

TEST(PropertiesTest, AddedOnesReadBackAndOldOnesStay) {
  NewColumn first = Col("first", ColumnType::kText);
  first.required = true;
  NewColumn second = Col("zw\xC3\xB6lf", ColumnType::kLong);
  second.default_value = "=12";
  const std::string one = AddColumnProperties("", first);
  const std::string both = AddColumnProperties(one, second);
  EXPECT_EQ(AddColumnProperties(both, Col("third", ColumnType::kLong)), both);

  TableDef def;
  for (const char* name : {"FIRST", "zw\xC3\xB6lf", "third"}) def.columns.emplace_back().name = name;
  ApplyProperties(both, GetFormatInfo(Format::kJet4), &def);
  EXPECT_TRUE(def.columns[0].required);
  EXPECT_EQ(def.columns[0].default_value, "");
  EXPECT_FALSE(def.columns[1].required);
  EXPECT_EQ(def.columns[1].default_value, "=12");

  for (std::size_t cut = 1; cut < both.size(); ++cut) {
    try {
      ParseProperties(both.substr(0, cut), GetFormatInfo(Format::kJet4));
    } catch (const Error& e) {
      EXPECT_EQ(e.kind(), ErrorKind::kCorrupt);
    }
  }
}

// "ResultType" counts for calculated columns alone; Access gives it to all of a table that has one.
TEST(PropertiesTest, ResultTypeIsTheTypeOfCalculatedColumns) {
  const std::string name = EncodeName("ResultType"), owner = EncodeName("c");
  const auto blob = [&](char type) {
    std::string names = std::string(1, static_cast<char>(name.size())) + '\0' + name;
    std::string chunk = std::string(1, static_cast<char>(6 + owner.size())) + std::string(3, '\0') +
                        static_cast<char>(owner.size()) + '\0' + owner +
                        std::string("\x9\0\0\x2\0\0\x1\0", 8) + type;
    return std::string("MR2\0", 4) + static_cast<char>(6 + names.size()) + std::string("\0\0\0\x80\0", 5) +
           names + static_cast<char>(6 + chunk.size()) + std::string("\0\0\0\1\0", 5) + chunk;
  };
  struct Case {
    bool calculated;
    char result;
    ColumnType type;
  };
  for (const Case& c : {Case{true, 1, ColumnType::kBoolean}, Case{true, 16, ColumnType::kDecimal},
                        Case{true, 0, ColumnType::kInteger}, Case{true, 99, ColumnType::kInteger},
                        Case{false, 1, ColumnType::kInteger}}) {
    TableDef def;
    ColumnDef& column = def.columns.emplace_back();
    column.name = "C";
    column.type = ColumnType::kInteger;
    column.calculated = c.calculated;
    ApplyProperties(blob(c.result), GetFormatInfo(Format::kJet4), &def);
    EXPECT_EQ(column.type, c.type) << static_cast<int>(c.result);
  }
}

TEST(SampleTest, EveryTableOfEverySampleReads) {
  if (std::getenv("ACCESS_SAMPLES") == nullptr) GTEST_SKIP() << "ACCESS_SAMPLES is not set";
  for (const char* folder : {"jet3", "jet4", "ace12", "ace14", "hard"}) {
    for (const auto& path : Samples(folder)) {
      SCOPED_TRACE(path.string());
      MemoryFileSystem files;
      const std::string content = ReadWhole(path);
      files.SetContent(kFile, content);
      {
        const auto db = Database::Open(files, kFile, OpenMode::kReadWrite);
        EXPECT_EQ(db->writable(), folder != std::string("jet3"));
        EXPECT_NO_THROW(WalkEverything(*db));
        for (const CatalogEntry& entry : db->Catalog()) {
          const std::shared_ptr<Table> table = db->FindTable(entry.name);
          // Forms and reports may share the name of a table, so only tables can be told by it.
          EXPECT_TRUE(entry.type != 1 || table != nullptr) << entry.name;
          if (table != nullptr && db->format() == Format::kJet3) {
            EXPECT_THAT(table->def().read_only_reason, HasSubstr("Access 97"));
          }
        }
      }
      EXPECT_EQ(files.Content(kFile), content);
    }
  }
}

TEST(SampleTest, ProtectedSamplesAreRefused) {
  if (std::getenv("ACCESS_SAMPLES") == nullptr) GTEST_SKIP() << "ACCESS_SAMPLES is not set";
  for (const auto& path : Samples("refused")) {
    SCOPED_TRACE(path.string());
    const auto [kind, text] =
        ErrorOf([&] { Database::Open(PlatformFileSystem(), path.string(), OpenMode::kRead); });
    EXPECT_EQ(kind, ErrorKind::kNotSupported);
    EXPECT_THAT(text, AnyOf(HasSubstr("encrypted"), HasSubstr("password required")));
  }
}

}  // namespace
}  // namespace jet::testing
