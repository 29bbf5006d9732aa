// What two databases differ in: a table is chosen, and a notice; then a row, and its cells stand old beside
// new, the changed ones marked with a sign and in bold.
#pragma once

#include <wx/panel.h>

#include <functional>
#include <string>
#include <vector>

#include "compare/difference_store.h"

class wxButton;
class wxStaticText;
class wxTextCtrl;

namespace vnt::ui {

class TextList;
class WindowServices;

// Writes what a store holds to a file of that name.
using SaveToFile = std::function<void(compare::DifferenceStore& differences, const std::string& path)>;
// A button that asks for a name and saves the differences there. All three must outlive it.
wxButton* NewSaveButton(wxWindow* parent, const char* label, WindowServices& services,
                        compare::DifferenceStore& differences, SaveToFile save);

class DifferencePanel : public wxPanel {
 public:
  struct Titles {
    std::string old_side, new_side;
  };
  // `store` must outlive the panel.
  DifferencePanel(wxWindow* parent, compare::DifferenceStore& store, const Titles& titles);

 private:
  // More rows of a table are not listed at once: a notice narrows them.
  static constexpr std::size_t kMostRows = 20000;

  wxWindow* MakeTables();
  wxWindow* MakeRows(const Titles& titles);
  void TableChosen();
  void RowChosen();
  // On as many lines as it needs.
  void ShowRemark();
  std::string RowText(unsigned row, unsigned column);
  std::string CellText(unsigned row, unsigned column) const;
  const compare::DifferenceStore::StoredRow& RowAt(std::size_t row);

  compare::DifferenceStore& store_;
  std::size_t table_ = 0;
  std::vector<std::size_t> rows_;  // of the chosen table and notice
  // The row that was asked for last; lists ask for the columns of one row after the other.
  std::size_t read_ = static_cast<std::size_t>(-1);
  compare::DifferenceStore::StoredRow row_read_;
  compare::DifferenceStore::StoredRow chosen_;

  TextList* tables_list_ = nullptr;
  TextList* rows_list_ = nullptr;
  TextList* cells_list_ = nullptr;
  wxTextCtrl* notice_ = nullptr;
  wxStaticText* remark_ = nullptr;
  std::string remark_text_;  // on one line
};

}  // namespace vnt::ui
