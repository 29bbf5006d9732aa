// vntfix fix: what is chosen, what is written and what is not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "access/store/database.h"
#include "cli/fix_choice.h"
#include "tests/cli/fix_fixture.h"
#include "tests/matchers.h"

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
  EXPECT_EQ(Fix({copy, "--only", "3", "--discard-journal", "--notice", "5"}).code, kRefused);
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
  const Outcome several = Fix({file_, NewDatabase(), copy, "--dry-run", "--diff", "--format", "json",
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

// Nor by a choice that takes itself back: the history rows would tell of a run of nothing.
TEST_F(FixCommand, NoRunIsBegunWithoutAFix) {
  const auto before = Files();
  for (const Arguments& choice : std::vector<Arguments>{
           {"--except", "0-39"}, {"--notice", "100000002", "--only", "33", "--strict-notice"}}) {
    Arguments arguments{file_, "--backup", "--report", At("report")};
    arguments.insert(arguments.end(), choice.begin(), choice.end());
    const Outcome refused = Fix(arguments);
    EXPECT_EQ(refused.code, kUsage);
    EXPECT_EQ(refused.err,
              "vntfix: All fixes that were chosen are left out again, so there is none to run.\n");
  }
  EXPECT_EQ(Files(), before);
}

TEST_F(FixCommand, ARefusedFileStandsInTheReport) {
  EXPECT_EQ(RunCli({"fix", file_, "--only", "35", "--report", At("one.json")}).code, kRefused);
  EXPECT_EQ(Report("one.json")["outcome"], "refused");
  EXPECT_THAT(Report("one.json")["refusal"].get<std::string>(), HasSubstr("needs the reference database"));
  const std::string other = NewDatabase();
  EXPECT_EQ(Fix({file_, other, "--only", "7", "--report", At("two.json")}).code, kRefused);
  const nlohmann::json two = Report("two.json");
  ASSERT_EQ(two.size(), 2U);
  EXPECT_EQ(two[0]["outcome"], "done");
  EXPECT_EQ(two[1]["outcome"], "refused");
  EXPECT_EQ(two[1]["file"], other);
  EXPECT_THAT(two[1]["refusal"].get<std::string>(), HasSubstr("no table vnt_ooak"));
  EXPECT_TRUE(two[0]["refusal"].is_null());
}

TEST_F(FixCommand, SeveralFilesAndNotices) {
  const std::string copy = At("copy.mdb");
  fs::copy_file(file_, copy);
  const std::string other = NewDatabase();
  const Outcome both = Fix({file_, other, copy, "--only", "15", "--report", At("all.json")});
  EXPECT_EQ(both.code, kRefused);
  EXPECT_THAT(both.err, HasSubstr("vntfix: " + other + ": "));
  EXPECT_TRUE(Rows(file_) == Rows(copy));
  EXPECT_EQ(Report("all.json").size(), 3U);

  const Outcome some = Fix({copy, "--notice", "100000002,100000004-100000006", "--only", "33,15"});
  EXPECT_EQ(some.code, kOk) << some.err;
  EXPECT_THAT(some.out, HasSubstr("notice 100000005: "));
  EXPECT_THAT(some.err, HasSubstr("fix 33 reaches beyond the notice: it renumbers"));
  EXPECT_EQ(RunCli({"sql", copy, "--csv", "select ntc_id from history where seq_no = 3 order by ntc_id"}).out,
            "\"ntc_id\"\n100000002\n100000004\n100000005\n100000006\n");
  const std::string before = Slurp(copy);
  for (const char* none : {"0", "x", "9-7", "7,"}) {
    EXPECT_EQ(Fix({copy, "--notice", none}).code, kUsage) << none;
  }
  // Well said, but not there.
  for (const char* none : {"7", "1-9", "100000002,7"}) {
    EXPECT_EQ(Fix({copy, "--notice", none}).code, kRefused) << none;
  }
  EXPECT_TRUE(Slurp(copy) == before);
}

// A slip in the last name is not heard of when the first run is done.
TEST_F(FixCommand, NothingIsBegunWhenAFileIsNone) {
  const std::string missing = At("22"), folder = test::Utf8Of(folder_);
  fs::copy_file(test::PathOf(file_), test::PathOf(At("39")));
  const auto before = Files();
  const struct {
    Arguments arguments;
    std::string says;
  } cases[] = {
      {{file_, missing, "--only", "9"}, "vntfix: The file " + missing + " does not exist.\n"},
      {{file_, "22", "--only", "9"},
       "vntfix: The file 22 does not exist. Several fixes are named with commas: --only 9,22.\n"},
      {{file_, "7", "--except", "9-11"}, "named with commas: --except 9-11,7.\n"},
      {{file_, "40", "--only", "9"}, "vntfix: The file 40 does not exist.\n"},
      {{file_, folder}, folder + " is a folder, not a file; name files: "},
  };
  for (const auto& c : cases) {
    const Outcome refused = Fix(c.arguments);
    EXPECT_EQ(refused.code, kRefused) << c.says;
    EXPECT_THAT(refused.err, HasSubstr(c.says));
    EXPECT_THAT(refused.err, testing::EndsWith("vntfix: Nothing was done, on no file.\n"));
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(Files(), before);
  }
  // A file may have such a name.
  EXPECT_EQ(Fix({At("39"), "--only", "9"}).code, kOk);
}

// A reader holds the file: all is done, and is in the journal.
TEST_F(FixCommand, AFileThatCannotBeBroughtUpToDateIsToldOnce) {
  const auto reader = jet::PlatformFileSystem().Open(file_, jet::OpenMode::kRead);
  const Outcome held = Fix({file_, "--only", "15", "--report", At("r.json")});
  EXPECT_EQ(held.code, kFailed);
  const std::string text = "The file " + file_ + " is being read by another program";
  EXPECT_THAT(held.err, testing::StartsWith("vntfix: " + file_ + ": " + text));
  EXPECT_EQ(held.err.find(text, held.err.find(text) + 1), std::string::npos) << held.err;
  EXPECT_THAT(held.out, HasSubstr(": 1 fix run, 0 with errors, "));
  EXPECT_THAT(Report("r.json")["unsaved"].get<std::string>(), testing::StartsWith(text));
  EXPECT_TRUE(Report("r.json")["history"]["errors"].empty());
}

TEST_F(FixCommand, OneRowIsNoRows) {
  ASSERT_EQ(RunCli({"sql", file_}, "delete from history; delete from notice where ntc_id <> 100000002").code,
            kOk);
  const Outcome fixed = Fix({file_, "--only", "9", "--notice", "100000002"});
  EXPECT_EQ(fixed.code, kOk) << fixed.err;
  EXPECT_THAT(fixed.out, test::ContainsMatch("History +1 row  "));
}

TEST_F(FixCommand, AReportThatHasNoPlaceKeepsTheRunFromBeginning) {
  const auto before = Files();
  for (const std::string& place : {At("missing/r.json"), test::Utf8Of(folder_)}) {
    const Outcome refused = Fix({file_, "--only", "9", "--report", place});
    EXPECT_EQ(refused.code, kRefused);
    EXPECT_EQ(refused.err, "vntfix: the report " + place + " cannot be written. Nothing was done.\n");
  }
  EXPECT_EQ(Fix({file_, "--dry-run", "--diff", "--report", "-"}).code, kUsage);
  EXPECT_EQ(Files(), before);
}

TEST_F(FixCommand, AQuietDryRunSaysNothing) {
  for (const Arguments& more : {Arguments{}, Arguments{"--notice", "100000002"}}) {
    Arguments arguments{file_, "--dry-run", "--quiet", "--only", "9,33"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome dry = Fix(arguments);
    EXPECT_EQ(dry.code, kOk);
    EXPECT_EQ(dry.out + dry.err, "");
  }
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
