// Start-up on an Ingres name, from the settings file to the history row.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/settings.h"
#include "run/databases.h"
#include "run/fix_runner.h"
#include "startup/run_modes.h"
#include "tests/startup/ingres/notice_server.h"

namespace vnt::test {
namespace {

using ::testing::ElementsAre;

// The window that would be shown: keeps its ticks as the main window does.
class Window : public MainWindow {
 public:
  bool Automatic_Fix() override {
    ADD_FAILURE() << "no run was asked for";
    return false;
  }
  void ClearDefaultselection() override { ticks.reset(); }
  void SetDatabasePanel(const std::string& text) override { panel = text; }
  void OpenFile(const std::string&) override {}
  void ShowWindow() override { shown = true; }

  FixSelection ticks = DefaultSelection();
  std::string panel;
  bool shown = false;
};

class IngresStartUp : public ::testing::Test, public StartUpHost {
 protected:
  IngresStartUp() {
    server_.OpenServer(database_);
    before_ = server_.Read(server_.admin());
    database_.CloseAll();
    State().current_database.clear();
  }

  MainWindow& LoadWindow() override { return window_; }

  std::optional<int> Start(std::string_view command_line, std::int32_t ntc_id) {
    database_.settings.Set("VNTFIXV7", "CurDatabase", NoticeServer::kDataSource);
    database_.settings.Set("VNTFIXV7", "Ntc_id", std::to_string(ntc_id));
    return StartUp(command_line, *this);
  }

  NoticeServer& server_ = NoticeServer::Get();
  NoticeDatabase database_;
  Rows before_;
  Window window_;
};

TEST_F(IngresStartUp, RefusesTheWholeDatabase) {
  for (const std::int32_t ntc_id : {0, -5}) {
    database_.messages.shown.clear();
    EXPECT_EQ(Start("x", ntc_id), 1);
    EXPECT_THAT(database_.messages.shown,
                ElementsAre("information: VNTFixdb cannot be run on the Ingres database without specifying a "
                            "ntc_id"));
  }
  EXPECT_EQ(server_.Read(server_.admin()), before_);
}

TEST_F(IngresStartUp, UnattendedRunKeepsTheDefaultTicksAndStampsItsNotice) {
  const std::string report = database_.drive_c() + "/report.txt";
  setenv("VNTFIX_RUN_REPORT", report.c_str(), 1);
  const std::int32_t notice = server_.one_of_each_kind()[1];
  EXPECT_EQ(Start("x", notice), 1) << "some of the default fixes report errors on such a server";
  unsetenv("VNTFIX_RUN_REPORT");
  EXPECT_FALSE(window_.shown);

  std::ifstream lines(report);
  std::string line;
  std::size_t count = 0;
  bool uppercase = false;
  for (; std::getline(lines, line); ++count) {
    if (line.find("Fix Assoc Earth Station Name") != std::string::npos)
      uppercase = line.find("error") == std::string::npos;
  }
  EXPECT_EQ(count, DefaultSelection().count() + 1);
  EXPECT_TRUE(uppercase);

  const std::vector<std::string> after = server_.Read(server_.admin()).at("history");
  std::vector<std::string> added;
  std::ranges::set_difference(after, before_.at("history"), std::back_inserter(added));
  ASSERT_EQ(added.size(), 1u);
  EXPECT_THAT(added[0], ::testing::StartsWith(std::to_string(notice) + "|"));
  EXPECT_THAT(added[0], ::testing::HasSubstr("|" + platform::GetOperatorName() + "|"));
  EXPECT_EQ(after.size(), before_.at("history").size() + 1);
}

TEST_F(IngresStartUp, ShownWindowHasNoTicks) {
  const std::int32_t notice = server_.one_of_each_kind()[2];
  EXPECT_EQ(Start("Active", notice), std::nullopt);
  EXPECT_TRUE(window_.shown);
  EXPECT_TRUE(window_.ticks.none());
  EXPECT_EQ(window_.panel, "TLKP-ING - Ntc_id: " + std::to_string(notice));
  EXPECT_TRUE(IsIngres());
  // What the user ticks then runs.
  RunObserver observer;
  const RunResult result = RunFixes(FixSelection().set(15), observer);
  EXPECT_FALSE(result.failed());
  EXPECT_EQ(result.fixes[0].rows, 2) << "notice and com_el";
  EXPECT_TRUE(CloseDatabases());
}

}  // namespace
}  // namespace vnt::test
