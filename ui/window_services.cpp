#include "ui/window_services.h"

#include <wx/filedlg.h>

#include "help/help.h"
#include "run/guards.h"
#include "ui/text_wx.h"

namespace vnt::ui {

std::string WindowServices::ChooseFile(wxWindow* owner, const std::string& filter) {
  wxFileDialog dialog(owner, wxFileSelectorPromptStr, wxString(), wxString(), ToWx(filter),
                      wxFD_OPEN | wxFD_FILE_MUST_EXIST);
  return dialog.ShowModal() == wxID_OK ? FromWx(dialog.GetPath()) : std::string();
}

void WindowServices::OpenAccessDatabase() { vnt::OpenAccessDatabase(); }

RunResult WindowServices::RunFixes(const FixSelection& selection, RunObserver& observer) {
  return vnt::RunFixes(selection, observer);
}

void WindowServices::ShowHelpFile(std::string_view file_name) { vnt::ShowHelpFile(file_name); }

}  // namespace vnt::ui
