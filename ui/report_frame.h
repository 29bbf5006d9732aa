// The window that shows what a run did, or in a preview would do: the fixes, their errors, and for a preview
// the differences. It stays open beside the main window.
//
//   summary
//   Sort by [..]
//   fixes ............................
//   errors ...........................
//   Copy Errors  Save Errors  Save Report  Save Differences  Close
#pragma once

#include <wx/frame.h>

#include <memory>
#include <vector>

#include "compare/difference_store.h"
#include "run/run_record.h"
#include "ui/difference_panel.h"
#include "ui/report_rows.h"

class wxChoice;
class wxPanel;
class wxSizer;

namespace vnt::ui {

class TextList;
class WindowServices;

class ReportFrame : public wxFrame {
 public:
  // `differences` is null where there are none to show, and `save` empty. `services` must outlive the window.
  ReportFrame(wxWindow* beside, WindowServices& services, RunRecord record,
              std::unique_ptr<compare::DifferenceStore> differences = nullptr, SaveToFile save = {});
  ~ReportFrame() override;

 private:
  wxPanel* MakeReportPage(wxWindow* parent);
  wxSizer* MakeButtons(wxWindow* parent, SaveToFile save);
  void SortBy(ReportColumn column, bool ascending);
  void CopyErrors();
  void SaveErrors();
  void SaveReport();

  WindowServices& services_;
  const RunRecord record_;
  const std::unique_ptr<compare::DifferenceStore> differences_;
  std::vector<ReportRow> rows_;
  const std::vector<ErrorRow> errors_;
  ReportColumn sorted_by_ = ReportColumn::kStep;
  bool ascending_ = true;
  TextList* fixes_ = nullptr;
  wxChoice* sort_choice_ = nullptr;
};

// What the windows beside the main one have in common: where they open, and that Escape closes them.
void PlaceBeside(wxFrame& frame, const wxWindow* main, const wxSize& wanted);

}  // namespace vnt::ui
