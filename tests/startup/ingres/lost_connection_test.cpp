// The server goes away in the middle of a run: every fix that would need it says so, nothing hangs, and the
// next run on a new connection works.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include "run/databases.h"
#include "run/fix_runner.h"
#include "tests/db/postgres_server.h"
#include "tests/startup/ingres/notice_server.h"

namespace vnt::test {
namespace {

using ::testing::HasSubstr;

constexpr const char* kLost = R"(The connection to the data source "TLKP-ING" is lost)";

// Fixes that report nothing on a lost connection: two that only round, the one without a routine, and the one
// that goes on after every error.
bool IsSilent(const FixEntry& fix) {
  return fix.index == 29 || fix.index == 39 || fix.index == 3 || fix.index == 5;
}

// Does something before the n-th fix of the run.
class BeforeFix : public RunObserver {
 public:
  BeforeFix(int number, std::function<void()> action) : number_(number), action_(std::move(action)) {}
  void FixStarts(const FixEntry&, int number, int) override {
    if (number == number_) action_();
  }

 private:
  int number_;
  std::function<void()> action_;
};

class LostConnection : public ::testing::Test {
 protected:
  LostConnection() {
    server_.OpenServer(database_);
    database_.settings.Set("GLOBAL", "DataLevel", "-1");
    State().ntc_id = server_.one_of_each_kind()[1];  // groups that are sorted
    start_ = std::chrono::steady_clock::now();
  }
  ~LostConnection() override {
    EXPECT_LT(std::chrono::steady_clock::now() - start_, std::chrono::seconds(60));
  }

  // Fixes before the n-th ran as ever; the others and the history stamp met the lost connection.
  static void ExpectLostFrom(int number, const RunResult& result) {
    ASSERT_FALSE(result.refused);
    for (std::size_t i = 0; i < result.fixes.size(); ++i) {
      const FixResult& fix = result.fixes[i];
      SCOPED_TRACE(fix.fix == nullptr ? "history" : fix.fix->caption);
      if (static_cast<int>(i) + 1 < number) {
        for (const db::DbError& error : fix.errors)
          EXPECT_EQ(error.description().find(kLost), std::string::npos) << error.description();
        continue;
      }
      EXPECT_EQ(fix.errors.empty(), fix.fix != nullptr && IsSilent(*fix.fix));
      // One for each routine, one more where a walk meets it; not one for each group of the notice.
      EXPECT_LE(fix.errors.size(),
                fix.fix == nullptr ? 1u : static_cast<std::size_t>(fix.fix->routine_count) + 1);
      for (const db::DbError& error : fix.errors) EXPECT_THAT(error.description(), HasSubstr(kLost));
    }
  }

  void ExpectNextRunWorks() {
    server_.OpenServer(database_);
    RunObserver observer;
    FixSelection selection;
    selection.set(2);
    const RunResult result = RunFixes(selection, observer);
    EXPECT_FALSE(result.failed());
    EXPECT_EQ(result.fixes.back().rows, 1);
  }

  NoticeServer& server_ = NoticeServer::Get();
  NoticeDatabase database_;
  std::chrono::steady_clock::time_point start_;
};

TEST_F(LostConnection, BetweenTwoFixes) {
  db::Recordset session;
  session.Open("select pg_backend_pid()", MainCn());
  const std::string end = "select pg_terminate_backend(" + session.Get(0).ToText() + ")";
  session.Close();
  BeforeFix observer(6, [&] { server_.admin().Execute(end); });
  const RunResult result = RunFixes(FixSelection().set(), observer);
  ASSERT_EQ(result.fixes.size(), kFixCount + 1);
  ExpectLostFrom(6, result);
  EXPECT_GE(database_.messages.shown.size(), 30u);
  ExpectNextRunWorks();
}

// The session ends itself while a walking fix writes its third row.
TEST_F(LostConnection, InsideAFixThatWalks) {
  server_.admin().Execute(
      "CREATE FUNCTION end_session() RETURNS trigger LANGUAGE plpgsql AS "
      "'BEGIN IF NEW.seq_no = 3 THEN PERFORM pg_terminate_backend(pg_backend_pid()); END IF; RETURN NEW; "
      "END';"
      "CREATE TRIGGER end_session BEFORE INSERT ON assgn FOR EACH ROW EXECUTE FUNCTION end_session()");
  RunObserver observer;
  const RunResult result = RunFixes(FixSelection().set(18).set(22).set(23).set(24), observer);
  server_.admin().Execute("DROP FUNCTION end_session() CASCADE");
  ASSERT_EQ(result.fixes.size(), 5u);
  EXPECT_GT(result.fixes[1].rows, 2) << "the rows that were deleted and written before";
  ExpectLostFrom(2, result);
  ExpectNextRunWorks();
}

TEST_F(LostConnection, ServerStops) {
  BeforeFix observer(3, [] { db::PostgresServer::Get().Crash(); });
  const RunResult result = RunFixes(FixSelection().set(), observer);
  ExpectLostFrom(3, result);

  // A run that finds no server at all: opening is quiet, each fix reports.
  database_.CloseAll();
  State().current_database = NoticeServer::kDataSource;
  OpenIngresDatabase();
  RunObserver none;
  const RunResult unopened = RunFixes(FixSelection().set(), none);
  EXPECT_FALSE(unopened.refused);
  for (const FixResult& fix : unopened.fixes) {
    EXPECT_EQ(fix.errors.empty(), fix.fix != nullptr && IsSilent(*fix.fix))
        << (fix.fix == nullptr ? "history" : fix.fix->caption);
  }

  db::PostgresServer::Get().Resume();
  server_.ReconnectAdmin();
  ExpectNextRunWorks();
}

}  // namespace
}  // namespace vnt::test
