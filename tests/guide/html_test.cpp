// The guide as HTML: it can be read from a folder, without a network, and every link leads somewhere.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/guide/guide_files.h"

namespace vnt::guide {
namespace {

namespace fs = std::filesystem;
using test::Content;
using test::kGuide;
using test::Matches;

const fs::path kHtml = VNT_GUIDE_HTML;

std::vector<fs::path> Pages() {
  std::vector<fs::path> pages;
  for (const auto& entry : fs::recursive_directory_iterator(kHtml)) {
    if (entry.path().extension() == ".html") pages.push_back(entry.path());
  }
  return pages;
}

TEST(GuideHtml, EveryPageIsThere) {
  for (const auto& entry : fs::recursive_directory_iterator(kGuide)) {
    if (entry.path().extension() != ".md") continue;
    fs::path page = kHtml / entry.path().lexically_relative(kGuide);
    EXPECT_TRUE(fs::exists(page.replace_extension(".html"))) << page;
  }
}

TEST(GuideHtml, EveryLinkLeadsSomewhere) {
  static const std::regex kTarget(R"re((?:href|src)="([^"]*)")re"), kId(R"re(\bid="([^"]*)")re");
  int links = 0;
  for (const fs::path& page : Pages()) {
    for (const std::string& target : Matches(Content(page), kTarget)) {
      ++links;
      const std::size_t hash = std::min(target.find('#'), target.size());
      const fs::path file = hash == 0 ? page : page.parent_path() / target.substr(0, hash);
      ASSERT_TRUE(fs::is_regular_file(file)) << page << ": " << target;
      if (hash == target.size()) continue;
      const std::vector<std::string> ids = Matches(Content(file), kId);
      EXPECT_NE(std::ranges::find(ids, target.substr(hash + 1)), ids.end()) << page << ": " << target;
    }
  }
  EXPECT_GT(links, 1000);
}

TEST(GuideHtml, NothingComesFromElsewhere) {
  static const std::regex kElsewhere(R"re((<script|(?:href|src|url)[=(]"?(?:https?:)?//))re");
  std::vector<fs::path> files = Pages();
  files.push_back(kHtml / "guide.css");
  for (const fs::path& file : files) EXPECT_TRUE(Matches(Content(file), kElsewhere).empty()) << file;
  EXPECT_NE(Content(kHtml / "guide.css").find("prefers-color-scheme: dark"), std::string::npos);
}

TEST(GuideHtml, MarkdownIsNotLeftOver) {
  // A table or a list that was not understood shows its bars and brackets.
  static const std::regex kLeftOver(R"re((<p>[^<]*(?:\|:?--|\]\()))re");
  for (const fs::path& page : Pages()) EXPECT_TRUE(Matches(Content(page), kLeftOver).empty()) << page;
}

// What the help viewer shows is made of the same pages.
TEST(GuideHtml, TheHelpFileHoldsThePages) {
  if (!fs::exists(VNT_GUIDE_HELP)) GTEST_SKIP() << "chmcmd was not found: there is no help file";
  const std::string help = Content(VNT_GUIDE_HELP);
  EXPECT_EQ(help.substr(0, 4), "ITSF");
  for (const fs::path& page : Pages()) {
    const std::string name = "/" + page.lexically_relative(kHtml).generic_string();
    EXPECT_NE(help.find(name), std::string::npos) << name;
  }
  EXPECT_NE(help.find("/tidyworks.hhc"), std::string::npos);
}

}  // namespace
}  // namespace vnt::guide
