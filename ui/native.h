// What the toolkit leaves to the system under it.
#pragma once

#include <string>

class wxMenuItem;
class wxWindow;

namespace vnt::ui {

// What a screen reader calls a control whose own text does not say it.
void SetAccessibleName(wxWindow& control, const std::string& name);
// What a screen reader says of a control after its name, in place of its tooltip.
void SetAccessibleDescription(wxWindow& control, const std::string& description);
// Lets screen readers read a message box out, which is a window like any other to them.
void SetAlertRole(wxWindow& box);
// What shows when the pointer rests on an item, also on a greyed one.
void SetItemTooltip(wxMenuItem& item, const std::string& text);
// Closes the system's own boxes that wait for an answer, as if the user had.
void CloseNativeBoxes();

}  // namespace vnt::ui
