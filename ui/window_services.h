// What the windows have done by others. The defaults are the program's own; a test replaces what it wants to
// see or cannot have.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "run/preview.h"
#include "run/recorded_run.h"
#include "ui/comparison.h"

class wxWindow;

namespace vnt::ui {

// "text|pattern|text|pattern".
inline constexpr const char* kOpenFilter = "Access mdb|*.mdb|Access 7.0 files accdb|*.accdb";

enum class Answer { kNo, kYes };

class WindowServices {
 public:
  virtual ~WindowServices() = default;

  // Asks for a file to open, beginning where the last dialog ended; empty when the user cancels. Extensions
  // of the filter are found in any letter case, and all files can be asked for.
  virtual std::string ChooseFile(wxWindow* owner, const std::string& filter);
  // Asks for the name of a file to write. It has the extension of the chosen pattern, if it has none.
  virtual std::string ChooseNewFile(wxWindow* owner, const std::string& filter, const std::string& name);
  // A question with yes and no, of which Return gives the preselected one.
  virtual bool Confirm(wxWindow* owner, const std::string& question, Answer preselected = Answer::kNo);
  virtual std::optional<Comparison> ChooseComparison(wxWindow* owner, const std::string& first);
  // Opens the current database of the program's state.
  virtual void OpenAccessDatabase();
  virtual RunRecord RunFixes(const FixSelection& selection, const Recording& recording,
                             RunObserver& observer);
  virtual void ShowHelpFile(std::string_view file_name);
  // Ends the program at once: no window is unloaded, no placement saved.
  virtual void EndProgram(int exit_code) = 0;

  // Asks for a name and writes `text(name)` there; a failure is told.
  void SaveText(wxWindow* owner, const std::string& filter, const std::string& name,
                const std::function<std::string(const std::string& path)>& text);
};

// A filter in which the patterns match extensions in any letter case, and one for all files stands last.
std::string CompleteFilter(const std::string& filter);

}  // namespace vnt::ui
