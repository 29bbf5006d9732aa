// What the main window has done by others. The defaults are the program's own; a test replaces what it wants
// to see or cannot have.
#pragma once

#include <string>
#include <string_view>

#include "run/fix_runner.h"

class wxWindow;

namespace vnt::ui {

class WindowServices {
 public:
  virtual ~WindowServices() = default;

  // Asks for a file to open; empty when the user cancels. `filter` is "text|pattern|text|pattern".
  virtual std::string ChooseFile(wxWindow* owner, const std::string& filter);
  // Opens the current database of the program's state.
  virtual void OpenAccessDatabase();
  virtual RunResult RunFixes(const FixSelection& selection, RunObserver& observer);
  virtual void ShowHelpFile(std::string_view file_name);
  // Ends the program at once: no window is unloaded, no placement saved.
  virtual void EndProgram(int exit_code) = 0;
};

}  // namespace vnt::ui
