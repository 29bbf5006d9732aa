// vntfix fix and undo: what is chosen, what is written and what is not, and the way back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <nlohmann/json.hpp>

#include "access/store/database.h"
#include "cli/fix_choice.h"
#include "tests/cli/folder_test.h"
#include "tests/matchers.h"

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace vnt::cli {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

std::vector<int> Chosen(std::string_view text) {
  const FixSelection selection = ChooseFixes(text);
  std::vector<int> indexes;
  for (int index = 0; index < kFixCount; ++index) {
    if (selection.test(static_cast<std::size_t>(index))) indexes.push_back(index);
  }
  return indexes;
}

TEST(FixChoice, NumbersRangesAndWords) {
  EXPECT_THAT(Chosen("7"), ElementsAre(7));
  EXPECT_THAT(Chosen("9, 7-8,7"), ElementsAre(7, 8, 9));
  EXPECT_THAT(Chosen("sort freq"), ElementsAre(22));
  EXPECT_THAT(Chosen("SORT COORD,39"), ElementsAre(23, 39));
  EXPECT_THAT(Chosen("Fix  Action Code"), ElementsAre(4));
  for (const auto& [text, reason] : std::vector<std::pair<const char*, const char*>>{
           {"40", "\"40\" is no fix: they have the numbers 0 to 39"},
           {"99999999999", "they have the numbers 0 to 39"},
           {"38-40", "\"38-40\" is no fix: they have the numbers 0 to 39"},
           {"9-7", "The range \"9-7\" runs backwards; it is written 7-9."},
           {"1, 9 - 7", "The range \"9 - 7\" runs backwards; it is written 7-9."},
           {"7-", "\"7-\" is no range of fixes, such as 7-9."},
           {"-7", "\"-7\" is no range of fixes"},
           {"7--9", "\"7--9\" is no range of fixes"},
           {"7-8-9", "\"7-8-9\" is no range of fixes"},
           {"-", "\"-\" is no range of fixes"},
           {"7 9", "\"7 9\" is no fix"},
           {"7-x", "No fix has the words \"7-x\""},
           {"", "\"\" names nothing."},
           {"7,", "\"7,\" names nothing beside a comma."},
           {"sort xyz", "No fix has the words \"sort xyz\""},
           {"sort", "is more than one fix: 22 \"Sort Frequencies\", 23 \"Sort Coord"}}) {
    try {
      ChooseFixes(text);
      ADD_FAILURE() << text;
    } catch (const ChoiceError& error) {
      EXPECT_THAT(error.what(), HasSubstr(reason)) << text;
    }
  }
}

TEST(FixChoice, NoticesAreNumbersAndRanges) {
  const std::vector<NoticeRange> ranges = ParseNotices("5, 7-9,2147483647");
  ASSERT_EQ(ranges.size(), 3U);
  EXPECT_EQ(ranges[1].first, 7);
  EXPECT_EQ(ranges[1].last, 9);
  for (const auto& [text, reason] : std::vector<std::pair<const char*, const char*>>{
           {"9-7", "The range \"9-7\" runs backwards; it is written 7-9."},
           {"0", "\"0\" is no notice: they have the numbers 1 to 2147483647"},
           {"0-3", "\"0-3\" is no notice"},
           {"2147483648", "\"2147483648\" is no notice"},
           {"7-", "\"7-\" is no range of notices"},
           {"x", "\"x\" is no notice"},
           {"7,,9", "\"7,,9\" names nothing beside a comma."}}) {
    try {
      ParseNotices(text);
      ADD_FAILURE() << text;
    } catch (const ChoiceError& error) {
      EXPECT_THAT(error.what(), HasSubstr(reason)) << text;
    }
  }
}

class FixCommand : public FolderTest {
 protected:
  FixCommand() { MakeSample("10"); }
  Outcome Fix(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "fix");
    arguments.insert(arguments.end(), {"--reference", At("reference.mdb"), "--template", At("template.mdb")});
    return RunCli(arguments);
  }
  nlohmann::json Report(const char* name) const { return nlohmann::json::parse(Slurp(At(name))); }
  std::string Rows(const std::string& file) {
    std::string rows;
    for (const char* table : {"notice", "grp", "assgn", "freq", "provn"}) {
      rows += RunCli({"export", file, table}).out;
    }
    return rows;
  }

  const std::string file_ = At("notices.mdb");
};

TEST_F(FixCommand, ADryRunWritesNothingAndReportsWhatTheRunWill) {
  const auto before = Files();
  const Outcome dry = Fix({file_, "--dry-run", "--all", "--report", At("dry.json")});
  EXPECT_EQ(dry.code, kOk) << dry.err;
  EXPECT_EQ(Files("dry.json"), before);
  EXPECT_THAT(dry.out, HasSubstr("dry run of " + file_ + ": 40 fixes run"));
  ASSERT_EQ(Fix({file_, "--all", "--report", At("real.json")}).code, kOk);
  nlohmann::json dry_report = Report("dry.json"), real = Report("real.json");
  EXPECT_EQ(dry_report["kind"], "dry run");
  EXPECT_EQ(real["kind"], "run");
  EXPECT_EQ(dry_report["fingerprints"]["before"], real["fingerprints"]["before"]);
  EXPECT_NE(real["fingerprints"]["before"], real["fingerprints"]["after"]);
  for (nlohmann::json* report : {&dry_report, &real}) {
    for (const char* key : {"kind", "started", "ended", "fingerprints"}) report->erase(key);
    (*report)["history"].erase("seconds");
    for (auto& fix : (*report)["fixes"]) fix.erase("seconds");
  }
  EXPECT_EQ(dry_report, real);
  EXPECT_EQ(dry_report["fixes"].size(), 40U);
}

TEST_F(FixCommand, ADryRunShowsWhatTheRunWillChange) {
  // Rows of the history tell the time; names of the files stand in the head.
  const auto changes = [](const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
      if (line.find("history") == std::string::npos && line.find(".mdb") == std::string::npos) {
        lines.push_back(line);
      }
    }
    return lines;
  };
  const std::string copy = At("copy.mdb");
  fs::copy_file(file_, copy);
  const Outcome dry = Fix({file_, "--dry-run", "--diff", "--quiet", "--only", "7,15"});
  EXPECT_EQ(dry.code, kOk) << dry.err;
  ASSERT_EQ(Fix({file_, "--only", "7,15"}).code, kOk);
  const std::vector<std::string> real = changes(RunCli({"diff", copy, file_}).out);
  EXPECT_GT(real.size(), 20U);
  EXPECT_EQ(changes(dry.out), real);
  EXPECT_EQ(Fix({file_, "--diff"}).code, kUsage);
}

TEST_F(FixCommand, AJournalIsDroppedOnPurposeOnly) {
  // Some systems' libraries set times by the second only, and the journal knows that of its file.
  fs::last_write_time(test::PathOf(file_),
                      std::chrono::floor<std::chrono::seconds>(fs::last_write_time(test::PathOf(file_))));
  {
    // A run that is killed after it has saved something.
    const auto killed = jet::Database::Open(jet::PlatformFileSystem(), file_, jet::OpenMode::kReadWrite);
    jet::StatementScope scope(*killed);
    const auto notice = killed->FindTable("notice");
    jet::Row row;
    jet::RowId id;
    ASSERT_TRUE(jet::TableCursor(*notice).Next(&row, &id));
    notice->Update(id, {{notice->def().FindColumn("adm"), jet::Value::Text("ZZZ")}});
    scope.Commit();
    killed->Persist();
    fs::copy_file(test::PathOf(file_ + "-vntjournal"), folder_ / "kept");
    fs::copy_file(test::PathOf(file_), folder_ / "copy.mdb");
    fs::last_write_time(folder_ / "copy.mdb", fs::last_write_time(test::PathOf(file_)));
  }
  const std::string copy = At("copy.mdb");
  fs::copy_file(folder_ / "kept", test::PathOf(copy + "-vntjournal"));
  EXPECT_THAT(RunCli({"export", copy, "notice"}).out, HasSubstr("\"ZZZ\""));
  EXPECT_EQ(Fix({copy, "--only", "3", "--discard-journal", "--dry-run"}).code, kUsage);
  // Not for a run that cannot be begun.
  EXPECT_EQ(Fix({copy, "--only", "3", "--discard-journal", "--notice", "5"}).code, kUsage);
  EXPECT_EQ(Fix({copy, "--only", "3", "--discard-journal", "--backup-folder", At("nowhere")}).code, kRefused);
  EXPECT_THAT(RunCli({"export", copy, "notice"}).out, HasSubstr("\"ZZZ\""));
  const Outcome dropped = Fix({copy, "--only", "3", "--discard-journal"});
  EXPECT_EQ(dropped.code, kOk) << dropped.err;
  EXPECT_THAT(dropped.err, HasSubstr("the journal of a run that did not end was dropped"));
  EXPECT_THAT(RunCli({"export", copy, "notice"}).out, testing::Not(HasSubstr("\"ZZZ\"")));
  EXPECT_EQ(Fix({copy, "--only", "3", "--discard-journal"}).err, "");
  EXPECT_EQ(RunCli({"check", copy}).code, kOk);
}

TEST_F(FixCommand, AFolderAloneIsNoFile) {
  EXPECT_EQ(Fix({folder_.string(), "--backup", "--only", "3"}).code, kRefused);
}

TEST_F(FixCommand, ForceTakesNoBackupOfAnotherFile) {
  const std::string backups = At("backups"), first = At("a/n.mdb"), second = At("b/n.mdb");
  for (const char* folder : {"a", "b", "backups"}) fs::create_directory(test::PathOf(At(folder)));
  fs::copy_file(test::PathOf(file_), test::PathOf(first));
  fs::copy_file(test::PathOf(file_), test::PathOf(second));
  EXPECT_EQ(RunCli({"sql", second, "delete from history"}).code, kOk);
  EXPECT_EQ(Fix({second, "--only", "3", "--backup-folder", backups}).code, kOk);
  EXPECT_EQ(RunCli({"sql", first, "delete from gpub"}).code, kOk);
  const Outcome undo = RunCli({"undo", first, "--force", "--backup-folder", backups});
  EXPECT_EQ(undo.code, kRefused);
  EXPECT_THAT(undo.err, HasSubstr("There is no backup of "));
}

TEST_F(FixCommand, TheDifferencesOfADryRunAreADocumentAsInDiff) {
  const std::string copy = At("copy.mdb");
  fs::copy_file(file_, copy);
  ASSERT_EQ(Fix({copy, "--only", "7"}).code, kOk);
  const auto without_names = [](const std::string& document) {
    nlohmann::json json = nlohmann::json::parse(document);
    json.erase("old");
    json.erase("new");
    for (auto& table : json["tables"]) {
      if (table["name"] == "history") table.erase("rows");  // they tell the time
    }
    return json;
  };
  const Outcome json = Fix({file_, "--dry-run", "--diff", "--format", "json", "--only", "7"});
  EXPECT_EQ(json.code, kOk) << json.err;
  EXPECT_EQ(without_names(json.out), without_names(RunCli({"diff", file_, copy, "--format", "json"}).out));
  EXPECT_THAT(json.err, HasSubstr("Convert Frequencies MHz to GHz"));
  EXPECT_THAT(json.err, HasSubstr("dry run of "));

  const auto lines = [](const std::string& csv) {
    std::vector<std::string> found;
    std::istringstream in(csv);
    for (std::string line; std::getline(in, line);) {
      if (!line.starts_with("\"history\"")) found.push_back(line);
    }
    return found;
  };
  const Outcome csv = Fix({file_, "--dry-run", "--diff", "--format", "csv", "--only", "7"});
  EXPECT_EQ(lines(csv.out), lines(RunCli({"diff", file_, copy, "--format", "csv"}).out));
  EXPECT_GT(lines(csv.out).size(), 10U);

  // The report beside it; several files are one array, and what is refused is not in it.
  const Outcome several = Fix({file_, At("missing.mdb"), copy, "--dry-run", "--diff", "--format", "json",
                               "--only", "7", "--report", At("report")});
  EXPECT_EQ(several.code, kRefused);
  const nlohmann::json array = nlohmann::json::parse(several.out);
  ASSERT_EQ(array.size(), 2U);
  EXPECT_EQ(array[1]["old"], copy);
  EXPECT_EQ(Report("report").size(), 3U);

  for (const auto& [arguments, reason] : std::vector<std::pair<Arguments, const char*>>{
           {{file_, "--dry-run", "--format", "json"}, "name one"},
           {{file_, "--dry-run", "--report", At("r"), "--format", "csv"}, "csv is no format of a report"},
           {{file_, copy, "--dry-run", "--diff", "--format", "csv"}, "one file is compared at a time"},
           {{file_, "--dry-run", "--diff", "--format", "xml"}, "is none of text|csv|json"}}) {
    const Outcome refused = Fix(arguments);
    EXPECT_EQ(refused.code, kUsage) << reason;
    EXPECT_THAT(refused.err, HasSubstr(reason));
    EXPECT_EQ(refused.out, "") << reason;
  }
}

TEST_F(FixCommand, ADryRunNeedsNoRightToWrite) {
  fs::permissions(file_, fs::perms::owner_read);
  const Outcome dry = Fix({file_, "--dry-run"});
  EXPECT_EQ(dry.code, kOk) << dry.err;
  fs::permissions(file_, fs::perms::owner_write, fs::perm_options::add);
}

class ChangedRowsOfAFix : public FixCommand {
 protected:
  // What the report says of the fix, less what a comparison of before and after finds; with the rows of the
  // history.
  std::int64_t CountedTooMany(int fix, const Arguments& more, std::int64_t history) {
    Arguments arguments{file_, "--only", std::to_string(fix), "--backup", "--report", At("one.json")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(Fix(arguments).code, kOk);
    const nlohmann::json report = Report("one.json");
    changed_ = report["fixes"][0]["rows_changed"].get<std::int64_t>();
    EXPECT_EQ(report["history"]["rows_changed"], history);
    const std::string backup = report["backup"];
    const nlohmann::json diff =
        nlohmann::json::parse(RunCli({"diff", backup, file_, "--format", "json", "--only-counts"}).out);
    std::int64_t differ = 0;
    for (const auto& table : diff["tables"]) {
      for (const char* kind : {"added", "removed", "changed"})
        differ += table["counts"][kind].get<std::int64_t>();
    }
    fs::remove(test::PathOf(backup));
    fs::remove(test::PathOf(backup + ".json"));
    std::ofstream(folder_ / "notices.mdb", std::ios::binary) << before_;
    return changed_ + history - differ;
  }

  const std::string before_ = Slurp(file_);
  std::int64_t changed_ = 0;
};

// What each fix reports as changed is what a comparison of before and after finds.
TEST_F(ChangedRowsOfAFix, AreTheRowsThatDiffer) {
  std::int64_t all = 0;
  for (int fix = 0; fix < kFixCount; ++fix) {
    EXPECT_EQ(CountedTooMany(fix, {}, 10), 0) << fix;
    all += changed_;
  }
  EXPECT_GT(all, 1000);
}

// Also where each of several notices makes the same tables anew.
TEST_F(ChangedRowsOfAFix, CountOnceForSeveralNotices) {
  for (const int fix : {5, 7, 12, 19, 33}) {
    EXPECT_EQ(CountedTooMany(fix, {"--notice", "100000002,100000004-100000006"}, 4), 0) << fix;
  }
}

TEST_F(FixCommand, ATerminalShowsHowFarTheRunIs) {
  ASSERT_EQ(RunCli({"sample", At("many"), "--notices", "200"}).code, kOk);
  std::istringstream in;
  std::ostringstream out, err;
  ASSERT_EQ(
      cli::Run({"fix", At("many/notices.mdb"), "--reference", At("reference.mdb")}, {in, out, err, true}),
      kOk)
      << err.str();
  EXPECT_THAT(err.str(), test::ContainsMatch("\r[0-9]+/36 [A-Z][^\r]*: [0-9]+ rows"));
  EXPECT_THAT(err.str(), test::ContainsMatch(", about [0-9]+ s left"));
  // The last thing that it does is to be gone.
  EXPECT_THAT(err.str(), testing::EndsWith(" \r"));
  EXPECT_THAT(out.str(), testing::Not(HasSubstr("\r")));
  const Outcome no_terminal = Fix({file_, "--only", "13"});
  EXPECT_EQ(no_terminal.err, "");
}

// Neither by a slip nor by a variable of a script that is not set.
TEST_F(FixCommand, NoReportOverwritesADatabaseAndNoValueIsEmpty) {
  const auto before = Files();
  const std::string other = At("template.mdb");
  for (const std::string& target : {file_, At("reference.mdb"), other}) {
    for (const char* more : {"--dry-run", "--quiet"}) {
      const Outcome refused = Fix({file_, "--only", "7", "--report", target, more});
      EXPECT_EQ(refused.code, kUsage);
      EXPECT_THAT(refused.err, HasSubstr("would overwrite a database"));
    }
  }
  for (const char* option : {"--backup-folder", "--only", "--except", "--notice", "--report"}) {
    const Outcome refused = Fix({file_, option, ""});
    EXPECT_EQ(refused.code, kUsage) << option;
    EXPECT_THAT(refused.err, HasSubstr("its value is empty")) << option;
  }
  EXPECT_EQ(RunCli({"fix", file_, "--reference", ""}).code, kUsage);
  test::SetVariable("VNTFIX_SQL_LOG", file_);
  EXPECT_NE(Fix({file_, "--only", "7"}).code, kOk);
  EXPECT_NE(RunCli({"sql", file_, "--read-only", "select 1 as a"}).code, kOk);
  test::SetVariable("VNTFIX_SQL_LOG", "");
  EXPECT_EQ(Files(), before);
}

TEST_F(FixCommand, ARefusedFileStandsInTheReport) {
  EXPECT_EQ(RunCli({"fix", file_, "--only", "35", "--report", At("one.json")}).code, kRefused);
  EXPECT_EQ(Report("one.json")["outcome"], "refused");
  EXPECT_THAT(Report("one.json")["refusal"].get<std::string>(), HasSubstr("needs the reference database"));
  EXPECT_EQ(Fix({file_, At("missing.mdb"), "--only", "7", "--report", At("two.json")}).code, kRefused);
  const nlohmann::json two = Report("two.json");
  ASSERT_EQ(two.size(), 2U);
  EXPECT_EQ(two[0]["outcome"], "done");
  EXPECT_EQ(two[1]["outcome"], "refused");
  EXPECT_EQ(two[1]["file"], At("missing.mdb"));
  EXPECT_THAT(two[1]["refusal"].get<std::string>(), HasSubstr("missing.mdb"));
  EXPECT_TRUE(two[0]["refusal"].is_null());
}

// What the record says decides which backup it is: not the name, which files may share, nor the clock, nor
// what an undo that did not get to its end has left.
TEST_F(FixCommand, UndoFindsTheBackupOfTheRunThatLeftTheFileSo) {
  const std::string folder = At("backups");
  fs::create_directory(test::PathOf(folder));
  fs::create_directory(folder_ / "b");
  const std::string other = At("b/notices.mdb");
  fs::copy_file(test::PathOf(file_), test::PathOf(other));
  const std::string before = Slurp(file_);
  ASSERT_EQ(Fix({file_, "--only", "7", "--backup-folder", folder}).code, kOk);
  const std::string after = Slurp(file_);
  ASSERT_EQ(RunCli({"sql", other, "delete from history"}).code, kOk);
  const std::string other_before = Slurp(other);
  ASSERT_EQ(Fix({other, "--only", "8", "--backup-folder", folder}).code, kOk);
  const auto undo = [&](const std::string& file, const char* force = "--backup-folder") {
    return RunCli(force == std::string("--force") ? Arguments{"undo", file, force, "--backup-folder", folder}
                                                  : Arguments{"undo", file, "--backup-folder", folder});
  };
  EXPECT_EQ(undo(file_).code, kOk);
  EXPECT_EQ(Slurp(file_), before);
  EXPECT_EQ(undo(other).code, kOk);
  EXPECT_EQ(Slurp(other), other_before);
  EXPECT_EQ(undo(file_).code, kOk);
  EXPECT_EQ(Slurp(file_), after);
  // A copy of what the file is now, from the future, whose undo never got to its end.
  fs::copy_file(test::PathOf(file_), test::PathOf(folder + "/notices.mdb.99991231-235959.bak"));
  EXPECT_EQ(undo(file_).code, kOk);
  EXPECT_EQ(Slurp(file_), before);
  // Damaged beyond being a database: only by force, and not with what another file was.
  std::ofstream(test::PathOf(file_), std::ios::binary) << "no database any more";
  EXPECT_EQ(undo(file_).code, kRefused);
  fs::remove(test::PathOf(folder + "/notices.mdb.99991231-235959.bak"));
  const Outcome forced = undo(file_, "--force");
  EXPECT_EQ(forced.code, kOk) << forced.err;
  EXPECT_TRUE(Slurp(file_) == before || Slurp(file_) == after);
}

TEST_F(FixCommand, UndoPutsBackEveryByteAndCanBeUndone) {
  const std::string before = Slurp(file_);
  const Outcome fixed = Fix({file_, "--backup"});
  ASSERT_EQ(fixed.code, kOk) << fixed.err;
  EXPECT_THAT(fixed.out, HasSubstr("\nbackup: " + file_ + "."));
  const std::string after = Slurp(file_);
  EXPECT_NE(after, before);
  const Outcome list = RunCli({"undo", file_, "--list"});
  EXPECT_THAT(list.out, test::ContainsMatch(R"(notices\.mdb\.[0-9]{8}-[0-9]{6}\.bak +done)"));
  for (const std::string* expected : {&before, &after, &before}) {
    const Outcome undone = RunCli({"undo", file_});
    EXPECT_EQ(undone.code, kOk) << undone.err;
    EXPECT_TRUE(Slurp(file_) == *expected);
    EXPECT_EQ(RunCli({"check", file_}).code, kOk);
  }
}

TEST_F(FixCommand, UndoRefusesWhatItCannotProve) {
  EXPECT_THAT(RunCli({"undo", file_}).err, HasSubstr("There is no backup of " + file_));
  const fs::path folder = folder_ / "backups";
  fs::create_directory(folder);
  // The folder may stand behind the option or be named by its own.
  ASSERT_EQ(Fix({"--backup", folder.string(), file_, "--only", "15"}).code, kOk);
  const auto undo = [&](const char* option = "--backup-folder=") {
    return RunCli({"undo", file_, option + folder.string()});
  };
  const std::string left = Slurp(file_);
  ASSERT_EQ(RunCli({"sql", file_, "delete from history"}).code, kOk);
  const auto files = Files();
  Outcome refused = undo();
  EXPECT_EQ(refused.code, kRefused);
  EXPECT_THAT(refused.err, HasSubstr("it was changed since"));
  EXPECT_EQ(Files(), files);

  // As it was left, but the backup was changed, its record is gone, or cannot be read.
  std::ofstream(file_, std::ios::binary) << left;
  fs::path backup, record;
  for (const auto& entry : fs::directory_iterator(folder)) {
    (entry.path().extension() == ".json" ? record : backup) = entry.path();
  }
  const std::string backup_content = Slurp(backup), record_content = Slurp(record);
  const auto restore = [&] {
    std::ofstream(backup, std::ios::binary) << backup_content;
    std::ofstream(record, std::ios::binary) << record_content;
  };
  std::ofstream(backup, std::ios::binary | std::ios::app) << std::string(4096, '\0');
  EXPECT_THAT(undo().err, HasSubstr("is not what it was when it was made"));
  restore();
  fs::remove(record);
  EXPECT_THAT(undo().err, HasSubstr("Nothing tells what the run left"));
  restore();
  EXPECT_EQ(Slurp(file_), left);
  {
    const auto other = jet::Database::Open(jet::PlatformFileSystem(), file_, jet::OpenMode::kReadWrite);
    EXPECT_EQ(undo().code, kRefused);
  }
  EXPECT_EQ(undo().code, kOk);
  EXPECT_EQ(Slurp(file_), backup_content);
}

TEST_F(FixCommand, ADamagedRecordIsToldInWordsAndForceGoesOn) {
  const std::string before = Slurp(file_);
  ASSERT_EQ(Fix({file_, "--only", "15", "--backup"}).code, kOk);
  const std::string left = Slurp(file_);
  fs::path record;
  for (const auto& entry : fs::directory_iterator(folder_)) {
    if (entry.path().extension() == ".json") record = entry.path();
  }
  const std::string whole = Slurp(record);
  const auto with = [&](const std::string& part, const std::string& other) {
    std::string text = whole;
    const std::size_t at = text.find(part);
    EXPECT_NE(at, std::string::npos) << part;
    return text.replace(at, part.size(), other);
  };
  const std::pair<std::string, const char*> cases[] = {
      {"", "it is empty."},
      {whole.substr(0, 100), "it breaks off in the middle."},
      {with("\"kind\"", "kind"), "it is no JSON from byte "},
      {"[]\n", "it is no record of a run."},
      {with("\"outcome\"", "\"outcom\""), "it has no \"outcome\"."},
      {with("\"kind\": \"run\"", "\"kind\": \"ruin\""), "its \"kind\" is \"ruin\"."},
      {with("\"kind\": \"run\"", "\"kind\": 7"), "its \"kind\" is no text."},
      {with("\"fingerprints\": {", "\"fingerprints\": 7, \"x\": {"), "it has no \"before\"."},
      {with("\"schema_version\": 1", "\"schema_version\": 99"), "is of another version of this program."},
      {with("\"file\": \"", "\"file\": \"\xFF"), "it is no JSON from byte "},
  };
  for (const auto& [text, reason] : cases) {
    std::ofstream(record, std::ios::binary) << text;
    const Outcome refused = RunCli({"undo", file_});
    EXPECT_EQ(refused.code, kRefused) << reason;
    EXPECT_THAT(refused.err, HasSubstr(reason));
    EXPECT_THAT(refused.err, HasSubstr(record.string()));
    EXPECT_THAT(refused.err, testing::Not(HasSubstr("parse")));
    EXPECT_THAT(RunCli({"undo", file_, "--list"}).out, HasSubstr("with a damaged record"));
    EXPECT_EQ(Slurp(file_), left);
  }
  EXPECT_EQ(RunCli({"undo", file_, "--force"}).code, kOk);
  EXPECT_TRUE(Slurp(file_) == before);
}

TEST_F(FixCommand, ForceUndoesWhatWasChangedSinceAndKeepsIt) {
  const std::string before = Slurp(file_);
  ASSERT_EQ(Fix({file_, "--backup", "--only", "15"}).code, kOk);
  ASSERT_EQ(RunCli({"sql", file_, "delete from history"}).code, kOk);
  const std::string changed = Slurp(file_);
  EXPECT_EQ(RunCli({"undo", file_}).code, kRefused);
  EXPECT_EQ(RunCli({"undo", file_, "--force"}).code, kOk);
  EXPECT_TRUE(Slurp(file_) == before);
  EXPECT_EQ(RunCli({"undo", file_}).code, kOk);
  EXPECT_TRUE(Slurp(file_) == changed);
}

// By whatever link the file is named, it is the file that is copied and put back.
TEST_F(FixCommand, UndoThroughALink) {
  const std::string link = At("link.mdb"), before = Slurp(file_);
  fs::create_symlink("notices.mdb", link);
  ASSERT_EQ(Fix({link, "--backup", "--only", "15"}).code, kOk);
  EXPECT_EQ(RunCli({"undo", file_}).code, kOk);
  EXPECT_TRUE(Slurp(file_) == before);
  EXPECT_EQ(RunCli({"undo", link}).code, kOk);
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_TRUE(Slurp(file_) != before);
}

#ifndef _WIN32
// Whatever rights new files get here.
TEST_F(FixCommand, ABackupAndItsRecordHaveTheRightsOfTheDatabase) {
  const mode_t former = umask(0);
  for (const auto& [mask, rights] : {std::pair<mode_t, fs::perms>{0022, fs::perms(0600)},
                                     {0000, fs::perms(0640)},
                                     {0077, fs::perms(0664)}}) {
    umask(mask);
    fs::permissions(file_, rights);
    EXPECT_EQ(Fix({file_, "--backup", "--only", "15"}).code, kOk);
    EXPECT_EQ(RunCli({"undo", file_}).code, kOk);
    int seen = 0;
    for (const auto& entry : fs::directory_iterator(folder_)) {
      const std::string name = entry.path().filename().string();
      if (!name.starts_with("notices.mdb")) continue;
      ++seen;
      EXPECT_EQ(entry.status().permissions(), rights) << name;
      if (name != "notices.mdb") fs::remove(entry.path());
    }
    EXPECT_EQ(seen, 5);
  }
  umask(former);
}
#endif

// What a backup or an undoing that was killed has left goes, and nothing else.
TEST_F(FixCommand, WhatAKilledBackupHasLeftGoesWithTheNextOne) {
  const std::string time = "notices.mdb.20200102-030405";
  const std::vector<std::string> left = {time + ".bak.part", time + "-2.bak.part", time + ".bak.json.part",
                                         "notices.mdb.undo.part"};
  const std::vector<std::string> others = {"notices.mdb.part", "notices.mdb.20200102.bak.part",
                                           "other.mdb.20200102-030405.bak.part", time + ".bak.txt.part",
                                           "x" + time + ".bak.part"};
  const auto make = [&](const std::vector<std::string>& names) {
    for (const std::string& name : names) std::ofstream(folder_ / name) << "left";
  };
  make(others);
  for (const char* command : {"fix", "undo"}) {
    make(left);
    EXPECT_THAT(RunCli({"undo", file_, "--list"}).out, testing::Not(HasSubstr("part")));
    EXPECT_THAT(RunCli({"undo", file_, "--list"}).out, testing::Not(HasSubstr("20200102")));
    // One of them is being written by a process that lives.
    const auto held = jet::PlatformFileSystem().Open(At(left[0]), jet::OpenMode::kReadWrite);
    const Outcome done =
        command == std::string("fix") ? Fix({file_, "--backup", "--only", "15"}) : RunCli({"undo", file_});
    EXPECT_EQ(done.code, kOk) << done.err;
    EXPECT_TRUE(fs::exists(folder_ / left[0]));
    for (const std::string& name : left) EXPECT_TRUE(name == left[0] || !fs::exists(folder_ / name)) << name;
    for (const std::string& name : others) EXPECT_TRUE(fs::exists(folder_ / name)) << name;
  }
}

// No backup, no run.
TEST_F(FixCommand, ABackupThatCannotBeMadeKeepsTheRunFromBeginning) {
  const std::string before = Slurp(file_);
  const Outcome refused = Fix({file_, "--backup-folder", At("missing/folder")});
  EXPECT_EQ(refused.code, kRefused);
  EXPECT_THAT(refused.err, HasSubstr("missing/folder"));
  EXPECT_TRUE(Slurp(file_) == before);
}

// What fails when the run is done does not make it a refused one. The clock gives the name of the record: one
// of the next seconds is taken by a folder.
TEST_F(FixCommand, ARecordThatCannotBeWrittenIsToldAndTheRunStands) {
  const std::string before = Slurp(file_);
  const std::time_t now = std::time(nullptr);
  for (int second = 0; second < 20; ++second) {
    const std::time_t then = now + second;
    std::ostringstream name;
    name << "notices.mdb." << std::put_time(std::localtime(&then), "%Y%m%d-%H%M%S") << ".bak.json";
    fs::create_directory(folder_ / name.str());
  }
  const Outcome fixed = Fix({file_, "--backup", "--only", "15"});
  EXPECT_EQ(fixed.code, kUnwritten) << fixed.err;
  EXPECT_THAT(fixed.err, HasSubstr("the run is done, but undo will not find what it left: "));
  EXPECT_THAT(fixed.out, HasSubstr(": 1 fix run, 0 with errors"));
  EXPECT_TRUE(Slurp(file_) != before);
}

TEST_F(FixCommand, SeveralFilesAndNotices) {
  const std::string copy = At("copy.mdb");
  fs::copy_file(file_, copy);
  const Outcome both = Fix({file_, At("missing.mdb"), copy, "--only", "15", "--report", At("all.json")});
  EXPECT_EQ(both.code, kRefused);
  EXPECT_THAT(both.err, HasSubstr("vntfix: " + At("missing.mdb") + ": "));
  EXPECT_TRUE(Rows(file_) == Rows(copy));
  EXPECT_EQ(Report("all.json").size(), 3U);

  const Outcome some = Fix({copy, "--notice", "100000002,100000004-100000006", "--only", "33,15"});
  EXPECT_EQ(some.code, kOk) << some.err;
  EXPECT_THAT(some.out, HasSubstr("notice 100000005: "));
  EXPECT_THAT(some.err, HasSubstr("fix 33 reaches beyond the notice: it renumbers"));
  EXPECT_EQ(RunCli({"sql", copy, "--csv", "select ntc_id from history where seq_no = 3 order by ntc_id"}).out,
            "\"ntc_id\"\n100000002\n100000004\n100000005\n100000006\n");
  EXPECT_THAT(Fix({copy, "--notice", "100000002", "--only", "33", "--strict-notice"}).out,
              HasSubstr(": 0 fixes run"));
  const std::string before = Slurp(copy);
  for (const char* none : {"7", "1-9", "0", "x", "9-7", "7,"}) {
    EXPECT_EQ(Fix({copy, "--notice", none}).code, kUsage) << none;
  }
  EXPECT_TRUE(Slurp(copy) == before);
}

// What the catalogue says of its reach is what is so: all other rows of other notices stay.
TEST_F(FixCommand, OnlyTheFixesThatSaySoReachBeyondTheNotice) {
  const std::string notice = "100000002", group = "select grp_id from grp where ntc_id <> " + notice;
  const auto others = [&](const std::string& file) {
    std::string rows;
    for (const char* table : {"notice", "grp", "freq", "provn", "tr_provn", "s_beam", "e_ant", "orbit",
                              "com_el", "geo", "fdg_ref", "c_pfd", "pub_ssn"}) {
      const Outcome out = RunCli(
          {"sql", file, "--csv", std::string("select * from ") + table + " where ntc_id <> " + notice});
      if (out.code == kOk) rows += out.out;
    }
    for (const char* table : {"assgn", "emiss", "e_as_stn", "srv_cls", "diag_grp", "srv_area", "gpub"}) {
      const Outcome out = RunCli(
          {"sql", file, "--csv", std::string("select * from ") + table + " where grp_id in (" + group + ")"});
      if (out.code == kOk) rows += out.out;
    }
    return rows + RunCli({"export", file, "ant_type"}).out;
  };
  const std::string before = others(file_);
  const std::string work = At("work.mdb");
  std::vector<int> reaching;
  for (int index = 0; index < kFixCount; ++index) {
    fs::remove(work);  // the C++ library of some systems does not overwrite
    fs::copy_file(file_, work);
    ASSERT_EQ(Fix({work, "--notice", notice, "--only", std::to_string(index)}).code, kOk) << index;
    const bool reaches = others(work) != before;
    if (reaches) reaching.push_back(index);
    EXPECT_TRUE(!reaches || !FixByIndex(index).reach.empty()) << index;
  }
  EXPECT_THAT(reaching, testing::IsSupersetOf({5, 33}));
}

}  // namespace
}  // namespace vnt::cli
