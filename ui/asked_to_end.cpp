#include "ui/asked_to_end.h"

#include <wx/app.h>
#include <wx/dialog.h>
#include <wx/toplevel.h>

#include "access/base/interruption.h"
#include "ui/native.h"

namespace vnt::ui {
namespace {

constexpr int kBetweenLooks = 250;  // milliseconds

}  // namespace

int SignalToEnd() {
  const int request = jet::interruption;
  return request == jet::kStopThis ? 0 : request;
}

EndWatch::EndWatch() { Start(kBetweenLooks); }

void EndWatch::Notify() {
  if (SignalToEnd() == 0) return;
  CloseNativeBoxes();
  bool waits = false;
  // Closing changes the list of windows.
  const wxWindowList windows = wxTopLevelWindows;
  for (wxWindow* window : windows) {
    auto* const dialog = dynamic_cast<wxDialog*>(window);
    if (dialog == nullptr || !dialog->IsModal()) continue;
    dialog->EndModal(wxID_CANCEL);
    waits = true;
  }
  // The main window refuses while something runs, and is asked again.
  if (wxWindow* const main = wxTheApp->GetTopWindow(); main != nullptr && !waits) main->Close();
}

}  // namespace vnt::ui
