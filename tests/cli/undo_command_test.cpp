// vntfix undo, and the backups that it needs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <tuple>

#include "access/store/database.h"
#include "platform/environment.h"
#include "tests/cli/fix_fixture.h"
#include "tests/matchers.h"

#ifndef _WIN32
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace vnt::cli {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class UndoCommand : public FixCommand {
 protected:
  // Oldest first.
  static std::vector<fs::path> BackupsOf(const std::string& file) {
    const fs::path path = test::PathOf(file);
    std::vector<fs::path> backups;
    for (const auto& entry : fs::directory_iterator(path.parent_path())) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with(path.filename().string() + ".") && name.ends_with(".bak"))
        backups.push_back(entry);
    }
    std::ranges::sort(backups);
    return backups;
  }
};

TEST_F(UndoCommand, ForceTakesNoBackupOfAnotherFile) {
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

// What the record says decides which backup it is: not the name, which files may share, nor the clock, nor
// what an undo that did not get to its end has left.
TEST_F(UndoCommand, UndoFindsTheBackupOfTheRunThatLeftTheFileSo) {
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

TEST_F(UndoCommand, UndoPutsBackEveryByteAndCanBeUndone) {
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

TEST_F(UndoCommand, UndoRefusesWhatItCannotProve) {
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

TEST_F(UndoCommand, ADamagedRecordIsToldInWordsAndForceGoesOn) {
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

TEST_F(UndoCommand, ForceUndoesWhatWasChangedSinceAndKeepsIt) {
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
TEST_F(UndoCommand, UndoThroughALink) {
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
TEST_F(UndoCommand, ABackupAndItsRecordHaveTheRightsOfTheDatabase) {
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
TEST_F(UndoCommand, WhatAKilledBackupHasLeftGoesWithTheNextOne) {
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
TEST_F(UndoCommand, ABackupThatCannotBeMadeKeepsTheRunFromBeginning) {
  const std::string before = Slurp(file_);
  const Outcome refused = Fix({file_, "--backup-folder", At("missing/folder")});
  EXPECT_EQ(refused.code, kRefused);
  EXPECT_THAT(refused.err, HasSubstr("missing/folder"));
  EXPECT_TRUE(Slurp(file_) == before);
}

// What fails when the run is done does not make it a refused one. The clock gives the name of the record: one
// of the next seconds is taken by a folder.
TEST_F(UndoCommand, ARecordThatCannotBeWrittenIsToldAndTheRunStands) {
  const std::string before = Slurp(file_);
  const std::time_t now = std::time(nullptr);
  for (int second = 0; second < 20; ++second) {
    const std::time_t then = now + second;
    std::ostringstream name;
    name << "notices.mdb." << std::put_time(std::localtime(&then), "%Y%m%d-%H%M%S") << ".bak.json.part";
    fs::create_directory(folder_ / name.str());
  }
  const Outcome fixed = Fix({file_, "--backup", "--only", "15"});
  EXPECT_EQ(fixed.code, kUnwritten) << fixed.err;
  EXPECT_THAT(fixed.err, HasSubstr("the run is done, but undo will not find what it left: "));
  EXPECT_THAT(fixed.out, HasSubstr(": 1 fix run, 0 with errors"));
  EXPECT_TRUE(Slurp(file_) != before);
}

// Not the part of a backup that a copy has left, nor one that was changed: the next older one is taken.
// What does not tell of its run keeps nobody waiting.
#ifndef _WIN32
TEST_F(UndoCommand, APipeIsNoRecord) {
  ASSERT_EQ(Fix({file_, "--only", "15", "--backup"}).code, kOk);
  const std::string record = BackupsOf(file_).front().string() + ".json";
  fs::remove(record);
  ASSERT_EQ(mkfifo(record.c_str(), 0600), 0);
  EXPECT_EQ(RunCli({"undo", file_, "--list"}).code, kOk);
  EXPECT_EQ(RunCli({"undo", file_}).code, kRefused);
  EXPECT_EQ(RunCli({"undo", file_, "--force"}).code, kOk);
}
#endif

TEST_F(UndoCommand, ForcePassesDamagedBackupsOver) {
  const std::string before = Slurp(file_);
  ASSERT_EQ(Fix({file_, "--only", "7", "--backup"}).code, kOk);
  const fs::path older = BackupsOf(file_).front();
  ASSERT_EQ(Fix({file_, "--only", "8", "--backup"}).code, kOk);
  std::vector<fs::path> backups = BackupsOf(file_);
  ASSERT_EQ(backups.size(), 2U);
  const fs::path newest = backups[backups[0] == older ? 1 : 0];
  ASSERT_EQ(RunCli({"sql", file_, "delete from history"}).code, kOk);
  const std::string present = Slurp(file_), whole = Slurp(newest), record = Slurp(newest.string() + ".json");
  std::string torn = whole, flipped = whole;
  torn.replace(whole.size() / 2, 65536, 65536, '\0');
  flipped[whole.size() / 2] ^= 1;
  const struct {
    const char* what;
    std::string content;
    bool told_without_record;
  } cases[] = {
      {"nothing", "", true},
      {"a page", whole.substr(0, 4096), true},
      {"half of it", whole.substr(0, whole.size() / 8192 * 4096), true},
      {"all but a page", whole.substr(0, whole.size() - 4096), true},
      {"the middle of a page", whole.substr(0, whole.size() - 1000), true},
      {"a hole", torn, true},
      {"a text", "it was a database", true},
      {"a bit", flipped, false},
  };
  for (const auto& c : cases) {
    std::ofstream(newest, std::ios::binary) << c.content;
    for (const bool has_record : {true, false}) {
      if (!has_record && !c.told_without_record) continue;
      SCOPED_TRACE(std::string(c.what) + (has_record ? "" : ", no record"));
      if (has_record) {
        std::ofstream(newest.string() + ".json", std::ios::binary) << record;
      } else {
        fs::remove(newest.string() + ".json");
      }
      EXPECT_THAT(RunCli({"undo", file_, "--list"}).out, HasSubstr(", damaged\n"));
      const std::string told = "The backup " + newest.string() + " was passed over, because it is damaged: " +
                               (has_record ? "it is not what it was when it was made." : "");
      const Outcome forced = RunCli({"undo", file_, "--force"});
      EXPECT_EQ(forced.code, kOk) << forced.err;
      EXPECT_THAT(forced.err, HasSubstr(told));
      EXPECT_TRUE(Slurp(file_) == before);
      // By its name too, but with a word.
      const auto files = Files();
      const Outcome refused = RunCli({"undo", file_, "--from", newest.string()});
      EXPECT_EQ(refused.code, kRefused);
      EXPECT_THAT(refused.err, HasSubstr("Nothing was changed. With --force it is put back all the same."));
      EXPECT_EQ(Files(), files);
      const Outcome taken = RunCli({"undo", file_, "--from", newest.filename().string(), "--force"});
      EXPECT_EQ(taken.code, kOk) << taken.err;
      EXPECT_THAT(taken.err, HasSubstr(" is damaged: "));
      EXPECT_TRUE(Slurp(file_) == c.content);
      for (const fs::path& backup : BackupsOf(file_)) {
        if (std::ranges::find(backups, backup) == backups.end()) fs::remove(backup);
      }
      std::ofstream(file_, std::ios::binary) << present;
    }
  }
  // With no other left there is nothing to take.
  fs::rename(older, older.string() + ".away");
  const auto files = Files();
  const Outcome none = RunCli({"undo", file_, "--force"});
  EXPECT_EQ(none.code, kRefused);
  EXPECT_THAT(none.err, HasSubstr("There is no sound backup of " + file_));
  EXPECT_EQ(Files(), files);
  // Whole, it needs no record.
  std::ofstream(newest, std::ios::binary) << whole;
  fs::remove(newest.string() + ".json");
  EXPECT_EQ(RunCli({"undo", file_, "--force"}).code, kOk);
  EXPECT_TRUE(Slurp(file_) == whole);
  EXPECT_EQ(RunCli({"undo", file_}).code, kOk);
  EXPECT_TRUE(Slurp(file_) == present);
}

// What a damaged file was is kept, and not called good the next time.
TEST_F(UndoCommand, WhatWasDamagedWhenItWasUndoneIsNotTakenByItself) {
  const std::string before = Slurp(file_);
  ASSERT_EQ(Fix({file_, "--only", "9", "--backup"}).code, kOk);
  const auto damage = [&](char byte) {
    std::string torn = Slurp(file_);
    torn.replace(torn.size() / 2, 65536, 65536, byte);
    std::ofstream(file_, std::ios::binary) << torn;
    ASSERT_EQ(RunCli({"check", file_}).code, kFailed);
  };
  for (const char byte : {'\x5A', '\x33', '\x77'}) {
    damage(byte);
    const Outcome undone = RunCli({"undo", file_, "--force"});
    EXPECT_EQ(undone.code, kOk) << undone.err;
    EXPECT_TRUE(Slurp(file_) == before);
    EXPECT_EQ(RunCli({"check", file_}).code, kOk);
    EXPECT_THAT(RunCli({"undo", file_, "--list"}).out, HasSubstr("undone, damaged\n"));
    const Outcome back = RunCli({"undo", file_});
    EXPECT_EQ(back.code, kRefused);
    EXPECT_THAT(back.err, HasSubstr(" is damaged: "));
  }
  const Outcome again = RunCli({"undo", file_, "--force"});
  EXPECT_EQ(again.code, kRefused);
  EXPECT_THAT(again.err, HasSubstr("that differs from what it is now."));
  EXPECT_TRUE(Slurp(file_) == before);
}

TEST_F(UndoCommand, ForcePutsAMissingFileBack) {
  const std::string before = Slurp(file_);
  ASSERT_EQ(Fix({file_, "--only", "9", "--backup"}).code, kOk);
  fs::remove(test::PathOf(file_));
  const Outcome refused = RunCli({"undo", file_});
  EXPECT_EQ(refused.code, kRefused);
  EXPECT_THAT(refused.err, HasSubstr("With vntfix undo --force the newest sound one is put back."));
  std::ofstream(file_ + "-vntjournal") << "of a run";
  EXPECT_EQ(RunCli({"undo", file_, "--force"}).code, kRefused);
  EXPECT_FALSE(fs::exists(test::PathOf(file_)));
  fs::remove(test::PathOf(file_ + "-vntjournal"));
  const Outcome back = RunCli({"undo", file_, "--force"});
  EXPECT_EQ(back.code, kOk) << back.err;
  EXPECT_THAT(back.out, testing::Not(HasSubstr("until now")));
  EXPECT_TRUE(Slurp(file_) == before);
  EXPECT_EQ(BackupsOf(file_).size(), 1U);
  // Nothing of another name is made by a slip.
  EXPECT_EQ(RunCli({"undo", At("notice.mdb"), "--force"}).code, kRefused);
  EXPECT_FALSE(fs::exists(folder_ / "notice.mdb"));
}

// Several databases of one name, with their backups in one folder.
TEST_F(UndoCommand, OnlyTheFilesOwnBackupsCount) {
  const std::string backups = At("backups"), a = At("a/n.mdb"), b = At("b/n.mdb");
  for (const char* folder : {"a", "b", "backups"}) fs::create_directory(test::PathOf(At(folder)));
  for (const std::string& file : {a, b}) fs::copy_file(test::PathOf(file_), test::PathOf(file));
  ASSERT_EQ(RunCli({"sql", b, "delete from history"}).code, kOk);
  ASSERT_EQ(Fix({b, "--only", "3", "--backup-folder", backups}).code, kOk);
  EXPECT_THAT(RunCli({"undo", a, "--backup-folder", backups, "--list"}).out, testing::Not(HasSubstr(".bak")));
  EXPECT_THAT(RunCli({"undo", b, "--backup-folder", backups, "--list"}).out, HasSubstr(".bak"));
  const auto files = Files();
  for (const char* more : {"--backup-folder", "--force"}) {
    Arguments arguments{"undo", a, "--backup-folder", backups};
    if (more == std::string("--force")) arguments.emplace_back(more);
    const Outcome refused = RunCli(arguments);
    EXPECT_EQ(refused.code, kRefused);
    // The name of the file once.
    EXPECT_THAT(refused.err, testing::StartsWith("vntfix: There is no backup of " + a + " in the folder "));
  }
  fs::path backup;
  for (const auto& entry : fs::directory_iterator(test::PathOf(backups))) {
    if (entry.path().extension() == ".bak") backup = entry.path();
  }
  const std::string name = test::Utf8Of(backup.filename());
  const Outcome other = RunCli({"undo", a, "--backup-folder", backups, "--from", name});
  EXPECT_EQ(other.code, kRefused);
  const std::string full = test::Utf8Of(test::PathOf(b).make_preferred());
  EXPECT_THAT(other.err, HasSubstr(" is of " + full + ", as its record says."));
  EXPECT_EQ(Files(), files);
  // Without its record it may be of either, and is taken only by name.
  fs::remove(test::PathOf(test::Utf8Of(backup) + ".json"));
  for (const std::string& file : {a, b}) {
    EXPECT_THAT(RunCli({"undo", file, "--backup-folder", backups, "--list"}).out,
                HasSubstr("without a record: the run did not come to its end, perhaps of another file"));
    const Outcome refused = RunCli({"undo", file, "--backup-folder", backups, "--force"});
    EXPECT_EQ(refused.code, kRefused);
    EXPECT_THAT(refused.err,
                HasSubstr("no record that tells of which file it is. With --from it is put back"));
  }
  EXPECT_EQ(RunCli({"undo", b, "--backup-folder", backups, "--from", name}).code, kOk);
  EXPECT_TRUE(Slurp(test::PathOf(b)) == Slurp(backup));
}

#ifndef _WIN32
// The name that the copy has meanwhile is nobody's business.
TEST_F(UndoCommand, AFullDiskIsToldByTheNameOfTheDatabase) {
  ASSERT_EQ(Fix({file_, "--only", "9", "--backup"}).code, kOk);
  std::ofstream(test::PathOf(file_), std::ios::binary) << std::string(100000, 'x');
  const auto files = Files();
  struct rlimit former;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
  rlimit smaller = former;
  smaller.rlim_cur = 200000;
  platform::LetLargeFilesFail();
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &smaller), 0);
  const Outcome full = RunCli({"undo", file_, "--force"});
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &former), 0);
  EXPECT_EQ(full.code, kRefused) << full.out;
  EXPECT_THAT(full.err, HasSubstr("The file " + file_ + " cannot be written: "));
  EXPECT_THAT(full.err, testing::Not(HasSubstr(".undo")));
  EXPECT_EQ(Files(), files);
}
#endif

#ifndef _WIN32
// Whoever undoes a run: the database stays whose it was.
TEST_F(UndoCommand, KeepsOwnerGroupAndMode) {
  const bool may_give_away = geteuid() == 0;
  const auto rights = [&] {
    struct stat st;
    EXPECT_EQ(stat(file_.c_str(), &st), 0);
    return std::tuple(st.st_uid, st.st_gid, st.st_mode);
  };
  for (const mode_t mode : {0600U, 0640U, 0755U, 0664U, 0770U}) {
    if (may_give_away) {
      ASSERT_EQ(chown(file_.c_str(), 54321, 54322), 0);
    }
    ASSERT_EQ(chmod(file_.c_str(), mode), 0);
    const auto before = rights();
    ASSERT_EQ(Fix({file_, "--only", "15", "--backup"}).code, kOk);
    const Outcome undone = RunCli({"undo", file_});
    EXPECT_EQ(undone.code, kOk);
    EXPECT_EQ(undone.err, "");
    EXPECT_EQ(rights(), before) << mode;
  }
}

// It is no help to hear of it when the run is done: the record has the longest name.
TEST_F(UndoCommand, ANameThatIsTooLongForTheRecordIsToldBeforeTheRun) {
  // With a number, where there are several in a second.
  constexpr std::size_t kLongest = 255, kMore = sizeof ".20261122-050407-2.bak.json.part" - 1;
  for (const std::size_t length : {kLongest - kMore, kLongest - kMore + 3, kLongest - 12}) {
    SCOPED_TRACE(length);
    const std::string file = At(std::string(length - 4, 'n') + ".mdb");
    fs::copy_file(file_, file);
    const std::string before = Slurp(file);
    const Outcome fixed = Fix({file, "--only", "15", "--backup"});
    if (length + kMore <= kLongest) {
      EXPECT_EQ(fixed.code, kOk) << fixed.err;
      EXPECT_EQ(RunCli({"undo", file}).code, kOk);
    } else {
      EXPECT_EQ(fixed.code, kRefused);
      EXPECT_THAT(fixed.err, HasSubstr("cannot be made: File name too long."));
      EXPECT_THAT(BackupsOf(file), testing::IsEmpty());
      EXPECT_TRUE(Slurp(file) == before);
    }
  }
}
#endif

// By the names that somebody knows: not by those that files have until they are complete.
TEST_F(UndoCommand, WhatKeepsABackupFromBeingMadeIsToldByItsName) {
  const auto before = Files();
  const std::string missing = At("missing"), file = At("template.mdb");
  for (const std::string& folder : {missing, file}) {
    for (const Arguments& more : {Arguments{}, Arguments{"--discard-journal"}}) {
      Arguments arguments{file_, "--only", "15", "--backup-folder", folder};
      arguments.insert(arguments.end(), more.begin(), more.end());
      const Outcome refused = Fix(arguments);
      EXPECT_EQ(refused.code, kRefused);
      EXPECT_THAT(refused.err, HasSubstr(folder));
      EXPECT_THAT(refused.err, testing::Not(HasSubstr(".part")));
    }
  }
  EXPECT_EQ(Files(), before);
}

}  // namespace
}  // namespace vnt::cli
