// The disk fails, is full, or the file reaches its largest size at any operation of a run: the run ends at
// once with one message, the file holds what stood at a border between two fixes, and the message tells
// which.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>

#include "access/base/interruption.h"
#include "access/store/database.h"
#include "run/fix_runner.h"
#include "run/guards.h"
#include "run/reference_check.h"
#include "samples/sample_database.h"
#include "tests/run/sample_databases.h"

namespace vnt::test {
namespace {

// The rows at the borders of a run without failures: before it, and after each of its fixes.
class Borders : public RunObserver {
 public:
  explicit Borders(const FixSelection& selection) {
    SampleDatabases databases;
    files_ = &databases.files;
    rows.push_back(NoticeRows());
    operations_before_ = files_->operations();
    reads_before_ = files_->reads();
    const RunResult result = RunFixes(selection, *this);
    operations = files_->operations() - operations_before_;
    reads = files_->reads() - reads_before_;
    pages = files_->Content(databases.state.current_database).size();
    messages = databases.messages.shown;
    EXPECT_FALSE(result.ended_early);
    history = databases.Reopened().history;
  }
  void FixEnds(const FixResult& result) override {
    if (result.fix != nullptr) rows.push_back(NoticeRows());
  }

  std::vector<std::string> rows;
  std::vector<std::string> messages;
  std::uint64_t operations = 0, reads = 0, pages = 0;
  std::int32_t history = 0;

 private:
  jet::MemoryFileSystem* files_ = nullptr;
  std::uint64_t operations_before_ = 0, reads_before_ = 0;
};

const Borders& BordersOf(bool all) {
  static const Borders of_default(DefaultSelection());
  static const Borders of_all(FixSelection().set());
  return all ? of_all : of_default;
}

std::size_t FixesIn(const RunResult& result) {
  return static_cast<std::size_t>(std::ranges::count_if(result.fixes, [](const FixResult& fix) {
    return fix.fix != nullptr && (fix.status == FixStatus::kDone || fix.status == FixStatus::kFailed);
  }));
}

// What the message calls kept, undone and so on is what the result does: by name, or many by their number.
void ExpectMessageTellsAll(const std::string& message, const RunResult& result) {
  constexpr std::size_t kMostNames = 3;
  const bool doubt = std::ranges::any_of(
      result.fixes, [](const FixResult& fix) { return fix.status == FixStatus::kInDoubt; });
  std::map<std::string, std::vector<std::string>> sentences;  // how they begin, and whom they are about
  for (const FixResult& fix : result.fixes) {
    const std::string name = fix.fix == nullptr ? "\"History\"" : "\"" + std::string(fix.fix->caption) + "\"";
    switch (fix.status) {
      case FixStatus::kDone:
      case FixStatus::kFailed:
        if (fix.fix != nullptr)
          sentences[doubt ? " Surely in the database:" : " In the database:"].push_back(name);
        break;
      case FixStatus::kUndone:
        sentences[" Undone:"].push_back(name);
        break;
      case FixStatus::kNotRun:
        sentences[" Not run:"].push_back(name);
        break;
      case FixStatus::kInDoubt:
        sentences[" Perhaps in the database, all or none of them:"].push_back(name);
        break;
      case FixStatus::kStopped:
        sentences[" Stopped, and what was executed until then stays:"].push_back(name);
    }
  }
  bool counted = false;
  for (const auto& [beginning, names] : sentences) {
    std::string sentence = beginning + " ";
    if (names.size() <= kMostNames) {
      for (const std::string& name : names) sentence += name + (name == names.back() ? "." : ", ");
    } else {
      counted = true;
      const bool stamp = names.back() == "\"History\"";
      sentence +=
          std::to_string(names.size() - (stamp ? 1 : 0)) + (stamp ? " fixes and the history." : " fixes.");
    }
    EXPECT_NE(message.find(sentence), std::string::npos) << sentence << " in " << message;
  }
  EXPECT_EQ(message.find("The report names all of them.") != std::string::npos, counted) << message;
  EXPECT_LT(message.size(), 1000U) << "more than a box should say";
}

// What is true after a run whatever failed in it. Gives the number of fixes that are in the file.
std::size_t ExpectAtABorder(SampleDatabases& databases, const RunResult& result, bool all) {
  const Borders& borders = BordersOf(all);
  const std::vector<std::string> shown = databases.messages.shown;
  std::size_t kept = FixesIn(result);
  const auto in_doubt = static_cast<std::size_t>(std::ranges::count_if(
      result.fixes, [](const FixResult& fix) { return fix.status == FixStatus::kInDoubt; }));
  const bool stamp_in_doubt = result.fixes.back().status == FixStatus::kInDoubt;
  const SampleDatabases::Content content = databases.Reopened();
  EXPECT_EQ(content.faults, "");
  const auto found = std::ranges::find(borders.rows, content.rows);
  const std::size_t all_of_them = kept + in_doubt - (stamp_in_doubt ? 1 : 0);
  EXPECT_TRUE(content.rows == borders.rows[kept] || content.rows == borders.rows[all_of_them])
      << "not the rows after " << kept << " fixes, but "
      << (found == borders.rows.end() ? "others" : "after " + std::to_string(found - borders.rows.begin()))
      << "\n"
      << (shown.empty() ? "" : shown.back());
  const bool stamped = result.fixes.back().status == FixStatus::kDone;
  if (!stamp_in_doubt) {
    EXPECT_EQ(content.history, stamped ? borders.history : borders.history - samples::kMinNotices);
  }
  if (!result.ended_early) {
    EXPECT_EQ(kept + 1, result.fixes.size());
    EXPECT_EQ(shown, borders.messages);
    return kept;
  }
  EXPECT_TRUE(result.failed());
  EXPECT_EQ(std::ranges::count_if(shown, [](const auto& text) { return text.starts_with("critical: "); }), 1);
  if (shown.empty()) return kept;
  ExpectMessageTellsAll(shown.back(), result);
  EXPECT_EQ(stamped || stamp_in_doubt, shown.back().find("No history was written.") == std::string::npos)
      << shown.back();
  return kept;
}

// The next run on the same file comes to the end that a run without failures comes to.
void ExpectNextRunCompletes(SampleDatabases& databases, bool all) {
  databases.messages.shown.clear();
  OpenAccessDatabase();
  RunObserver observer;
  const RunResult result = RunFixes(all ? FixSelection().set() : DefaultSelection(), observer);
  EXPECT_FALSE(result.ended_early) << (databases.messages.shown.empty() ? ""
                                                                        : databases.messages.shown.back());
}

struct Fault {
  const char* name;
  bool all;    // all forty fixes
  bool reads;  // reads fail, not writes
  bool full;
  bool from_then_on;
};

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

class EndedRun : public ::testing::TestWithParam<Fault> {};

TEST_P(EndedRun, IsAtABorderWhateverFails) {
  const Fault& fault = GetParam();
  const Borders& borders = BordersOf(fault.all);
  const std::uint64_t count = fault.reads ? borders.reads : borders.operations;
  ASSERT_GT(count, 40U);
  constexpr std::uint64_t kPoints = 60;
  std::size_t ended = 0, partly = 0;
  for (std::uint64_t n = 1; n <= count; n += std::max<std::uint64_t>(1, count / kPoints)) {
    SCOPED_TRACE("operation " + std::to_string(n) + " of " + std::to_string(count));
    SampleDatabases databases;
    if (fault.reads) {
      databases.files.FailReadAt(databases.files.reads() + n, fault.from_then_on);
    } else {
      databases.files.FailAt(
          databases.files.operations() + n,
          fault.full ? jet::MemoryFileSystem::Failure::kFull : jet::MemoryFileSystem::Failure::kIo,
          fault.from_then_on);
    }
    RunObserver observer;
    const RunResult result = RunFixes(fault.all ? FixSelection().set() : DefaultSelection(), observer);
    databases.CloseAll();
    databases.files.FailReadAt(0);
    databases.files.FailAt(0, jet::MemoryFileSystem::Failure::kIo);
    if (result.refused) {  // the reference database cannot be opened
      EXPECT_TRUE(databases.Reopened().rows == borders.rows[0]);
      continue;
    }
    const std::size_t kept = ExpectAtABorder(databases, result, fault.all);
    if (n % 5 == 0) ExpectNextRunCompletes(databases, fault.all);
    ended += result.ended_early ? 1 : 0;
    partly += result.ended_early && kept > 0 ? 1 : 0;
    if (HasFailure()) return;
  }
  EXPECT_GT(ended, 10U);
  EXPECT_GT(partly, 5U);
}

INSTANTIATE_TEST_SUITE_P(Faults, EndedRun,
                         ::testing::Values(Fault{"WriteFailsOnce", false, false, false, false},
                                           Fault{"DiskIsGone", false, false, false, true},
                                           Fault{"DiskIsFull", false, false, true, true},
                                           Fault{"ReadFailsOnce", false, true, false, false},
                                           Fault{"ReadsFail", false, true, false, true},
                                           Fault{"DiskIsFullForAllFixes", true, false, true, true},
                                           Fault{"WriteFailsOnceForAllFixes", true, false, false, false}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(EndedRunSize, TheFileReachesItsLargestSize) {
  const Borders& borders = BordersOf(false);
  SampleDatabases before;
  const std::uint64_t size = before.files.Content(before.state.current_database).size();
  before.CloseAll();
  ASSERT_GT(borders.pages, size);
  std::size_t ended = 0;
  for (std::uint64_t room = 0; size + room * 4096 < borders.pages;
       room += 1 + (borders.pages - size) / 4096 / 12) {
    SCOPED_TRACE(room);
    SampleDatabases databases;
    databases.CloseAll();
    databases.sizes.max_file_bytes = size + room * 4096;
    OpenAccessDatabase();
    RunObserver observer;
    const RunResult result = RunFixes(DefaultSelection(), observer);
    databases.CloseAll();
    databases.sizes.max_file_bytes = std::uint64_t{1} << 31;
    ExpectAtABorder(databases, result, false);
    ended += result.ended_early ? 1 : 0;
  }
  EXPECT_GT(ended, 3U);
}

// Does something to the files when the n-th fix has ended.
class Meddler : public RunObserver {
 public:
  Meddler(std::size_t fix, std::function<void()> meddle) : left_(fix), meddle_(std::move(meddle)) {}
  void FixEnds(const FixResult&) override {
    if (left_ != 0 && --left_ == 0) meddle_();
  }

 private:
  std::size_t left_;
  std::function<void()> meddle_;
};

// The folder is closed to us, or somebody puts a file in the journal's place, when the run has begun: nothing
// can be saved any more, which is no error of a statement.
TEST(EndedRunJournal, CannotBeMade) {
  BordersOf(false);
  std::string strange;
  {
    SampleDatabases other;
    MainCn().Execute("update notice set adm = 'XXX'");
    MainCn().Checkpoint();
    MainCn().Execute("update notice set adm = 'YYY'");
    MainCn().Persist();
    strange = other.files.Content(other.state.current_database + jet::kJournalSuffix);
  }
  for (const bool planted : {false, true}) {
    SCOPED_TRACE(planted);
    SampleDatabases databases;
    const std::string path = databases.state.current_database;
    const std::string journal = path + jet::kJournalSuffix;
    databases.state.persist_interval = std::chrono::hours(1);
    Meddler meddler(1, [&] {
      planted ? databases.files.SetContent(journal, strange) : databases.files.SetReadOnly("", true);
    });
    const RunResult result = RunFixes(DefaultSelection(), meddler);
    databases.CloseAll();
    EXPECT_TRUE(result.ended_early);
    EXPECT_EQ(FixesIn(result), 0U);
    ASSERT_EQ(databases.messages.shown.size(), 1U);
    EXPECT_NE(databases.messages.shown[0].find("No fix of this run is in the database."), std::string::npos)
        << databases.messages.shown[0];
    EXPECT_TRUE(!planted || databases.files.Content(journal) == strange);
    databases.files.SetReadOnly("", false);
    if (planted) databases.files.Remove(journal);
    databases.state.current_database = path;  // which a journal in its way has closed
    EXPECT_EQ(ExpectAtABorder(databases, result, false), 0U);
  }
}

// Another file is in the place of the database: also what was durable before is not in that.
TEST(EndedRunReplaced, NothingIsInTheDatabase) {
  BordersOf(false);
  for (const std::size_t fix : {1U, 10U, 36U}) {
    SCOPED_TRACE(fix);
    SampleDatabases databases;
    databases.state.persist_interval = {};
    const std::string path = databases.state.current_database;
    const std::string before = databases.files.Content(path);
    Meddler meddler(fix, [&] {
      databases.files.Remove(path);
      databases.files.SetContent(path, before);
    });
    const RunResult result = RunFixes(DefaultSelection(), meddler);
    databases.CloseAll();
    EXPECT_EQ(FixesIn(result), 0U);
    EXPECT_EQ(ExpectAtABorder(databases, result, false), 0U);
    EXPECT_TRUE(databases.files.Content(path) == before);
  }
}

TEST(EndedRunInterruption, BeforeTheRunIsNoFaultOfTheReference) {
  SampleDatabases databases;
  jet::interruption = 15;
  EXPECT_THROW(ReferenceFault(FixSelection().set(), ""), db::DbError);
  jet::interruption = 0;
  EXPECT_EQ(ReferenceFault(FixSelection().set(), ""), "");
}

TEST(EndedRunInterruption, UndoesTheRunningFixAndKeepsTheOthers) {
  // Asks for the end when the n-th fix begins.
  class Asker : public RunObserver {
   public:
    explicit Asker(int fix) : fix_(fix) {}
    void FixStarts(const FixEntry&, int number, int) override {
      if (number == fix_) jet::interruption = 15;
    }

   private:
    int fix_;
  };
  BordersOf(false);
  for (const int fix : {1, 2, 5, 15, 24, 33}) {
    SCOPED_TRACE(fix);
    SampleDatabases databases;
    Asker asker(fix);
    const RunResult result = RunFixes(DefaultSelection(), asker);
    jet::interruption = 0;
    databases.CloseAll();
    EXPECT_EQ(ExpectAtABorder(databases, result, false), static_cast<std::size_t>(fix) - 1);
    ASSERT_EQ(databases.messages.shown.size(), 1U);
    EXPECT_TRUE(databases.messages.shown[0].starts_with("critical: The work was interrupted. Undone:"))
        << databases.messages.shown[0];
  }
}

}  // namespace
}  // namespace vnt::test
