// What is left when the server, the connection or its disk fails in the middle of a run.
#include <gmock/gmock.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "tests/cli/server/notice_source.h"
#include "tests/db/postgres_server.h"

namespace vnt::test {
namespace {

using testing::HasSubstr;

class Faults : public NoticeSource {
 protected:
  // What the tables hold, but for history, as one text.
  std::string Content() {
    std::string content;
    for (const char* table : {"assgn", "freq", "grp", "provn", "emiss", "s_beam", "notice"})
      content += cli::RunCli({"export", kSource, table, "--order-by-key", kUser}).out;
    return content;
  }
};

// The server itself ends the connection at the fortieth row that is written: in the middle of a fix.
constexpr char kCut[] =
    "CREATE SEQUENCE cut_rows; CREATE FUNCTION cut() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
    "IF nextval('cut_rows') = 40 THEN PERFORM pg_terminate_backend(pg_backend_pid()); "
    "PERFORM pg_sleep(1); END IF; RETURN NEW; END $$";

TEST_F(Faults, AConnectionThatIsCutLeavesFinishedFixesWhole) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  const struct {
    const char* event;
    const char* fix;  // behind fix 7, which does not meet the event
  } kCuts[] = {{"INSERT ON assgn", "22"},
               {"INSERT ON freq", "13"},
               {"UPDATE ON provn", "23"},
               {"UPDATE ON emiss", "29"}};
  for (const auto& cut : kCuts) {
    SCOPED_TRACE(cut.event);
    Restore();
    ASSERT_EQ(Fix(kSource, {"--only", "7"}).code, cli::kOk);
    const std::string after_first = Content();
    Restore();
    admin().Execute(kCut);
    admin().Execute(std::string("CREATE TRIGGER cut BEFORE ") + cut.event +
                    " FOR EACH ROW EXECUTE FUNCTION cut()");
    const cli::Outcome ended = Fix(kSource, {"--only", std::string("7,") + cut.fix});
    EXPECT_EQ(ended.code, cli::kFailed) << ended.out;
    EXPECT_THAT(ended.err, HasSubstr("lost"));
    EXPECT_THAT(ended.out, HasSubstr("undone"));
    EXPECT_TRUE(Content() == after_first);
  }
}

TEST_F(Faults, AServerThatIsKilledHoldsFinishedFixesWhole) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  Restore();
  ASSERT_EQ(Fix(kSource, {"--only", "7"}).code, cli::kOk);
  const std::string after_first = Content();
  // A statement of the second fix waits for a lock that is never given back; then the server is killed.
  db::Connection other;
  other.Open("PROVIDER=MSDASQL; DSN=TLKP-ING; UID=postgres;PWD=;");
  other.Execute(
      "CREATE FUNCTION crash() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
      "COPY (SELECT 1) TO PROGRAM 'kill -9 $(head -1 postmaster.pid) ; pkill -9 -P $(head -1 "
      "postmaster.pid)'; PERFORM pg_sleep(1); RETURN NULL; END $$");
  other.Execute("CREATE TRIGGER crash AFTER UPDATE ON provn FOR EACH STATEMENT EXECUTE FUNCTION crash()");
  other.Close();
  const cli::Outcome ended = Fix(kSource, {"--only", "23"});
  EXPECT_EQ(ended.code, cli::kFailed) << ended.out << ended.err;
  db::PostgresServer::Get().Crash();
  db::PostgresServer::Get().Resume();
  EXPECT_TRUE(Content() == after_first);
}

// Another program holds freq and waits for assgn; the fix holds assgn and waits for freq. The server ends the
// one whose patience is over first.
TEST_F(Faults, ADeadlockUndoesTheFixThatWasRunning) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  Restore();
  ASSERT_EQ(Fix(kSource, {"--only", "30"}).code, cli::kOk);
  const std::string after_first = Content();
  Restore();
  const pid_t other = fork();
  if (other == 0) {
    db::Connection holder;
    holder.Open("PROVIDER=MSDASQL; DSN=TLKP-ING; UID=postgres;PWD=;");
    holder.Execute(
        "SET deadlock_timeout = '30s'; BEGIN; LOCK TABLE freq IN EXCLUSIVE MODE; DO $$ BEGIN WHILE NOT "
        "EXISTS "
        "(SELECT 1 FROM pg_locks WHERE NOT granted AND relation = 'freq'::regclass) LOOP PERFORM "
        "pg_sleep(0.02); END LOOP; END $$; LOCK TABLE assgn IN EXCLUSIVE MODE; ROLLBACK");
    _exit(0);
  }
  admin().Execute(
      "DO $$ BEGIN WHILE NOT EXISTS (SELECT 1 FROM pg_locks WHERE granted AND mode = 'ExclusiveLock' AND "
      "relation = 'freq'::regclass) LOOP PERFORM pg_sleep(0.02); END LOOP; END $$");
  setenv("PGOPTIONS", "-c deadlock_timeout=3s", 1);
  const cli::Outcome ended = Fix(kSource, {"--only", "30,7,8"});
  unsetenv("PGOPTIONS");
  waitpid(other, nullptr, 0);
  EXPECT_EQ(ended.code, cli::kFailed) << ended.out;
  EXPECT_THAT(ended.err, HasSubstr("deadlock detected"));
  EXPECT_THAT(ended.err, HasSubstr("Undone: \"Convert Frequencies MHz to GHz\". In the database: \""));
  EXPECT_TRUE(Content() == after_first);
}

// A table space on a disk that is full gives the same error.
TEST_F(Faults, ADiskThatIsFullEndsTheRun) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  Restore();
  db::Connection here;
  here.Open("PROVIDER=MSDASQL; DSN=TLKP-ING; UID=postgres;PWD=;");
  here.Execute(
      "CREATE FUNCTION full_disk() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
      "RAISE EXCEPTION 'could not extend file: No space left on device' USING ERRCODE = '53100'; END $$");
  here.Execute(
      "CREATE TRIGGER full_disk AFTER UPDATE ON provn FOR EACH STATEMENT EXECUTE FUNCTION full_disk()");
  const std::string before = Content();
  const cli::Outcome ended = Fix(kSource, {"--only", "23,39"});
  EXPECT_EQ(ended.code, cli::kFailed);
  EXPECT_THAT(ended.err, HasSubstr("No space left"));
  EXPECT_TRUE(Content() == before);
  // No history: the run did not come to its end.
  EXPECT_EQ(Rows(kSource, "select count(*) from history"), Rows(file_, "select count(*) from history"));
}

}  // namespace
}  // namespace vnt::test
