#include "ui/window_services.h"

#include <wx/filedlg.h>
#include <wx/filename.h>
#include <wx/msgdlg.h>

#include <cctype>

#include "access/store/file_kind.h"
#include "help/help.h"
#include "platform/messages.h"
#include "platform/paths.h"
#include "run/guards.h"
#include "run/report_file.h"
#include "ui/box_messages.h"
#include "ui/compare_frame.h"
#include "ui/text_wx.h"
#include "ui/user_choices.h"

namespace vnt::ui {
namespace {

// The extension of the pattern that was chosen in a filter.
wxString ExtensionOf(const std::string& filter, int chosen) {
  wxArrayString texts, patterns;
  wxParseCommonDialogsFilter(ToWx(filter), texts, patterns);
  if (chosen < 0 || static_cast<std::size_t>(chosen) >= patterns.size()) return {};
  return patterns[static_cast<std::size_t>(chosen)].AfterLast('.');
}

// That of the file: a path that was typed may leave the folder which the dialog shows.
void RememberFolder(const wxFileDialog& dialog) {
  SaveLastFolder(FromWx(wxFileName(dialog.GetPath()).GetPath()));
}

}  // namespace

std::string CompleteFilter(const std::string& filter) {
#ifdef _WIN32
  // The system's dialog minds no letter case.
  return filter + "|All files|*.*";
#else
  std::string complete;
  bool is_pattern = false;
  for (const char c : filter) {
    if (c == '|') is_pattern = !is_pattern;
    const auto byte = static_cast<unsigned char>(c);
    if (is_pattern && std::isalpha(byte) != 0) {
      complete += {'[', static_cast<char>(std::tolower(byte)), static_cast<char>(std::toupper(byte)), ']'};
    } else {
      complete += c;
    }
  }
  return complete + "|All files|*";
#endif
}

std::string WindowServices::ChooseFile(wxWindow* owner, const std::string& filter) {
  wxFileDialog dialog(owner, wxFileSelectorPromptStr, ToWx(LastFolder()), wxString(),
                      ToWx(CompleteFilter(filter)), wxFD_OPEN | wxFD_FILE_MUST_EXIST);
  if (dialog.ShowModal() != wxID_OK) return {};
  RememberFolder(dialog);
  return FromWx(dialog.GetPath());
}

std::string WindowServices::ChooseNewFile(wxWindow* owner, const std::string& filter,
                                          const std::string& name) {
  wxFileDialog dialog(owner, "Save As", ToWx(LastFolder()), ToWx(name), ToWx(filter),
                      wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
  if (dialog.ShowModal() != wxID_OK) return {};
  RememberFolder(dialog);
  wxFileName chosen(dialog.GetPath());
  const wxString extension = ExtensionOf(filter, dialog.GetFilterIndex());
  // The suggested name keeps its extension when another kind of file is chosen.
  const bool is_suggested = FromWx(chosen.GetFullName()) == name;
  if ((!chosen.HasExt() || is_suggested) && !extension.empty()) chosen.SetExt(extension);
  std::string path = FromWx(chosen.GetFullPath());
  if (jet::IsDatabaseOrJournal(platform::PathOf(path))) {
    platform::ShowMessage("The file " + path + " is a database, which is not overwritten.",
                          platform::MessageStyle::kCritical);
    return {};
  }
  // The dialog asked about the name as it was typed.
  const bool asked = chosen.GetFullPath() == dialog.GetPath();
  if (!asked && chosen.FileExists() && !Confirm(owner, "Replace " + path + "?")) return {};
  return path;
}

bool WindowServices::Confirm(wxWindow* owner, const std::string& question, Answer preselected) {
  const long style = preselected == Answer::kYes ? wxYES_DEFAULT : wxNO_DEFAULT;
  wxMessageDialog box(owner, ToWx(question), kProgramTitle, wxYES_NO | style | wxCENTRE);
  return box.ShowModal() == wxID_YES;
}

std::optional<Comparison> WindowServices::ChooseComparison(wxWindow* owner, const std::string& first) {
  return AskComparison(owner, *this, first);
}

void WindowServices::OpenAccessDatabase() { vnt::OpenAccessDatabase(); }

RunRecord WindowServices::RunFixes(const FixSelection& selection, const Recording& recording,
                                   RunObserver& observer) {
  return RunRecorded(selection, {}, recording, observer);
}

void WindowServices::ShowHelpFile(std::string_view file_name) { vnt::ShowHelpFile(file_name); }

void WindowServices::SaveText(wxWindow* owner, const std::string& filter, const std::string& name,
                              const std::function<std::string(const std::string& path)>& text) {
  const std::string path = ChooseNewFile(owner, filter, name);
  if (path.empty()) return;
  if (WriteReportFile(path, text(path))) return;
  platform::ShowMessage("The file " + path + " cannot be written.", platform::MessageStyle::kCritical);
}

}  // namespace vnt::ui
