// Start-up as a sequence of calls: what is opened, what is shown, which status the process ends with.

#include "startup/run_modes.h"
#include "access/file/file.h"
#include "db/services.h"
#include "platform/in_force.h"

#include "db/provider.h"
#include "tests/program/program_surroundings.h"

namespace vnt {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::MessageStyle;
using testing::ShownMessage;

class StubWindow : public MainWindow {
 public:
  explicit StubWindow(std::vector<std::string>& calls, bool succeeds = true)
      : calls_(calls), succeeds_(succeeds) {}
  bool Automatic_Fix() override {
    calls_.emplace_back("Automatic_Fix");
    return succeeds_;
  }
  void ClearDefaultselection() override { calls_.emplace_back("ClearDefaultselection"); }
  void SetDatabasePanel(const std::string& text) override { calls_.push_back("panel " + text); }
  void OpenFile(const std::string& path) override { calls_.push_back("open file " + path); }
  void ShowWindow() override { calls_.emplace_back("show"); }

 private:
  std::vector<std::string>& calls_;
  bool succeeds_;
};

class RunModesTest : public testing::ProgramSurroundings, public StartUpHost {
 protected:
  void OpenAccessDatabase() override {
    calls_.push_back("open Access " + State().current_database);
    if (open) open();
  }
  std::string OpenIngresDatabase() override {
    calls_.push_back("open Ingres " + State().current_database);
    return driver_words;
  }
  void Tell(const std::string& line) override { told.push_back(line); }
  std::unique_ptr<MainWindow> LoadUnshownWindow() override {
    calls_.emplace_back("load unshown");
    if (run_window) return StartUpHost::LoadUnshownWindow();
    return std::make_unique<StubWindow>(calls_, run_succeeds);
  }
  MainWindow& LoadWindow() override {
    calls_.push_back("load, data level " + std::to_string(State().data_level));
    return window_;
  }

  std::function<void()> open;
  bool run_succeeds = true;
  bool run_window = false;  // the program's own
  std::string driver_words;
  std::vector<std::string> told;
  std::vector<std::string> calls_;
  StubWindow window_{calls_};
};

TEST_F(RunModesTest, ModeOfTheCommandLine) {
  const std::pair<const char*, RunMode> cases[] = {
      {"", RunMode::kInteractive},
      {" ", RunMode::kUnattended},
      {"x", RunMode::kUnattended},
      {"active", RunMode::kUnattended},
      {"ACTIVE", RunMode::kUnattended},
      {"Active", RunMode::kPreparedInteractive},
      {"x InActive", RunMode::kPreparedInteractive},
      {"/xActivex y", RunMode::kPreparedInteractive},
  };
  for (const auto& [line, mode] : cases) EXPECT_EQ(RunModeOf(line), mode) << line;
}

TEST_F(RunModesTest, InteractiveReadsNoDatabase) {
  WriteSettings("[VNTFIXV7]\nCurDatabase=/x.mdb\nNtc_id=5\n[GLOBAL]\nDataLevel=2\n");
  state_.ntc_id = 9;
  EXPECT_EQ(StartUp("", *this), std::nullopt);
  EXPECT_THAT(calls_, ElementsAre("load, data level 2", "panel ", "show"));
  EXPECT_EQ(state_.ntc_id, 0);
  EXPECT_EQ(state_.current_database, "");
  EXPECT_FALSE(state_.active);
}

TEST_F(RunModesTest, PreparedInteractive) {
  WriteSettings("[VNTFIXV7]\nCurDatabase=/data/x.mdb\nNtc_id=1234\n");
  WriteFile("windows/WIN.INI", "[intl]\nsDate=.\n");
  EXPECT_EQ(StartUp("/Active", *this), std::nullopt);
  EXPECT_THAT(calls_, ElementsAre("open Access /data/x.mdb", "load, data level 0",
                                  "panel /data/x.mdb - Ntc_id: 1234", "show"));
  EXPECT_TRUE(state_.active);
  EXPECT_EQ(state_.date_separator, ".");
}

TEST_F(RunModesTest, PreparedIngresUnticksAllBoxes) {
  WriteSettings("[VNTFIXV7]\nCurDatabase=TLKP-ING\nNtc_id=1234\n[GLOBAL]\nDataLevel=100000\n");
  EXPECT_EQ(StartUp("Active", *this), std::nullopt);
  EXPECT_THAT(calls_, ElementsAre("open Ingres TLKP-ING", "load, data level 32767",
                                  "panel TLKP-ING - Ntc_id: 1234", "ClearDefaultselection", "show"));
}

TEST_F(RunModesTest, Unattended) {
  WriteSettings("[VNTFIXV7]\nCurDatabase=/data/x.mdb\n[GLOBAL]\nDataLevel=2\n");
  EXPECT_EQ(StartUp("x", *this), 0);
  EXPECT_THAT(calls_, ElementsAre("open Access /data/x.mdb", "load unshown", "Automatic_Fix"));
  EXPECT_THAT(told, ElementsAre("fixing /data/x.mdb, all notices."));
  EXPECT_EQ(state_.data_level, 0) << "the data level is read in the modes that show the window";

  calls_.clear();
  run_succeeds = false;
  EXPECT_EQ(StartUp("x", *this), 1);
}

// What the run did becomes durable when the connections close, and that can fail.
TEST_F(RunModesTest, UnattendedRunFailsWhenClosingFails) {
  class FullDisk : public db::ProviderConnection {
    std::int64_t Execute(std::string_view, const std::vector<db::Value>&) override { return 0; }
    std::unique_ptr<db::ProviderRecordset> OpenRecordset(std::string_view, db::CursorType,
                                                         db::LockType) override {
      return nullptr;
    }
    void Checkpoint() override { throw db::DbError(-2147467259, "engine", "The disk is full.", true); }
  };
  WriteSettings("[VNTFIXV7]\nCurDatabase=/data/x.mdb\n");
  open = [] {
    auto& provider = platform::InForce<db::Services>().provider;
    provider = [](const std::string&) { return std::make_shared<FullDisk>(); };
    State().main_connection = std::make_unique<db::cadodb>();
    State().main_connection->DBName = db::Value::Text("/data/x.mdb");
    State().main_connection->OpenADOConnection();
    provider = {};
  };
  EXPECT_EQ(StartUp("x", *this), 1);
  EXPECT_THAT(calls_, ElementsAre("open Access /data/x.mdb", "load unshown", "Automatic_Fix"));
  EXPECT_THAT(messages_.shown,
              ElementsAre(ShownMessage("-2147467259 The disk is full.", MessageStyle::kPlain)));
}

TEST_F(RunModesTest, ConventionalWordsAlone) {
  EXPECT_EQ(ConventionalAnswer("--version"), "VNTFixdb 7.0.0");
  ASSERT_TRUE(ConventionalAnswer("--help"));
  EXPECT_EQ(ConventionalAnswer("--help"), ConventionalAnswer("-h"));
  for (const char* word : {"CurDatabase", "Ntc_id", "Backup=1", "Quiet=1", "VNTFIX_RUN_REPORT"}) {
    EXPECT_THAT(*ConventionalAnswer("-h"), ::testing::HasSubstr(word));
  }
  for (const char* line : {"", "x", "--help x", " --help", "-H", "help", "--versions", "Active --help"}) {
    EXPECT_FALSE(ConventionalAnswer(line)) << line;
  }
}

TEST_F(RunModesTest, QuietKeepsBoxesAway) {
#ifndef _WIN32
  SetEnvironment("DISPLAY", ":9");
  SetEnvironment("WAYLAND_DISPLAY", "");
  const std::pair<const char*, bool> cases[] = {{"", true}, {"Quiet=0\n", true}, {"Quiet=1\n", false}};
  for (const auto& [line, may] : cases) {
    WriteSettings("[VNTFIXV7]\n" + std::string(line));
    EXPECT_EQ(BoxesMayShow(), may) << line;
  }
  WriteSettings("");
  SetEnvironment("DISPLAY", "");
  EXPECT_FALSE(BoxesMayShow());
#endif
}

TEST_F(RunModesTest, DriverWordsAreToldOnceAndReported) {
  WriteSettings("[VNTFIXV7]\nCurDatabase=TLKD-ING\nNtc_id=7\n");
  SetEnvironment("VNTFIX_RUN_REPORT", (folder_ / "report").string());
  driver_words = "Connection refused";
  EXPECT_EQ(StartUp("x", *this), 0);
  EXPECT_THAT(told,
              ElementsAre("TLKD-ING cannot be reached: Connection refused", "fixing TLKD-ING, notice 7."));
  EXPECT_EQ(ReadFile("report"), "TLKD-ING cannot be reached: Connection refused\n");
  EXPECT_THAT(messages_.shown, IsEmpty());
}

TEST_F(RunModesTest, DriverWordsStandInAJsonReportOnce) {
  WriteSettings("[VNTFIXV7]\nCurDatabase=TLKD-ING\nNtc_id=7\n[GLOBAL]\nVeltRefdb=/x.mdb\n");
  SetEnvironment("VNTFIX_RUN_REPORT", (folder_ / "report.json").string());
  driver_words = "Connection \"refused\"";
  run_window = true;
  EXPECT_EQ(StartUp("x", *this), 1);
  const std::string report = ReadFile("report.json");
  EXPECT_THAT(report, ::testing::HasSubstr("\n  \"source_fault\": \"Connection \\\"refused\\\"\",\n"));
  EXPECT_EQ(report.find("refused\\\""), report.rfind("refused\\\""));
  // And not in that of a database which was reached.
  driver_words.clear();
  EXPECT_EQ(StartUp("x", *this), 1);
  EXPECT_THAT(ReadFile("report.json"), ::testing::HasSubstr("\"source_fault\": null"));
}

// A report of a former run stays where no other can be written. A run that is killed leaves one that says so.
TEST_F(RunModesTest, AReportThatCannotBeWrittenIsToldAndTheFormerOneStays) {
  WriteSettings("[VNTFIXV7]\nCurDatabase=/data/x.mdb\n");
  for (const char* name : {"report", "report.json"}) {
    SCOPED_TRACE(name);
    told.clear();
    WriteFile(name, "of a former run");
    SetEnvironment("VNTFIX_RUN_REPORT", (folder_ / name).string());
    std::string meanwhile;
    open = [&] {
      meanwhile = ReadFile(name);
      throw db::DbError(-2147467259, "engine", "The file '/data/x.mdb' does not exist.");
    };
    // Somebody is writing to it.
    auto held = jet::PlatformFileSystem().Open((folder_ / name).string(), jet::OpenMode::kReadWrite);
    EXPECT_EQ(StartUp("x", *this), 1);
    EXPECT_EQ(meanwhile, "of a former run");
    EXPECT_EQ(ReadFile(name), "of a former run");
    EXPECT_THAT(told, ElementsAre("The report " + (folder_ / name).string() + " cannot be written."));
    held.reset();
    told.clear();
    EXPECT_EQ(StartUp("x", *this), 1);
    if (name == std::string("report")) {
      EXPECT_THAT(meanwhile, ::testing::HasSubstr("has not ended."));
    } else {
      EXPECT_THAT(meanwhile, ::testing::HasSubstr("\"outcome\": \"running\""));
      EXPECT_THAT(meanwhile, ::testing::HasSubstr("\"file\": \"/data/x.mdb\""));
      EXPECT_THAT(meanwhile, ::testing::Not(::testing::HasSubstr("\"ended\"")));
    }
    EXPECT_NE(ReadFile(name), meanwhile);
    EXPECT_NE(ReadFile(name), "of a former run");
    EXPECT_THAT(told, IsEmpty());
  }
}

// Whatever became of the run: whoever waits for the report would take an old one for its.
TEST_F(RunModesTest, ARunWhoseReportCannotBeWrittenIsNoSuccess) {
  WriteSettings("[VNTFIXV7]\nCurDatabase=/data/x.mdb\n");
  for (const auto& [name, status] : {std::pair("missing/report", 1), std::pair("report", 0)}) {
    told.clear();
    SetEnvironment("VNTFIX_RUN_REPORT", (folder_ / name).string());
    EXPECT_EQ(StartUp("x", *this), status) << name;
    EXPECT_EQ(std::ranges::count(told, "The report " + (folder_ / name).string() + " cannot be written."),
              status);
    EXPECT_EQ(calls_.back(), "Automatic_Fix");
  }
}

// Its meaning is settled, so what it is read as is said.
TEST_F(RunModesTest, ANoticeNumberThatIsNoneIsToldAndReported) {
  const std::pair<const char*, const char*> cases[] = {
      {"", nullptr},
      {"0", nullptr},
      {"7", nullptr},
      {" 007 ", nullptr},
      {"+7", nullptr},
      {"\"7\"", nullptr},
      {"abc",
       "\"abc\" of KV_SOFT.ini is no number of a notice; it is read as 0, which stands for all notices."},
      {"-5",
       "\"-5\" of KV_SOFT.ini is no number of a notice; it is read as -5, which stands for all notices."},
      {"1O0", "\"1O0\" of KV_SOFT.ini is no number of a notice; it is read as 1."},
      {"7 8", "\"7 8\" of KV_SOFT.ini is no number of a notice; it is read as 7."},
      {"4294967303", "\"4294967303\" of KV_SOFT.ini is no number of a notice; it is read as 7."},
  };
  for (const auto& [value, sentence] : cases) {
    SCOPED_TRACE(value);
    WriteSettings("[VNTFIXV7]\nCurDatabase=/data/x.mdb\nNtc_id=" + std::string(value) + "\n");
    for (const char* name : {"report", "report.json"}) {
      told.clear();
      run_window = name == std::string("report.json");
      SetEnvironment("VNTFIX_RUN_REPORT", (folder_ / name).string());
      const auto status = StartUp("x", *this);
      const std::string report = ReadFile(name);
      const bool as_meant = sentence == nullptr && !run_window;  // the program's own is refused here
      EXPECT_EQ(status, as_meant ? 0 : 1);
      if (sentence == nullptr) {
        EXPECT_EQ(told.size(), 1U);
        EXPECT_EQ(report.find("Ntc_id"), std::string::npos);
        continue;
      }
      ASSERT_EQ(told.size(), 2U);
      EXPECT_EQ(told[0], "The Ntc_id " + std::string(sentence));
      if (run_window) {
        EXPECT_THAT(report, ::testing::HasSubstr("\"setting_fault\": \"The Ntc_id "));
      } else {
        EXPECT_THAT(report, ::testing::HasSubstr("The Ntc_id " + std::string(sentence) + "\n"));
      }
    }
    // In the window its scope is seen.
    told.clear();
    StartUp("Active", *this);
    EXPECT_THAT(told, IsEmpty());
  }
}

TEST_F(RunModesTest, NoReportIsWrittenOverADatabase) {
  const std::string content = std::string("\0\1\0\0Standard Jet DB", 19) + std::string(100, 'x');
  WriteFile("own.mdb", content);
  WriteSettings("[VNTFIXV7]\nCurDatabase=/data/x.mdb\n");
  for (const char* name : {"own.mdb", "own.json"}) {
    WriteFile(name, content);
    SetEnvironment("VNTFIX_RUN_REPORT", (folder_ / name).string());
    told.clear();
    EXPECT_EQ(StartUp("x", *this), 1);
    EXPECT_EQ(ReadFile(name), content);
    EXPECT_EQ(std::ranges::count(told, "The report " + (folder_ / name).string() +
                                           " would overwrite a database. It is not written."),
              1);
  }
}

TEST_F(RunModesTest, UnattendedIngresKeepsTheDefaultTicks) {
  WriteSettings("[VNTFIXV7]\nCurDatabase=TLKD-ING\nNtc_id=7\n");
  EXPECT_EQ(StartUp("x", *this), 0);
  EXPECT_THAT(calls_, ElementsAre("open Ingres TLKD-ING", "load unshown", "Automatic_Fix"));
}

struct Refusal {
  const char* command_line;
  const char* settings;
  const char* message;
};

TEST_F(RunModesTest, Refusals) {
  const char* no_database = "No database specified.";
  const char* no_notice = "VNTFixdb cannot be run on the Ingres database without specifying a ntc_id";
  const Refusal cases[] = {
      {"x", "", no_database},
      {"Active", "[VNTFIXV7]\nNtc_id=3\n", no_database},
      {"x", "[VNTFIXV7]\nCurDatabase=TLKP-ING\n", no_notice},
      {"Active", "[VNTFIXV7]\nCurDatabase=TLKD-ING\nNtc_id=-1\n", no_notice},
  };
  for (const Refusal& refusal : cases) {
    WriteSettings(refusal.settings);
    messages_.shown.clear();
    state_.current_database.clear();
    EXPECT_EQ(StartUp(refusal.command_line, *this), 1);
    EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage(refusal.message, MessageStyle::kInformation)));
    EXPECT_EQ(messages_.explanations.back(),
              refusal.message == no_database ? platform::WhereSettingIs("VNTFIXV7", "CurDatabase") : "");
    EXPECT_THAT(calls_, IsEmpty());
  }
}

TEST_F(RunModesTest, IngresNamesAreExact) {
  WriteSettings("[VNTFIXV7]\nCurDatabase=tlkp-ing\n");
  EXPECT_EQ(StartUp("x", *this), 0);
  EXPECT_EQ(calls_.front(), "open Access tlkp-ing");
}

TEST_F(RunModesTest, OpeningThatEndsTheProgram) {
  WriteSettings("[VNTFIXV7]\nCurDatabase=/x.mdb\n");
  open = [] { throw db::DbError(-2147467259, "engine", "The file '/x.mdb' does not exist."); };
  EXPECT_EQ(StartUp("x", *this), 1);
  EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage("-2147467259 The file '/x.mdb' does not exist.",
                                                        MessageStyle::kPlain)));
  open = [] { throw EndProgram{5}; };
  EXPECT_EQ(StartUp("Active", *this), 5);
  EXPECT_THAT(calls_, ElementsAre("open Access /x.mdb", "open Access /x.mdb"));
}

}  // namespace
}  // namespace vnt
