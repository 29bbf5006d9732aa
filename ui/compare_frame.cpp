#include "ui/compare_frame.h"

#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <utility>

#include "platform/messages.h"
#include "ui/button_later.h"
#include "ui/native.h"
#include "ui/report_frame.h"
#include "ui/text_size.h"
#include "ui/text_wx.h"
#include "ui/window_services.h"

namespace vnt::ui {
namespace {

constexpr int kGap = 8;

class CompareDialog : public wxDialog {
 public:
  CompareDialog(wxWindow* owner, WindowServices& services, const std::string& first)
      : wxDialog(owner, wxID_ANY, "Compare", wxDefaultPosition, wxDefaultSize,
                 wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER, "CompareDialog"),
        services_(services) {
    auto* grid = new wxFlexGridSizer(3, FromDIP(kGap), FromDIP(kGap));
    grid->AddGrowableCol(1);
    first_ = AddFile(grid, "&First database", "FirstDatabase", first);
    second_ = AddFile(grid, "&Second database", "SecondDatabase", {});
    grid->Add(new wxStaticText(this, wxID_ANY, "&Notice (empty: all):"), 0, wxALIGN_CENTRE_VERTICAL);
    notice_ = new wxTextCtrl(this, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, 0,
                             wxDefaultValidator, "ComparedNotice");
    SetAccessibleName(*notice_, "Notice (empty: all)");
    grid->Add(notice_);
    auto* whole = new wxBoxSizer(wxVERTICAL);
    whole->Add(grid, 1, wxEXPAND | wxALL, FromDIP(kGap));
    whole->Add(CreateSeparatedButtonSizer(wxOK | wxCANCEL), 0, wxEXPAND | wxALL, FromDIP(kGap));
    SetSizerAndFit(whole);
    CentreOnParent();
    (first.empty() ? first_ : second_)->SetFocus();
    Bind(
        wxEVT_BUTTON, [this](wxCommandEvent& event) { Accept(event); }, wxID_OK);
  }

  const Comparison& chosen() const { return chosen_; }

 private:
  wxTextCtrl* AddFile(wxSizer* grid, const char* label, const char* name, const std::string& path) {
    grid->Add(new wxStaticText(this, wxID_ANY, label + wxString(":")), 0, wxALIGN_CENTRE_VERTICAL);
    auto* text = new wxTextCtrl(this, wxID_ANY, ToWx(path), wxDefaultPosition,
                                WithText(*this, wxSize(360, 29)), 0, wxDefaultValidator, name);
    const std::string words = FromWx(wxControl::RemoveMnemonics(label));
    SetAccessibleName(*text, words);
    grid->Add(text, 1, wxEXPAND);
    auto* browse = new wxButton(this, wxID_ANY, "Browse...");
    SetAccessibleName(*browse, "Browse for: " + words);
    BindLater(*browse, [this, text] {
      const std::string chosen = services_.ChooseFile(this, kOpenFilter);
      if (!chosen.empty()) text->SetValue(ToWx(chosen));
    });
    grid->Add(browse);
    return text;
  }

  void Accept(wxCommandEvent& event) {
    chosen_.first = FromWx(first_->GetValue());
    chosen_.second = FromWx(second_->GetValue());
    const char* missing = nullptr;
    if (!ReadNotice(FromWx(notice_->GetValue()), &chosen_.notice)) {
      missing = "A notice is a whole number above 0.";
    } else if (chosen_.first.empty() || chosen_.second.empty()) {
      missing = "Please choose two databases.";
    }
    if (missing == nullptr) {
      event.Skip();
    } else {
      platform::ShowMessage(missing, platform::MessageStyle::kInformation);
    }
  }

  WindowServices& services_;
  Comparison chosen_;
  wxTextCtrl* first_ = nullptr;
  wxTextCtrl* second_ = nullptr;
  wxTextCtrl* notice_ = nullptr;
};

}  // namespace

std::optional<Comparison> AskComparison(wxWindow* owner, WindowServices& services, const std::string& first) {
  CompareDialog dialog(owner, services, first);
  if (dialog.ShowModal() != wxID_OK) return std::nullopt;
  return dialog.chosen();
}

CompareFrame::CompareFrame(wxWindow* beside, WindowServices& services, const Comparison& comparison,
                           std::unique_ptr<compare::DifferenceStore> differences, SaveToFile save)
    : wxFrame(nullptr, wxID_ANY, "Compare", wxDefaultPosition, wxDefaultSize, wxDEFAULT_FRAME_STYLE,
              "CompareFrame"),
      differences_(std::move(differences)) {
  auto* whole = new wxPanel(this);
  auto* sizer = new wxBoxSizer(wxVERTICAL);
  std::string heading = "First: " + comparison.first + "\nSecond: " + comparison.second;
  if (comparison.notice > 0) heading += "\nNotice " + std::to_string(comparison.notice);
  sizer->Add(new wxStaticText(whole, wxID_ANY, wxControl::EscapeMnemonics(ToWx(heading)), wxDefaultPosition,
                              wxDefaultSize, wxST_ELLIPSIZE_MIDDLE, "ComparedDatabases"),
             0, wxEXPAND | wxALL, FromDIP(kGap));
  sizer->Add(new DifferencePanel(whole, *differences_, {"First", "Second"}), 1, wxEXPAND);
  auto* buttons = new wxBoxSizer(wxHORIZONTAL);
  buttons->Add(NewSaveButton(whole, "&Save...", services, *differences_, std::move(save)));
  auto* close = new wxButton(whole, wxID_CLOSE, wxString(), wxDefaultPosition, wxDefaultSize, 0,
                             wxDefaultValidator, "CloseComparison");
  close->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Close(); });
  buttons->AddStretchSpacer();
  buttons->Add(close);
  sizer->Add(buttons, 0, wxEXPAND | wxALL, FromDIP(kGap));
  whole->SetSizer(sizer);
  PlaceBeside(*this, beside, wxSize(940, 640));
}

}  // namespace vnt::ui
