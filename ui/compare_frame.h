// Tools, Compare: the question which databases, and the window with their differences.
#pragma once

#include <wx/frame.h>

#include <memory>
#include <optional>

#include "ui/comparison.h"
#include "ui/difference_panel.h"

namespace vnt::ui {

class WindowServices;

// Asks for two databases, the first being `first` until it is changed, and a notice; nothing when the user
// cancels.
std::optional<Comparison> AskComparison(wxWindow* owner, WindowServices& services, const std::string& first);

class CompareFrame : public wxFrame {
 public:
  // `services` must outlive the window.
  CompareFrame(wxWindow* beside, WindowServices& services, const Comparison& comparison,
               std::unique_ptr<compare::DifferenceStore> differences, SaveToFile save);

 private:
  const std::unique_ptr<compare::DifferenceStore> differences_;
};

}  // namespace vnt::ui
