#include "ui/status_text.h"

#include <wx/statusbr.h>

#include "ui/native.h"
#include "ui/text_wx.h"

namespace vnt::ui {

void ShowStatus(wxStatusBar& bar, const wxString& text, int panel) {
  bar.SetStatusText(text, panel);
  // Not date and time: nobody wants to hear each minute.
  SetAccessibleName(bar, FromWx(bar.GetStatusText(kDatabasePanel) + ", " + bar.GetStatusText(kScopePanel)));
}

}  // namespace vnt::ui
