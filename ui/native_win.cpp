#include "ui/native.h"

namespace vnt::ui {

// The system takes the text before a control for its name.
void SetAccessibleName(wxWindow&, const std::string&) {}

// Nor does it tell tooltips.
void SetAccessibleDescription(wxWindow&, const std::string&) {}

// The system's boxes are known for what they are.
void SetAlertRole(wxWindow&) {}

// Menus have no tooltips there.
void SetItemTooltip(wxMenuItem&, const std::string&) {}

// No signal comes to a program with windows.
void CloseNativeBoxes() {}

}  // namespace vnt::ui
