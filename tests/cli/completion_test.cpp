// What is offered for a line that is being typed, and that looking for it leaves everything as it was.
#include "cli/completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/command_line.h"
#include "cli/fix_choice.h"
#include "run/catalogue.h"
#include "tests/cli/folder_test.h"

namespace vnt::cli {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using CompletionTest = FolderTest;

std::vector<std::string> Words(const Completion& completion) {
  std::vector<std::string> words;
  for (const Candidate& candidate : completion.candidates) words.push_back(candidate.word);
  return words;
}

TEST_F(CompletionTest, KindOfWhatIsExpected) {
  struct Case {
    Arguments line;
    const char* files;
    Arguments words;
  };
  const Case cases[] = {
      {{}, "none", {}},
      {{"un"}, "none", {"undo"}},
      {{"un", ""}, "none", {}},
      {{"--v"}, "none", {"--version"}},
      {{"help", "un"}, "none", {"undo"}},
      {{"undo", "a", "--from", ""}, "any", {}},
      {{"fix", ""}, "databases", {}},
      {{"fix", "a", "b", ""}, "databases", {}},
      {{"diff", "a", "b", ""}, "none", {}},
      {{"check", "a", ""}, "none", {}},
      {{"sample", ""}, "folders", {}},
      {{"fix", "--backup-folder", ""}, "folders", {}},
      {{"fix", "--report", ""}, "any", {}},
      {{"export", "--output=x"}, "any", {}},
      {{"fix", "--reference=x"}, "databases", {}},
      {{"fix", "--quiet", ""}, "databases", {}},
      {{"fix", "--", "--a"}, "databases", {}},
      {{"fix", "--all=x"}, "none", {}},
      {{"fix", "--nothing=x"}, "none", {}},
      {{"diff", "--format", ""}, "none", {"text", "csv", "json"}},
      {{"diff", "--format", "JS"}, "none", {"json"}},
      {{"diff", "--format=c"}, "none", {"--format=csv"}},
      {{"sample", "--notices", ""}, "none", {}},
      {{"list", "7"}, "none", {"7"}},
      {{"fix", "--only", "7,39"}, "none", {"7,39"}},
      {{"fix", "--only=7,sort f"}, "none", {"--only=7,Sort Frequencies"}},
      {{"fix", "--back"}, "none", {"--backup", "--backup-folder"}},
      {{"fix", "--dry-run", "--back"}, "none", {}},
      {{"fix", "--quiet", "--quiet"}, "none", {}},
  };
  for (const Case& c : cases) {
    const Completion completion = Complete(c.line);
    EXPECT_EQ(completion.files, c.files) << testing::PrintToString(c.line);
    EXPECT_EQ(Words(completion), c.words) << testing::PrintToString(c.line);
  }
}

// Whatever help tells of can be completed.
TEST_F(CompletionTest, EveryCommandAndOption) {
  const auto commands = Words(Complete({""}));
  EXPECT_THAT(commands, Contains("fix"));
  for (const std::string& command : commands) {
    const std::string help = RunCli({command, "--help"}).out;
    const auto offered = Words(Complete({command, "--"}));
    std::istringstream lines(help.substr(help.find("\nOptions:\n"), help.find("\nEnvironment:")));
    for (std::string word; lines >> word && word != "Environment:";) {
      if (!word.starts_with("--") || word.ends_with(",") || word.ends_with(";") || word.ends_with(":"))
        continue;
      EXPECT_THAT(offered, Contains(word)) << command;
    }
    EXPECT_GE(offered.size(), 1U);
  }
}

TEST_F(CompletionTest, EachCaptionThatIsOfferedIsThatFix) {
  for (int index = 0; index < kFixCount; ++index) {
    const std::string first(1, FixByIndex(index).caption.front());
    int found = 0;
    for (const Candidate& candidate : Complete({"fix", "--only", first}).candidates) {
      if (candidate.description != "fix " + std::to_string(index)) continue;
      FixSelection wanted;
      wanted.set(static_cast<std::size_t>(index));
      EXPECT_EQ(ChooseFixes(candidate.word), wanted) << candidate.word;
      ++found;
    }
    EXPECT_EQ(found, 1) << index;
  }
}

TEST_F(CompletionTest, TablesOfTheDatabaseOnTheLine) {
  const std::string old_file =
      Make("old.mdb", "create table notice (a long); create table [two words] (a long);");
  const std::string new_file =
      Make("new.accdb", "create table NOTICE (a long); create table only_new (a long);");
  EXPECT_THAT(Words(Complete({"export", old_file, ""})), ElementsAre("notice", "two words"));
  EXPECT_THAT(Words(Complete({"schema", old_file, "TW"})), ElementsAre("two words"));
  EXPECT_THAT(Words(Complete({"diff", old_file, new_file, "--table", "notice,o"})),
              ElementsAre("notice,only_new"));
  test::SetVariable("HOME", test::Utf8Of(folder_));
  EXPECT_THAT(Words(Complete({"export", "~/old.mdb", "n"})), ElementsAre("notice"));
}

TEST_F(CompletionTest, FilesThatAreNoDatabaseGiveNothingAndStayAsTheyAre) {
  const std::string whole = Slurp(Make("whole.mdb", "create table notice (a long);"));
  const std::string damaged = whole.substr(0, whole.size() / 2), text = "no database";
  for (const std::string& content : {damaged, text, std::string()}) {
    const std::string file = At("odd.mdb");
    std::ofstream(file, std::ios::binary) << content;
    const Outcome outcome = RunCli({"__complete", "zsh", "export", file, ""});
    EXPECT_EQ(outcome.code, kOk);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(Slurp(file), content);
  }
  for (const std::string& name : {At("nowhere.mdb"), At("")}) {
    EXPECT_THAT(Words(Complete({"export", name, ""})), IsEmpty());
  }
}

TEST_F(CompletionTest, TheCommandOfTheShellsIsHidden) {
  EXPECT_THAT(Words(Complete({""})), Not(Contains("__complete")));
  EXPECT_EQ(RunCli({"__complete"}).code, kUsage);
  EXPECT_EQ(RunCli({"__complete", "fish", "un"}).out,
            "none\nundo\tPut back what a file was before its last run with --backup\n");
  EXPECT_EQ(RunCli({"__complete", "bash", "diff", "--format", "\"js"}).out, "none\njson\t\n");
}

TEST_F(CompletionTest, QuotesAreTakenAwayAndNothingIsExpanded) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"plain", "plain"},
      {R"(two\ words)", "two words"},
      {R"("two words")", "two words"},
      {R"("open quote)", "open quote"},
      {R"('it is "so" \')", R"(it is "so" \)"},
      {R"("a\"b\\c\d")", R"(a"b\c\d)"},
      {R"(a"b"'c'd)", "abcd"},
      {R"($(rm x) `y` $z *)", "$(rm x) `y` $z *"},
      {R"(end\)", R"(end\)"},
  };
  for (const auto& [typed, word] : cases) EXPECT_EQ(WithoutQuotes(typed), word) << typed;
}

}  // namespace
}  // namespace vnt::cli
