// What the window shows when it loads, its buttons and menus, and how it ends.

#include <wx/datetime.h>
#include <wx/frame.h>
#include <wx/weakref.h>

#include <algorithm>
#include <tuple>

#include "platform/settings.h"
#include "tests/ui/window_fixture.h"

namespace vnt::ui {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kUnticked[] = {16, 25, 19, 24};

class MainWindowTest : public WindowTest {};

TEST_F(MainWindowTest, LoadsWithTheDefaultTicks) {
  EXPECT_EQ(Window().GetTitle(), "Fix Electronic Notification Database V7");
  for (int index = 0; index < kFixCount; ++index) {
    const bool unticked = std::ranges::find(kUnticked, index) != std::end(kUnticked);
    EXPECT_EQ(Box(index).IsChecked(), !unticked) << index;
  }
  EXPECT_EQ(Window().Selection(), DefaultSelection());
  EXPECT_EQ(PanelText(), "");
  EXPECT_EQ(PanelText(1), "all notices");
}

TEST_F(MainWindowTest, CaptionsAndTooltipsAsTheyStand) {
  const std::tuple<int, const char*, const char*> cases[] = {
      {0, "Fix Designation of Emission", "add \"__\" to the end of the designation of emission"},
      {4, "Fix  Action Code", "for add notice set action code of all related entities to null"},
      {13, "Build Freq  for AP4/II and AP4/III", "Build freq rows for APS4 notices"},
      {16, "Build Freq for ADVP", "Build freq rows forADVP"},
      {21, "Fix missing Com_el data ", "moves long_nom from geo and e_stn to com_el"},
      {29, "Round Emission Power Values", "Round emission power values "},
      {38, "Allign area_no and Diag_grp", "Sort prov table by administration"},
  };
  for (const auto& [index, caption, tooltip] : cases) {
    EXPECT_EQ(Box(index).GetLabelText(), caption);
    EXPECT_EQ(Box(index).GetToolTipText(), tooltip);
  }
  const std::pair<const char*, const char*> buttons[] = {
      {"Command1", "Exit"}, {"Command2", "Fix"}, {"Command3", "Select All"}, {"cmdclear", "Clear Selection"}};
  for (const auto& [name, caption] : buttons) EXPECT_EQ(Named<wxButton>(name).GetLabel(), caption);
}

TEST_F(MainWindowTest, SelectAllAndClearSelection) {
  Click("cmdclear");
  EXPECT_TRUE(Window().Selection().none());
  Click("Command3");
  EXPECT_TRUE(Window().Selection().all());
  Box(3).SetValue(false);
  EXPECT_EQ(Window().Selection().count(), kFixCount - 1U);
  EXPECT_FALSE(Window().Selection().test(3));
  Window().ClearDefaultselection();
  EXPECT_TRUE(Window().Selection().none());
}

TEST_F(MainWindowTest, Menus) {
  const wxMenuBar& bar = *Window().GetMenuBar();
  ASSERT_EQ(bar.GetMenuCount(), 4U);
  const std::pair<const char*, std::vector<const char*>> menus[] = {
      {"&File",
       {"&Open Database", "Open &Recent", "&Close Database", "", "&Back up before fixing", "&Undo Last Run",
        "", "E&xit"}},
      {"&View", {"&Last Run\tCtrl+L"}},
      {"&Tools", {"&Compare", "", "&Add Page No to Groups"}},
      {"&Help", {"&Help\tF1"}}};
  for (std::size_t i = 0; i < std::size(menus); ++i) {
    EXPECT_EQ(bar.GetMenuLabel(i), menus[i].first);
    const wxMenu& menu = *bar.GetMenu(i);
    ASSERT_EQ(menu.GetMenuItemCount(), menus[i].second.size());
    for (std::size_t item = 0; item < menus[i].second.size(); ++item) {
      EXPECT_EQ(menu.FindItemByPosition(item)->GetItemLabel(), menus[i].second[item]);
      EXPECT_EQ(menu.FindItemByPosition(item)->IsSeparator(), *menus[i].second[item] == '\0');
    }
  }
  EXPECT_FALSE(bar.IsEnabledTop(2)) << "data level 0";
}

TEST_F(MainWindowTest, ToolsWithAnotherDataLevel) {
  state_.data_level = -1;
  const wxMenuBar& bar = *Window().GetMenuBar();
  EXPECT_TRUE(bar.IsEnabledTop(2));
  EXPECT_TRUE(bar.IsEnabled(frmMain::mnutools_compare));
  EXPECT_FALSE(bar.IsEnabled(frmMain::mnutools_page));
  EXPECT_EQ(bar.GetHelpString(frmMain::mnutools_page), "This tool is not part of this program.");
}

TEST_F(MainWindowTest, Help) {
  Choose(frmMain::mnuHelp);
  EXPECT_THAT(services_.help_files, ElementsAre("Tidyworks.chm"));
}

TEST_F(MainWindowTest, DateAndTimePanelsKeepTime) {
  EXPECT_EQ(PanelText(2), FromWx(wxDateTime::Now().FormatDate()));
  Named<wxStatusBar>("sbStatusBar").SetStatusText("old", 3);
  const wxDateTime before = wxDateTime::Now();
  for (int i = 0; i < 40 && PanelText(3) == "old"; ++i) Settle();
  EXPECT_THAT(PanelText(3),
              ::testing::AnyOf(FromWx(before.Format("%H:%M")), FromWx(wxDateTime::Now().Format("%H:%M"))));
}

TEST_F(MainWindowTest, UnloadSavesThePlacementInTwips) {
  auto* other = new wxFrame(&Window(), wxID_ANY, "another window");
  other->Show();
  const wxWeakRef<wxFrame> other_lives(other);
  Window().SetSize(30, 40, 700, 500);
  Settle();
  const Placement placement = Window().PlacementInTwips();
  EXPECT_EQ(placement.width, 700 * 15);
  EXPECT_EQ(placement.height, 500 * 15);
  EXPECT_EQ(placement.left, Window().GetPosition().x * 15);
  Choose(frmMain::mnuFileExit);
  Settle();
  EXPECT_FALSE(other_lives) << "every other window is unloaded";
  const std::string store = (folder_ / "config/vntfix/VNTFixdb.ini").string();
  const std::pair<const char*, int> settings[] = {{"MainLeft", placement.left},
                                                  {"MainTop", placement.top},
                                                  {"MainWidth", placement.width},
                                                  {"MainHeight", placement.height}};
  for (const auto& [key, value] : settings) {
    EXPECT_EQ(platform::ReadProfileInt(store, "Settings", key, -1), value) << key;
  }
  Forget();
}

TEST_F(MainWindowTest, MinimisedWindowSavesNothing) {
  class Minimised : public frmMain {
   public:
    using frmMain::frmMain;
    bool IsIconized() const override { return true; }
  };
  (new Minimised(services_))->Close();
  Settle();
  EXPECT_FALSE(std::filesystem::exists(folder_ / "config"));
}

TEST_F(MainWindowTest, ExitEndsAtOnce) {
  Click("Command1");
  EXPECT_THAT(services_.ended, ElementsAre(0));
  Settle();
  EXPECT_FALSE(std::filesystem::exists(folder_ / "config")) << "no unload, no placement";
  EXPECT_THAT(messages_.shown, IsEmpty());
}

// The Ingres start with the window itself.
TEST_F(MainWindowTest, PreparedIngresStart) {
  class Host : public StartUpHost {
   public:
    explicit Host(std::function<MainWindow&()> load) : load_(std::move(load)) {}
    std::string OpenIngresDatabase() override { return {}; }
    MainWindow& LoadWindow() override { return load_(); }

   private:
    std::function<MainWindow&()> load_;
  };
  WriteSettings("[VNTFIXV7]\nCurDatabase=TLKP-ING\nNtc_id=1234\n[GLOBAL]\nDataLevel=3\n");
  Host host([this]() -> MainWindow& { return Window(); });
  EXPECT_EQ(StartUp("Active", host), std::nullopt);
  EXPECT_TRUE(Window().Selection().none());
  EXPECT_EQ(PanelText(), "TLKP-ING - Ntc_id: 1234");
  EXPECT_EQ(PanelText(1), "notice 1234");
  EXPECT_TRUE(Window().GetMenuBar()->IsEnabledTop(2));
  EXPECT_TRUE(Window().IsShown());
}

}  // namespace
}  // namespace vnt::ui
