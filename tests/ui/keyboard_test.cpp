// The keyboard alone, through real key presses on the display.

#include <wx/uiaction.h>

#include "tests/ui/window_fixture.h"

namespace vnt::ui {
namespace {

class KeyboardTest : public WindowTest {
 protected:
  void Press(int key, int modifiers = wxMOD_NONE) {
    keys_.Char(key, modifiers);
    Settle();
  }
  std::string Focused() const {
    const wxWindow* focus = wxWindow::FindFocus();
    return focus == nullptr ? "nothing" : FromWx(focus->GetName());
  }

 private:
  wxUIActionSimulator keys_;
};

TEST_F(KeyboardTest, TabFollowsTheIndex) {
  Window();
  for (int index = 0; index < kFixCount; ++index) {
    EXPECT_EQ(Focused(), "Chkfix(" + std::to_string(index) + ")");
    Press(WXK_TAB);
  }
  for (const char* button : {"Command3", "cmdclear", "cmdPreview", "Command2", "Command1"}) {
    EXPECT_EQ(Focused(), button);
    Press(WXK_TAB);
  }
  EXPECT_EQ(Focused(), "Chkfix(0)");
  Press(WXK_TAB, wxMOD_SHIFT);
  EXPECT_EQ(Focused(), "Command1");
}

TEST_F(KeyboardTest, SpaceTicksAndPresses) {
  Window();
  Press(WXK_SPACE);
  EXPECT_FALSE(Box(0).IsChecked());
  Press(WXK_SPACE);
  EXPECT_TRUE(Box(0).IsChecked());
  Named<wxButton>("cmdclear").SetFocus();
  Press(WXK_SPACE);
  EXPECT_TRUE(Window().Selection().none());
}

TEST_F(KeyboardTest, MenusOpenByTheirAccessKeys) {
  Window();
  Press('F', wxMOD_ALT);
  Press('O');
  EXPECT_EQ(services_.filters.size(), 1U);
  Press(WXK_F1);
  EXPECT_EQ(services_.help_files.size(), 1U);
}

}  // namespace
}  // namespace vnt::ui
