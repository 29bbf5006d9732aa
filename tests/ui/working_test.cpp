// While a run goes on: the window paints, input goes nowhere, Escape stops the run after a question.

#include <wx/gauge.h>
#include <wx/uiaction.h>

#include <filesystem>

#include "access/base/interruption.h"
#include "access/file/file.h"
#include "compare/compare.h"
#include "run/recorded_run.h"
#include "samples/sample_database.h"
#include "tests/ui/window_fixture.h"

namespace vnt::ui {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// Long enough for the display to deliver what was typed, and for the next look at it.
void Wait() { wxMilliSleep(60); }

class WorkingTest : public WindowTest {
 protected:
  void Type(int key, int modifiers = wxMOD_NONE) { keys_.Char(key, modifiers); }
  // The simulator handles input of its own while it moves the mouse, so that is done before a run.
  void PointAt(const std::string& button) {
    const auto& control = Named<wxButton>(button);
    keys_.MouseMove(control.GetScreenPosition() + control.GetSize() / 2);
    Settle();
  }

  wxUIActionSimulator keys_;
};

TEST_F(WorkingTest, WhatIsTypedAndClickedDuringARunGoesNowhere) {
  int runs = 0;
  Window();
  Named<wxButton>("Command2").SetFocus();
  PointAt("cmdclear");
  services_.run = [&](const FixSelection&, RunObserver& observer) {
    if (++runs > 1) return RunResult();
    observer.RunStarts();
    observer.FixStarts(FixByIndex(38), 1, 2);
    // Two more runs, a tick, the menu, the end of the program.
    Type(WXK_SPACE);
    Type(WXK_SPACE);
    Type('Q', wxMOD_CONTROL);
    Type(WXK_RETURN);
    Type('F', wxMOD_ALT);
    Type('X');
    keys_.MouseClick();
    Wait();
    observer.FixAdvances(1, 0);
    Type(WXK_SPACE);
    keys_.MouseClick();
    observer.RunEnds();
    return RunResult();
  };
  Click("Command2");
  Settle();
  EXPECT_EQ(runs, 1);
  EXPECT_THAT(messages_.shown, SizeIs(1));
  EXPECT_THAT(services_.ended, IsEmpty());
  EXPECT_EQ(Window().Selection(), DefaultSelection());
  EXPECT_TRUE(Window().IsShown());
  // Afterwards it counts again.
  Named<wxButton>("Command2").SetFocus();
  Settle();
  Type(WXK_SPACE);
  Settle();
  EXPECT_EQ(runs, 2);
}

TEST_F(WorkingTest, ThrowsAwayWhatWasTypedBeforeAMessageOfTheRun) {
  // Whoever shows a message finds nothing typed ahead.
  class Reader : public platform::Messages {
   public:
    void Show(std::string_view, MessageStyle) override {
      Settle();
      ++shown;
    }
    int shown = 0;
  } reader;
  state_.platform_services.messages = &reader;
  Window();
  Box(0).SetFocus();
  Settle();
  services_.run = [&](const FixSelection&, RunObserver& observer) {
    observer.RunStarts();
    observer.FixStarts(FixByIndex(38), 1, 2);
    Type(WXK_SPACE);
    Wait();
    ShowError(db::DbError(94, "test", "Invalid use of Null"));
    observer.RunEnds();
    return RunResult();
  };
  Click("Command2");
  EXPECT_EQ(reader.shown, 2);
  EXPECT_TRUE(Box(0).IsChecked());
  state_.platform_services.messages = &messages_;
}

TEST_F(WorkingTest, TheGaugeMovesBetweenAndWithinFixes) {
  Window();
  std::vector<int> values;
  services_.run = [&](const FixSelection&, RunObserver& observer) {
    const auto& gauge = Named<wxGauge>("Progress");
    observer.RunStarts();
    EXPECT_TRUE(gauge.IsShown());
    for (int number = 1; number <= 2; ++number) {
      observer.FixStarts(FixByIndex(number == 1 ? 22 : 23), number, 2);
      values.push_back(gauge.GetValue());
      for (const int steps : {5, 5000}) {
        Wait();
        observer.FixAdvances(steps, 0);
        values.push_back(gauge.GetValue());
      }
    }
    EXPECT_EQ(gauge.GetRange(), 200);
    observer.RunEnds();
    EXPECT_FALSE(gauge.IsShown());
    return RunResult();
  };
  Click("Command2");
  ASSERT_THAT(values, SizeIs(6));
  EXPECT_TRUE(std::ranges::is_sorted(values));
  EXPECT_EQ(values[0], 0);
  EXPECT_EQ(values[3], 100) << "a finished fix is its whole share";
  EXPECT_LT(values[1], values[2]);
  EXPECT_LE(values[5], 200);
}

TEST_F(WorkingTest, MenusAreGreyedDuringARun) {
  state_.data_level = 1;
  Window();
  services_.run = [&](const FixSelection&, RunObserver&) {
    for (const std::size_t menu : {0U, 1U, 2U, 3U}) EXPECT_FALSE(Window().GetMenuBar()->IsEnabledTop(menu));
    return RunResult();
  };
  Click("Command2");
  for (const std::size_t menu : {0U, 1U, 2U, 3U}) EXPECT_TRUE(Window().GetMenuBar()->IsEnabledTop(menu));
}

// Chosen before the run, and due in it.
TEST_F(WorkingTest, WhatWasChosenBeforeARunIsDroppedInIt) {
  state_.current_database = "/data/own.mdb";
  Window();
  services_.run = [&](const FixSelection&, RunObserver& observer) {
    for (const int item : {frmMain::mnuFileUndo, frmMain::mnuFileClose, frmMain::mnuFileOpen}) {
      Window().ProcessWindowEvent(*std::make_unique<wxCommandEvent>(wxEVT_MENU, item));
    }
    wxCommandEvent again(wxEVT_BUTTON, Named<wxButton>("Command2").GetId());
    Named<wxButton>("Command2").Command(again);
    wxTheApp->ProcessPendingEvents();
    observer.RunStarts();
    observer.RunEnds();
    return RunResult();
  };
  Click("Command2");
  EXPECT_THAT(services_.questions, IsEmpty());
  EXPECT_THAT(services_.filters, IsEmpty());
  EXPECT_EQ(state_.current_database, "/data/own.mdb");
  EXPECT_THAT(messages_.shown, SizeIs(1));
}

TEST_F(WorkingTest, EscapeAsksAndNoGoesOn) {
  services_.confirms = false;
  Window();
  services_.run = [&](const FixSelection&, RunObserver& observer) {
    observer.RunStarts();
    observer.FixStarts(FixByIndex(22), 1, 1);
    Type(WXK_ESCAPE);
    Wait();
    observer.FixAdvances(1, 0);
    EXPECT_EQ(jet::interruption, 0);
    Wait();
    observer.FixAdvances(2, 0);
    observer.RunEnds();
    return RunResult();
  };
  Click("Command2");
  ASSERT_THAT(services_.questions, SizeIs(1)) << "once for a key";
  EXPECT_THAT(services_.questions.front(), HasSubstr("The fix that is running is undone"));
}

TEST_F(WorkingTest, ABackupBeforeTheRunShowsHowFarItIs) {
  state_.current_database = "/data/own.mdb";
  Window().SetDatabasePanel("/data/own.mdb");
  int painted = 0;
  services_.run = [&](const FixSelection&, RunObserver& observer) {
    const auto& gauge = Named<wxGauge>("Progress");
    observer.BackupAdvances(1, 100);
    EXPECT_EQ(PanelText(), "Backing up ...");
    EXPECT_TRUE(gauge.IsShown());
    const int first = gauge.GetValue();
    auto& list = Named<wxWindow>("FixList");
    list.Bind(wxEVT_PAINT, [&](wxPaintEvent& event) {
      ++painted;
      event.Skip();
    });
    list.Refresh();
    Wait();
    observer.BackupAdvances(60, 100);
    EXPECT_GT(gauge.GetValue(), first);
    EXPECT_EQ(gauge.GetRange(), 1000);
    observer.RunStarts();
    EXPECT_EQ(gauge.GetValue(), 0);
    observer.RunEnds();
    return RunResult();
  };
  Click("Command2");
  EXPECT_GT(painted, 0);
  EXPECT_EQ(PanelText(), "/data/own.mdb");
}

// Types Escape when the backup has come to an end of a pass.
class EscapeInBackup : public RunObserver {
 public:
  EscapeInBackup(RunObserver& inner, int pass) : inner_(inner), pass_(pass) {}
  void BackupAdvances(std::uint64_t done, std::uint64_t all) override {
    if (++passes_ == pass_) wxUIActionSimulator().Char(WXK_ESCAPE);
    Wait();
    inner_.BackupAdvances(done, all);
  }
  void RunStarts() override {
    ADD_FAILURE() << "the run began";
    inner_.RunStarts();
  }

 private:
  RunObserver& inner_;
  int pass_, passes_ = 0;
};

// Types Escape at a step of a fix.
class EscapeAt : public RunObserver {
 public:
  EscapeAt(RunObserver& inner, int fix, std::int64_t step) : inner_(inner), fix_(fix), step_(step) {}
  void RunStarts() override { inner_.RunStarts(); }
  void FixStarts(const FixEntry& fix, int number, int count) override {
    running_ = fix.index;
    inner_.FixStarts(fix, number, count);
  }
  void FixAdvances(std::int64_t steps, std::int64_t rows) override {
    if (running_ == fix_ && steps == step_) {
      wxUIActionSimulator().Char(WXK_ESCAPE);
      Wait();
    }
    inner_.FixAdvances(steps, rows);
  }
  void FixEnds(const FixResult& result) override { inner_.FixEnds(result); }
  void RunEnds() override { inner_.RunEnds(); }

 private:
  RunObserver& inner_;
  int fix_;
  std::int64_t step_;
  int running_ = -1;
};

class EscapeInRunTest : public WorkingTest {
 protected:
  EscapeInRunTest() {
    sample_ = samples::MakeSample(jet::PlatformFileSystem(), folder_.string(), {.notices = 10});
    WriteSettings("[GLOBAL]\nVeltRefdb=" + sample_.reference + "\nEmptyDBV6=" + sample_.empty_template +
                  "\n");
  }
  // A copy of the sample, open in the window.
  std::string OpenCopy(const std::string& name) {
    const std::string copy = (folder_ / name).string();
    std::filesystem::copy_file(sample_.notice, copy);
    services_.chosen_file = copy;
    Window();
    Choose(frmMain::mnuFileOpen);
    return copy;
  }
  // What differs, but for the history: its rows tell the time.
  static std::vector<std::string> Differences(const std::string& a, const std::string& b) {
    struct Names : compare::Sink {
      void EndTable(const compare::ComparedTable& table, const compare::Counts& counts) override {
        if (counts.differ() || table.differs()) names.push_back(table.name);
      }
      std::vector<std::string> names;
    } sink;
    const auto first = compare::OpenToCompare(jet::PlatformFileSystem(), a);
    const auto second = compare::OpenToCompare(jet::PlatformFileSystem(), b);
    compare::Compare(*first, *second, {}, sink);
    return sink.names;
  }

  samples::SampleFiles sample_;
};

// While it is looked through, and while it is copied.
TEST_F(EscapeInRunTest, EndsTheBackupAndThenThereIsNoRun) {
  const std::string file = OpenCopy("own.mdb");
  const std::string before = ReadFile("own.mdb");
  for (const int pass : {1, 2}) {
    services_.run = [&](const FixSelection& selection, RunObserver& observer) {
      EscapeInBackup typist(observer, pass);
      Recording recording;
      recording.backup = "";
      return RunRecorded(selection, {}, recording, typist).result;
    };
    Named<wxButton>("Command2").SetFocus();
    Click("Command2");
    EXPECT_THAT(messages_.shown, IsEmpty());
    EXPECT_THAT(services_.questions, IsEmpty());
    EXPECT_EQ(jet::interruption, 0);
    EXPECT_EQ(PanelText(), file);
    EXPECT_EQ(ReadFile("own.mdb"), before);
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      const std::string name = entry.path().filename().string();
      EXPECT_TRUE(name == "own.mdb" || !name.starts_with("own.mdb")) << name;
    }
  }
  services_.run = {};
  Click("Command2");
  EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage("Fix complete.", MessageStyle::kInformation)));
}

// The state is that after the last finished fix, and there is no history of the run.
TEST_F(EscapeInRunTest, LeavesWhatTheFinishedFixesDid) {
  for (const int stopped : {13, 22, 27, 35}) {
    messages_.shown.clear();
    services_.questions.clear();
    services_.run = [&](const FixSelection& selection, RunObserver& observer) {
      EscapeAt typist(observer, stopped, 3);
      return RunRecorded(selection, {}, {}, typist).result;
    };
    const std::string file = OpenCopy("stopped" + std::to_string(stopped) + ".mdb");
    Named<wxButton>("Command2").SetFocus();
    Click("Command2");
    ASSERT_THAT(services_.questions, SizeIs(1)) << stopped;
    ASSERT_THAT(messages_.shown, SizeIs(1)) << stopped;
    EXPECT_THAT(messages_.shown.front().first,
                HasSubstr("The work was interrupted. Undone: \"" + std::string(FixByIndex(stopped).caption)));
    EXPECT_THAT(messages_.shown.front().first, HasSubstr("No history was written."));
    EXPECT_EQ(jet::interruption, 0);

    // The finished ones alone, on another copy.
    const std::string expected = OpenCopy("expected" + std::to_string(stopped) + ".mdb");
    FixSelection finished;
    for (const FixEntry& fix : FixCatalogue()) {
      if (fix.step >= FixByIndex(stopped).step) break;
      finished.set(static_cast<std::size_t>(fix.index), fix.ticked);
    }
    RunObserver nobody;
    ASSERT_TRUE(ResumeDatabases());
    EXPECT_FALSE(RunRecorded(finished, {}, {}, nobody).result.refused);
    ReleaseDatabases();
    EXPECT_THAT(Differences(file, expected), ElementsAre("history")) << stopped;
    std::vector<std::string> from_sample = Differences(sample_.notice, file);
    EXPECT_EQ(std::ranges::count(from_sample, "history"), 0) << "no history was written";
    EXPECT_FALSE(from_sample.empty()) << "the finished ones stay";
  }
}

}  // namespace
}  // namespace vnt::ui
