#include "ui/difference_panel.h"

#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include <utility>

#include "compare/diff_writers.h"
#include "ui/button_later.h"
#include "ui/native.h"
#include "ui/text_list.h"
#include "ui/text_size.h"
#include "ui/text_wx.h"
#include "ui/window_services.h"

namespace vnt::ui {
namespace {

using compare::Difference;
using compare::DifferenceStore;

constexpr int kGap = 6;

const char* SignOf(Difference kind) {
  return kind == Difference::kAdded ? "+" : kind == Difference::kRemoved ? "\u2212" : "\u2260";
}

// The names of the columns whose values changed.
std::string ChangedColumns(const DifferenceStore::Table& table, const DifferenceStore::StoredRow& row) {
  std::string names;
  if (row.kind != Difference::kChanged) return names;
  for (std::size_t i = 0; i < row.cells.size(); ++i) {
    if (row.cells[i].changed) names += (names.empty() ? "" : ", ") + table.columns[i];
  }
  return names;
}

}  // namespace

wxButton* NewSaveButton(wxWindow* parent, const char* label, WindowServices& services,
                        DifferenceStore& differences, SaveToFile save) {
  auto* button = new wxButton(parent, wxID_ANY, label, wxDefaultPosition, wxDefaultSize, 0,
                              wxDefaultValidator, "SaveDifferences");
  BindLater(*button, [button, &services, &differences, save = std::move(save)] {
    const std::string path =
        services.ChooseNewFile(wxGetTopLevelParent(button), "CSV|*.csv|JSON|*.json", "differences.csv");
    if (!path.empty()) save(differences, path);
  });
  return button;
}

DifferencePanel::DifferencePanel(wxWindow* parent, DifferenceStore& store, const Titles& titles)
    : wxPanel(parent), store_(store) {
  auto* sizer = new wxBoxSizer(wxVERTICAL);
  if (store_.tables().empty()) {
    sizer->Add(new wxStaticText(this, wxID_ANY, "There are no differences."), 0, wxALL, FromDIP(2 * kGap));
    SetSizer(sizer);
    return;
  }
  auto* tables = MakeTables();
  auto* rows = MakeRows(titles);
  auto* columns = new wxBoxSizer(wxHORIZONTAL);
  tables->SetMinSize(FromDIP(wxSize(180, 100)));
  columns->Add(tables, 5, wxEXPAND | wxRIGHT, FromDIP(kGap));
  columns->Add(rows, 6, wxEXPAND);
  sizer->Add(columns, 1, wxEXPAND | wxALL, FromDIP(kGap));
  SetSizer(sizer);
  tables_list_->Fill(store_.tables().size());
  tables_list_->Choose(0);
  TableChosen();
}

wxWindow* DifferencePanel::MakeTables() {
  TextList::Source source;
  source.text = [this](unsigned row, unsigned column) {
    const DifferenceStore::Table& table = store_.tables()[row];
    switch (column) {
      case 0:
        return table.name;
      case 1:
        return std::to_string(table.counts.changed);
      case 2:
        return std::to_string(table.counts.added);
      default:
        return std::to_string(table.counts.removed);
    }
  };
  tables_list_ = new TextList(
      this, "DifferingTables",
      {{"Table", 120}, {"Changed", 74, true}, {"Added", 62, true}, {"Removed", 80, true}}, std::move(source));
  SetAccessibleName(*tables_list_, "Tables that differ");
  tables_list_->Bind(wxEVT_DATAVIEW_SELECTION_CHANGED, [this](wxDataViewEvent&) { TableChosen(); });
  return tables_list_;
}

wxWindow* DifferencePanel::MakeRows(const Titles& titles) {
  auto* panel = new wxPanel(this);
  auto* sizer = new wxBoxSizer(wxVERTICAL);
  auto* choice = new wxBoxSizer(wxHORIZONTAL);
  choice->Add(new wxStaticText(panel, wxID_ANY, "&Notice (empty: all):"), 0,
              wxALIGN_CENTRE_VERTICAL | wxRIGHT, FromDIP(kGap));
  const wxSize room = WithText(*panel, wxSize(96, 29));
  notice_ = new wxTextCtrl(panel, wxID_ANY, wxString(), wxDefaultPosition, room, 0, wxDefaultValidator,
                           "NoticeOfDifferences");
  SetAccessibleName(*notice_, "Notice (empty: all)");
  notice_->SetMaxLength(10);
  notice_->Bind(wxEVT_TEXT, [this](wxCommandEvent&) { TableChosen(); });
  choice->Add(notice_);
  sizer->Add(choice, 0, wxBOTTOM, FromDIP(kGap));

  rows_list_ = new TextList(panel, "DifferingRows", {{"Row", 85}, {"Key", 190}, {"Changed columns", 200}},
                            {[this](unsigned row, unsigned column) { return RowText(row, column); }, {}});
  SetAccessibleName(*rows_list_, "Rows that differ");
  rows_list_->Bind(wxEVT_DATAVIEW_SELECTION_CHANGED, [this](wxDataViewEvent&) { RowChosen(); });
  TextList::Source cells;
  cells.text = [this](unsigned row, unsigned column) { return CellText(row, column); };
  cells.is_marked = [this](unsigned row) { return chosen_.cells[row].changed; };
  cells_list_ = new TextList(
      panel, "Cells",
      {{"\u00B1", 36}, {"Column", 120}, {titles.old_side.c_str(), 150}, {titles.new_side.c_str(), 150}},
      std::move(cells));
  SetAccessibleName(*cells_list_, "Values of the row");
  sizer->Add(rows_list_, 2, wxEXPAND);
  sizer->Add(cells_list_, 3, wxEXPAND | wxTOP, FromDIP(kGap));
  remark_ = new wxStaticText(panel, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize,
                             wxST_NO_AUTORESIZE, "DifferenceRemark");
  sizer->Add(remark_, 0, wxEXPAND | wxTOP, FromDIP(kGap));
  panel->SetSizer(sizer);
  panel->Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
    event.Skip();
    ShowRemark();
  });
  return panel;
}

void DifferencePanel::TableChosen() {
  const int chosen = tables_list_->Chosen();
  if (chosen < 0) return;
  table_ = static_cast<std::size_t>(chosen);
  long notice = 0;
  const wxString wanted = notice_->GetValue().Strip(wxString::both);
  // What is no number belongs to no row.
  if (!wanted.empty() && (!wanted.ToLong(&notice) || notice <= 0 || notice > INT32_MAX)) notice = -1;
  rows_ = store_.RowsOf(table_, static_cast<std::int32_t>(notice), kMostRows);
  rows_list_->Fill(rows_.size());
  std::string& remark = remark_text_;
  remark.clear();
  for (const std::string& sentence : store_.tables()[table_].remarks) remark += sentence + " ";
  const std::size_t all = store_.CountOf(table_, static_cast<std::int32_t>(notice));
  if (all > rows_.size()) {
    remark += "The first " + std::to_string(rows_.size()) + " of " + std::to_string(all) +
              " rows are listed; a notice narrows them.";
  }
  ShowRemark();
  if (!rows_.empty()) rows_list_->Choose(0);
  RowChosen();
}

void DifferencePanel::ShowRemark() {
  constexpr int kLeastWidth = 100;  // before the panel has its place it is narrower
  wxWindow& panel = *remark_->GetParent();
  const int width = panel.GetClientSize().GetWidth();
  remark_->SetLabel(wxControl::EscapeMnemonics(ToWx(remark_text_)));
  if (width < FromDIP(kLeastWidth)) return;
  remark_->Wrap(width);
  // A text that keeps its size does not ask for room by itself.
  remark_->InvalidateBestSize();
  panel.Layout();
}

void DifferencePanel::RowChosen() {
  const int row = rows_list_->Chosen();
  chosen_ = {};
  if (row >= 0 && static_cast<std::size_t>(row) < rows_.size()) {
    chosen_ = RowAt(rows_[static_cast<std::size_t>(row)]);
  }
  cells_list_->Fill(chosen_.cells.size());
}

const DifferenceStore::StoredRow& DifferencePanel::RowAt(std::size_t row) {
  if (std::exchange(read_, row) != row) row_read_ = store_.Read(row);
  return row_read_;
}

std::string DifferencePanel::RowText(unsigned row, unsigned column) {
  const DifferenceStore::StoredRow& stored = RowAt(rows_[row]);
  switch (column) {
    case 0:
      return SignOf(stored.kind) + (" " + std::string(compare::NameOf(stored.kind)));
    case 1:
      return stored.key;
    default:
      return ChangedColumns(store_.tables()[table_], stored);
  }
}

std::string DifferencePanel::CellText(unsigned row, unsigned column) const {
  const DifferenceStore::Cell& cell = chosen_.cells[row];
  switch (column) {
    case 0:
      return cell.changed ? SignOf(chosen_.kind) : "";
    case 1:
      return store_.tables()[table_].columns[row];
    case 2:
      return cell.old_text;
    default:
      return cell.new_text;
  }
}

}  // namespace vnt::ui
