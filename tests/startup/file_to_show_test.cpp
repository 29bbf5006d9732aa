// A start that a file manager asks for shows a database, runs nothing and writes nothing.
#include "startup/file_to_show.h"

#include <chrono>
#include <fstream>

#include "access/store/database.h"
#include "run/databases.h"
#include "run/guards.h"
#include "startup/run_modes.h"
#include "tests/program/program_surroundings.h"

namespace vnt {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::MessageStyle;
using testing::ShownMessage;

// Opens as the real window does, and tells what is asked of it besides.
class OpeningWindow : public MainWindow {
 public:
  bool Automatic_Fix() override {
    asked.emplace_back("Automatic_Fix");
    return true;
  }
  void ClearDefaultselection() override { asked.emplace_back("ClearDefaultselection"); }
  void SetDatabasePanel(const std::string& text) override { panel = text; }
  void OpenFile(const std::string& path) override {
    asked.push_back("open " + path);
    OpenChosenDatabase(
        path, [] { OpenAccessDatabase(); }, [this](const std::string& text) { panel = text; });
    ReleaseDatabases();
  }
  void ShowWindow() override {}

  std::vector<std::string> asked;
  std::string panel;
};

class FileToShowTest : public testing::ProgramSurroundings, public StartUpHost {
 protected:
  ~FileToShowTest() override { CloseDatabases(); }

  MainWindow& LoadWindow() override { return window_; }

  std::string At(const std::string& name) const { return test::Utf8Of(folder_ / name); }
  static std::string Bytes(const std::string& path) {
    std::ifstream stream(test::PathOf(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  // A database with a row of vnt_ooak, or an empty one.
  std::string Make(const std::string& name, int version, int sub_version) const {
    const std::string path = At(name);
    jet::Database::Create(jet::PlatformFileSystem(), path, jet::Format::kJet4);
    db::cadodb connection;
    connection.DBName = db::Value::Text(path);
    connection.OpenADOConnection();
    connection.Cn().Execute("create table vnt_ooak (version_no short, version_no_sub short)");
    connection.Cn().Execute("insert into vnt_ooak values (" + std::to_string(version) + ", " +
                            std::to_string(sub_version) + ")");
    connection.Cn().Close();
    return path;
  }

  // The files of the folder with their content and the time of their last change.
  std::map<std::string, std::pair<std::string, testing::fs::file_time_type>> Files() const {
    std::map<std::string, std::pair<std::string, testing::fs::file_time_type>> files;
    for (const auto& entry : testing::fs::recursive_directory_iterator(folder_)) {
      if (!entry.is_regular_file()) continue;
      const std::string path = test::Utf8Of(entry.path());
      files[path] = {Bytes(path), entry.last_write_time()};
    }
    return files;
  }

  // Starts with the file named as `named`, and expects that nothing in the folder changes.
  void Start(const std::string& named) {
    SetEnvironment("VNTFIX_OPEN", named);
    const auto before = Files();
    EXPECT_EQ(StartUp("", *this), std::nullopt);
    CloseDatabases();
    EXPECT_EQ(Files(), before) << named;
  }

  OpeningWindow window_;
};

TEST_F(FileToShowTest, ADatabaseIsShownAndNotChanged) {
  const std::string path = Make("own.mdb", 7, 0);
  const std::string other = Make("other.mdb", 7, 0);
  WriteSettings("[VNTFIXV7]\nCurDatabase=" + other + "\nNtc_id=5\n");
  Start(path);
  EXPECT_THAT(window_.asked, ElementsAre("open " + path));
  EXPECT_EQ(window_.panel, path);
  EXPECT_EQ(state_.current_database, path);
  EXPECT_EQ(state_.ntc_id, 0) << "the settings name the database of the other modes";
  EXPECT_THAT(messages_.shown, IsEmpty());
}

TEST_F(FileToShowTest, WhatIsNoDatabaseIsToldAndNotChanged) {
  const std::string whole = Bytes(Make("whole.mdb", 7, 0));
  for (const std::string& content :
       {std::string("no database"), std::string(), whole.substr(0, whole.size() / 2)}) {
    WriteFile("odd.mdb", content);
    messages_.shown.clear();
    Start(At("odd.mdb"));
    EXPECT_EQ(messages_.shown.size(), 1U);
    EXPECT_EQ(state_.current_database, "");
  }
  for (const std::string& path : {At("nowhere.mdb"), At("windows")}) {
    messages_.shown.clear();
    Start(path);
    EXPECT_EQ(messages_.shown.size(), 1U) << path;
  }
  EXPECT_FALSE(testing::fs::exists(folder_ / "nowhere.mdb"));
}

// Opening would refresh its reference tables before it is refused.
TEST_F(FileToShowTest, AVersionThatOpeningRefreshesStaysUnopened) {
  const std::string path = Make("old.mdb", 5, 0);
  Start(path);
  EXPECT_THAT(window_.asked, IsEmpty());
  EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage(kOldVersionText, MessageStyle::kInformation)));

  const std::string next = Make("next.mdb", 5, 1);
  Start(next);
  EXPECT_THAT(window_.asked, ElementsAre("open " + next)) << "refused by the window itself";
}

TEST_F(FileToShowTest, AWaitingJournalStaysForTheMenu) {
  const std::string work = Make("work.mdb", 7, 0), path = At("left.mdb");
  {
    // Some systems' libraries set times by the second only, and the journal knows that of its file.
    const auto time =
        std::chrono::floor<std::chrono::seconds>(testing::fs::last_write_time(test::PathOf(work)));
    testing::fs::last_write_time(test::PathOf(work), time);
    const auto killed = jet::Database::Open(jet::PlatformFileSystem(), work, jet::OpenMode::kReadWrite);
    jet::StatementScope scope(*killed);
    killed->FindTable("vnt_ooak")->Insert({jet::Value::Integer(8), jet::Value::Integer(0)});
    scope.Commit();
    killed->Persist();
    testing::fs::copy_file(test::PathOf(work), test::PathOf(path));
    testing::fs::last_write_time(test::PathOf(path), time);
    testing::fs::copy_file(test::PathOf(work + "-vntjournal"), test::PathOf(path + "-vntjournal"));
  }
  Start(path);
  EXPECT_THAT(window_.asked, IsEmpty());
  ASSERT_EQ(messages_.shown.size(), 1U);
  EXPECT_THAT(messages_.shown[0].first,
              HasSubstr(path + "-vntjournal into it; File, Open Database does so."));
  // The menu takes it up.
  window_.OpenFile(path);
  EXPECT_EQ(state_.version_no, 8);
}

TEST_F(FileToShowTest, OnlyTheStartWithoutACommandLineLooksAtIt) {
  const std::string path = Make("own.mdb", 7, 0), settings = Make("settings.mdb", 7, 0);
  WriteSettings("[VNTFIXV7]\nCurDatabase=" + settings + "\n");
  SetEnvironment("VNTFIX_OPEN", path);
  EXPECT_EQ(StartUp("Active", *this), std::nullopt);
  EXPECT_THAT(window_.asked, IsEmpty());
  EXPECT_EQ(state_.current_database, settings);
}

TEST_F(FileToShowTest, TheNameIsMadeAbsolute) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"a b.mdb", test::Utf8Of(testing::fs::current_path() / "a b.mdb")},
      {"Active", test::Utf8Of(testing::fs::current_path() / "Active")},
      {At("x.mdb"), At("x.mdb")},
  };
  for (const auto& [named, path] : cases) {
    SetEnvironment("VNTFIX_OPEN", named);
    EXPECT_EQ(FileToShow(), path);
  }
}

}  // namespace
}  // namespace vnt
