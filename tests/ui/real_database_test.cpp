// The window, the runner and the engine together, on sample databases in files.

#include <filesystem>

#include "access/file/file.h"
#include "access/sql/session.h"
#include "run/databases.h"
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

// Between runs the file belongs to whoever wants it, and a run takes the one that is there then.
TEST_F(RealDatabaseTest, AnIdleWindowHoldsNoFile) {
  namespace fs = std::filesystem;
  Open(sample_.notice);
  const fs::path copy = folder_ / "copy.mdb";
  fs::copy_file(sample_.notice, copy);
  {
    const std::shared_ptr<jet::Database> other =
        jet::Database::Open(jet::PlatformFileSystem(), sample_.notice, jet::OpenMode::kReadWrite);
    jet::sql::Session(other).Execute("delete from history");
    other->Checkpoint();
  }
  Click("cmdclear");
  Box(7).SetValue(true);
  Click("Command2");
  EXPECT_EQ(Count("history"), Count("notice"));
  ReleaseDatabases();

  fs::rename(copy, sample_.notice);
  Click("Command2");
  EXPECT_EQ(Count("assgn where freq_sym = 'M' and freq_assgn > 10500"), 0);
  EXPECT_GT(Count("history"), Count("notice"));
  ReleaseDatabases();

  messages_.shown.clear();
  fs::remove(sample_.notice);
  Click("Command2");
  ASSERT_EQ(messages_.shown.size(), 1U);
  EXPECT_THAT(messages_.shown.front().first, ::testing::HasSubstr("does not exist"));
  EXPECT_FALSE(fs::exists(sample_.notice));
}

}  // namespace
}  // namespace vnt::ui
