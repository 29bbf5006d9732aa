// Empty databases: what is in them, and that making one leaves a whole file or none.
#include <gmock/gmock.h>

#include "access/base/bytes.h"
#include "access/store/file_header.h"
#include "tests/access/store/database_fixture.h"

namespace jet::testing {
namespace {

using ::testing::ElementsAre;

class CreateTest : public ::testing::TestWithParam<Format> {};

TEST_P(CreateTest, HoldsTheSystemTables) {
  OpenDatabase d(GetParam());
  const bool ace = GetParam() != Format::kJet4;
  EXPECT_EQ(d->format(), GetParam());
  std::vector<std::string> names;
  for (const CatalogEntry& entry : d->Catalog()) {
    names.push_back(entry.name);
    EXPECT_TRUE(entry.system()) << entry.name;
  }
  ASSERT_EQ(names.size(), ace ? 18u : 8u);
  names.resize(8);
  EXPECT_THAT(names, ElementsAre("Tables", "Databases", "Relationships", "MSysDb", "MSysObjects", "MSysACEs",
                                 "MSysQueries", "MSysRelationships"));
  const auto objects = d->FindTable("msysobjects");
  ASSERT_NE(objects, nullptr);
  EXPECT_EQ(objects->row_count(), d->Catalog().size());
  for (int i = 0; i < 2; ++i) EXPECT_EQ(WalkIndex(*objects, i).size(), d->Catalog().size());
  // The place of every part is that of files that the engine of Access made.
  EXPECT_EQ(objects->def().tdef_page, 2u);
  EXPECT_EQ(objects->def().indexes[0].root, 7u);
  EXPECT_EQ(objects->def().indexes[1].root, 8u);
  const int name = objects->def().FindColumn("Name");
  EXPECT_EQ(objects->def().columns[static_cast<std::size_t>(name)].sort_version,
            GetParam() >= Format::kAce14 ? 1 : 0);
  EXPECT_EQ(d->FindTable("MSysACEs")->row_count(), ace ? 36u : 16u);
  EXPECT_EQ(d->FindTable("MSysComplexType_Attachment") != nullptr, ace);
}

TEST_P(CreateTest, ExistsAlready) {
  OpenDatabase d(GetParam());
  const std::string before = d.files.Content(kFile);
  EXPECT_EQ(ErrorOf([&] { Database::Create(d.files, kFile, GetParam()); }).first, ErrorKind::kExists);
  EXPECT_EQ(d.files.Content(kFile), before);
}

// It would be taken for the journal of the new file, which could not be opened then.
TEST_P(CreateTest, NotBesideTheJournalOfAFileThatIsGone) {
  MemoryFileSystem files;
  const std::string journal = std::string(kFile) + kJournalSuffix;
  files.SetContent(journal, "of somebody");
  EXPECT_EQ(ErrorOf([&] { Database::Create(files, kFile, GetParam()); }).first, ErrorKind::kExists);
  EXPECT_FALSE(files.Exists(kFile));
  EXPECT_EQ(files.Content(journal), "of somebody");
}

TEST_P(CreateTest, AFailureLeavesNoFile) {
  std::uint64_t operations = 0;
  {
    MemoryFileSystem files;
    Database::Create(files, kFile, GetParam());
    operations = files.operations();
  }
  ASSERT_GT(operations, 2u);
  for (std::uint64_t n = 1; n <= operations; ++n) {
    MemoryFileSystem files;
    files.FailAt(n, MemoryFileSystem::Failure::kFull);
    try {
      Database::Create(files, kFile, GetParam());
    } catch (const Error&) {
      EXPECT_FALSE(files.Exists(kFile)) << n;
      continue;
    }
    ADD_FAILURE() << "operation " << n << " failed and nothing was said";
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, CreateTest,
                         ::testing::Values(Format::kJet4, Format::kAce12, Format::kAce14, Format::kAce17));

TEST(HeaderTest, NewHeadersReadBack) {
  const double created = 46347.75;
  const std::vector<std::uint8_t> page = MakeHeaderPage(GetFormatInfo(Format::kAce14), created);
  MemoryFileSystem files;
  std::string content(page.begin(), page.end());
  content.resize(3 * 4096);
  files.SetContent(kFile, content);
  const FileHeader header = ReadFileHeader(*files.Open(kFile, OpenMode::kRead), kFile);
  EXPECT_EQ(header.format->format, Format::kAce14);
  EXPECT_EQ(header.created, created);
  EXPECT_EQ(header.sort_version, 1);
  EXPECT_EQ(header.code_page, 1252);
  EXPECT_EQ(header.global_map, (RowPointer{1, 0}));
  EXPECT_FALSE(header.unfinished_write);
}

TEST(CreateTestOther, Jet3IsRefused) {
  MemoryFileSystem files;
  EXPECT_EQ(ErrorOf([&] { Database::Create(files, kFile, Format::kJet3); }).first, ErrorKind::kNotSupported);
  EXPECT_FALSE(files.Exists(kFile));
}

}  // namespace
}  // namespace jet::testing
