#include "ui/native.h"

namespace vnt::ui {

// The system takes the text before a control for its name.
void SetAccessibleName(wxWindow&, const std::string&) {}

// Menus have no tooltips there.
void SetItemTooltip(wxMenuItem&, const std::string&) {}

// No signal comes to a program with windows.
void CloseNativeBoxes() {}

}  // namespace vnt::ui
