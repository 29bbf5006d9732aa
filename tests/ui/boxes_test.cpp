// The real message boxes and the real file dialog, answered before they show.

#include "ui/box_messages.h"

#include <wx/filedlg.h>
#include <wx/modalhook.h>
#include <wx/msgdlg.h>
#include <wx/statbmp.h>
#include <wx/timer.h>
#include <wx/uiaction.h>

#include <utility>

#include "tests/ui/window_fixture.h"
#include "ui/user_choices.h"

namespace vnt::ui {
namespace {

// The box as it stands on the screen, closed after that.
class ShownBox : public wxTimer {
 public:
  explicit ShownBox(std::function<void(wxDialog&)> look) : look_(std::move(look)) { Start(200); }
  void Notify() override {
    for (wxWindow* window : wxTopLevelWindows) {
      auto* box = dynamic_cast<wxDialog*>(window);
      if (box == nullptr || !box->IsShown()) continue;
      Stop();
      look_(*box);
      box->EndModal(wxID_OK);
      return;
    }
  }

 private:
  std::function<void(wxDialog&)> look_;
};

template <class Control>
Control* Find(wxWindow& parent) {
  for (wxWindow* child : parent.GetChildren()) {
    if (auto* control = dynamic_cast<Control*>(child)) return control;
    if (auto* control = Find<Control>(*child)) return control;
  }
  return nullptr;
}

struct SeenBox {
  std::string title, text, explanation;
  long icon;
  bool operator==(const SeenBox&) const = default;
};

class DialogHook : public wxModalDialogHook {
 public:
  DialogHook() { Register(); }
  ~DialogHook() override { Unregister(); }

  std::vector<SeenBox> boxes;
  std::string wildcard, folder;
  bool questions = false;  // are expected
  long style = 0;          // of the last box

 protected:
  int Enter(wxDialog* dialog) override {
    if (auto* box = dynamic_cast<wxMessageDialogBase*>(dialog)) {
      style = box->GetMessageDialogStyle();
      if (questions) return wxID_NO;
      EXPECT_EQ(style & (wxYES | wxNO | wxCANCEL), 0);
      boxes.push_back({FromWx(box->GetCaption()), FromWx(box->GetMessage()),
                       FromWx(box->GetExtendedMessage()), box->GetMessageDialogStyle() & wxICON_MASK});
      return wxID_OK;
    }
    if (auto* file = dynamic_cast<wxFileDialog*>(dialog)) {
      wildcard = FromWx(file->GetWildcard());
      folder = FromWx(file->GetDirectory());
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
  EXPECT_THAT(hook.boxes,
              ::testing::ElementsAre(SeenBox{"VNTFixdb", "Fix complete.", "", wxICON_INFORMATION},
                                     SeenBox{"VNTFixdb", "No Database is open!", "", wxICON_ERROR},
                                     SeenBox{"VNTFixdb", "94 A & B\nété ", "", wxICON_NONE}));
}

// Its words stay what they are; what explains it is a text of its own.
TEST_F(BoxesTest, AnExplanationStandsBesideTheText) {
  DialogHook hook;
  BoxMessages messages;
  Window();
  for (const MessageStyle style : {MessageStyle::kCritical, MessageStyle::kPlain})
    messages.ShowExplained("No Database is open!", style, "94 Invalid use of Null");
  messages.ShowWithCheck("No Database is open!", MessageStyle::kCritical, "In fix 7.", "No more");
  ASSERT_EQ(hook.boxes.size(), 3U);
  for (const SeenBox& box : hook.boxes) EXPECT_EQ(box.text, "No Database is open!");
  EXPECT_EQ(hook.boxes[0].explanation, "94 Invalid use of Null");
  EXPECT_EQ(hook.boxes[1].explanation, "94 Invalid use of Null");
  EXPECT_EQ(hook.boxes[2].explanation, "In fix 7.");
}

TEST_F(BoxesTest, AQuestionPreselectsTheHarmlessAnswer) {
  StubServices services;
  DialogHook hook;
  hook.questions = true;
  services.WindowServices::Confirm(&Window(), "Replace it?");
  EXPECT_NE(hook.style & wxNO_DEFAULT, 0);
  services.WindowServices::Confirm(&Window(), "Put it back?", Answer::kYes);
  EXPECT_EQ(hook.style & wxNO_DEFAULT, 0);
}

TEST_F(BoxesTest, IconAndWidthOnTheScreen) {
  BoxMessages messages;
  Window();
  for (const MessageStyle style : {MessageStyle::kInformation, MessageStyle::kCritical}) {
    const ShownBox look([](wxDialog& box) {
      auto* icon = Find<wxStaticBitmap>(box);
      ASSERT_NE(icon, nullptr);
      EXPECT_GT(icon->GetSize().GetWidth(), 10);
      EXPECT_GT(box.GetSize().GetWidth(), box.GetTextExtent(box.GetTitle()).GetWidth() + 100);
    });
    messages.Show("!", style);
  }
}

TEST_F(BoxesTest, CheckMark) {
  BoxMessages messages;
  Window();
  for (const bool set : {false, true}) {
    const ShownBox look([&](wxDialog& box) {
      auto* check = Find<wxCheckBox>(box);
      ASSERT_NE(check, nullptr);
      EXPECT_EQ(FromWx(check->GetLabelText()), "No more");
      check->SetValue(set);
    });
    const MessageStyle style = set ? MessageStyle::kPlain : MessageStyle::kCritical;
    EXPECT_EQ(messages.ShowWithCheck("An error.", style, "", "No more"), set);
  }
}

TEST_F(BoxesTest, FileDialog) {
  DialogHook hook;
  StubServices services;
  EXPECT_EQ(services.WindowServices::ChooseFile(&Window(), kOpenFilter), "");
  EXPECT_EQ(hook.folder, "");
  SaveLastFolder(folder_.string());
  services.WindowServices::ChooseFile(&Window(), kOpenFilter);
  EXPECT_EQ(hook.folder, folder_.string()) << "where the last one ended";
#ifdef _WIN32
  const std::string any_case = "Access mdb|*.mdb|Access 7.0 files accdb|*.accdb|All files|*.*";
#else
  const std::string any_case =
      "Access mdb|*.[mM][dD][bB]|Access 7.0 files accdb|*.[aA][cC][cC][dD][bB]|All files|*";
#endif
  EXPECT_EQ(hook.wildcard, any_case);
}

// It need not lie in the folder that the dialog shows.
TEST_F(BoxesTest, TheFolderOfATypedPathIsKept) {
  class Typist : public wxTimer {
   public:
    explicit Typist(std::string path) : path_(std::move(path)) { Start(1000); }
    void Notify() override {
      wxUIActionSimulator keys;
      if (!std::exchange(typed_, true)) {
        keys.Text(path_.c_str());
      } else {
        keys.Char(WXK_RETURN);
      }
    }

   private:
    const std::string path_;
    bool typed_ = false;
  };
  SaveLastFolder(folder_.string());
  const std::string file = WriteFile("elsewhere/typed.mdb", "").string();
  StubServices services;
  Window();
  const Typist typist(file);
  EXPECT_EQ(services.WindowServices::ChooseFile(&Window(), kOpenFilter), file);
  EXPECT_EQ(LastFolder(), (folder_ / "elsewhere").string());
}

}  // namespace
}  // namespace vnt::ui
