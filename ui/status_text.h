// Texts of the status bar.
#pragma once

#include <wx/string.h>

class wxStatusBar;

namespace vnt::ui {

// Its panels, from the left.
enum Panel : int { kDatabasePanel = 0, kScopePanel = 1, kDatePanel = 2, kTimePanel = 3 };

// Shows a text, and tells it to screen readers, which see no panels.
void ShowStatus(wxStatusBar& bar, const wxString& text, int panel);

}  // namespace vnt::ui
