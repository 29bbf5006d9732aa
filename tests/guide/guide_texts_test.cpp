// What the chapters say of other files, of settings and of the environment is so.

#include <gtest/gtest.h>

#include <cctype>

#include "tests/guide/guide_files.h"

namespace vnt::guide {
namespace {

namespace fs = std::filesystem;
using test::Content;
using test::kGuide;
using test::kSources;
using test::Matches;

// As the pages made from Markdown name their headings, here and on the forge.
std::string AnchorOf(const std::string& heading) {
  std::string anchor;
  for (const char c : heading) {
    const auto u = static_cast<unsigned char>(c);
    if (std::isalnum(u) != 0 || c == '-' || c == '_') anchor += static_cast<char>(std::tolower(u));
    if (c == ' ') anchor += '-';
  }
  return anchor;
}

std::set<std::string> Anchors(const fs::path& file) {
  std::set<std::string> anchors;
  for (const std::string& heading : Matches("\n" + Content(file), std::regex("\n#+ ([^\n]+)")))
    anchors.insert(AnchorOf(heading));
  return anchors;
}

std::vector<fs::path> Documents() {
  std::vector<fs::path> documents = {kSources / "README.md", kSources / "CONTRIBUTING.md",
                                     kSources / "access" / "README.md"};
  for (const auto& entry : fs::recursive_directory_iterator(kSources / "docs")) {
    if (entry.path().extension() == ".md") documents.push_back(entry.path());
  }
  return documents;
}

TEST(GuideTexts, EveryLinkLeadsSomewhere) {
  static const std::regex kLink(R"(\]\(([^)\s]+)\))");
  int links = 0;
  for (const fs::path& document : Documents()) {
    for (const std::string& link : Matches(Content(document), kLink)) {
      if (link.find("://") != std::string::npos) continue;
      ++links;
      const std::size_t hash = std::min(link.find('#'), link.size());
      const fs::path target = hash == 0 ? document : document.parent_path() / link.substr(0, hash);
      EXPECT_TRUE(fs::exists(target)) << document << ": " << link;
      // A page of a fix gets most of its headings by the build.
      if (hash == link.size() || !fs::exists(target) || target.parent_path().filename() == "fixes") continue;
      EXPECT_TRUE(Anchors(target).contains(link.substr(hash + 1))) << document << ": " << link;
    }
  }
  EXPECT_GT(links, 100);
}

TEST(GuideTexts, TheContentsNameEveryChapter) {
  const std::string contents = Content(kGuide / "index.md");
  for (const auto& entry : fs::directory_iterator(kGuide)) {
    const std::string name = entry.path().filename().string();
    if (entry.path().extension() != ".md" || name == "index.md") continue;
    EXPECT_NE(contents.find("](" + name + ")"), std::string::npos) << name;
  }
}

std::set<std::string> InSources(const std::regex& pattern) {
  std::set<std::string> found;
  for (const char* folder : {"access", "cli", "db", "fixes", "freq", "help", "history", "platform", "program",
                             "run", "startup", "ui"}) {
    for (const auto& entry : fs::recursive_directory_iterator(kSources / folder)) {
      if (!entry.is_regular_file()) continue;
      for (std::string& match : Matches(Content(entry.path()), pattern)) found.insert(std::move(match));
    }
  }
  return found;
}

TEST(GuideTexts, SettingsTellEveryKeyThatIsRead) {
  const std::string settings = Content(kGuide / "settings.md");
  const auto keys =
      InSources(std::regex(R"re(Get(?:Setting(?:String|Int)|RegionalSetting)\([^;]*?"(\w+)"\))re"));
  EXPECT_GT(keys.size(), 6U);
  for (const std::string& key : keys) EXPECT_NE(settings.find("`" + key + "`"), std::string::npos) << key;
}

TEST(GuideTexts, SettingsTellEveryEnvironmentVariableThatIsRead) {
  const std::string settings = Content(kGuide / "settings.md");
  const std::set<std::string> known_to_all = {"HOME", "PATH"};
  const auto names =
      InSources(std::regex(R"re((?:Environment|EnvironmentPath|getenv|EnvironmentVariableW?)\(L?"(\w+)")re"));
  EXPECT_GT(names.size(), 6U);
  for (const std::string& name : names) {
    EXPECT_TRUE(known_to_all.contains(name) || settings.find("`" + name + "`") != std::string::npos) << name;
  }
}

}  // namespace
}  // namespace vnt::guide
