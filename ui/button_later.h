// Buttons whose work may show a box.
#pragma once

#include <wx/button.h>

#include <functional>
#include <utility>

namespace vnt::ui {

// Does it when the press is over: a screen reader that presses a button waits for the end of that, and could
// not answer a box meanwhile.
inline void BindLater(wxButton& button, std::function<void()> action) {
  button.Bind(wxEVT_BUTTON, [&button, action = std::move(action)](wxCommandEvent&) {
    button.CallAfter(action);  // never, when the button has gone by then
  });
}

}  // namespace vnt::ui
