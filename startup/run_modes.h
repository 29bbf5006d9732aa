// Start-up: the three run modes that the command line selects.
//
//   command line        mode                  database                              window
//   empty               interactive           none, or the one that a file manager  shown
//                                             asks for; the user opens another
//   contains "Active"   prepared interactive  CurDatabase of the settings file      shown
//   anything else       unattended            CurDatabase of the settings file      loaded, never shown
//
// What start-up decides is here, apart from any window, so that it can be tested and so that the unattended
// run needs no display.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vnt {

enum class RunMode { kInteractive, kPreparedInteractive, kUnattended };

// "Active" is searched for as it is written, anywhere in the line: "active" starts an unattended run.
RunMode RunModeOf(std::string_view command_line);

// What the program prints, to end then, when the command line is --help, -h or --version and nothing else;
// nothing for every other line.
std::optional<std::string> ConventionalAnswer(std::string_view command_line);

// Whether the messages of an unattended run may be boxes: somebody may see them, and the setting Quiet does
// not keep them away.
bool BoxesMayShow();

// What start-up asks of the main window.
class MainWindow {
 public:
  virtual ~MainWindow() = default;

  // Runs the ticked fixes, as a click on Fix does. False when the run was refused or a fix reported an
  // error.
  virtual bool Automatic_Fix() = 0;
  // Unticks every box.
  virtual void ClearDefaultselection() = 0;
  virtual void SetDatabasePanel(const std::string& text) = 0;
  // As File, Open Database does with a file that was chosen.
  virtual void OpenFile(const std::string& path) = 0;
  virtual void ShowWindow() = 0;
};

// What start-up has done by others.
class StartUpHost {
 public:
  virtual ~StartUpHost() = default;

  // Open the current database of the program's state; DbError when it cannot be opened, EndProgram when the
  // program must not go on.
  virtual void OpenAccessDatabase();
  // Gives the driver's words when the source cannot be reached; then the fixes meet that too.
  virtual std::string OpenIngresDatabase();

  // A line for whoever started an unattended run.
  virtual void Tell(const std::string& /*line*/) {}

  // Loads the window for an unattended run, which lives for that run.
  virtual std::unique_ptr<MainWindow> LoadUnshownWindow();
  // Loads the window that is going to be shown, which looks after its own life. It finds the data level in
  // the program's state.
  virtual MainWindow& LoadWindow() = 0;
};

// Runs start-up. Returns the exit status when the program ends here; nothing when the window is shown and
// drives the program from now on.
std::optional<int> StartUp(std::string_view command_line, StartUpHost& host);

}  // namespace vnt
