// The Fix button: hourglass, progress in the status bar, and the box at the end.

#include <wx/uiaction.h>

#include "tests/ui/window_fixture.h"

namespace vnt::ui {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FixRunTest : public WindowTest {};

TEST_F(FixRunTest, ShowsProgressWithoutHandlingInput) {
  Window().SetDatabasePanel("/data/own.mdb");
  Settle();
  std::vector<std::string> panels;
  int painted = 0;
  Named<wxStatusBar>("sbStatusBar").Bind(wxEVT_PAINT, [&](wxPaintEvent& event) {
    ++painted;
    event.Skip();
  });
  services_.run = [&](const FixSelection& selection, RunObserver& observer) {
    EXPECT_EQ(selection, DefaultSelection());
    observer.RunStarts();
    EXPECT_TRUE(wxIsBusy());
    painted = 0;
    observer.FixStarts(FixByIndex(38), 1, 36);
    panels.push_back(PanelText());
    EXPECT_GT(painted, 0) << "at once";

    // A click on Clear Selection waits until the run is over, and so does closing the window.
    wxUIActionSimulator mouse;
    const auto& button = Named<wxButton>("cmdclear");
    mouse.MouseMove(button.GetScreenPosition() + button.GetSize() / 2);
    mouse.MouseClick();
    wxMilliSleep(50);
    observer.FixStarts(FixByIndex(4), 2, 36);
    panels.push_back(PanelText());
    EXPECT_TRUE(Window().Selection().any());
    EXPECT_FALSE(Window().Close());
    observer.RunEnds();
    return RunResult();
  };
  Click("Command2");
  EXPECT_THAT(panels, ElementsAre("Fix 1 of 36: 38. Allign area_no and Diag_grp",
                                  "Fix 2 of 36: 4. Fix  Action Code"));
  EXPECT_EQ(PanelText(), "/data/own.mdb");
  EXPECT_FALSE(wxIsBusy());
  EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage("Fix complete.", MessageStyle::kInformation)));
}

TEST_F(FixRunTest, ErrorsAreFollowedByFixComplete) {
  services_.run = [](const FixSelection&, RunObserver& observer) {
    observer.RunStarts();
    ShowError(db::DbError(94, "test", "Invalid use of Null"));
    platform::ShowMessage("No Database is open!", MessageStyle::kCritical);
    observer.RunEnds();
    return RunResult();
  };
  Window();
  Click("Command2");
  EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage("94 Invalid use of Null", MessageStyle::kPlain),
                                           ShownMessage("No Database is open!", MessageStyle::kCritical),
                                           ShownMessage("Fix complete.", MessageStyle::kInformation)));
}

TEST_F(FixRunTest, ASecondRunFromWithinARunIsRefused) {
  int runs = 0;
  services_.run = [&](const FixSelection&, RunObserver& observer) {
    ++runs;
    observer.RunStarts();
    // As a click does while a message box of the run is shown.
    EXPECT_FALSE(Window().Automatic_Fix());
    Click("Command2");
    observer.RunEnds();
    return RunResult();
  };
  Window();
  EXPECT_TRUE(Window().Automatic_Fix());
  EXPECT_EQ(runs, 1);
  EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage("Fix complete.", MessageStyle::kInformation)));
  EXPECT_TRUE(Window().Automatic_Fix());
  EXPECT_EQ(runs, 2);
}

TEST_F(FixRunTest, ARunThatEndsEarlyIsNotComplete) {
  state_.current_database = "/data/own.mdb";
  Window().SetDatabasePanel("/data/own.mdb");
  services_.run = [](const FixSelection&, RunObserver& observer) {
    observer.RunStarts();
    observer.FixStarts(FixByIndex(22), 1, 1);
    observer.RunEnds();
    platform::ShowMessage("The disk is full.", MessageStyle::kCritical);
    RunResult result;
    result.ended_early = true;
    return result;
  };
  EXPECT_FALSE(Window().Automatic_Fix());
  EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage("The disk is full.", MessageStyle::kCritical)));
  EXPECT_EQ(PanelText(), "/data/own.mdb");
  services_.run = [](const FixSelection&, RunObserver&) {
    State().current_database.clear();
    RunResult result;
    result.ended_early = true;
    return result;
  };
  EXPECT_FALSE(Window().Automatic_Fix());
  EXPECT_EQ(PanelText(), "no database open");
}

TEST_F(FixRunTest, NoBoxWhenRefusedOrNotShown) {
  services_.run = [](const FixSelection&, RunObserver&) {
    RunResult result;
    result.refused = true;
    return result;
  };
  Window();
  Click("Command2");
  EXPECT_FALSE(Window().Automatic_Fix());
  services_.run = [](const FixSelection&, RunObserver&) { return RunResult(); };
  Window().Hide();
  EXPECT_TRUE(Window().Automatic_Fix());
  EXPECT_THAT(messages_.shown, IsEmpty());
}

TEST_F(FixRunTest, FailureOfTheRunLeavesTheWindowUsable) {
  services_.run = [](const FixSelection&, RunObserver& observer) -> RunResult {
    observer.RunStarts();
    throw std::runtime_error("no memory");
  };
  Window().SetDatabasePanel("/data/own.mdb");
  EXPECT_THROW(Window().Automatic_Fix(), std::runtime_error);
  EXPECT_FALSE(wxIsBusy());
  EXPECT_EQ(PanelText(), "/data/own.mdb");
  services_.run = [](const FixSelection&, RunObserver&) { return RunResult(); };
  EXPECT_TRUE(Window().Automatic_Fix());
}

// The preconditions through the program's own runner.
TEST_F(FixRunTest, Preconditions) {
  Window();
  Click("Command2");
  state_.current_database = "/data/own.mdb";
  Click("Command2");
  WriteSettings("[GLOBAL]\nVeltRefdb=/data/ref.mdb\n");
  state_.read_only = true;
  Click("Command2");
  state_.read_only = false;
  Click("Command2");
  EXPECT_THAT(
      messages_.shown,
      ElementsAre(
          ShownMessage("No Database open.  Please open a database to fix.", MessageStyle::kInformation),
          ShownMessage("Cannot find veltrefdb in the kv_soft ini file", MessageStyle::kPlain),
          ShownMessage("VNTFixdb cannot fix a readonly database. ", MessageStyle::kCritical),
          ShownMessage(
              "Problem opening the velt reference database.  Please make sure it has been installed. ",
              MessageStyle::kCritical)));
}

}  // namespace
}  // namespace vnt::ui
