// What is told of the statements of a fix. That they are the ones that are sent is golden_test.cpp's
// business.
#include "run/fix_statements.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "run/catalogue.h"
#include "tests/matchers.h"

namespace vnt {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const StatementSection& Section(const std::vector<StatementSection>& sections, std::string_view title) {
  const auto at = std::ranges::find(sections, title, &StatementSection::title);
  if (at == sections.end()) throw std::runtime_error("there is no section " + std::string(title));
  return *at;
}

TEST(FixStatements, EveryRoutineOfTheCatalogueHasThem) {
  for (const FixEntry& fix : FixCatalogue()) {
    for (int i = 0; i < fix.routine_count; ++i) {
      const auto sections = StatementsOf(fix.routines[static_cast<std::size_t>(i)].name);
      ASSERT_GE(sections.size(), 2U) << fix.caption;
      EXPECT_EQ(sections[0].title, "whole database");
      EXPECT_EQ(sections[1].title, "notice");
      // No number of the example rows is left.
      for (const StatementSection& section : sections) {
        for (const std::string& line : section.lines)
          EXPECT_THAT(line, Not(test::ContainsMatch("(ntc_id|grp_id) = [0-9]"))) << fix.caption;
      }
    }
  }
  EXPECT_TRUE(StatementsOf("NoSuchRoutine").empty());
}

TEST(FixStatements, BothDialects) {
  const auto sections = StatementsOf("UppercaseEarthStationNames");
  EXPECT_THAT(Section(sections, "whole database").lines,
              ElementsAre("UPDATE e_as_stn SET stn_name = ucase(stn_name)"));
  EXPECT_THAT(Section(sections, "Ingres, whole database").lines,
              ElementsAre("UPDATE e_as_stn SET stn_name = uppercase(stn_name)"));
  EXPECT_THAT(Section(sections, "Ingres, notice").lines[0], HasSubstr("ntc_id = <ntc_id>"));
}

TEST(FixStatements, WhatIsSentForEachRowIsToldOnce) {
  const auto sections = StatementsOf("SortProvnAllGroups");
  EXPECT_THAT(
      Section(sections, "whole database").lines,
      ElementsAre("SELECT grp_id from grp ",
                  "Select * from provn where grp_id = <grp_id> order by coord_prov, agree_st, adm, ntwk_org",
                  "update provn set seq_no = seq_no - 1000 where grp_id = <grp_id>"));
  EXPECT_THAT(Section(sections, "row by row").lines, ElementsAre(HasSubstr("numbered from 1001")));
  // Sent twice for nothing, as it stands.
  const auto twice = StatementsOf("FixDateInUse");
  const auto& lines = Section(twice, "whole database").lines;
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], lines[1]);
}

}  // namespace
}  // namespace vnt
