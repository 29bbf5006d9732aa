// The main window. Its controls keep the names that the program's documents use for them.
//
//   +-- File  View  Tools  Help ------------------------------------+
//   | Frame1: Chkfix(0..39) in three columns, under the last one     |
//   |         hint_ (scrolls when the screen is too small)           |
//   | Command3 "Select All"  cmdclear  cmdPreview Command2 Command1  |
//   +-- sbStatusBar: database, or the run | scope | date | time -----+
//
// The window holds no rules of its own: what it opens and runs is done by WindowServices, the version rules
// of File, Open are OpenChosenDatabase's, the catalogue tells the boxes' texts, places and default ticks.
#pragma once

#include <wx/frame.h>
#include <wx/timer.h>
#include <wx/weakref.h>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "run/fix_runner.h"
#include "startup/run_modes.h"
#include "ui/fix_hint.h"
#include "ui/run_progress.h"
#include "ui/user_choices.h"
#include "ui/window_services.h"

class wxBusyCursor;
class wxButton;
class wxCheckBox;
class wxGauge;
class wxMenu;
class wxPanel;
class wxScrolledWindow;
class wxSizer;
class wxStaticBox;
class wxStatusBar;

namespace vnt::ui {

// Left, top, width and height of a window in twips, of which a toolkit unit (1/96 inch) has fifteen.
struct Placement {
  int left = 0, top = 0, width = 0, height = 0;
};

class frmMain : public wxFrame, public MainWindow {
 public:
  // Loads the window without showing it. `services` must outlive it.
  explicit frmMain(WindowServices& services);
  ~frmMain() override;

  bool Automatic_Fix() override;
  void ClearDefaultselection() override;
  void SetDatabasePanel(const std::string& text) override;
  void OpenFile(const std::string& path) override;
  void ShowWindow() override;

  FixSelection Selection() const;
  Placement PlacementInTwips() const;

  enum MenuId : int {
    mnuFileOpen = wxID_OPEN,
    mnuFileExit = wxID_EXIT,
    mnuHelp = wxID_HELP,
    mnutools_compare = wxID_HIGHEST + 1,
    mnutools_page,
    mnuFileRecent,
    mnuFileBackUp,
    mnuFileUndo,
    mnuViewLastRun,
    mnuFileRecentFirst,
    mnuFileRecentLast = mnuFileRecentFirst + kRecentFiles - 1,
    mnuFileClose = wxID_CLOSE,
  };

 private:
  class Working;
  class Busy;
  class FileDrop;

  void CreateMenus();
  void CreateBoxes(wxPanel* panel);
  void CreateButtons(wxPanel* panel);
  void CreateStatusBarPanels();
  void PlaceControls(wxPanel* panel);
  wxSizer* PlaceBoxes();
  wxSizer* PlaceButtons();
  void ChooseSize(wxPanel* panel);
  void BindEvents();

  bool Command2_Click();
  void Command3_Click();
  void cmdclear_Click();
  void Command1_Click();
  void cmdPreview_Click();
  void mnuFileOpen_Click();
  void mnuFileClose_Click();
  void mnuFileUndo_Click();
  void mnutools_compare_Click();
  void ShowRecentFiles();
  void ShowScope();
  void ShowLastRun();
  void LeaveFixButton();
  void SaveFound(compare::DifferenceStore& differences, const compare::DiffNames& names,
                 const std::string& path);
  RunProgress::Parts ProgressParts(const char* verb, std::function<void()> run_ends);
  // Paints and moves the gauge while files are gone through; Escape ends that.
  ComparisonProgress Watch();
  void ShowFailure(const db::DbError& error);
  void OnClose(wxCloseEvent& event);
  void SavePlacement() const;
  void ShowClock();

  WindowServices& services_;

  wxScrolledWindow* scroller_ = nullptr;
  wxStaticBox* Frame1 = nullptr;
  std::array<wxCheckBox*, kFixCount> Chkfix{};
  FixHint* hint_ = nullptr;
  wxButton* Command1 = nullptr;
  wxButton* Command2 = nullptr;
  wxButton* Command3 = nullptr;
  wxButton* cmdclear = nullptr;
  wxButton* cmdPreview = nullptr;
  wxMenu* recent_ = nullptr;
  wxMenu* tools_ = nullptr;
  wxStatusBar* sbStatusBar = nullptr;
  wxGauge* gauge_ = nullptr;  // on the status bar, while a run goes on
  wxTimer Timer1;             // by design on the window; nothing is attached to it
  wxTimer clock_;
  bool running_ = false;
  std::optional<RunRecord> last_run_;
  wxWeakRef<wxFrame> last_run_window_;
};

}  // namespace vnt::ui
