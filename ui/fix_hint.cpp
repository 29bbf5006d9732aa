#include "ui/fix_hint.h"

#include <wx/checkbox.h>

#include <string>

#include "ui/native.h"
#include "ui/report_rows.h"
#include "ui/text_wx.h"

namespace vnt::ui {
namespace {

std::string TextOf(const FixEntry& fix) {
  std::string text(fix.summary);
  if (!fix.reach.empty()) text.append(" In a run for one notice too it ").append(fix.reach).append(".");
  return text;
}

}  // namespace

FixHint::FixHint(wxWindow* parent)
    : wxStaticText(parent, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, wxST_NO_AUTORESIZE,
                   "FixHint") {
  Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
    event.Skip();
    Tell();
  });
}

void FixHint::Watch(wxCheckBox& box, const FixEntry& fix) {
  SetAccessibleDescription(box, std::to_string(fix.index) + ". " + TextOf(fix));
  const auto tell = [this, &fix](wxEvent& event) {
    event.Skip();
    fix_ = &fix;
    Tell();
  };
  box.Bind(wxEVT_SET_FOCUS, tell);
  box.Bind(wxEVT_ENTER_WINDOW, tell);
}

void FixHint::Tell() {
  if (fix_ == nullptr) return;
  SetLabel(wxControl::EscapeMnemonics(ToWx(NumberedName(fix_) + "\n\n" + TextOf(*fix_))));
  if (GetSize().GetWidth() > 0) Wrap(GetSize().GetWidth());
}

}  // namespace vnt::ui
