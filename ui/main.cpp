// VNTFixdb: the entry point. The unattended run touches no display until a message has to be shown; the
// modes that show a window start the toolkit at once.

#include <wx/app.h>
#include <wx/init.h>
#include <wx/log.h>
#include <wx/toplevel.h>
#include <wx/utils.h>

#include <clocale>
#include <iostream>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>

#include "access/base/interruption.h"
#include "platform/desktop.h"
#include "platform/environment.h"
#include "platform/interruption.h"
#include "program/program_state.h"
#include "run/databases.h"
#include "run/run_report.h"
#include "startup/run_modes.h"
#include "ui/asked_to_end.h"
#include "ui/box_messages.h"
#include "ui/main_frame.h"

namespace vnt::ui {
namespace {

constexpr int kFailed = 1;

class Application : public wxApp {
 public:
  // The command line is start-up's; the toolkit must not look for options of its own in it.
  bool OnInit() override { return true; }

  // Whatever reaches the event loop is told, and the window stays usable.
  bool OnExceptionInMainLoop() override {
    try {
      throw;
    } catch (const db::DbError& error) {
      ShowError(error);
    } catch (const std::bad_alloc&) {
      platform::ShowMessage(db::kOutOfMemory, platform::MessageStyle::kCritical);
    } catch (const std::exception& error) {
      platform::ShowMessage(error.what(), platform::MessageStyle::kCritical);
    }
    return true;
  }
};

// The toolkit for as long as this lives.
class Toolkit {
 public:
  explicit Toolkit(char* program_name) : arguments_{program_name, nullptr} {
    wxApp::SetInstance(new Application);
    // Scroll bars that show only under the pointer hide that there is more.
    wxString set;
    if (!wxGetEnv("GTK_OVERLAY_SCROLLING", &set)) wxSetEnv("GTK_OVERLAY_SCROLLING", "0");
    const wxLogNull quiet;  // a display that does not answer is told by whoever needs it
    started_ = wxEntryStart(argument_count_, arguments_) && wxTheApp->CallOnInit();
    if (started_) end_watch_.emplace();
    // The toolkit takes the user's locale into force; numbers in files and SQL are written with a point
    // everywhere.
    std::setlocale(LC_NUMERIC, "C");
  }
  ~Toolkit() {
    if (!started_) return;
    end_watch_.reset();
    wxTheApp->OnExit();
    wxEntryCleanup();
  }
  Toolkit(const Toolkit&) = delete;
  Toolkit& operator=(const Toolkit&) = delete;

  bool started() const { return started_; }

 private:
  int argument_count_ = 1;
  char* arguments_[2];
  bool started_ = false;
  std::optional<EndWatch> end_watch_;
};

// Message boxes for a run that may never show one: the toolkit starts with the first. Where no box can be
// shown, standard error and the report of the run.
class UnattendedMessages : public platform::Messages {
 public:
  explicit UnattendedMessages(char* program_name) : program_name_(program_name) {}

  void Show(std::string_view text, platform::MessageStyle style) override { ShowExplained(text, style, {}); }
  void ShowExplained(std::string_view text, platform::MessageStyle style,
                     std::string_view explanation) override {
    if (CanShowBox()) {
      boxes_.ShowExplained(text, style, explanation);
      return;
    }
    Write(text);
    // Two refusals for the same reason follow each other.
    if (!explanation.empty() && explanation != explained_) Write(explained_ = explanation);
  }
  bool ShowWithCheck(std::string_view text, platform::MessageStyle style, std::string_view explanation,
                     std::string_view caption) override {
    if (CanShowBox()) return boxes_.ShowWithCheck(text, style, explanation, caption);
    ShowExplained(text, style, explanation);
    return false;
  }

 private:
  static void Write(std::string_view line) {
    std::cerr << line << std::endl;
    ReportMessage(line);
  }
  bool CanShowBox() {
    if (SignalToEnd() != 0) return false;
    if (!toolkit_ && BoxesMayShow()) toolkit_.emplace(program_name_);
    return toolkit_ && toolkit_->started();
  }

  char* program_name_;
  std::optional<Toolkit> toolkit_;
  BoxMessages boxes_;
  std::string explained_;  // what was written last
};

void TellStarter(const std::string& line) { std::cerr << "VNTFixdb: " << line << std::endl; }

class WindowHost : public StartUpHost, public WindowServices {
 public:
  void OpenAccessDatabase() override { StartUpHost::OpenAccessDatabase(); }
  void Tell(const std::string& line) override { TellStarter(line); }

  MainWindow& LoadWindow() override {
    auto* window = new frmMain(*this);
    wxTheApp->SetTopWindow(window);
    return *window;
  }

  void EndProgram(int exit_code) override {
    exit_code_ = exit_code;
    wxTheApp->ExitMainLoop();
  }

  int exit_code() const { return exit_code_; }

 private:
  int exit_code_ = 0;
};

class UnattendedHost : public StartUpHost {
 public:
  void Tell(const std::string& line) override { TellStarter(line); }
  MainWindow& LoadWindow() override { throw std::logic_error("An unattended run shows no window."); }
};

// The exit status of a program that has come to its end with `exit_code`, or that a signal has ended.
int StatusAfter(int exit_code) {
  constexpr int kSignalBase = 128;
  return SignalToEnd() == 0 ? exit_code : kSignalBase + SignalToEnd();
}

int RunUnattended(const std::string& command_line, char* program_name) {
  UnattendedMessages messages(program_name);
  ProgramState state;
  state.platform_services.messages = &messages;
  const ScopedProgramState in_force(state);
  UnattendedHost host;
  const platform::InterruptionScope interruptible(jet::interruption);
  const int exit_code = StartUp(command_line, host).value_or(0);
  // A run that was done before the signal came is done.
  return exit_code != 0 ? StatusAfter(exit_code) : exit_code;
}

int RunInWindow(const std::string& command_line, char* program_name) {
  std::optional<Toolkit> toolkit;
  if (platform::HasDisplay()) toolkit.emplace(program_name);
  if (!toolkit || !toolkit->started()) {
    std::cerr << "VNTFixdb needs a display to show its window." << std::endl;
    return kFailed;
  }
  BoxMessages messages;
  ProgramState state;
  state.platform_services.messages = &messages;
  const ScopedProgramState in_force(state);
  WindowHost host;
  const platform::InterruptionScope interruptible(jet::interruption);
  if (const auto exit_code = StartUp(command_line, host)) return StatusAfter(*exit_code);
  wxTheApp->OnRun();
  return StatusAfter(CloseDatabases() ? host.exit_code() : kFailed);
}

int Run(int argc, char** argv) {
  std::string command_line;
  for (int i = 1; i < argc; ++i) command_line.append(i > 1 ? " " : "").append(argv[i]);
  if (const auto answer = ConventionalAnswer(command_line)) {
    std::cout << *answer << std::endl;
    return std::cout ? 0 : kFailed;
  }
  try {
    return RunModeOf(command_line) == RunMode::kUnattended ? RunUnattended(command_line, argv[0])
                                                           : RunInWindow(command_line, argv[0]);
  } catch (const std::bad_alloc&) {
    std::cerr << db::kOutOfMemory << std::endl;
    return kFailed;
  } catch (const std::exception& error) {
    std::cerr << error.what() << std::endl;
    return kFailed;
  }
}

}  // namespace
}  // namespace vnt::ui

int main(int argc, char** argv) {
  vnt::platform::PrepareStandardStreams();
  vnt::platform::LetLargeFilesFail();
  return vnt::ui::Run(argc, argv);
}
