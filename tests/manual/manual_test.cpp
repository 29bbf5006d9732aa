// What becomes of words on a manual page.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "manual/pages.h"
#include "manual/roff.h"

namespace vnt::manual {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

TEST(Roff, NothingInATextIsARequest) {
  const std::pair<const char*, const char*> cases[] = {
      {"plain words", "plain words"},
      {"C:\\KV_SOFT", "C:\\eKV_SOFT"},
      {"--dry-run", "\\-\\-dry\\-run"},
  };
  for (const auto& [text, escaped] : cases) EXPECT_EQ(Plain(text), escaped) << text;
}

TEST(Roff, TextIsFilledAndExamplesAreKept) {
  Page page("X", "2026-11-22", "S", "V");
  page.Section("A");
  page.Paragraph(std::string(78, 'a') + "  .b\nc");
  page.Example("  one\n'two\n");
  EXPECT_THAT(page.text(),
              EndsWith(".SH A\n" + std::string(78, 'a') + "\n\\&.b c\n.PP\n.nf\n  one\n\\&'two\n.fi\n"));
}

TEST(Pages, SayWhatTheTableSays) {
  std::string fix, window;
  for (const File& file : Pages("2026-11-22")) {
    if (file.name == "vntfix/vntfix-fix.1") fix = file.text;
    if (file.name == "vntfixdb/VNTFixdb.1") window = file.text;
  }
  EXPECT_THAT(fix, HasSubstr("vntfix\\-fix \\- run fixes on notice databases\n"));
  EXPECT_THAT(fix, HasSubstr(".TP\n\\fB\\-\\-format\\fR \\fItext|csv|json\\fR\n"));
  EXPECT_THAT(fix, HasSubstr("Print errors only. Not with \\-\\-verbose.\n"));
  EXPECT_THAT(fix, HasSubstr("Only with \\-\\-dry\\-run.\n"));
  EXPECT_THAT(fix, HasSubstr(".TP\n\\fB22 *\\fR Sort Frequencies\n"));
  EXPECT_THAT(fix, HasSubstr(".TP\n\\fB16\\fR Build Freq for ADVP\n"));
  EXPECT_THAT(fix, HasSubstr("\n.SH NOTES\nEach line has the rows"));
  EXPECT_THAT(fix, HasSubstr("\n.SH EXAMPLES\n"));
  EXPECT_THAT(window, HasSubstr("\\fBVNTFixdb TEXT\\fR\nany other text: runs the default fixes"));
}

}  // namespace
}  // namespace vnt::manual
