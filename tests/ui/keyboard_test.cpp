// The keyboard alone, through real key presses on the display.

#include <wx/stattext.h>
#include <wx/uiaction.h>

#include <algorithm>

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

// One that was meant for the box at the end, or typed once too often.
TEST_F(KeyboardTest, ReturnAfterARunStartsNoOther) {
  int runs = 0;
  services_.run = [&](const FixSelection&, RunObserver&) {
    ++runs;
    return RunResult();
  };
  Window();
  const FixSelection selection = Window().Selection();
  Named<wxButton>("Command2").SetFocus();
  Press(WXK_RETURN);
  EXPECT_EQ(runs, 1);
  for (const int key : {WXK_RETURN, WXK_NUMPAD_ENTER, WXK_SPACE}) Press(key);
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(Window().Selection(), selection);
  Press(WXK_TAB);
  EXPECT_EQ(Focused(), "Command3") << "and the keyboard goes on behind the list";
}

// Whoever needs it, and by its number.
TEST_F(KeyboardTest, TheHintTellsOfTheBoxWithTheFocus) {
  Window();
  auto hint = [&] {
    std::string text = FromWx(Named<wxStaticText>("FixHint").GetLabelText());
    std::ranges::replace(text, '\n', ' ');
    return text;
  };
  EXPECT_EQ(hint(), "0. Fix Designation of Emission  " + std::string(FixByIndex(0).summary));
  for (int i = 0; i < 3; ++i) Press(WXK_TAB);
  EXPECT_EQ(hint(), "3. Fix Coordination Provision  Does nothing; the box is kept for its place.");
  Box(5).SetFocus();
  Settle();
  EXPECT_THAT(hint(), ::testing::HasSubstr("In a run for one notice too it replaces the table ant_type"));
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
