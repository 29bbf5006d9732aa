#include "ui/typed_ahead.h"

#include <wx/app.h>
#include <wx/event.h>
#include <wx/eventfilter.h>
#include <wx/evtloop.h>
#include <wx/utils.h>

#include <optional>

namespace vnt::ui {
namespace {

// Movements of the mouse pass: controls have to know whether the pointer is over them when the work is done.
class Swallow : public wxEventFilter {
 public:
  Swallow() { wxEvtHandler::AddFilter(this); }
  ~Swallow() override { wxEvtHandler::RemoveFilter(this); }

  int FilterEvent(wxEvent& event) override {
    const wxEventType type = event.GetEventType();
    const bool is_key = type == wxEVT_CHAR_HOOK || type == wxEVT_KEY_DOWN || type == wxEVT_CHAR;
    if (is_key && static_cast<wxKeyEvent&>(event).GetKeyCode() == WXK_ESCAPE) escape_ = true;
    const bool is_press = type == wxEVT_LEFT_DOWN || type == wxEVT_LEFT_DCLICK || type == wxEVT_RIGHT_DOWN ||
                          type == wxEVT_RIGHT_DCLICK || type == wxEVT_MIDDLE_DOWN ||
                          type == wxEVT_MIDDLE_DCLICK;
    const bool is_choice = event.IsCommandEvent() && event.GetEventCategory() == wxEVT_CATEGORY_USER_INPUT;
    return is_key || is_press || is_choice || type == wxEVT_CLOSE_WINDOW ? Event_Processed : Event_Skip;
  }

  bool escape() const { return escape_; }

 private:
  bool escape_ = false;
};

}  // namespace

bool ServePaintingOnly() {
  wxEventLoopBase* loop = wxEventLoopBase::GetActive();
  std::optional<wxGUIEventLoop> own;
  std::optional<wxEventLoopActivator> active;
  if (loop == nullptr) active.emplace(loop = &own.emplace());
  // An answer of the display: what was typed before is here by now.
  wxGetMouseState();
  const Swallow swallow;
  loop->YieldFor(wxEVT_CATEGORY_UI | wxEVT_CATEGORY_USER_INPUT);
  return swallow.escape();
}

}  // namespace vnt::ui
