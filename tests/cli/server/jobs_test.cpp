// Every notice by itself, on several connections.
#include <gmock/gmock.h>

#include <string>

#include "tests/cli/server/notice_source.h"

namespace vnt::test {
namespace {

using testing::HasSubstr;

class Jobs : public NoticeSource {
 protected:
  // Of fixes that stay within their notice.
  static constexpr char kWithin[] = "--except=5,12,19,33";
  std::string DifferenceOf(const std::string& file) {
    cli::RunCli({"sql", file, "update history set d_hist = null, hist_text = null"});
    cli::RunCli({"sql", kSource, "update history set d_hist = null, hist_text = null", kUser});
    const cli::Outcome diff = cli::RunCli({"diff", file, kSource, kUser});
    return diff.code == cli::kOk ? "" : diff.out.substr(0, 2000) + diff.err;
  }
};

TEST_F(Jobs, LeaveWhatNoticesOneByOneLeaveInAFile) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  ASSERT_EQ(Fix(file_, {kWithin, "--notice", "1-2000000000"}).code, cli::kOk);
  for (const char* jobs : {"1", "3"}) {
    SCOPED_TRACE(jobs);
    Restore();
    const cli::Outcome run = Fix(kSource, {kWithin, "--all-notices", "--jobs", jobs});
    EXPECT_EQ(run.code, cli::kOk) << run.err;
    EXPECT_THAT(run.out, HasSubstr("12 notices, 0 not finished"));
    EXPECT_EQ(DifferenceOf(file_), "");
  }
}

TEST_F(Jobs, FixesThatReachBeyondANoticeRunOnceForAll) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  ASSERT_EQ(Fix(kSource, {"--only", "5,12,19,33", "--all-notices", "--jobs", "2"}).code, cli::kOk);
  ASSERT_EQ(Fix(file_, {"--only", "5,12,19,33"}).code, cli::kOk);
  EXPECT_EQ(DifferenceOf(file_), "");
}

// The second start goes on where the first one ended.
TEST_F(Jobs, ANoticeThatFailsIsNamedAndTakenUpLater) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  const std::string list = Rows(file_, "select min(ntc_id) from notice");
  const std::string notice = list.substr(list.find('\n') + 1, list.rfind('\n') - list.find('\n') - 1);
  admin().Execute(
      "CREATE FUNCTION stuck() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
      "RAISE EXCEPTION 'deadlock detected' USING ERRCODE = '40P01'; END $$; CREATE TRIGGER stuck BEFORE "
      "UPDATE ON notice FOR EACH ROW WHEN (OLD.ntc_id = " +
      notice + ") EXECUTE FUNCTION stuck()");
  const std::string assignments =
      "select * from assgn where grp_id in (select grp_id from grp where ntc_id = " + notice +
      ") order by grp_id, seq_no";
  const std::string before = Rows(kSource, assignments);
  const cli::Outcome first = Fix(kSource, {kWithin, "--all-notices", "--jobs", "2"});
  EXPECT_EQ(first.code, cli::kFailed);
  // What the fixes before had done would be done twice.
  EXPECT_EQ(Rows(kSource, assignments), before);
  EXPECT_THAT(first.err, HasSubstr("notice " + notice + " was not finished"));
  EXPECT_THAT(first.out, HasSubstr("1 not finished"));
  const std::string others =
      "select count(*) from history where hist_text like 'VNTFixEN*' and ntc_id <> " + notice;
  EXPECT_EQ(Rows(kSource, others), "\"Expr1000\"\n11\n");
  admin().Execute("DROP TRIGGER stuck ON notice");
  const cli::Outcome second = Fix(kSource, {kWithin, "--all-notices"});
  EXPECT_EQ(second.code, cli::kOk) << second.err;
  EXPECT_THAT(second.err, HasSubstr("taken up"));
  EXPECT_EQ(Rows(kSource, others), "\"Expr1000\"\n11\n");
  ASSERT_EQ(Fix(file_, {kWithin, "--notice", "1-2000000000"}).code, cli::kOk);
  EXPECT_EQ(DifferenceOf(file_), "");
}

// Notices are worked on together; an error is told of its notice all the same, and leaves what it leaves
// there.
TEST_F(Jobs, AnErrorOfAFixIsToldOfItsNotice) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  const std::string list = Rows(file_, "select max(ntc_id) from notice");
  const std::string notice = list.substr(list.find('\n') + 1, list.rfind('\n') - list.find('\n') - 1);
  std::string one_by_one;
  for (const bool jobs : {false, true}) {
    Restore();
    admin().Execute(
        "CREATE FUNCTION refused() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RAISE EXCEPTION 'not this "
        "one'; "
        "END $$; CREATE TRIGGER refused BEFORE UPDATE ON notice FOR EACH ROW WHEN (OLD.ntc_id = " +
        notice + ") EXECUTE FUNCTION refused()");
    const cli::Outcome run = jobs ? Fix(kSource, {kWithin, "--all-notices", "--jobs", "1"})
                                  : Fix(kSource, {kWithin, "--notice", "1-2000000000"});
    EXPECT_EQ(run.code, cli::kFailed);
    std::string content;
    for (const char* table : {"assgn", "freq", "grp", "provn", "emiss", "s_beam", "notice"})
      content += cli::RunCli({"export", kSource, table, "--order-by-key", kUser}).out;
    if (!jobs) {
      one_by_one = content;
      continue;
    }
    EXPECT_TRUE(content == one_by_one);
    EXPECT_THAT(run.err, HasSubstr("notice " + notice + ": "));
    EXPECT_THAT(run.err, HasSubstr("not this one"));
    EXPECT_THAT(run.out, HasSubstr("12 notices, 0 not finished, 1 with errors"));
  }
}

TEST_F(Jobs, TwoRunsKeepOffOneNotice) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  const std::string list = Rows(file_, "select min(ntc_id) from notice");
  const std::string notice = list.substr(list.find('\n') + 1, list.rfind('\n') - list.find('\n') - 1);
  admin().Execute("SELECT pg_advisory_lock(5656148, " + notice + ")");  // as a run of that notice does
  EXPECT_EQ(Fix(kSource, {"--notice", notice}).code, cli::kRefused);
  const cli::Outcome others = Fix(kSource, {kWithin, "--all-notices"});
  EXPECT_THAT(others.err, HasSubstr("notice " + notice + ": another run is at work on it."));
  EXPECT_THAT(others.out, HasSubstr("12 notices, 1 not finished"));
  admin().Execute("SELECT pg_advisory_unlock(5656148, " + notice + ")");
  EXPECT_EQ(Fix(kSource, {"--notice", notice}).code, cli::kOk);
}

}  // namespace
}  // namespace vnt::test
