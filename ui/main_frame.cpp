#include "ui/main_frame.h"

#include <wx/app.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/datetime.h>
#include <wx/dnd.h>
#include <wx/gauge.h>
#include <wx/menu.h>
#include <wx/panel.h>
#include <wx/scrolwin.h>
#include <wx/statbox.h>
#include <wx/statusbr.h>
#include <wx/utils.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "access/base/interruption.h"
#include "db/services.h"
#include "platform/desktop.h"
#include "platform/messages.h"
#include "program/program_state.h"
#include "run/backup.h"
#include "run/databases.h"
#include "startup/run_messages.h"
#include "ui/app_icon.h"
#include "ui/asked_to_end.h"
#include "ui/button_later.h"
#include "ui/compare_frame.h"
#include "ui/report_frame.h"
#include "ui/status_text.h"
#include "ui/text_wx.h"
#include "ui/typed_ahead.h"

namespace vnt::ui {
namespace {

constexpr const char* kCaption = "Fix Electronic Notification Database V7";

// A greyed item is never chosen, so its help would never show: it does while the menu is open.
constexpr const char* kPageNoHelp = "Add Page No to Groups: this tool is not part of this program.";

void Inform(std::string_view text) { platform::ShowMessage(text, platform::MessageStyle::kInformation); }
void Alarm(std::string_view text) { platform::ShowMessage(text, platform::MessageStyle::kCritical); }

std::string StopQuestion() {
  std::string question = "Stop this run?";
  question += IsIngresSource(State().current_database)
                  ? " What the fix that is running has executed stays in the data source."
                  : " The fix that is running is undone, the finished ones stay.";
  return question + " No history is written.";
}

}  // namespace

// The window does one thing at a time. What is typed and clicked meanwhile is thrown away, menus are greyed.
class frmMain::Working {
 public:
  explicit Working(frmMain& window) : window_(window) {
    window_.running_ = true;
    const wxMenuBar& bar = *window_.GetMenuBar();
    for (std::size_t i = 0; i < bar.GetMenuCount(); ++i) enabled_.push_back(bar.IsEnabledTop(i));
    for (std::size_t i = 0; i < enabled_.size(); ++i) window_.GetMenuBar()->EnableTop(i, false);
  }
  ~Working() {
    ServePaintingOnly();
    for (std::size_t i = 0; i < enabled_.size(); ++i) window_.GetMenuBar()->EnableTop(i, enabled_[i]);
    window_.running_ = false;
  }
  Working(const Working&) = delete;
  Working& operator=(const Working&) = delete;

 private:
  frmMain& window_;
  std::vector<bool> enabled_;
};

// The gauge and the hourglass while files are gone through, and what is done with them.
class frmMain::Busy {
 public:
  Busy(frmMain& window, const char* doing) : progress_(window.ProgressParts("", [] {})) {
    ShowStatus(*window.sbStatusBar, doing, kDatabasePanel);
    progress_.RunStarts();
  }

 private:
  RunProgress progress_;
};

// A database that is dropped on the window is opened.
class frmMain::FileDrop : public wxFileDropTarget {
 public:
  explicit FileDrop(frmMain& window) : window_(window) {}
  bool OnDropFiles(wxCoord, wxCoord, const wxArrayString& files) override {
    if (window_.running_ || files.size() != 1) return false;
    const std::string path = FromWx(files[0]);
    // After the drop: the program that it came from waits for its end.
    window_.CallAfter([this, path] { window_.OpenFile(path); });
    return true;
  }

 private:
  frmMain& window_;
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
  SetDropTarget(new FileDrop(*this));
  ShowRecentFiles();
  ShowClock();
  constexpr int kSecond = 1000;
  clock_.Start(kSecond);
  Chkfix.front()->SetFocus();
}

frmMain::~frmMain() = default;

void frmMain::BindEvents() {
  Command1->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Command1_Click(); });
  BindLater(*Command2, [this] { Command2_Click(); });
  Command3->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Command3_Click(); });
  cmdclear->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { cmdclear_Click(); });
  // When the press is over, as with the buttons; what a run that was begun meanwhile would meet is dropped.
  const auto later = [this](std::function<void()> action) {
    CallAfter([this, action = std::move(action)] {
      if (!running_) action();
    });
  };
  const auto choose = [this, later](int item, std::function<void()> action) {
    Bind(
        wxEVT_MENU, [later, action = std::move(action)](wxCommandEvent&) { later(action); }, item);
  };
  BindLater(*cmdPreview, [this] { cmdPreview_Click(); });
  choose(mnuFileOpen, [this] { mnuFileOpen_Click(); });
  choose(mnuFileClose, [this] { mnuFileClose_Click(); });
  choose(mnuFileUndo, [this] { mnuFileUndo_Click(); });
  choose(mnuFileExit, [this] { Close(); });
  choose(mnuViewLastRun, [this] { ShowLastRun(); });
  choose(mnutools_compare, [this] { mnutools_compare_Click(); });
  choose(mnuHelp, [this] { services_.ShowHelpFile("Tidyworks.chm"); });
  Bind(
      wxEVT_MENU, [](wxCommandEvent& event) { SaveBackUpBeforeFixing(event.IsChecked()); }, mnuFileBackUp);
  Bind(
      wxEVT_MENU,
      [this, later](wxCommandEvent& event) {
        const std::vector<std::string> files = RecentFiles();
        const auto number = static_cast<std::size_t>(event.GetId() - mnuFileRecentFirst);
        if (number < files.size()) later([this, file = files[number]] { OpenFile(file); });
      },
      mnuFileRecentFirst, mnuFileRecentLast);
  Bind(wxEVT_MENU_OPEN, [this](wxMenuEvent& event) {
    event.Skip();
    if (event.GetMenu() == tools_) sbStatusBar->PushStatusText(ToWx(kPageNoHelp), kDatabasePanel);
  });
  Bind(wxEVT_MENU_CLOSE, [this](wxMenuEvent& event) {
    event.Skip();
    if (event.GetMenu() == tools_) sbStatusBar->PopStatusText(kDatabasePanel);
  });
  sbStatusBar->Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
    gauge_->Hide();  // its place is told anew when the next run starts
    event.Skip();
  });
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
  ShowStatus(*sbStatusBar, ToWx(text), kDatabasePanel);
  ShowScope();
}

void frmMain::ShowScope() {
  const std::int32_t notice = State().ntc_id;
  const std::string scope = notice > 0 ? "notice " + std::to_string(notice) : "all notices";
  ShowStatus(*sbStatusBar, ToWx(scope), kScopePanel);
}

void frmMain::ShowWindow() {
  Show();
  Raise();
}

RunProgress::Parts frmMain::ProgressParts(const char* verb, std::function<void()> run_ends) {
  return {sbStatusBar,
          kDatabasePanel,
          gauge_,
          verb,
          [this] { return services_.Confirm(this, StopQuestion()); },
          std::move(run_ends)};
}

bool frmMain::Command2_Click() {
  // A message box in the middle of a run handles input of its own.
  if (running_) return false;
  if (!ResumeDatabases()) return false;
  Recording recording;
  if (BackUpBeforeFixing()) recording.backup = "";
  RunRecord record;
  bool released = false;
  {
    const Working working(*this);
    std::optional<RunMessages> messages;
    RunProgress progress(ProgressParts("Fix", [&] { messages->RunEnds(); }));
    messages.emplace([&] { progress.Discard(); });
    try {
      record = services_.RunFixes(Selection(), recording, progress);
    } catch (const db::DbError& error) {
      if (!recording.backup) throw;
      progress.RunEnds();
      // What the user has ended needs no box.
      if (error.number() != db::kErrInterrupted) {
        Alarm("No fix was run, because the backup before it cannot be made: " + error.description() +
              "\nWithout one it runs when \"Back up before fixing\" in the File menu is switched off.");
      }
      record.result.refused = true;
    }
    released = ReleaseDatabases();
  }
  const RunResult& result = record.result;
  if (result.ended_early && State().current_database.empty()) SetDatabasePanel(kNoDatabaseText);
  if (!record.fault.empty()) {
    Alarm((result.ended_early ? "The run ended early, and Undo Last Run will not find what it left: "
                              : "The run is done, but Undo Last Run will not find what it left: ") +
          record.fault);
  }
  const bool succeeded = released && !result.refused && !result.failed();
  const bool complete = released && !result.refused && !result.ended_early;
  if (!result.refused) {
    GetMenuBar()->Enable(mnuViewLastRun, true);
    last_run_ = std::move(record);
    if (last_run_window_) last_run_window_->Close();
    last_run_window_ = nullptr;
  }
  if (!result.refused && IsShown()) {
    LeaveFixButton();
    if (complete) Inform("Fix complete.");
    if (!succeeded && SignalToEnd() == 0) ShowLastRun();
  }
  return succeeded;
}

// A Return that was meant for a box must not start another run. The list as a whole takes no key but Tab.
void frmMain::LeaveFixButton() {
  if (!Command2->HasFocus()) return;
  scroller_->SetCanFocus(true);
  scroller_->SetFocusIgnoringChildren();
}

void frmMain::ShowLastRun() {
  if (!last_run_) return;
  if (!last_run_window_) last_run_window_ = new ReportFrame(this, services_, *last_run_);
  last_run_window_->Show();
  last_run_window_->Raise();
}

void frmMain::cmdPreview_Click() {
  if (running_) return;
  if (IsIngresSource(State().current_database)) {
    Inform("A preview needs an Access database: a data source cannot take back what it has executed.");
    return;
  }
  RunRecord record;
  std::unique_ptr<compare::DifferenceStore> differences;
  try {
    const Working working(*this);
    std::optional<RunMessages> messages;
    RunProgress progress(ProgressParts("Preview", [&] { messages->RunEnds(); }));
    messages.emplace([&] { progress.Discard(); });
    Preview preview(Selection(), progress);
    record = preview.record();
    if (record.result.refused || record.result.ended_early) return;
    const Busy comparing(*this, "Comparing ...");
    differences = FindDifferences(preview.before(), preview.after(), 0, compare::Sides::kPreview, Watch());
  } catch (const db::DbError& error) {
    ShowFailure(error);
    return;
  }
  const compare::DiffNames names{record.file, record.file + " after the run"};
  (new ReportFrame(this, services_, std::move(record), std::move(differences),
                   [this, names](compare::DifferenceStore& found, const std::string& path) {
                     SaveFound(found, names, path);
                   }))
      ->Show();
}

ComparisonProgress frmMain::Watch() {
  static constexpr std::chrono::milliseconds kBetweenLooks{40};
  return [this, looked = std::chrono::steady_clock::time_point()](std::uint64_t done,
                                                                  std::uint64_t all) mutable {
    if (std::chrono::steady_clock::now() - looked < kBetweenLooks) return;
    gauge_->SetRange(1000);
    gauge_->SetValue(static_cast<int>(done * 1000 / std::max<std::uint64_t>(all, 1)));
    // Whoever calls meets it next.
    if (ServePaintingOnly()) jet::interruption = jet::kStopThis;
    looked = std::chrono::steady_clock::now();
  };
}

// As with a run that was ended before it began.
void frmMain::ShowFailure(const db::DbError& error) {
  if (error.number() != db::kErrInterrupted) ShowError(error);
}

void frmMain::mnutools_compare_Click() {
  const std::string& open = State().current_database;
  const auto comparison = services_.ChooseComparison(this, IsIngresSource(open) ? std::string() : open);
  if (!comparison) return;
  std::unique_ptr<compare::DifferenceStore> differences;
  try {
    const Working working(*this);
    const Busy comparing(*this, "Comparing ...");
    differences = FindDifferences(*comparison, Watch());
  } catch (const db::DbError& error) {
    ShowFailure(error);
    return;
  }
  const compare::DiffNames names{comparison->first, comparison->second, comparison->notice};
  (new CompareFrame(this, services_, *comparison, std::move(differences),
                    [this, names](compare::DifferenceStore& found, const std::string& path) {
                      SaveFound(found, names, path);
                    }))
      ->Show();
}

void frmMain::SaveFound(compare::DifferenceStore& differences, const compare::DiffNames& names,
                        const std::string& path) {
  if (running_) return;
  try {
    const Working working(*this);
    const Busy saving(*this, "Saving ...");
    SaveDifferences(differences, names, path, Watch());
  } catch (const db::DbError& error) {
    ShowFailure(error);
  }
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
  if (!path.empty()) OpenFile(path);
}

void frmMain::OpenFile(const std::string& path) {
  if (running_) return;
  try {
    const wxBusyCursor hourglass;
    OpenChosenDatabase(
        path, [this] { services_.OpenAccessDatabase(); },
        [this](const std::string& text) { SetDatabasePanel(text); });
    ReleaseDatabases();
  } catch (const EndProgram& end) {
    services_.EndProgram(end.exit_code);
    return;
  }
  if (State().current_database == path) {
    AddRecentFile(path);
  } else {
    RemoveRecentFile(path);
  }
  ShowRecentFiles();
}

void frmMain::ShowRecentFiles() {
  while (recent_->GetMenuItemCount() > 0) recent_->Destroy(recent_->FindItemByPosition(0));
  int number = 0;
  for (const std::string& file : RecentFiles()) {
    recent_->Append(mnuFileRecentFirst + number,
                    wxString::Format("&%d %s", number + 1, wxControl::EscapeMnemonics(ToWx(file))));
    ++number;
  }
  GetMenuBar()->Enable(mnuFileRecent, number > 0);
}

void frmMain::mnuFileClose_Click() {
  if (!CloseDatabases()) return;
  State().current_database.clear();
  State().read_only = false;
  SetDatabasePanel(kNoDatabaseText);
}

void frmMain::mnuFileUndo_Click() {
  const std::string file = State().current_database;
  if (file.empty()) {
    Inform("No Database open.  Please open a database to undo its last run.");
    return;
  }
  if (IsIngresSource(file)) {
    Inform("A data source has no backup that its last run could be undone with.");
    return;
  }
  // Of the two answers Yes can be taken back.
  if (!services_.Confirm(this,
                         "Put back " + file +
                             " as it was before its last run? What it is now becomes a backup, so that "
                             "this can be undone too.",
                         Answer::kYes)) {
    return;
  }
  Undone undone;
  try {
    const Working working(*this);
    const Busy undoing(*this, "Putting back ...");
    undone = UndoLastRun(db::Files(), file, "", /*force=*/false,
                         [watch = Watch()](std::uint64_t done, std::uint64_t all) {
                           watch(done, all);
                           jet::ThrowIfInterrupted();
                         });
  } catch (const jet::Error& error) {
    if (error.kind() != jet::ErrorKind::kInterrupted) Alarm(error.what());
    return;
  }
  Inform(
      file +
      (undone.of_undoing ? " is what it was before it was undone." : " is what it was before its last run.") +
      "\nWhat it was until now: " + undone.kept + (undone.remark.empty() ? "" : "\n" + undone.remark));
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
