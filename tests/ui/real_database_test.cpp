// The window, the runner and the engine together, on sample databases in files.

#include "access/file/file.h"
#include "samples/sample_database.h"
#include "tests/ui/window_fixture.h"

namespace vnt::ui {
namespace {

class RealDatabaseTest : public WindowTest {
 protected:
  RealDatabaseTest() {
    sample_ = samples::MakeSample(jet::PlatformFileSystem(), folder_.string(), {.notices = 10});
    WriteSettings("[GLOBAL]\nVeltRefdb=" + sample_.reference + "\nEmptyDBV6=" + sample_.empty_template +
                  "\n");
  }
  void Open(const std::string& file) {
    services_.chosen_file = file;
    Window();
    Choose(frmMain::mnuFileOpen);
  }
  std::int64_t Count(const std::string& from) {
    db::Recordset rows;
    rows.Open("select count(*) as n from " + from, MainCn());
    return rows.Get("n").ToInt32();
  }

  samples::SampleFiles sample_;
};

TEST_F(RealDatabaseTest, OpensAndFixes) {
  Open(sample_.notice);
  EXPECT_EQ(PanelText(), sample_.notice);
  const std::int64_t notices = Count("notice");
  const std::int64_t history = Count("history");
  ASSERT_GT(Count("assgn where freq_sym = 'M' and freq_assgn > 10500"), 0);
  Click("cmdclear");
  Box(7).SetValue(true);
  Click("Command2");
  EXPECT_THAT(messages_.shown,
              ::testing::ElementsAre(ShownMessage("Fix complete.", MessageStyle::kInformation)));
  EXPECT_EQ(Count("assgn where freq_sym = 'M' and freq_assgn > 10500"), 0);
  EXPECT_EQ(Count("history"), history + notices);
  EXPECT_EQ(PanelText(), sample_.notice);
}

TEST_F(RealDatabaseTest, FileThatIsNoDatabaseLeavesTheFormerOpen) {
  Open(sample_.notice);
  const auto* connection = state_.main_connection.get();
  Open(WriteFile("windows/broken.mdb", "not a database").string());
  ASSERT_EQ(messages_.shown.size(), 1U);
  EXPECT_EQ(messages_.shown.front().second, MessageStyle::kPlain);
  EXPECT_EQ(PanelText(), sample_.notice);
  EXPECT_EQ(state_.current_database, sample_.notice);
  EXPECT_EQ(state_.main_connection.get(), connection);
  EXPECT_EQ(Count("notice"), 10);
}

}  // namespace
}  // namespace vnt::ui
