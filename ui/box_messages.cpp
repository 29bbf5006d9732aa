#include "ui/box_messages.h"

#include <wx/app.h>
#include <wx/msgdlg.h>
#include <wx/utils.h>

#include <memory>

#include "ui/text_wx.h"

namespace vnt::ui {
namespace {

long IconOf(platform::MessageStyle style) {
  switch (style) {
    case platform::MessageStyle::kInformation:
      return wxICON_INFORMATION;
    case platform::MessageStyle::kCritical:
      return wxICON_ERROR;
    case platform::MessageStyle::kPlain:
      break;
  }
  return wxICON_NONE;
}

wxWindow* Owner() {
  wxWindow* top = wxTheApp == nullptr ? nullptr : wxTheApp->GetTopWindow();
  return top != nullptr && top->IsShown() ? top : nullptr;
}

}  // namespace

void BoxMessages::Show(std::string_view text, platform::MessageStyle style) {
  // The box waits for its reader, so the hourglass of a run has no place over it.
  const auto suspender = wxIsBusy() ? std::make_unique<wxBusyCursorSuspender>() : nullptr;
  wxMessageDialog box(Owner(), ToWx(text), kProgramTitle, wxOK | IconOf(style));
  box.ShowModal();
}

}  // namespace vnt::ui
