// The real message boxes and the real file dialog, answered before they show.

#include "ui/box_messages.h"

#include <wx/filedlg.h>
#include <wx/modalhook.h>
#include <wx/msgdlg.h>

#include "tests/ui/window_fixture.h"

namespace vnt::ui {
namespace {

struct SeenBox {
  std::string title, text;
  long icon;
  bool operator==(const SeenBox&) const = default;
};

class DialogHook : public wxModalDialogHook {
 public:
  DialogHook() { Register(); }
  ~DialogHook() override { Unregister(); }

  std::vector<SeenBox> boxes;
  std::string wildcard;

 protected:
  int Enter(wxDialog* dialog) override {
    if (auto* box = wxDynamicCast(dialog, wxMessageDialog)) {
      EXPECT_EQ(box->GetMessageDialogStyle() & (wxYES | wxNO | wxCANCEL), 0);
      boxes.push_back(
          {FromWx(box->GetCaption()), FromWx(box->GetMessage()), box->GetMessageDialogStyle() & wxICON_MASK});
      return wxID_OK;
    }
    if (auto* file = wxDynamicCast(dialog, wxFileDialog)) {
      wildcard = FromWx(file->GetWildcard());
      return wxID_CANCEL;
    }
    return wxID_NONE;
  }
};

class BoxesTest : public WindowTest {};

TEST_F(BoxesTest, TitleTextAndStyle) {
  DialogHook hook;
  BoxMessages messages;
  Window();
  const wxBusyCursor hourglass;
  messages.Show("Fix complete.", MessageStyle::kInformation);
  messages.Show("No Database is open!", MessageStyle::kCritical);
  messages.Show("94 A & B\nété ", MessageStyle::kPlain);
  EXPECT_TRUE(wxIsBusy());
  EXPECT_THAT(hook.boxes, ::testing::ElementsAre(SeenBox{"VNTFixdb", "Fix complete.", wxICON_INFORMATION},
                                                 SeenBox{"VNTFixdb", "No Database is open!", wxICON_ERROR},
                                                 SeenBox{"VNTFixdb", "94 A & B\nété ", wxICON_NONE}));
}

TEST_F(BoxesTest, FileDialog) {
  DialogHook hook;
  StubServices services;
  EXPECT_EQ(services.WindowServices::ChooseFile(&Window(), "a|*.a|b|*.b"), "");
  EXPECT_EQ(hook.wildcard, "a|*.a|b|*.b");
}

}  // namespace
}  // namespace vnt::ui
