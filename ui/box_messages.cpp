#include "ui/box_messages.h"

#include <wx/app.h>
#include <wx/msgdlg.h>
#include <wx/richmsgdlg.h>
#include <wx/utils.h>

#include <iostream>

#include "ui/asked_to_end.h"
#include "ui/native.h"
#include "ui/text_wx.h"

namespace vnt::ui {
namespace {

long IconOf(platform::MessageStyle style) {
  switch (style) {
    case platform::MessageStyle::kInformation:
      return wxICON_INFORMATION;
    case platform::MessageStyle::kCritical:
      return wxICON_ERROR;
    case platform::MessageStyle::kPlain:
      break;
  }
  return wxICON_NONE;
}

#ifdef __WXMSW__
using Box = wxMessageDialog;
#else
// The desktop's own box shows no icon; where there is to be none, it serves.
using Box = wxRichMessageDialog;
#endif

// The toolkit's own boxes are as narrow as their text; the title has to fit too, beside what the window
// manager puts there.
void ShowWide(wxDialog& box) {
  constexpr int kRoomInTitle = 200;
  box.Bind(wxEVT_INIT_DIALOG, [&box](wxInitDialogEvent& event) {
    event.Skip();
    const int width = box.GetTextExtent(kProgramTitle).GetWidth() + box.FromDIP(kRoomInTitle);
    if (box.GetSize().GetWidth() < width) box.SetSize(width, box.GetSize().GetHeight());
    SetAlertRole(box);
    box.CentreOnParent();
  });
  box.ShowModal();
}

wxWindow* Owner() {
  wxWindow* top = wxTheApp == nullptr ? nullptr : wxTheApp->GetTopWindow();
  return top != nullptr && top->IsShown() ? top : nullptr;
}

// Takes the hourglass away for as long as this lives. The toolkit's own class for that cannot be linked
// against everywhere, so what was begun is ended, by count, and begun again.
class HourglassSuspended {
 public:
  HourglassSuspended() {
    for (; wxIsBusy(); ++count_) wxEndBusyCursor();
  }
  ~HourglassSuspended() {
    for (; count_ > 0; --count_) wxBeginBusyCursor();
  }
  HourglassSuspended(const HourglassSuspended&) = delete;
  HourglassSuspended& operator=(const HourglassSuspended&) = delete;

 private:
  int count_ = 0;
};

// Sentences that list many things would make the box wider than the screen.
wxString Wrapped(std::string_view text) {
  constexpr std::size_t kColumns = 110;
  std::string lines;
  std::size_t column = 0;
  for (const char c : text) {
    if (c == ' ' && column >= kColumns) {
      lines += '\n';
      column = 0;
      continue;
    }
    lines += c;
    column = c == '\n' ? 0 : column + 1;
  }
  return ToWx(lines);
}

void Explain(wxMessageDialogBase& box, std::string_view explanation) {
  if (!explanation.empty()) box.SetExtendedMessage(Wrapped(explanation));
}

}  // namespace

void BoxMessages::Show(std::string_view text, platform::MessageStyle style) {
  ShowExplained(text, style, {});
}

void BoxMessages::ShowExplained(std::string_view text, platform::MessageStyle style,
                                std::string_view explanation) {
  if (SignalToEnd() != 0) {
    std::cerr << text << std::endl;
    if (!explanation.empty()) std::cerr << explanation << std::endl;
    return;
  }
  // The box waits for its reader, so the hourglass of a run has no place over it.
  const HourglassSuspended suspended;
  const long flags = wxOK | wxCENTRE | IconOf(style);
  if (style == platform::MessageStyle::kPlain) {
    wxMessageDialog box(Owner(), Wrapped(text), kProgramTitle, flags);
    Explain(box, explanation);
    box.ShowModal();
  } else {
    Box box(Owner(), Wrapped(text), kProgramTitle, flags);
    Explain(box, explanation);
    ShowWide(box);
  }
}

bool BoxMessages::ShowWithCheck(std::string_view text, platform::MessageStyle style,
                                std::string_view explanation, std::string_view caption) {
  if (SignalToEnd() != 0) {
    ShowExplained(text, style, explanation);
    return false;
  }
  const HourglassSuspended suspended;
  // The toolkit's own box takes no word for "no icon": it has none when none is named.
  const long icon = style == platform::MessageStyle::kPlain ? 0 : IconOf(style);
  wxRichMessageDialog box(Owner(), Wrapped(text), kProgramTitle, wxOK | wxCENTRE | icon);
  Explain(box, explanation);
  box.ShowCheckBox(ToWx(caption));
  ShowWide(box);
  return box.IsCheckBoxChecked();
}

}  // namespace vnt::ui
