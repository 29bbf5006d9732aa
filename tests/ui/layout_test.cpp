// Places of the controls: the columns in their order, nothing cut off, on a small screen and at every scale
// that the test runs are started with.

#include <wx/bitmap.h>
#include <wx/dcclient.h>
#include <wx/dcmemory.h>
#include <wx/dcscreen.h>
#include <wx/display.h>
#include <wx/image.h>
#include <wx/scrolwin.h>
#include <wx/sizer.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "access/file/file.h"
#include "tests/ui/window_fixture.h"
#include "ui/report_frame.h"

namespace vnt::ui {
namespace {

class LayoutTest : public WindowTest {
 protected:
  wxRect OnScreen(const wxWindow& window) { return {window.GetScreenPosition(), window.GetSize()}; }
  wxRect ClientOnScreen(const wxWindow& window) {
    return {window.ClientToScreen(wxPoint(0, 0)), window.GetClientSize()};
  }
  std::vector<wxWindow*> Controls() {
    std::vector<wxWindow*> controls;
    for (int index = 0; index < kFixCount; ++index) controls.push_back(&Box(index));
    for (const char* button : {"Command1", "Command2", "Command3", "cmdclear", "cmdPreview"}) {
      controls.push_back(&Named<wxButton>(button));
    }
    return controls;
  }
};

TEST_F(LayoutTest, ColumnsFromTopToBottom) {
  const std::vector<int> columns[] = {{0, 1, 2, 3, 9, 10, 12, 14, 35, 4, 7, 8, 11, 26, 27, 32, 29, 5},
                                      {15, 17, 18, 20, 21, 6, 22, 23, 31, 30, 28, 13, 33, 34, 36, 37, 38, 39},
                                      {16, 25, 19, 24}};
  int right_edge = 0;
  for (const auto& column : columns) {
    const wxRect top = OnScreen(Box(column.front()));
    EXPECT_GT(top.x, right_edge);
    EXPECT_EQ(top.y, OnScreen(Box(0)).y);
    int bottom = top.y - 1;
    for (const int index : column) {
      const wxRect box = OnScreen(Box(index));
      EXPECT_EQ(box.x, top.x) << index;
      EXPECT_GT(box.y, bottom) << index;
      bottom = box.GetBottom();
      right_edge = std::max(right_edge, box.GetRight());
    }
  }
}

TEST_F(LayoutTest, NothingIsCutOff) {
  Window();
  const wxRect screen = wxDisplay(0U).GetClientArea();
  EXPECT_TRUE(screen.Contains(OnScreen(Window())))
      << OnScreen(Window()).x << "," << OnScreen(Window()).y << " " << OnScreen(Window()).width << " x "
      << OnScreen(Window()).height << " on " << screen.width << " x " << screen.height;
  const auto& list = Named<wxScrolledWindow>("FixList");
  const wxSize room = list.GetVirtualSize();
  for (wxWindow* control : Controls()) {
    const wxSize best = control->GetBestSize();
    EXPECT_GE(control->GetSize().GetWidth(), best.GetWidth()) << control->GetName();
    EXPECT_GE(control->GetSize().GetHeight(), best.GetHeight()) << control->GetName();
    if (dynamic_cast<wxButton*>(control)) {
      EXPECT_TRUE(ClientOnScreen(Window()).Contains(OnScreen(*control))) << control->GetName();
    } else {
      const wxPoint place =
          control->GetScreenPosition() - list.ClientToScreen(list.CalcScrolledPosition(wxPoint(0, 0)));
      EXPECT_TRUE(wxRect(room).Contains(wxRect(place, control->GetSize()))) << control->GetName();
    }
  }
  const auto& status_bar = Named<wxStatusBar>("sbStatusBar");
  for (const int panel : {1, 2, 3}) {
    wxRect field;
    status_bar.GetFieldRect(panel, field);
    EXPECT_GT(field.GetWidth(), status_bar.GetTextExtent(status_bar.GetStatusText(panel)).GetWidth());
  }
}

TEST_F(LayoutTest, WholeListShowsOnAScreenThatHoldsIt) {
  Window();
  auto& list = Named<wxScrolledWindow>("FixList");
  const wxSize whole = list.GetSizer()->GetMinSize();
  const wxSize screen = wxDisplay(0U).GetClientArea().GetSize();
  if (whole.GetWidth() + 36 > screen.GetWidth() || whole.GetHeight() + 180 > screen.GetHeight()) {
    ASSERT_TRUE(std::getenv("GDK_DPI_SCALE") != nullptr || std::getenv("GDK_SCALE") != nullptr)
        << "texts of the usual size do not fit on the screen of the tests";
    GTEST_SKIP() << "the texts are too large for this screen";
  }
  EXPECT_FALSE(list.HasScrollbar(wxVERTICAL));
  EXPECT_FALSE(list.HasScrollbar(wxHORIZONTAL));
}

TEST_F(LayoutTest, SmallestWindowKeepsButtonsInSightAndScrollsToTheFocus) {
  Window().SetSize(Window().GetMinSize());
  Settle();
  for (const char* button : {"Command1", "Command2", "Command3", "cmdclear"}) {
    EXPECT_TRUE(ClientOnScreen(Window()).Contains(OnScreen(Named<wxButton>(button)))) << button;
  }
  auto& list = Named<wxScrolledWindow>("FixList");
  for (const int index : {5, 39, 24, 0}) {
    Box(index).SetFocus();
    Settle();
    const wxRect seen = ClientOnScreen(list);
    EXPECT_TRUE(seen.Contains(OnScreen(Box(index)).GetTopLeft())) << index;
    EXPECT_TRUE(seen.Contains(OnScreen(Box(index)).GetBottomLeft())) << index;
  }
}

TEST_F(LayoutTest, TheWindowsBesideItFitOnTheScreen) {
  Window();
  const wxRect screen = wxDisplay(0U).GetClientArea();
  RunRecord record;
  record.file = "/data/" + std::string(300, 'x') + ".mdb";
  record.result.fixes.emplace_back().errors.emplace_back(94, "", "Invalid use of Null");
  auto* report = new ReportFrame(&Window(), services_, record,
                                 std::make_unique<compare::DifferenceStore>(jet::PlatformFileSystem()));
  report->Show();
  Settle();
  EXPECT_TRUE(screen.Contains(OnScreen(*report)));
  for (const char* name : {"CopyErrors", "SaveErrors", "SaveReport", "CloseReport"}) {
    const auto* button = wxWindow::FindWindowByName(name, report);
    ASSERT_NE(button, nullptr);
    EXPECT_TRUE(ClientOnScreen(*report).Contains(OnScreen(*button))) << name;
    EXPECT_NE(button->GetLabel(), "");
  }
  report->Destroy();
}

// What is drawn, not what was asked for: in every part of the window some points stand out from the ground,
// which is dark when the theme is.
TEST_F(LayoutTest, TextsStandOutFromTheirGround) {
  Window();
  Settle();
  wxBitmap picture(Window().GetSize());
  {
    wxMemoryDC target(picture);
#ifdef _WIN32
    // Under Wine a program gets no picture of the screen, but one of each of its windows.
    for (wxWindow* control : Controls()) {
      control->Update();
      wxWindowDC drawn(control);
      target.Blit(control->GetScreenPosition() - Window().GetScreenPosition(), control->GetSize(), &drawn,
                  wxPoint(0, 0));
    }
#else
    wxScreenDC screen;
    target.Blit(wxPoint(0, 0), picture.GetSize(), &screen, Window().GetScreenPosition());
#endif
  }
  const wxImage image = picture.ConvertToImage();
  const char* theme = std::getenv("GTK_THEME");
  const bool dark = theme != nullptr && std::string_view(theme).ends_with(":dark");
  const auto brightness = [&](int x, int y) {
    return (image.GetRed(x, y) * 3 + image.GetGreen(x, y) * 6 + image.GetBlue(x, y)) / 10;
  };
  for (wxWindow* control : Controls()) {
    const wxRect seen = ClientOnScreen(Named<wxScrolledWindow>("FixList"));
    wxRect place = OnScreen(*control);
    if (!dynamic_cast<wxButton*>(control) && !seen.Contains(place)) continue;
    place.Offset(-Window().GetScreenPosition());
    int darkest = 255, brightest = 0, bright = 0, points = 0;
    for (int y = std::max(place.y, 0); y <= std::min(place.GetBottom(), image.GetHeight() - 1); ++y) {
      for (int x = std::max(place.x, 0); x <= std::min(place.GetRight(), image.GetWidth() - 1); ++x) {
        const int here = brightness(x, y);
        darkest = std::min(darkest, here);
        brightest = std::max(brightest, here);
        bright += here > 127 ? 1 : 0;
        ++points;
      }
    }
    EXPECT_GT(brightest - darkest, 120) << control->GetName();
    EXPECT_EQ(bright * 2 < points, dark) << control->GetName() << ": " << bright << " of " << points;
  }
}

TEST_F(LayoutTest, EveryControlHasAName) {
  for (wxWindow* control : Controls()) {
    EXPECT_NE(control->GetLabel(), "") << control->GetName();
    EXPECT_NE(control->GetName(), "");
  }
  Box(0).SetLabel(wxControl::EscapeMnemonics("A & B"));
  EXPECT_EQ(Box(0).GetLabelText(), "A & B");
}

}  // namespace
}  // namespace vnt::ui
