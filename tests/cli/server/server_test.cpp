// The commands of vntfix on a data source.
#include <gmock/gmock.h>

#include <fstream>
#include <string>

#include "tests/cli/server/notice_source.h"

namespace vnt::test {
namespace {

using cli::RunCli;
using testing::HasSubstr;

class Server : public NoticeSource {};

// Access SQL gives on a server what it gives on a file.
TEST_F(Server, QueriesGiveTheSameRows) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  for (const char* query : {
           "select * from grp",
           "select * from notice order by d_rcv, ntc_id desc",
           "select distinct prov, len(prov) from grp",
           "select top 3 ntc_id from notice order by ntf_rsn",
           "select ucase(area_name), lcase(stn_name) from grp left join e_as_stn on grp.grp_id = "
           "e_as_stn.grp_id "
           "where area_name is not null",
           "select ntf_rsn, count(*) as n, sum(ntc_id), avg(ntc_id), min(prov), max(d_rcv) from notice group "
           "by "
           "ntf_rsn",
           "select grp_id / 3, grp_id \\ 3, grp_id mod 7, -grp_id, grp_id & '/' & prov from grp",
           "select round(pep_max, 1), round(c_to_n, 0), abs(pwr_ds_max), int(pwr_ds_max), fix(pwr_ds_max) "
           "from "
           "emiss where pep_max < 1000",
           "select design_emi from emiss where design_emi like '36m*[!x]' or design_emi like '*#?7*'",
           "select iif(act_code is null, 'none', act_code), nz(prov, '?') from notice",
           "select year(d_inuse), month(d_inuse), day(d_inuse), hour(d_inuse), d_inuse + 1.5 from grp where "
           "d_inuse is not null",
           "select grp_id from grp where d_inuse between #1/1/1900# and #1/1/1800#",
           "select ntc_id from notice where exists (select * from grp where grp.ntc_id = notice.ntc_id and "
           "emi_rcp = \"E\") and ntc_id not in (select ntc_id from geo)",
           "select ntc_id from geo union select ntc_id from e_stn order by ntc_id desc",
           "select first(beam_name), last(seq_no) from freq",
           "select mid(prov, 2, 3), left(prov, 2), right(prov, 2), instr(prov, 'r'), trim(prov) from notice",
           "select ntc_id from notice where (ntc_id > 0) = true and not (prov is null)",
       }) {
    EXPECT_EQ(Rows(kSource, query), Rows(file_, query)) << query;
  }
}

TEST_F(Server, CopyThereAndBackIsEqual) {
  const std::string types = Make(
      "types.mdb",
      "create table t (id counter, b byte, s short, l long, si single, d double, c currency, n "
      "decimal(18,4), dt "
      "datetime, tx text(20), m memo, y yesno, g guid, bi binary(8), o longbinary, constraint pk primary key "
      "(id));"
      "create unique index u on t (s desc, tx);"
      "insert into t (b, s, l, si, d, c, n, dt, tx, m, y, g) values (255, -32768, 2147483647, 0.1, 1e-300, "
      "-922337203685477.5807, 12345678901234.5678, #1/1/100 01:02:03#, 'it''s ä', 'memo', true, "
      "'{01234567-89AB-CDEF-0123-456789ABCDEF}');"
      "insert into t (s, tx) values (1, '');"
      "create table no_key (a long, b text(5)); insert into no_key values (2, 'x'); insert into no_key "
      "values (1, "
      "null); insert into no_key values (2, 'x')");
  Seed(types);
  const std::string back = At("back.accdb");
  const cli::Outcome copied = RunCli({"copy", kSource, back, kUser});
  EXPECT_EQ(copied.code, cli::kOk) << copied.err;
  const cli::Outcome diff = RunCli({"diff", types, back});
  EXPECT_EQ(diff.code, cli::kOk) << diff.out << diff.err;
  EXPECT_EQ(RunCli({"schema", types}).out, RunCli({"schema", back}).out);
  EXPECT_EQ(RunCli({"check", back}).code, cli::kOk);
  EXPECT_EQ(Rows(types, "select * from no_key"), Rows(back, "select * from no_key"));
}

TEST_F(Server, CopyRefusesTablesThatAreThereAndTakesOneNotice) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  const cli::Outcome again = RunCli({"copy", file_, kSource, kUser});
  EXPECT_EQ(again.code, cli::kRefused);
  EXPECT_THAT(again.err, HasSubstr("already"));
  const std::string list = Rows(file_, "select min(ntc_id) from notice");
  const std::string notice = list.substr(list.find('\n') + 1, list.rfind('\n') - list.find('\n') - 1);
  const std::string one = At("one.mdb");
  ASSERT_EQ(RunCli({"copy", kSource, one, "--notice", notice, kUser}).code, cli::kOk);
  EXPECT_EQ(RunCli({"diff", file_, one, "--notice", notice}).code, cli::kOk);
  EXPECT_EQ(Rows(one, "select count(*) from notice"), "\"Expr1000\"\n1\n");
}

TEST_F(Server, TablesInfoExportAndDiffTakeADataSource) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  EXPECT_EQ(RunCli({"tables", kSource, kUser}).out, RunCli({"tables", file_}).out);
  const cli::Outcome info = RunCli({"info", kSource, kUser});
  EXPECT_EQ(info.code, cli::kOk) << info.err;
  EXPECT_THAT(info.out, HasSubstr("server:         PostgreSQL"));
  EXPECT_THAT(info.out, HasSubstr("schema version: 7"));
  EXPECT_THAT(info.out, HasSubstr("notices:        12"));
  EXPECT_EQ(RunCli({"export", kSource, "grp", kUser}).out, RunCli({"export", file_, "grp"}).out);
  EXPECT_EQ(RunCli({"diff", file_, kSource, kUser}).code, cli::kOk);
  ASSERT_EQ(RunCli({"sql", kSource, "update grp set prov = 'x' where grp_id = (select min(grp_id) from grp)",
                    kUser})
                .code,
            cli::kOk);
  EXPECT_EQ(RunCli({"diff", file_, kSource, "--table", "grp", "--only-counts", kUser}).code, cli::kDifferent);
}

TEST_F(Server, StatementsAreAllOrNothingInATransaction) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  const char* kScript =
      "update notice set st_cur = '77'; insert into notice (ntc_id) select ntc_id from notice";
  EXPECT_EQ(RunCli({"sql", kSource, "--transaction", kUser}, kScript).code, cli::kFailed);
  EXPECT_EQ(Rows(kSource, "select count(*) from notice where st_cur = '77'"), "\"Expr1000\"\n0\n");
  EXPECT_EQ(RunCli({"sql", kSource, kUser}, kScript).code, cli::kFailed);
  EXPECT_EQ(Rows(kSource, "select count(*) from notice where st_cur = '77'"), "\"Expr1000\"\n12\n");
}

TEST_F(Server, WhatCannotBeUsedIsRefused) {
  const cli::Outcome none = RunCli({"tables", "dsn:NO-SUCH"});
  EXPECT_NE(none.code, cli::kOk);
  std::ofstream(PathOf(At("password"))) << "secret\n";
  EXPECT_EQ(RunCli({"tables", kSource, kUser, "--password-file", At("password")}).code, cli::kOk);
  EXPECT_NE(RunCli({"tables", kSource, kUser, "--password-file", At("missing")}).code, cli::kOk);
  MakeHardSample("jet4", "12");
  Seed(file_);
  EXPECT_EQ(Fix(kSource, {"--dry-run"}).code, cli::kUsage);
  EXPECT_EQ(Fix(kSource, {"--backup"}).code, cli::kUsage);
  ASSERT_EQ(RunCli({"sql", kSource, "drop table vnt_ooak", kUser}).code, cli::kOk);
  const cli::Outcome no_notices = Fix(kSource, {});
  EXPECT_EQ(no_notices.code, cli::kRefused);
  EXPECT_THAT(no_notices.err, HasSubstr("vnt_ooak"));
}

}  // namespace
}  // namespace vnt::test
