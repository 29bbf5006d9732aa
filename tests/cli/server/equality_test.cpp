// All forty fixes do on a server what they do on a file.
#include <string>

#include "run/catalogue.h"
#include "tests/cli/server/notice_source.h"

namespace vnt::test {
namespace {

class Equality : public NoticeSource {};

TEST_F(Equality, EachFixAlone) {
  MakeHardSample("jet4", "12");
  Seed(file_);
  for (int fix = 0; fix < kFixCount; ++fix) {
    SCOPED_TRACE(fix);
    EXPECT_EQ(DifferenceAfter({"--only", std::to_string(fix)}), "");
  }
}

TEST_F(Equality, RunsOfManyFixesInBothFormats) {
  for (const char* format : {"jet4", "ace14"}) {
    SCOPED_TRACE(format);
    MakeHardSample(format, "30");
    Seed(file_);
    EXPECT_EQ(DifferenceAfter({}), "");
    EXPECT_EQ(DifferenceAfter({"--all"}), "");
    const std::string first = Rows(file_, "select min(ntc_id) from notice");
    const std::string notice = first.substr(first.find('\n') + 1);
    EXPECT_EQ(DifferenceAfter({"--all", "--notice", notice.substr(0, notice.find('\n'))}), "");
  }
}

// What fails as a statement is the fix's own: told, and the same rows are left.
TEST_F(Equality, FixesWithErrors) {
  MakeHardSample("jet4", "22");
  // Two beams that are one without their blanks; provisions that cannot be numbered.
  const cli::Outcome made = cli::RunCli(
      {"sql", file_},
      "insert into s_beam (ntc_id, emi_rcp, beam_name) select min(ntc_id), 'E', 'TWICE' from notice;"
      "insert into s_beam (ntc_id, emi_rcp, beam_name) select min(ntc_id), 'E', ' TWICE' from notice;"
      "insert into com_el (ntc_id, ntf_rsn) values (2000000000, 'A');"
      "update provn set coord_prov = null where grp_id mod 4 = 0;"
      "update tr_provn set wic_no = null where ntc_id mod 3 = 0");
  ASSERT_EQ(made.code, cli::kOk) << made.err;
  Seed(file_);
  EXPECT_EQ(DifferenceAfter({"--all"}), "");
  EXPECT_EQ(DifferenceAfter({"--only", "17"}), "");
  EXPECT_EQ(DifferenceAfter({"--only", "23,24"}), "");
}

}  // namespace
}  // namespace vnt::test
