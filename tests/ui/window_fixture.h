// The real window on a display, with stand-ins for what it has done by others.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/menu.h>
#include <wx/statusbr.h>
#include <wx/toplevel.h>
#include <wx/utils.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "run/databases.h"
#include "tests/program/program_surroundings.h"
#include "tests/ui/own_registry.h"
#include "ui/main_frame.h"
#include "ui/text_wx.h"

namespace vnt::ui {

using testing::MessageStyle;
using testing::ShownMessage;

class StubServices : public WindowServices {
 public:
  std::string ChooseFile(wxWindow*, const std::string& filter) override {
    filters.push_back(filter);
    return chosen_file;
  }
  void OpenAccessDatabase() override { open ? open() : WindowServices::OpenAccessDatabase(); }
  bool Confirm(wxWindow*, const std::string& question, Answer preselected) override {
    questions.push_back(question);
    preselections.push_back(preselected);
    return confirms;
  }
  std::string ChooseNewFile(wxWindow*, const std::string&, const std::string&) override { return new_file; }
  std::optional<Comparison> ChooseComparison(wxWindow*, const std::string& first) override {
    if (comparison && comparison->first.empty()) comparison->first = first;
    return comparison;
  }
  RunRecord RunFixes(const FixSelection& selection, const Recording& recording,
                     RunObserver& observer) override {
    if (!run) return WindowServices::RunFixes(selection, recording, observer);
    RunRecord record;
    record.file = State().current_database;
    record.result = run(selection, observer);
    return record;
  }
  void ShowHelpFile(std::string_view file_name) override { help_files.emplace_back(file_name); }
  void EndProgram(int exit_code) override { ended.push_back(exit_code); }

  std::string chosen_file, new_file;
  bool confirms = true;
  std::vector<std::string> questions;
  std::vector<Answer> preselections;
  std::optional<Comparison> comparison;
  std::function<void()> open;  // the program's own when empty
  std::function<RunResult(const FixSelection&, RunObserver&)> run;
  std::vector<std::string> filters;
  std::vector<std::string> help_files;
  std::vector<int> ended;
};

// Handles what waits, for a little while: a virtual display takes its time to answer.
inline void Settle() {
  for (int round = 0; round < 12; ++round) {
    wxYield();
    wxMilliSleep(5);
  }
}

class WindowTest : public testing::ProgramSurroundings {
 protected:
  ~WindowTest() override {
    // The windows beside it hold what goes with the test.
    const wxWindowList windows = wxTopLevelWindows;
    for (wxWindow* window : windows) {
      if (window != window_ && !window->IsBeingDeleted()) window->Close(true);
    }
    if (window_) window_->Destroy();
    Settle();
    CloseDatabases();
  }

  frmMain& Window() {
    if (!window_) {
      window_ = new frmMain(services_);
      window_->ShowWindow();
      Settle();
    }
    return *window_;
  }
  // For a test in which the window closed itself.
  void Forget() { window_ = nullptr; }

  template <class Control>
  Control& Named(const std::string& name) {
    auto* control = dynamic_cast<Control*>(wxWindow::FindWindowByName(name, &Window()));
    if (control == nullptr) throw std::logic_error("no control named " + name);
    return *control;
  }
  wxCheckBox& Box(int index) { return Named<wxCheckBox>("Chkfix(" + std::to_string(index) + ")"); }
  std::string PanelText(int panel = 0) {
    return FromWx(Named<wxStatusBar>("sbStatusBar").GetStatusText(panel));
  }
  void Click(const std::string& button) {
    wxCommandEvent event(wxEVT_BUTTON, Named<wxButton>(button).GetId());
    event.SetEventObject(&Named<wxButton>(button));
    Named<wxButton>(button).Command(event);
    wxTheApp->ProcessPendingEvents();
  }
  void Choose(int menu_item) {
    Window().ProcessWindowEvent(*std::make_unique<wxCommandEvent>(wxEVT_MENU, menu_item));
    wxTheApp->ProcessPendingEvents();
  }

  StubServices services_;

 private:
  OwnRegistry registry_;
  frmMain* window_ = nullptr;
};

}  // namespace vnt::ui
