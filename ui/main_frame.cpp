#include "ui/main_frame.h"

#include <wx/app.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/datetime.h>
#include <wx/menu.h>
#include <wx/panel.h>
#include <wx/scrolwin.h>
#include <wx/statbox.h>
#include <wx/statusbr.h>
#include <wx/utils.h>

#include "platform/desktop.h"
#include "platform/messages.h"
#include "program/program_state.h"
#include "run/databases.h"
#include "ui/app_icon.h"
#include "ui/text_wx.h"

namespace vnt::ui {
namespace {

constexpr const char* kCaption = "Fix Electronic Notification Database V7";
constexpr const char* kOpenFilter = "Access mdb|*.mdb|Access 7.0 files accdb|*.accdb";

enum Panel : int { kDatabasePanel = 0, kDatePanel = 1, kTimePanel = 2 };

void Inform(std::string_view text) { platform::ShowMessage(text, platform::MessageStyle::kInformation); }

}  // namespace

// Shows the course of a run: the hourglass, and in the database panel which fix is running. The panel is
// painted at once, and nothing else: input waits until the run is over.
class frmMain::Progress : public RunObserver {
 public:
  explicit Progress(frmMain& window)
      : window_(window), former_text_(window.sbStatusBar->GetStatusText(kDatabasePanel)) {}
  ~Progress() override { RunEnds(); }

  void RunStarts() override { hourglass_ = std::make_unique<wxBusyCursor>(); }

  void FixStarts(const FixEntry& fix, int number, int count) override {
    Paint(wxString::Format("Fix %d of %d: %s", number, count, ToWx(fix.caption)));
  }

  void RunEnds() override {
    hourglass_.reset();
    window_.sbStatusBar->SetStatusText(former_text_, kDatabasePanel);
  }

 private:
  void Paint(const wxString& text) {
    window_.sbStatusBar->SetStatusText(text, kDatabasePanel);
    window_.sbStatusBar->Update();
  }

  frmMain& window_;
  wxString former_text_;
  std::unique_ptr<wxBusyCursor> hourglass_;
};

frmMain::frmMain(WindowServices& services)
    : wxFrame(nullptr, wxID_ANY, kCaption, wxDefaultPosition, wxDefaultSize, wxDEFAULT_FRAME_STYLE,
              "frmMain"),
      services_(services) {
  SetIcons(ProgramIcon());
  CreateMenus();
  auto* panel = new wxPanel(this);
  CreateBoxes(panel);
  CreateButtons(panel);
  CreateStatusBarPanels();
  PlaceControls(panel);
  ChooseSize(panel);
  BindEvents();
  ShowClock();
  constexpr int kSecond = 1000;
  clock_.Start(kSecond);
  Chkfix.front()->SetFocus();
}

frmMain::~frmMain() = default;

void frmMain::BindEvents() {
  Command1->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Command1_Click(); });
  Command2->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Command2_Click(); });
  Command3->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Command3_Click(); });
  cmdclear->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { cmdclear_Click(); });
  Bind(
      wxEVT_MENU, [this](wxCommandEvent&) { mnuFileOpen_Click(); }, mnuFileOpen);
  Bind(
      wxEVT_MENU, [this](wxCommandEvent&) { Close(); }, mnuFileExit);
  Bind(
      wxEVT_MENU, [this](wxCommandEvent&) { services_.ShowHelpFile("Tidyworks.chm"); }, mnuHelp);
  Bind(
      wxEVT_MENU, [](wxCommandEvent&) { Inform("The compare tool is not part of this program."); },
      mnutools_compare);
  Bind(
      wxEVT_MENU, [](wxCommandEvent&) { Inform("The page number tool is not part of this program."); },
      mnutools_page);
  Bind(wxEVT_CLOSE_WINDOW, &frmMain::OnClose, this);
  clock_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { ShowClock(); });
}

FixSelection frmMain::Selection() const {
  FixSelection selection;
  for (std::size_t index = 0; index < Chkfix.size(); ++index)
    selection.set(index, Chkfix[index]->IsChecked());
  return selection;
}

bool frmMain::Automatic_Fix() { return Command2_Click(); }

void frmMain::ClearDefaultselection() { cmdclear_Click(); }

void frmMain::SetDatabasePanel(const std::string& text) {
  sbStatusBar->SetStatusText(ToWx(text), kDatabasePanel);
}

void frmMain::ShowWindow() {
  Show();
  Raise();
}

bool frmMain::Command2_Click() {
  // A message box in the middle of a run handles input of its own.
  if (running_) return false;
  if (!ResumeDatabases()) return false;
  running_ = true;
  RunResult result;
  try {
    Progress progress(*this);
    result = services_.RunFixes(Selection(), progress);
  } catch (...) {
    running_ = false;
    throw;
  }
  running_ = false;
  const bool released = ReleaseDatabases();
  if (result.ended_early && State().current_database.empty()) SetDatabasePanel(kNoDatabaseText);
  if (!released) return false;
  if (!result.refused && !result.ended_early && IsShown()) Inform("Fix complete.");
  return !result.refused && !result.failed();
}

void frmMain::Command3_Click() {
  for (wxCheckBox* box : Chkfix) box->SetValue(true);
}

void frmMain::cmdclear_Click() {
  for (wxCheckBox* box : Chkfix) box->SetValue(false);
}

void frmMain::Command1_Click() { services_.EndProgram(0); }

void frmMain::mnuFileOpen_Click() {
  const std::string path = services_.ChooseFile(this, kOpenFilter);
  if (path.empty()) return;
  try {
    const wxBusyCursor hourglass;
    OpenChosenDatabase(
        path, [this] { services_.OpenAccessDatabase(); },
        [this](const std::string& text) { SetDatabasePanel(text); });
    ReleaseDatabases();
  } catch (const EndProgram& end) {
    services_.EndProgram(end.exit_code);
  }
}

void frmMain::OnClose(wxCloseEvent& event) {
  if (running_ && event.CanVeto()) {
    event.Veto();
    return;
  }
  // Closing changes the list of windows.
  const wxWindowList windows = wxTopLevelWindows;
  for (wxWindow* window : windows) {
    if (window != this && wxTopLevelWindows.Find(window) != nullptr) window->Close(true);
  }
  if (!IsIconized()) SavePlacement();
  Destroy();
}

Placement frmMain::PlacementInTwips() const {
  constexpr int kTwips = 15;
  const wxPoint corner = ToDIP(GetPosition());
  const wxSize size = ToDIP(GetSize());
  return {corner.x * kTwips, corner.y * kTwips, size.x * kTwips, size.y * kTwips};
}

// Written for other tools; the window itself opens at its designed place every time.
void frmMain::SavePlacement() const {
  constexpr std::string_view kSection = "Settings";
  const Placement placement = PlacementInTwips();
  platform::SaveUserSetting(kSection, "MainLeft", placement.left);
  platform::SaveUserSetting(kSection, "MainTop", placement.top);
  platform::SaveUserSetting(kSection, "MainWidth", placement.width);
  platform::SaveUserSetting(kSection, "MainHeight", placement.height);
}

void frmMain::ShowClock() {
  const wxDateTime now = wxDateTime::Now();
  const auto show = [this](const wxString& text, Panel panel) {
    if (sbStatusBar->GetStatusText(panel) != text) sbStatusBar->SetStatusText(text, panel);
  };
  show(now.FormatDate(), kDatePanel);
  show(now.Format("%H:%M"), kTimePanel);
}

}  // namespace vnt::ui
