// Writes pictures of the windows, with a sample database, into the folder named on the command line:
//
//   screenshot.png   the main window          screenshot-preview.png   what a preview shows
//   screenshot-running.png   during a run     screenshot-compare.png   two databases compared
//   screenshot-report.png    after it

#include <wx/app.h>
#include <wx/init.h>
#include <wx/uiaction.h>
#include <wx/utils.h>

#include <clocale>
#include <filesystem>
#include <iostream>

#include "access/file/file.h"
#include "platform/settings.h"
#include "program/program_state.h"
#include "run/databases.h"
#include "samples/sample_database.h"
#include "ui/main_frame.h"
#include "ui/text_list.h"
#include "ui/text_wx.h"

namespace vnt::ui {
namespace {

namespace fs = std::filesystem;

void Settle() {
  for (int round = 0; round < 100; ++round) {
    wxYield();
    wxMilliSleep(10);
  }
}

// By a program of its own: the toolkit's screen is the one that it read first.
bool WritePicture(const wxWindow& window, const fs::path& file) {
  const wxRect place = window.GetScreenRect();
  const wxString command = wxString::Format("scrot --overwrite --autoselect %d,%d,%d,%d ", place.x, place.y,
                                            place.width, place.height) +
                           ToWx("\"" + file.string() + "\"");
  return wxExecute(command, wxEXEC_SYNC | wxEXEC_NOEVENTS) == 0;
}

// Calls `look` once, in the middle of the fix with that check box.
class Onlooker : public RunObserver {
 public:
  Onlooker(RunObserver& inner, int index, std::function<void()> look)
      : inner_(inner), index_(index), look_(std::move(look)) {}
  void RunStarts() override { inner_.RunStarts(); }
  void FixStarts(const FixEntry& fix, int number, int count) override {
    running_ = fix.index;
    inner_.FixStarts(fix, number, count);
  }
  void FixAdvances(std::int64_t steps, std::int64_t rows) override {
    constexpr std::int64_t kMoment = 3;
    if (running_ == index_ && steps <= kMoment) wxMilliSleep(60);
    inner_.FixAdvances(steps, rows);
    if (running_ == index_ && steps == kMoment) look_();
  }
  void FixEnds(const FixResult& result) override { inner_.FixEnds(result); }
  void RunEnds() override { inner_.RunEnds(); }

 private:
  RunObserver& inner_;
  int index_;
  int running_ = -1;
  std::function<void()> look_;
};

class Services : public WindowServices {
 public:
  void EndProgram(int) override {}
  RunRecord RunFixes(const FixSelection& selection, const Recording& recording,
                     RunObserver& observer) override {
    Onlooker onlooker(observer, 22, look);
    RunRecord record = WindowServices::RunFixes(selection, recording, onlooker);
    // Something to see in the list of errors.
    for (FixResult& fix : record.result.fixes) {
      if (fix.fix == nullptr || fix.fix->index != 33) continue;
      for (int i = 0; i < 3; ++i) fix.errors.emplace_back(94, "", "Invalid use of Null");
      fix.status = FixStatus::kFailed;
    }
    return record;
  }
  std::string ChooseFile(wxWindow*, const std::string&) override { return file; }
  std::optional<Comparison> ChooseComparison(wxWindow*, const std::string& first) override {
    return Comparison{copy, first, 0};
  }

  std::string file, copy;
  std::function<void()> look = [] {};
};

class PrintedMessages : public platform::Messages {
 public:
  void Show(std::string_view text, platform::MessageStyle) override { std::cout << text << std::endl; }
};

class Photographer {
 public:
  explicit Photographer(const fs::path& folder) : folder_(folder) {}

  bool WriteAll() {
    PrintedMessages messages;
    state_.platform_services.messages = &messages;
    state_.data_level = 1;
    const fs::path home = fs::temp_directory_path() / "notices";
    fs::remove_all(home);
    fs::create_directory(home);
    const samples::SampleFiles sample =
        samples::MakeSample(jet::PlatformFileSystem(), home.string(), {.notices = 40});
    state_.platform_services.settings.Set("GLOBAL", "VeltRefdb", sample.reference);
    state_.platform_services.settings.Set("GLOBAL", "EmptyDBV6", sample.empty_template);
    services_.file = sample.notice;
    services_.copy = (home / "before.mdb").string();
    fs::copy_file(sample.notice, services_.copy);

    window_ = new frmMain(services_);
    window_->ShowWindow();
    Choose(frmMain::mnuFileOpen);
    wxUIActionSimulator().MouseMove(0, 0);  // else a tooltip shows where the pointer happens to be
    Take(*window_, "screenshot.png");
    Press("cmdPreview");
    TakeNewest("screenshot-preview.png", "DifferingTables", "assgn");
    services_.look = [this] {
      for (int round = 0; round < 5; ++round) {
        wxYield();
        wxMilliSleep(20);
      }
      good_ = WritePicture(*window_, folder_ / "screenshot-running.png") && good_;
    };
    Press("Command2");
    TakeNewest("screenshot-report.png", "", "");
    Choose(frmMain::mnutools_compare);
    TakeNewest("screenshot-compare.png", "DifferingTables", "freq");
    CloseDatabases();
    fs::remove_all(home);
    return good_;
  }

 private:
  void Choose(int item) {
    wxCommandEvent event(wxEVT_MENU, item);
    window_->ProcessWindowEvent(event);
    wxTheApp->ProcessPendingEvents();
  }
  void Press(const char* button) {
    wxWindow* control = wxWindow::FindWindowByName(button, window_);
    wxCommandEvent event(wxEVT_BUTTON, control->GetId());
    event.SetEventObject(control);
    control->ProcessWindowEvent(event);
    wxTheApp->ProcessPendingEvents();
  }
  void Take(wxWindow& window, const char* name) {
    window.Raise();
    Settle();
    good_ = WritePicture(window, folder_ / name) && good_;
  }
  // The window that opened last, with a row of one of its lists chosen; it is closed then.
  void TakeNewest(const char* name, const char* list_name, const std::string& row) {
    wxWindow& window = *wxTopLevelWindows.GetLast()->GetData();
    Settle();
    if (auto* list = dynamic_cast<TextList*>(wxWindow::FindWindowByName(list_name, &window))) {
      for (unsigned i = 0; i < list->Rows(); ++i) {
        if (list->Shown(i, 0) == row) list->Choose(i);
      }
      // Choosing by program tells nobody.
      wxDataViewEvent event(wxEVT_DATAVIEW_SELECTION_CHANGED, list, list->GetSelection());
      list->ProcessWindowEvent(event);
    }
    Take(window, name);
    window.Close();
    Settle();
  }

  const fs::path folder_;
  ProgramState state_;
  ScopedProgramState in_force_{state_};
  Services services_;
  frmMain* window_ = nullptr;
  bool good_ = true;
};

}  // namespace
}  // namespace vnt::ui

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: window_screenshot FOLDER\n";
    return 2;
  }
  int toolkit_argc = 1;
  wxApp::SetInstance(new wxApp);
  if (!wxEntryStart(toolkit_argc, argv)) {
    std::cerr << "window_screenshot needs a display.\n";
    return 1;
  }
  std::setlocale(LC_NUMERIC, "C");
  wxTheApp->SetExitOnFrameDelete(false);
  bool written = false;
  wxTheApp->CallAfter([&] {
    written = vnt::ui::Photographer(argv[1]).WriteAll();
    wxTheApp->ExitMainLoop();
  });
  wxTheApp->OnRun();
  wxEntryCleanup();
  return written ? 0 : 1;
}
