// File, Open: what the window does with the file chosen.

#include "tests/ui/window_fixture.h"

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
