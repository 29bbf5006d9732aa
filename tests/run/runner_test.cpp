// The runner: refusals and their order, order of fixes, its trap, counting, history stamp, durability.

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "access/store/database.h"
#include "run/fix_runner.h"
#include "tests/program/notice_database.h"
#include "tests/run/sample_databases.h"

namespace vnt::test {
namespace {

using Lines = std::vector<std::string>;

// Notes what a run tells.
class Recorder : public RunObserver {
 public:
  void RunStarts() override { events.push_back("start"); }
  void FixStarts(const FixEntry& fix, int number, int count) override {
    events.push_back(std::to_string(number) + "/" + std::to_string(count) + " " + std::to_string(fix.index));
  }
  void FixEnds(const FixResult& result) override {
    events.push_back(result.fix != nullptr ? "end" : "stamp");
  }
  void RunEnds() override { events.push_back("done"); }
  Lines events;
};

FixSelection Select(std::initializer_list<int> indices) {
  FixSelection selection;
  for (const int index : indices) selection.set(static_cast<std::size_t>(index));
  return selection;
}

RunResult RunOf(std::initializer_list<int> indices) {
  RunObserver observer;
  return RunFixes(Select(indices), observer);
}

TEST(Runner, RefusesInOrderWithItsOwnWords) {
  NoticeDatabase database;
  database.Run("insert into notice (ntc_id) values (1)");
  database.state.read_only_reason = "It lies on a wall.";
  // The last condition fails first: each step below makes an earlier one fail as well.
  const struct {
    std::function<void()> fail;
    const char* message;
    const char* explanation;  // the end of it
  } kSteps[] = {
      {[&] { database.settings.Set("GLOBAL", "VeltRefdb", "missing.mdb"); },
       "critical: Problem opening the velt reference database.  Please make sure it has been installed. ",
       "VeltRefdb=missing.mdb\nThe file \"missing.mdb\" does not exist."},
      {[&] { database.state.read_only = true; }, "critical: VNTFixdb cannot fix a readonly database. ",
       "It lies on a wall."},
      {[&] { database.settings.Set("GLOBAL", "VeltRefdb", ""); },
       "plain: Cannot find veltrefdb in the kv_soft ini file", "and there is no such file."},
      {[&] { database.state.current_database.clear(); },
       "information: No Database open.  Please open a database to fix.", ""}};
  for (const auto& [fail, message, explanation] : kSteps) {
    fail();
    database.messages.shown.clear();
    Recorder recorder;
    EXPECT_TRUE(RunFixes(DefaultSelection(), recorder).refused);
    EXPECT_EQ(database.messages.shown, Lines{message});
    const std::string& found = database.messages.explanations.back();
    EXPECT_TRUE(found.ends_with(explanation)) << found;
    EXPECT_EQ(found.empty(), *explanation == '\0') << found;
    EXPECT_TRUE(recorder.events.empty());
  }
  EXPECT_TRUE(database.Rows("select * from history").empty());
}

TEST(Runner, StampsEveryNoticeInScopeEvenWithNothingTicked) {
  NoticeDatabase database;
  database.Run(R"(insert into notice (ntc_id, st_cur) values (1, '05');
                  insert into notice (ntc_id) values (2))");
  const RunResult result = RunOf({});
  EXPECT_FALSE(result.refused);
  EXPECT_FALSE(result.failed());
  ASSERT_EQ(result.fixes.size(), 1U);
  EXPECT_EQ(result.fixes[0].rows, 2);
  EXPECT_EQ(database.Rows("select ntc_id, seq_no, st_cur from history order by ntc_id"),
            (Lines{"1|1|05", "2|1|01"}));
  database.state.ntc_id = 2;
  RunOf({3});
  database.state.ntc_id = 99;
  RunOf({3});
  EXPECT_EQ(database.Rows("select ntc_id, count(*) from history group by ntc_id order by ntc_id"),
            (Lines{"1|1", "2|2"}));
  EXPECT_TRUE(database.messages.shown.empty());
}

TEST(Runner, RunsInItsOwnOrderAndTellsTheObserver) {
  NoticeDatabase database;
  Recorder recorder;
  const RunResult result = RunFixes(Select({39, 8, 7, 3, 38}), recorder);
  EXPECT_EQ(recorder.events, (Lines{"start", "1/5 38", "end", "2/5 3", "end", "3/5 7", "end", "4/5 8", "end",
                                    "5/5 39", "end", "stamp", "done"}));
  ASSERT_EQ(result.fixes.size(), 6U);
  EXPECT_EQ(result.fixes[1].statements, 0);
  EXPECT_EQ(result.fixes[2].statements, 4);
}

// A window lives on being told between statements and rows.
TEST(Runner, TellsTheObserverHowAFixAdvances) {
  NoticeDatabase database;
  database.Run("insert into notice (ntc_id, st_cur) values (1, '50')");
  struct Steps : RunObserver {
    void FixStarts(const FixEntry&, int, int) override { steps.push_back(0); }
    void FixAdvances(std::int64_t step, std::int64_t) override {
      if (steps.empty()) return;  // opening of the reference database
      EXPECT_EQ(step, steps.back() + 1) << "from 1 for each fix";
      steps.back() = step;
    }
    void FixEnds(const FixResult& result) override {
      if (result.fix == nullptr) return;
      EXPECT_EQ(steps.back(), result.statements) << result.fix->caption;
      steps.push_back(0);
    }
    std::vector<std::int64_t> steps;
  } observer;
  RunFixes(Select({0, 11, 15}), observer);
  EXPECT_GT(observer.steps.back(), 1) << "the history's query and its row";
}

TEST(Runner, CountsRowsAndReportedErrors) {
  NoticeDatabase database;
  database.Run(R"(insert into assgn (grp_id, seq_no, freq_sym, freq_assgn) values (1, 1, 'M', 12000);
                  insert into assgn (grp_id, seq_no, freq_sym, freq_assgn) values (1, 2, 'M', 13000);
                  drop table strap)");
  int told = 0;
  database.state.on_error = [&](const db::DbError&) { ++told; };
  const RunResult result = RunOf({7});
  EXPECT_EQ(result.fixes[0].statements, 3);
  EXPECT_EQ(result.fixes[0].rows, 2);
  ASSERT_EQ(result.fixes[0].errors.size(), 1U);
  EXPECT_EQ(result.fixes[0].errors[0].number(), db::kErrMissingTable);
  EXPECT_TRUE(result.failed());
  EXPECT_EQ(told, 1);
  EXPECT_EQ(database.messages.shown.size(), 1U);
}

TEST(Runner, ItsTrapAbandonsTheRoutineAndGoesOn) {
  NoticeDatabase database;
  database.Run(R"(insert into notice (ntc_id, act_code) values (1, 'A');
                  insert into grp (grp_id, ntc_id, area_no) values (1, 1, 4);
                  insert into geo (ntc_id) values (1);
                  drop table diag_grp)");
  // 38 traps nothing. In 12 the third of six routines reports itself; the last one still runs.
  const RunResult result = RunOf({38, 12, 31});
  EXPECT_EQ(result.fixes[0].errors.size(), 1U);
  EXPECT_EQ(result.fixes[1].errors.size(), 1U);
  EXPECT_TRUE(result.fixes[2].errors.empty());
  ASSERT_EQ(database.messages.shown.size(), 2U);
  EXPECT_EQ(database.messages.shown[0], "critical: No Database is open!");
  EXPECT_TRUE(database.messages.shown[1].starts_with("plain: -2147217865 ")) << database.messages.shown[1];
  EXPECT_EQ(database.Rows("select f_int_ext, f_active from notice, geo"), Lines{"E|A"});
  EXPECT_EQ(database.Rows("select ntc_id from history"), Lines{"1"});
}

// The first error ends a clean run, and nothing of it is left; a whole run goes on after one.
TEST(Runner, ARunIsKeptWholeOrNotAtAll) {
  for (const bool is_clean : {true, false}) {
    SCOPED_TRACE(is_clean);
    NoticeDatabase database;
    database.Run(R"(insert into assgn (grp_id, seq_no, freq_sym, freq_assgn) values (1, 1, 'M', 12000);
                    insert into notice (ntc_id, act_code) values (1, 'A');
                    drop table diag_grp)");
    database.state.keeping = is_clean ? Keeping::kCleanRun : Keeping::kWholeRun;
    const RunResult result = RunOf({7, 12, 4});
    EXPECT_EQ(result.ended_early, is_clean);
    for (const FixResult& fix : result.fixes) {
      if (fix.fix == nullptr || fix.fix->index == 4) continue;
      const bool fails = fix.fix->index == 12;
      EXPECT_EQ(fix.errors.size(), fails ? 1U : 0U);
      EXPECT_EQ(fix.status, is_clean ? FixStatus::kUndone : fails ? FixStatus::kFailed : FixStatus::kDone);
    }
    EXPECT_EQ(database.Rows("select freq_sym from assgn"), Lines{is_clean ? "M" : "G"});
    EXPECT_EQ(database.Rows("select count(*) from history"), Lines{is_clean ? "0" : "1"});
  }
}

// Of fixes that stay within their notice.
TEST(Runner, NoticesTogetherGiveWhatTheyGiveOneByOne) {
  FixSelection within;
  for (const FixEntry& fix : FixCatalogue()) {
    if (fix.reach.empty()) within.set(static_cast<std::size_t>(fix.index));
  }
  const std::vector<std::int32_t> kNotices = {100000002, 100000003, 100000007};
  const auto rows_after = [&](bool together) {
    SampleDatabases databases;
    RunObserver observer;
    if (together) databases.state.notices = kNotices;
    for (const std::int32_t notice : kNotices) {
      databases.state.ntc_id = notice;
      EXPECT_FALSE(RunFixes(within, observer).failed());
      if (together) break;
    }
    EXPECT_TRUE(databases.messages.shown.empty());
    const SampleDatabases::Content content = databases.Reopened();
    return std::pair(content.rows, content.history);
  };
  SampleDatabases untouched;
  const std::string before = NoticeRows();
  untouched.CloseAll();
  const auto one_by_one = rows_after(false);
  EXPECT_NE(one_by_one.first, before);
  EXPECT_EQ(rows_after(true), one_by_one);
}

// Not every failure is the database's: here a message cannot be shown.
TEST(Runner, ItsTrapTakesWhateverARoutineThrows) {
  class FailsOnce : public platform::Messages {
   public:
    void Show(std::string_view text, platform::MessageStyle) override {
      shown.emplace_back(text);
      if (shown.size() == 1) throw std::runtime_error("no box");
    }
    Lines shown;
  };
  NoticeDatabase database;
  database.Run("insert into geo (ntc_id, f_active) values (1, 'N'); drop table strap");
  FailsOnce messages;
  database.state.platform_services.messages = &messages;
  const RunResult result = RunOf({7, 31});
  EXPECT_FALSE(result.ended_early);
  ASSERT_EQ(result.fixes[0].errors.size(), 2U);
  EXPECT_EQ(result.fixes[0].errors[1].description(), "no box");
  EXPECT_EQ(result.fixes[0].errors[1].number(), db::kErrFailed);
  EXPECT_EQ(messages.shown[1], "No Database is open!");
  EXPECT_EQ(database.Rows("select f_active from geo"), Lines{"A"});
}

// What an error's own words leave out.
TEST(Runner, BesideAnErrorStandsWhichFixAndDatabaseItIs) {
  NoticeDatabase database;
  database.Run("insert into notice (ntc_id) values (1); drop table strap; drop table history");
  const std::string file = database.state.current_database;
  RunOf({7});
  ASSERT_EQ(database.messages.shown.size(), 2U);
  EXPECT_TRUE(database.messages.shown[0].starts_with("plain: -2147217865 "));
  EXPECT_EQ(database.messages.explanations[0],
            "In fix 7, \"Convert Frequencies MHz to GHz\", on " + file + ". The run goes on.");
  EXPECT_EQ(database.messages.shown[1], "critical: No Database is open!");
  const std::string of_stamp = database.messages.explanations[1];
  EXPECT_TRUE(of_stamp.starts_with("-2147217865 ")) << of_stamp << ": the true error";
  EXPECT_TRUE(of_stamp.ends_with("\nIn the history, on " + file + ". The run goes on.")) << of_stamp;
  ShowError(db::DbError(94, "test", "Invalid use of Null"));
  EXPECT_EQ(database.messages.explanations.back(), "") << "after the run it belongs to none";
}

// A box that stands open over lunch does not make a fix slow.
TEST(Runner, TheTimeOfAMessageIsNotTheFixs) {
  class Lunch : public platform::Messages {
   public:
    void Show(std::string_view, platform::MessageStyle) override {
      std::this_thread::sleep_for(length);
      ++eaten;
    }
    const std::chrono::milliseconds length{700};
    int eaten = 0;
  } lunch;
  NoticeDatabase database;
  database.Run("drop table strap");
  database.state.platform_services.messages = &lunch;
  const auto began = std::chrono::steady_clock::now();
  const RunResult result = RunOf({7});
  const auto whole = std::chrono::steady_clock::now() - began;
  ASSERT_EQ(lunch.eaten, 1);
  ASSERT_EQ(result.fixes[0].errors.size(), 1U);
  EXPECT_LE(result.fixes[0].time, whole - lunch.length);
  EXPECT_GT(result.fixes[0].time.count(), 0);
}

TEST(Runner, TheReferenceDatabaseIsFreeAfterARun) {
  NoticeDatabase database;
  const auto is_free = [&] {
    jet::Database::Open(database.files(), NoticeDatabase::kReference, jet::OpenMode::kReadWrite);
    return true;
  };
  class Throwing : public RunObserver {
    void FixEnds(const FixResult&) override { throw std::runtime_error("no window"); }
  };
  RunOf({5});
  EXPECT_TRUE(is_free());
  Throwing observer;
  EXPECT_TRUE(RunFixes(Select({5}), observer).ended_early);
  EXPECT_TRUE(is_free());
  database.settings.Set("GLOBAL", "VeltRefdb", NoticeDatabase::kTemplate);
  database.state.read_only = true;
  RunOf({5});
  EXPECT_TRUE(is_free());
}

TEST(Runner, AFailingStampIsToldOnce) {
  NoticeDatabase database;
  database.Run(R"(insert into notice (ntc_id) values (1);
                  insert into notice (ntc_id) values (2);
                  drop table history)");
  Recorder recorder;
  EXPECT_TRUE(RunFixes(Select({3}), recorder).failed());
  EXPECT_EQ(database.messages.shown, Lines{"critical: No Database is open!"});
  EXPECT_EQ(recorder.events.back(), "done");
}

TEST(Runner, AConnectionThatIsNotOpenIsToldByTheFixesAlone) {
  NoticeDatabase database;
  database.state.main_connection->Cn().Close();
  RunOf({3, 15});
  EXPECT_EQ(database.messages.shown,
            (Lines{"plain: 3704 The connection is not open.", "critical: No Database is open!"}));
}

TEST(Runner, TheRemarkLivesForOneRun) {
  NoticeDatabase database;
  database.Run(R"(insert into notice (ntc_id, ntf_rsn) values (1, 'C');
                  insert into grp (grp_id, ntc_id) values (10, 1);
                  insert into e_as_stn (grp_id, seq_no, pattern_id) values (10, 1, 96))");
  RunOf({33});
  RunOf({3});
  const Lines texts = database.Rows("select hist_text from history order by seq_no");
  ASSERT_EQ(texts.size(), 2U);
  EXPECT_TRUE(texts[0].starts_with("VNTFixEN 7.0.0 Potential Pattern Errors  at ")) << texts[0];
  EXPECT_TRUE(texts[1].starts_with("VNTFixEN 7.0.0 at ")) << texts[1];
}

TEST(Runner, ARunIsDurableWhenItEnds) {
  class PowerLoss : public RunObserver {
   public:
    explicit PowerLoss(NoticeDatabase& database) : database_(database) {}
    void RunEnds() override { saved = database_.files().Content(NoticeDatabase::kNotice); }
    std::string saved;

   private:
    NoticeDatabase& database_;
  };
  NoticeDatabase database;
  database.Run("insert into geo (ntc_id, f_active) values (1, 'N'); insert into notice (ntc_id) values (1)");
  PowerLoss observer(database);
  RunFixes(Select({31, 32}), observer);
  database.CloseAll();
  database.files().SetContent("after.mdb", observer.saved);
  database.state.main_connection = std::make_unique<db::cadodb>();
  database.state.main_connection->DBName = db::Value::Text("after.mdb");
  database.state.main_connection->OpenADOConnection();
  EXPECT_EQ(database.Rows("select f_active, seq_no from geo, history"), Lines{"A|1"});
}

TEST(Runner, TheWholeSelectionRunsOnAnEmptyDatabase) {
  NoticeDatabase database;
  RunObserver observer;
  FixSelection all;
  all.set();
  const RunResult result = RunFixes(all, observer);
  EXPECT_FALSE(result.failed());
  EXPECT_EQ(result.fixes.size(), 41U);
  EXPECT_TRUE(database.messages.shown.empty());
}

}  // namespace
}  // namespace vnt::test
