#include "ui/report_frame.h"

#include <wx/choice.h>
#include <wx/clipbrd.h>
#include <wx/dataobj.h>
#include <wx/display.h>
#include <wx/notebook.h>
#include <wx/panel.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/wrapsizer.h>

#include <algorithm>
#include <utility>

#include "ui/app_icon.h"
#include "ui/button_later.h"
#include "ui/native.h"
#include "ui/text_list.h"
#include "ui/text_size.h"
#include "ui/text_wx.h"
#include "ui/window_services.h"

namespace vnt::ui {
namespace {

constexpr int kGap = 8;
// By ReportColumn.
const std::vector<TextList::Column> kFixColumns = {
    {"Step", 55, true},    {"Fix", 300},          {"Status", 90},      {"Rows", 90, true},
    {"Changed", 90, true}, {"Seconds", 90, true}, {"Errors", 70, true}};
const std::vector<TextList::Column> kErrorColumns = {
    {"Fix", 220}, {"Number", 110, true}, {"Error", 360}, {"Times", 70, true}};

std::string ErrorText(const ErrorRow& error, unsigned column) {
  switch (column) {
    case 0:
      return error.fix;
    case 1:
      return std::to_string(error.number);
    case 2:
      return error.text;
    default:
      return std::to_string(error.count);
  }
}

// A page gets its place when it is first shown, and scroll bars complain when they have none until then.
void LayOut(wxWindow& page) {
  page.SetSize(WithText(page, wxSize(800, 500)));
  page.Layout();
}

}  // namespace

void PlaceBeside(wxFrame& frame, const wxWindow* main, const wxSize& wanted) {
  frame.SetIcons(ProgramIcon());
  frame.Bind(wxEVT_CHAR_HOOK, [&frame](wxKeyEvent& event) {
    if (event.GetKeyCode() == WXK_ESCAPE) {
      frame.Close();
    } else {
      event.Skip();
    }
  });
  const int screen_number = std::max(main == nullptr ? 0 : wxDisplay::GetFromWindow(main), 0);
  const wxRect screen = wxDisplay(static_cast<unsigned>(screen_number)).GetClientArea();
  wxSize size = WithText(frame, wanted);
  size.DecTo(screen.GetSize());
  frame.SetSize(size);
  if (main == nullptr) return;
  // To the right of the main window where there is room, else as far away from it as the screen allows.
  const wxRect place = main->GetScreenRect();
  frame.SetPosition({std::min(place.GetRight() + 1, screen.GetRight() + 1 - size.GetWidth()),
                     std::min(place.y, screen.GetBottom() + 1 - size.GetHeight())});
}

ReportFrame::ReportFrame(wxWindow* beside, WindowServices& services, RunRecord record,
                         std::unique_ptr<compare::DifferenceStore> differences, SaveToFile save)
    : wxFrame(nullptr, wxID_ANY,
              record.kind == RecordKind::kDryRun ? "Preview: what these fixes would change" : "Last Run",
              wxDefaultPosition, wxDefaultSize, wxDEFAULT_FRAME_STYLE, "ReportFrame"),
      services_(services),
      record_(std::move(record)),
      differences_(std::move(differences)),
      rows_(ReportRows(record_)),
      errors_(ErrorRows(record_)) {
  auto* whole = new wxPanel(this);
  auto* sizer = new wxBoxSizer(wxVERTICAL);
  auto* summary = new wxStaticText(whole, wxID_ANY, wxControl::EscapeMnemonics(ToWx(Summary(record_))),
                                   wxDefaultPosition, wxDefaultSize, wxST_ELLIPSIZE_MIDDLE, "Summary");
  sizer->Add(summary, 0, wxEXPAND | wxALL, FromDIP(kGap));
  if (differences_) {
    auto* pages = new wxNotebook(whole, wxID_ANY);
    SetAccessibleName(*pages, "Preview");
    pages->AddPage(new DifferencePanel(pages, *differences_, {"Old", "New"}), "What would change", true);
    pages->AddPage(MakeReportPage(pages), "Fixes");
    for (std::size_t i = 0; i < pages->GetPageCount(); ++i) LayOut(*pages->GetPage(i));
    sizer->Add(pages, 1, wxEXPAND | wxLEFT | wxRIGHT, FromDIP(kGap));
  } else {
    sizer->Add(MakeReportPage(whole), 1, wxEXPAND | wxLEFT | wxRIGHT, FromDIP(kGap));
  }
  sizer->Add(MakeButtons(whole, std::move(save)), 0, wxEXPAND | wxLEFT | wxTOP | wxRIGHT, FromDIP(kGap));
  whole->SetSizer(sizer);
  PlaceBeside(*this, beside, differences_ ? wxSize(940, 680) : wxSize(820, 680));
}

ReportFrame::~ReportFrame() = default;

wxPanel* ReportFrame::MakeReportPage(wxWindow* parent) {
  auto* page = new wxPanel(parent);
  auto* sizer = new wxBoxSizer(wxVERTICAL);

  auto* sorting = new wxBoxSizer(wxHORIZONTAL);
  sorting->Add(new wxStaticText(page, wxID_ANY, "Sort &by:"), 0, wxALIGN_CENTRE_VERTICAL | wxRIGHT,
               FromDIP(kGap));
  sort_choice_ = new wxChoice(page, wxID_ANY, wxDefaultPosition, wxDefaultSize, 0, nullptr, 0,
                              wxDefaultValidator, "SortBy");
  for (const TextList::Column& column : kFixColumns) sort_choice_->Append(column.title);
  SetAccessibleName(*sort_choice_, "Sort by");
  sort_choice_->SetSelection(0);
  sorting->Add(sort_choice_);
  sizer->Add(sorting, 0, wxTOP | wxBOTTOM, FromDIP(kGap));

  TextList::Source fixes;
  fixes.text = [this](unsigned row, unsigned column) {
    return TextOf(rows_[row], static_cast<ReportColumn>(column));
  };
  fixes.is_marked = [this](unsigned row) { return rows_[row].errors > 0; };
  fixes_ = new TextList(page, "Fixes", kFixColumns, std::move(fixes));
  SetAccessibleName(*fixes_, "Fixes");
  fixes_->Fill(rows_.size());
  sizer->Add(fixes_, 3, wxEXPAND);

  if (!errors_.empty()) {
    sizer->Add(new wxStaticText(page, wxID_ANY, "Errors:"), 0, wxTOP | wxBOTTOM, FromDIP(kGap));
    auto* errors =
        new TextList(page, "Errors", kErrorColumns,
                     {[this](unsigned row, unsigned column) { return ErrorText(errors_[row], column); }, {}});
    SetAccessibleName(*errors, "Errors");
    errors->Fill(errors_.size());
    sizer->Add(errors, 2, wxEXPAND);
  }
  page->SetSizer(sizer);

  // The largest first, where there are numbers.
  const auto sort = [this](ReportColumn column) {
    const bool largest_first = column >= ReportColumn::kRows;
    SortBy(column, column == sorted_by_ ? !ascending_ : !largest_first);
  };
  sort_choice_->Bind(wxEVT_CHOICE, [=, this](wxCommandEvent&) {
    sort(static_cast<ReportColumn>(sort_choice_->GetSelection()));
  });
  fixes_->Bind(wxEVT_DATAVIEW_COLUMN_HEADER_CLICK, [=, this](wxDataViewEvent& event) {
    const int column = event.GetColumn();
    if (column < 0 || column >= kReportColumns) return;
    sort_choice_->SetSelection(column);
    sort(static_cast<ReportColumn>(column));
  });
  return page;
}

wxSizer* ReportFrame::MakeButtons(wxWindow* parent, SaveToFile save) {
  // On as many lines as they need.
  auto* row = new wxWrapSizer(wxHORIZONTAL, wxREMOVE_LEADING_SPACES);
  const auto add = [&](const char* label, const char* name, void (ReportFrame::*action)(), bool enabled) {
    auto* button =
        new wxButton(parent, wxID_ANY, label, wxDefaultPosition, wxDefaultSize, 0, wxDefaultValidator, name);
    button->Enable(enabled);
    BindLater(*button, [this, action] { (this->*action)(); });
    row->Add(button, 0, wxRIGHT | wxBOTTOM, FromDIP(kGap));
  };
  add("&Copy Errors", "CopyErrors", &ReportFrame::CopyErrors, !errors_.empty());
  add("Save &Errors...", "SaveErrors", &ReportFrame::SaveErrors, !errors_.empty());
  add("&Save Report...", "SaveReport", &ReportFrame::SaveReport, true);
  if (differences_) {
    row->Add(NewSaveButton(parent, "Save &Differences...", services_, *differences_, std::move(save)), 0,
             wxRIGHT | wxBOTTOM, FromDIP(kGap));
  }
  auto* close = new wxButton(parent, wxID_CLOSE, wxString(), wxDefaultPosition, wxDefaultSize, 0,
                             wxDefaultValidator, "CloseReport");
  close->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Close(); });
  row->Add(close, 0, wxBOTTOM, FromDIP(kGap));
  return row;
}

void ReportFrame::SortBy(ReportColumn column, bool ascending) {
  sorted_by_ = column;
  ascending_ = ascending;
  std::ranges::sort(rows_, [&](const ReportRow& a, const ReportRow& b) {
    return ascending ? Order(a, b, column) < 0 : Order(a, b, column) > 0;
  });
  fixes_->Fill(rows_.size());
}

void ReportFrame::CopyErrors() {
  if (!wxTheClipboard->Open()) return;
  wxTheClipboard->SetData(new wxTextDataObject(ToWx(ErrorsText(errors_))));
  wxTheClipboard->Close();
}

void ReportFrame::SaveErrors() {
  services_.SaveText(this, "Texts|*.txt", "errors.txt",
                     [this](const std::string&) { return ErrorsText(errors_); });
}

void ReportFrame::SaveReport() {
  services_.SaveText(this, "Texts|*.txt|JSON|*.json", "report.txt",
                     [this](const std::string& path) { return RecordText(record_, FormatOfName(path)); });
}

}  // namespace vnt::ui
