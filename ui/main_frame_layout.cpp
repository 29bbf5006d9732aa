// How the main window is put together. Tab order is the order of creation: the boxes by index, then the
// buttons; where a control stands on screen is the sizers' business alone.

#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/datetime.h>
#include <wx/display.h>
#include <wx/gauge.h>
#include <wx/menu.h>
#include <wx/panel.h>
#include <wx/scrolwin.h>
#include <wx/sizer.h>
#include <wx/statbox.h>
#include <wx/statusbr.h>

#include <algorithm>
#include <vector>

#include "program/program_state.h"
#include "ui/main_frame.h"
#include "ui/native.h"
#include "ui/text_wx.h"

namespace vnt::ui {
namespace {

constexpr int kColumns = 3;
// Distances in units of 1/96 inch.
constexpr int kMargin = 10;
constexpr int kBoxGap = 2;
constexpr int kColumnGap = 28;
constexpr int kButtonGap = 8;

// Menus and labels read '&' as the mark of an access key; a caption is shown as it stands.
wxString Literal(std::string_view caption) { return wxControl::EscapeMnemonics(ToWx(caption)); }

wxButton* NewButton(wxPanel* panel, const wxString& name, std::string_view caption) {
  return new wxButton(panel, wxID_ANY, Literal(caption), wxDefaultPosition, wxDefaultSize, 0,
                      wxDefaultValidator, name);
}

}  // namespace

void frmMain::CreateMenus() {
  auto* file = new wxMenu;
  file->Append(mnuFileOpen, "&Open Database");
  recent_ = new wxMenu;
  file->Append(mnuFileRecent, "Open &Recent", recent_);
  file->Append(mnuFileClose, "&Close Database");
  file->AppendSeparator();
  file->AppendCheckItem(mnuFileBackUp, "&Back up before fixing");
  file->Check(mnuFileBackUp, BackUpBeforeFixing());
  file->Append(mnuFileUndo, "&Undo Last Run");
  file->AppendSeparator();
  file->Append(mnuFileExit, "E&xit");
  auto* view = new wxMenu;
  view->Append(mnuViewLastRun, "&Last Run\tCtrl+L");
  view->Enable(mnuViewLastRun, false);
  tools_ = new wxMenu;
  tools_->Append(mnutools_compare, "&Compare");
  tools_->AppendSeparator();
  constexpr char kNoPart[] = "This tool is not part of this program.";
  SetItemTooltip(*tools_->Append(mnutools_page, "&Add Page No to Groups", kNoPart), kNoPart);
  tools_->Enable(mnutools_page, false);
  auto* help = new wxMenu;
  help->Append(mnuHelp, "&Help\tF1");

  auto* bar = new wxMenuBar;
  bar->Append(file, "&File");
  bar->Append(view, "&View");
  bar->Append(tools_, "&Tools");
  bar->Append(help, "&Help");
  SetMenuBar(bar);
  constexpr std::size_t kToolsMenu = 2;
  if (State().data_level == 0) bar->EnableTop(kToolsMenu, false);
}

void frmMain::CreateBoxes(wxPanel* panel) {
  scroller_ = new wxScrolledWindow(panel, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                                   wxHSCROLL | wxVSCROLL | wxTAB_TRAVERSAL, "FixList");
  scroller_->SetLabel("Fixes");
  SetAccessibleName(*scroller_, "Fixes");
  Frame1 = new wxStaticBox(scroller_, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, 0, "Frame1");
  for (int index = 0; index < kFixCount; ++index) {
    const FixEntry& fix = FixByIndex(index);
    wxCheckBox* box = new wxCheckBox(Frame1, wxID_ANY, Literal(fix.caption), wxDefaultPosition, wxDefaultSize,
                                     0, wxDefaultValidator, wxString::Format("Chkfix(%d)", index));
    box->SetToolTip(ToWx(fix.tooltip));
    box->SetValue(fix.ticked);
    Chkfix[static_cast<std::size_t>(index)] = box;
  }
  hint_ = new FixHint(Frame1);
  for (int index = 0; index < kFixCount; ++index)
    hint_->Watch(*Chkfix[static_cast<std::size_t>(index)], FixByIndex(index));
}

void frmMain::CreateButtons(wxPanel* panel) {
  Command3 = NewButton(panel, "Command3", "Select All");
  cmdclear = NewButton(panel, "cmdclear", "Clear Selection");
  cmdPreview = NewButton(panel, "cmdPreview", "Preview");
  cmdPreview->SetLabel("&Preview");
  cmdPreview->SetToolTip("Shows what Fix would change; nothing is written");
  Command2 = NewButton(panel, "Command2", "Fix");
  Command1 = NewButton(panel, "Command1", "Exit");
}

wxSizer* frmMain::PlaceBoxes() {
  auto* frame = new wxStaticBoxSizer(Frame1, wxHORIZONTAL);
  std::array<std::vector<const FixEntry*>, kColumns> columns;
  for (const FixEntry& fix : FixCatalogue()) columns[static_cast<std::size_t>(fix.column)].push_back(&fix);
  for (std::size_t number = 0; number < kColumns; ++number) {
    std::ranges::sort(columns[number], {}, &FixEntry::row);
    auto* column = new wxBoxSizer(wxVERTICAL);
    for (const FixEntry* fix : columns[number]) {
      column->Add(Chkfix[static_cast<std::size_t>(fix->index)], 0, wxTOP | wxBOTTOM, FromDIP(kBoxGap));
    }
    if (number > 0) frame->Add(FromDIP(kColumnGap), 0, 1);
    // The last column has room for it: as wide as its boxes, and as high as the others leave.
    if (number + 1 == kColumns) column->Add(hint_, 1, wxEXPAND | wxTOP, FromDIP(kColumnGap));
    frame->Add(column, 0, wxALL | wxEXPAND, FromDIP(kMargin));
  }
  return frame;
}

wxSizer* frmMain::PlaceButtons() {
  auto* row = new wxBoxSizer(wxHORIZONTAL);
  row->Add(Command3);
  row->Add(cmdclear, 0, wxLEFT, FromDIP(kButtonGap));
  row->AddStretchSpacer();
  row->Add(cmdPreview, 0, wxLEFT, FromDIP(kButtonGap));
  row->Add(Command2, 0, wxLEFT, FromDIP(kButtonGap));
  row->Add(Command1, 0, wxLEFT, FromDIP(kButtonGap));
  return row;
}

void frmMain::PlaceControls(wxPanel* panel) {
  auto* list = new wxBoxSizer(wxVERTICAL);
  list->Add(PlaceBoxes(), 1, wxEXPAND);
  scroller_->SetSizer(list);
  scroller_->SetScrollRate(FromDIP(16), FromDIP(16));

  auto* rows = new wxBoxSizer(wxVERTICAL);
  rows->Add(scroller_, 1, wxEXPAND | wxALL, FromDIP(kMargin));
  rows->Add(PlaceButtons(), 0, wxEXPAND | wxLEFT | wxRIGHT | wxBOTTOM, FromDIP(kMargin));
  panel->SetSizer(rows);
}

// As large as all boxes need, but no larger than the screen: what does not fit is scrolled to, with the
// buttons always in sight.
void frmMain::ChooseSize(wxPanel* panel) {
  scroller_->SetMinSize(scroller_->GetSizer()->GetMinSize());
  const wxSize whole = panel->GetSizer()->GetMinSize();
  scroller_->SetMinSize(FromDIP(wxSize(240, 120)));
  wxSize least = panel->GetSizer()->GetMinSize();

  const wxSize bars = FromDIP(wxSize(16, 110));  // title, menu and status bar
  const int screen_number = std::max(wxDisplay::GetFromWindow(this), 0);
  const wxSize screen = wxDisplay(static_cast<unsigned>(screen_number)).GetClientArea().GetSize();
  if (least.GetWidth() > screen.GetWidth() - bars.GetWidth()) {
    // Buttons as narrow as their texts, where the usual ones leave the screen.
    for (wxButton* button : {Command3, cmdclear, cmdPreview, Command2, Command1}) {
      button->SetWindowStyleFlag(button->GetWindowStyleFlag() | wxBU_EXACTFIT);
      button->InvalidateBestSize();
    }
    least = panel->GetSizer()->GetMinSize();
  }
  wxSize chosen = whole;
  chosen.DecTo(screen - bars);
  chosen.IncTo(least);
  SetClientSize(chosen);
  SetMinClientSize(least);
  Layout();
  Centre();
}

void frmMain::CreateStatusBarPanels() {
  constexpr int kPanels = 4;
  sbStatusBar = CreateStatusBar(kPanels, wxSTB_SIZEGRIP | wxSTB_SHOW_TIPS | wxSTB_ELLIPSIZE_MIDDLE, wxID_ANY,
                                "sbStatusBar");
  // Menu items would else write their help texts over the database's name.
  SetStatusBarPane(-1);
  const auto width = [&](const wxString& text, int room) {
    return sbStatusBar->GetTextExtent(text).GetWidth() + FromDIP(room);
  };
  constexpr int kRoom = 20;
  constexpr int kRoomWithGrip = 48;
  const wxDateTime widest(28, wxDateTime::Dec, 2028, 22, 58);
  const std::array<int, kPanels> widths = {-1, width("notice 2147483647", kRoom),
                                           width(widest.FormatDate(), kRoom),
                                           width(widest.Format("%H:%M"), kRoomWithGrip)};
  sbStatusBar->SetStatusWidths(kPanels, widths.data());
  const std::array<int, kPanels> styles = {wxSB_SUNKEN, wxSB_SUNKEN, wxSB_SUNKEN, wxSB_SUNKEN};
  sbStatusBar->SetStatusStyles(kPanels, styles.data());
  gauge_ = new wxGauge(sbStatusBar, wxID_ANY, 1, wxDefaultPosition, wxDefaultSize,
                       wxGA_HORIZONTAL | wxGA_SMOOTH, wxDefaultValidator, "Progress");
  SetAccessibleName(*gauge_, "Progress");
  gauge_->Hide();
  ShowScope();
}

}  // namespace vnt::ui
