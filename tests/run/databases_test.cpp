// The choice of another database, and the dialect test.

#include "run/databases.h"

#include "tests/program/program_surroundings.h"

namespace vnt {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::MessageStyle;
using ::testing::Pair;
using testing::ShownMessage;

class DatabasesTest : public testing::ProgramSurroundings {
 protected:
  static std::function<void()> OpensVersion(std::int16_t version) {
    return [version] {
      State().main_connection = std::make_unique<db::cadodb>();
      State().version_no = version;
    };
  }
  // The texts that the panel gets, each with the number of messages shown before it.
  std::vector<std::pair<std::string, std::size_t>> PanelTexts(const std::string& path,
                                                              const std::function<void()>& open) {
    messages_.shown.clear();
    std::vector<std::pair<std::string, std::size_t>> texts;
    OpenChosenDatabase(path, open,
                       [&](const std::string& text) { texts.emplace_back(text, messages_.shown.size()); });
    return texts;
  }
};

TEST_F(DatabasesTest, VersionRules) {
  for (const std::int16_t refused : {4, 5, 6}) {
    EXPECT_THAT(PanelTexts("/old.mdb", OpensVersion(refused)), ElementsAre(Pair("no database open", 0)))
        << "the panel changes before the message";
    EXPECT_THAT(
        messages_.shown,
        ElementsAre(ShownMessage("This database is an old version.  Please use VNTfixV7 for Version 7 only.",
                                 MessageStyle::kCritical)));
    EXPECT_EQ(state_.current_database, "");
    EXPECT_EQ(state_.main_connection, nullptr) << "a refused file stays locked";
  }
  EXPECT_THAT(PanelTexts("/own.mdb", OpensVersion(7)), ElementsAre(Pair("/own.mdb", 0)));
  for (const std::int16_t lenient : {-1, 0, 3, 8}) {
    EXPECT_THAT(PanelTexts("/any.mdb", OpensVersion(lenient)), IsEmpty()) << lenient;
    EXPECT_EQ(state_.current_database, "/any.mdb");
    EXPECT_NE(state_.main_connection, nullptr);
  }
  EXPECT_THAT(messages_.shown, IsEmpty());
}

TEST_F(DatabasesTest, FailureKeepsTheFormerDatabase) {
  PanelTexts("/own.mdb", OpensVersion(7));
  const auto* former = state_.main_connection.get();
  const auto fails = [] { throw db::DbError(-2147467259, "engine", "The file is damaged."); };
  EXPECT_THAT(PanelTexts("/damaged.mdb", fails), IsEmpty());
  EXPECT_THAT(messages_.shown,
              ElementsAre(ShownMessage("-2147467259 The file is damaged.", MessageStyle::kPlain)));
  EXPECT_EQ(state_.current_database, "/own.mdb");
  EXPECT_EQ(state_.main_connection.get(), former);
}

// Where the error tells neither file nor remedy, what stands beside it does.
TEST_F(DatabasesTest, AnErrorOfOpeningIsExplained) {
  const struct {
    const char* description;
    bool damage;
    const char* explanation;
  } cases[] = {
      {"The file /own.mdb does not exist.", false, ""},
      {"There is not enough memory.", false, "/own.mdb was not opened."},
      {"Page 9 is damaged.", true,
       "/own.mdb was not opened. Keep a copy of it, look what vntfix check says, and let Access repair it or "
       "take a backup."},
  };
  for (const auto& [description, damage, explanation] : cases) {
    messages_.explanations.clear();
    ShowOpeningError(db::DbError(-2147467259, "engine", description, damage, damage), "/own.mdb");
    EXPECT_THAT(messages_.explanations, ElementsAre(explanation));
  }
}

TEST_F(DatabasesTest, ADamagedFileIsKnownForOne) {
  const std::string file = WriteFile("damaged.mdb", "no database at all").string();
  const auto error_of = [&](const std::string& path) {
    db::cadodb connection;
    connection.DBName = db::Value::Text(path);
    try {
      connection.OpenADOConnection();
    } catch (const db::DbError& error) {
      return error;
    }
    throw std::logic_error("it was opened");
  };
  WriteFile("cut.mdb", std::string("\0\1\0\0Standard Jet DB\0\1\0\0\0", 24) + std::string(9000, 'x'));
  EXPECT_FALSE(error_of((folder_ / "nowhere.mdb").string()).is_damage());
  EXPECT_FALSE(error_of(file).is_damage());
  EXPECT_TRUE(error_of((folder_ / "cut.mdb").string()).is_damage());
}

TEST_F(DatabasesTest, DialectFollowsTheDataSourceName) {
  EXPECT_FALSE(IsIngres()) << "nothing open";
  state_.main_connection = std::make_unique<db::cadodb>();
  EXPECT_FALSE(IsIngres()) << "no data source name";
  const std::pair<const char*, bool> cases[] = {{"TLKP-ING", true},  {"TLKD-ING", true}, {"ING", true},
                                                {"tlkp-ing", false}, {"ING ", false},    {"", false}};
  for (const auto& [name, ingres] : cases) {
    state_.main_connection->DsName = db::Value::Text(name);
    EXPECT_EQ(IsIngres(), ingres) << name;
  }
}

TEST_F(DatabasesTest, IngresErrorsShowNoMessageAndAreGivenBack) {
  SetEnvironment("ODBCSYSINI", folder_.string());
  SetEnvironment("ODBCINI", (folder_ / "odbc.ini").string());
  state_.current_database = "TLKP-ING";
  EXPECT_THAT(OpenIngresDatabase(), ::testing::HasSubstr("Data source name not found"));
  EXPECT_THAT(messages_.shown, IsEmpty());
  EXPECT_TRUE(IsIngres());
  EXPECT_THROW(MainCn().Execute("select 1"), db::DbError);
}

}  // namespace
}  // namespace vnt
