// File, Open: what the window does with the file chosen.

#include <wx/dnd.h>

#include "tests/ui/window_fixture.h"
#include "ui/user_choices.h"

namespace vnt::ui {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FileOpenTest : public WindowTest {
 protected:
  void Open(const std::string& file, std::int16_t version) {
    services_.chosen_file = file;
    services_.open = [version] { State().version_no = version; };
    Window();
    Choose(frmMain::mnuFileOpen);
  }
};

TEST_F(FileOpenTest, VersionsAndPanel) {
  Open("/data/own.mdb", 7);
  EXPECT_THAT(services_.filters, ElementsAre("Access mdb|*.mdb|Access 7.0 files accdb|*.accdb"));
  EXPECT_EQ(PanelText(), "/data/own.mdb");

  Open("/data/none.accdb", 0);
  EXPECT_EQ(PanelText(), "/data/own.mdb") << "let through without a word";
  EXPECT_EQ(state_.current_database, "/data/none.accdb");
  EXPECT_THAT(messages_.shown, IsEmpty());

  Open("/data/old.mdb", 6);
  EXPECT_EQ(PanelText(), "no database open");
  EXPECT_EQ(state_.current_database, "");
  Click("Command2");
  EXPECT_THAT(
      messages_.shown,
      ElementsAre(
          ShownMessage("This database is an old version.  Please use VNTfixV7 for Version 7 only.",
                       MessageStyle::kCritical),
          ShownMessage("No Database open.  Please open a database to fix.", MessageStyle::kInformation)));
}

TEST_F(FileOpenTest, RecentFilesAreOfferedNewestFirst) {
  const auto recent = [&] {
    std::vector<std::string> labels;
    wxMenuItem* menu = Window().GetMenuBar()->FindItem(frmMain::mnuFileRecent);
    for (const wxMenuItem* item : menu->GetSubMenu()->GetMenuItems()) {
      labels.push_back(FromWx(item->GetItemLabelText()));
    }
    return labels;
  };
  EXPECT_THAT(recent(), IsEmpty());
  for (const char* file : {"/data/a.mdb", "/data/b&c.mdb", "/data/a.mdb"}) Open(file, 7);
  EXPECT_THAT(recent(), ElementsAre("1 /data/a.mdb", "2 /data/b&c.mdb"));
  Choose(frmMain::mnuFileRecentFirst + 1);
  EXPECT_EQ(PanelText(), "/data/b&c.mdb");
  EXPECT_THAT(recent(), ElementsAre("1 /data/b&c.mdb", "2 /data/a.mdb"));
  // One that cannot be opened any more is offered no longer.
  services_.open = [] { throw db::DbError(-2147467259, "engine", "The file does not exist."); };
  Choose(frmMain::mnuFileRecentFirst + 1);
  EXPECT_THAT(recent(), ElementsAre("1 /data/b&c.mdb"));
  for (int i = 0; i < 12; ++i) AddRecentFile("/data/" + std::to_string(i) + ".mdb");
  EXPECT_THAT(RecentFiles(), ::testing::SizeIs(kRecentFiles));
  EXPECT_EQ(RecentFiles().front(), "/data/11.mdb");
}

TEST_F(FileOpenTest, ADroppedDatabaseOpens) {
  services_.open = [] { State().version_no = 7; };
  auto* target = dynamic_cast<wxFileDropTarget*>(Window().GetDropTarget());
  ASSERT_NE(target, nullptr);
  wxArrayString files;
  files.Add("/data/dropped.mdb");
  EXPECT_TRUE(target->OnDropFiles(0, 0, files));
  Settle();
  EXPECT_EQ(PanelText(), "/data/dropped.mdb");
  files.Add("/data/other.mdb");
  EXPECT_FALSE(target->OnDropFiles(0, 0, files)) << "one at a time";
}

TEST_F(FileOpenTest, CloseLeavesNoDatabaseAndKeepsTheScope) {
  state_.ntc_id = 77;
  Open("/data/own.mdb", 7);
  EXPECT_EQ(PanelText(1), "notice 77") << "kept by opening";
  Choose(frmMain::mnuFileClose);
  EXPECT_EQ(PanelText(), "no database open");
  EXPECT_EQ(PanelText(1), "notice 77");
  EXPECT_EQ(state_.current_database, "");
  Click("Command2");
  EXPECT_THAT(messages_.shown, ElementsAre(ShownMessage("No Database open.  Please open a database to fix.",
                                                        MessageStyle::kInformation)));
}

TEST_F(FileOpenTest, CancelChangesNothing) {
  Open("/data/own.mdb", 7);
  Open("", 6);
  EXPECT_EQ(PanelText(), "/data/own.mdb");
  EXPECT_EQ(state_.current_database, "/data/own.mdb");
  EXPECT_EQ(state_.version_no, 7);
}

TEST_F(FileOpenTest, FailureKeepsTheFormerDatabase) {
  Open("/data/own.mdb", 7);
  services_.chosen_file = "/data/broken.mdb";
  services_.open = [] { throw db::DbError(-2147467259, "engine", "Page 3 is damaged."); };
  Choose(frmMain::mnuFileOpen);
  EXPECT_THAT(messages_.shown,
              ElementsAre(ShownMessage("-2147467259 Page 3 is damaged.", MessageStyle::kPlain)));
  EXPECT_EQ(PanelText(), "/data/own.mdb");
  EXPECT_EQ(state_.current_database, "/data/own.mdb");
  EXPECT_FALSE(wxIsBusy());
}

TEST_F(FileOpenTest, OpeningMayEndTheProgram) {
  services_.chosen_file = "/data/readonly.mdb";
  services_.open = [] { throw EndProgram{1}; };
  Window();
  Choose(frmMain::mnuFileOpen);
  EXPECT_THAT(services_.ended, ElementsAre(1));
}

}  // namespace
}  // namespace vnt::ui
