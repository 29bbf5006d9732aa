// Each fix alone, for every notice in turn, on an ODBC data source that stands for Ingres and on an Access
// file with the same rows.
//
// A fix whose statements the server understands leaves the same rows in both. The others report what the
// server says, and the run goes on; kFixes tells which they are and why. docs/ingres.md shows the same facts
// to users: when a line changes here, it changes there.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "program/program_state.h"
#include "run/fix_runner.h"
#include "tests/startup/ingres/notice_server.h"

namespace vnt::test {
namespace {

struct Case {
  int index;
  // Routines that report an error, joined by blanks, and the words that their errors contain.
  const char* failing = "";
  const char* error = "";
  // Tables whose rows differ from those in the Access file afterwards, joined by blanks.
  const char* differs = "";
  // Tables that a fix has changed on the server before it failed.
  const char* leaves = "";
  // Executed on both sides before the fix runs; the name tells what it takes away.
  const char* variant = "";
  const char* prepare = "";
  // Tables in which a run for one notice changes rows that are not that notice's (in the file too).
  const char* beyond = "";
  bool to_log = false;  // errors go to the program's log instead of a message
};

// Fixes that are not named here work as on a file.
constexpr Case kCases[] = {
    // Join updates are Access's own.
    {38, "AlignAreaNumbers", R"(syntax error at or near "INNER")", "diag_grp grp"},
    {21, "FillMissingComElData", R"(syntax error at or near "INNER")", "com_el"},
    // Texts in double quotes are column names to the server.
    {13, "BuildFreqGeneral", R"(column "U" does not exist)", "freq"},
    {14, "ClearBeamDirectionData", R"(column "R" does not exist)", "emiss grp", "e_as_stn grp"},
    {.index = 25,
     .failing = "BuildFreqForRS49",
     .error = R"(column "U" does not exist)",
     .differs = "freq",
     .leaves = "freq",
     .to_log = true},
    {36, "SetVisibleEarthSymbol", "function ucase(character varying) does not exist", "grp srv_area"},
    // The reference file cannot be read through the server, and no error of this fix is told. The table goes.
    {.index = 5, .differs = "ant_type", .beyond = "ant_type"},
    // Rounding is left to the server's own rules: nothing is sent.
    {.index = 20, .differs = "assgn freq"},
    {.index = 20,
     .variant = "OfWholeNumbers",
     .prepare = "update assgn set freq_assgn = seq_no; update freq set freq_assgn = seq_no, freq_mhz = 1, "
                "freq_min = 1, freq_max = 1"},
    {.index = 29, .differs = "emiss"},
    {.index = 39, .differs = "hor_elev"},
    // The server divides the whole number of kHz by 2000 without a fraction, and reads the date of protection
    // day first, as it is written; a file takes a day up to 12 for the month.
    {.index = 16, .differs = "freq"},
    {.index = 16,
     .variant = "WithEvenBandwidthsAndLateDays",
     .prepare = "update grp set bdwdth = 36000, d_prot_eff = d_wic"},  // the 31st
    {.index = 19, .differs = "freq", .beyond = "freq"},
    {.index = 19,
     .variant = "WithEvenBandwidths",
     .prepare = "update grp set bdwdth = 36000 where bdwdth is not null",
     .beyond = "freq"},
    // The restriction to the notice binds to the last of several alternatives.
    {.index = 12, .beyond = "diag_grp"},
    {.index = 33, .beyond = "e_ant e_as_stn"},
    // Null stands behind all values on the server, before them in a file.
    {.index = 22, .differs = "assgn"},
    {.index = 22,
     .variant = "WithoutNull",
     .prepare = "update assgn set freq_mhz = seq_no where freq_mhz is null"},
    {.index = 23, .differs = "provn"},
    {.index = 23,
     .variant = "WithoutNull",
     .prepare = "update provn set ntwk_org = 'A' where ntwk_org is null"},
};

struct FixCase {
  const FixEntry* fix;
  Case expected;
};

std::vector<FixCase> AllCases() {
  std::vector<FixCase> cases;
  for (const FixEntry& fix : FixCatalogue()) {
    const std::size_t before = cases.size();
    for (const Case& c : kCases) {
      if (c.index == fix.index) cases.push_back({&fix, c});
    }
    if (cases.size() == before) cases.push_back({&fix, {.index = fix.index}});
  }
  return cases;
}

void PrintTo(const FixCase& c, std::ostream* out) { *out << c.fix->caption; }

std::set<std::string> Split(std::string_view text) {
  std::set<std::string> parts;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    parts.emplace(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

std::set<std::string> DifferingTables(const Rows& a, const Rows& b) {
  std::set<std::string> tables;
  for (const auto& [table, rows] : a) {
    if (rows != b.at(table)) tables.insert(table);
  }
  return tables;
}

// The first rows that only one side has.
std::string Difference(const std::vector<std::string>& server, const std::vector<std::string>& file) {
  std::vector<std::string> only_server, only_file;
  std::ranges::set_difference(server, file, std::back_inserter(only_server));
  std::ranges::set_difference(file, server, std::back_inserter(only_file));
  std::string text;
  for (std::size_t i = 0; i < std::min<std::size_t>(3, only_server.size()); ++i)
    text += "\n  server: " + only_server[i];
  for (std::size_t i = 0; i < std::min<std::size_t>(3, only_file.size()); ++i)
    text += "\n  file:   " + only_file[i];
  return text;
}

FixSelection Only(const FixEntry& fix) {
  FixSelection selection;
  selection.set(static_cast<std::size_t>(fix.index));
  return selection;
}

class IngresFixes : public ::testing::TestWithParam<FixCase> {
 protected:
  IngresFixes() { database_.settings.Set("GLOBAL", "DataLevel", "-1"); }

  // Runs the fix for each notice; each run must come to its end with a history row.
  std::vector<db::DbError> RunForEachNotice(const FixEntry& fix) {
    std::vector<db::DbError> errors;
    for (const std::int32_t notice : server_.one_of_each_kind()) {
      State().ntc_id = notice;
      RunObserver observer;
      const RunResult result = RunFixes(Only(fix), observer);
      EXPECT_FALSE(result.refused);
      if (result.fixes.size() != 2) {
        ADD_FAILURE() << "not one fix and the history stamp";
        continue;
      }
      errors.insert(errors.end(), result.fixes[0].errors.begin(), result.fixes[0].errors.end());
      EXPECT_EQ(result.fixes[1].rows, 1) << "history stamp";
      EXPECT_TRUE(result.fixes[1].errors.empty()) << "history stamp";
    }
    return errors;
  }

  std::set<std::string> FailingRoutines(const FixEntry& fix) {
    std::set<std::string> failing;
    for (int i = 0; i < fix.routine_count; ++i) {
      const FixRoutine& routine = fix.routines[static_cast<std::size_t>(i)];
      State().on_error = [&](const db::DbError&) { failing.emplace(routine.name); };
      for (const std::int32_t notice : server_.one_of_each_kind()) {
        State().ntc_id = notice;
        try {
          routine.run();
        } catch (const db::DbError&) {
          failing.emplace(routine.name);
        }
      }
    }
    State().on_error = {};
    return failing;
  }

  NoticeServer& server_ = NoticeServer::Get();
  NoticeDatabase database_;
};

TEST_P(IngresFixes, AgreesWithTheAccessFileOrReports) {
  const FixEntry& fix = *GetParam().fix;
  const Case& expected = GetParam().expected;

  server_.OpenFile(database_);
  database_.Run(expected.prepare);
  const Rows before = server_.Read(MainCn());
  const Rows others = server_.ReadOthers(MainCn());
  const std::vector<db::DbError> file_errors = RunForEachNotice(fix);
  const Rows on_file = server_.Read(MainCn());
  EXPECT_EQ(DifferingTables(server_.ReadOthers(MainCn()), others), Split(expected.beyond));
  for (const db::DbError& error : file_errors) ADD_FAILURE() << "on the file: " << error.description();

  server_.OpenServer(database_);
  database_.Run(expected.prepare);
  ASSERT_EQ(DifferingTables(server_.Read(MainCn()), before), std::set<std::string>{});
  database_.messages.shown.clear();
  const std::vector<db::DbError> errors = RunForEachNotice(fix);
  const Rows on_server = server_.Read(MainCn());

  const std::set<std::string> differing = DifferingTables(on_server, on_file);
  EXPECT_EQ(differing, Split(expected.differs));
  for (const std::string& table : differing) {
    if (!Split(expected.differs).contains(table))
      ADD_FAILURE() << table << Difference(on_server.at(table), on_file.at(table));
  }

  std::map<std::string, int> unknown;
  for (const db::DbError& error : errors) {
    EXPECT_NE(error.number(), 0);
    if (*expected.error == '\0' || error.description().find(expected.error) == std::string::npos)
      ++unknown[error.description()];
  }
  for (const auto& [description, count] : unknown) ADD_FAILURE() << description << " (" << count << " times)";
  EXPECT_EQ(errors.empty(), *expected.error == '\0');
  EXPECT_EQ(database_.messages.shown.empty(), errors.empty() || expected.to_log);
  if (!errors.empty()) {
    std::set<std::string> left = DifferingTables(on_server, before);
    left.erase("history");
    EXPECT_EQ(left, Split(expected.leaves));
    server_.Restore();
    EXPECT_EQ(FailingRoutines(fix), Split(expected.failing));
  }

  // The file's run must have had something to do, or the rows agree for nothing.
  std::set<std::string> touched = DifferingTables(on_file, before);
  touched.erase("history");
  EXPECT_EQ(touched.empty(), fix.routine_count == 0);
}

INSTANTIATE_TEST_SUITE_P(Fixes, IngresFixes, ::testing::ValuesIn(AllCases()), [](const auto& test) {
  return "Fix" + std::to_string(test.param.fix->index) + test.param.expected.variant;
});

TEST(IngresTexts, NoRoundingAndDatesInQuotes) {
  NoticeServer& server = NoticeServer::Get();
  NoticeDatabase database;
  database.settings.Set("GLOBAL", "DataLevel", "-1");
  server.OpenServer(database);
  State().ntc_id = server.one_of_each_kind().front();
  database.OpenReference();
  int quoted_dates = 0;
  for (const FixEntry& fix : FixCatalogue()) {
    for (int i = 0; i < fix.routine_count; ++i) {
      const FixRoutine& routine = fix.routines[static_cast<std::size_t>(i)];
      const std::vector<std::string> sent = database.SentBy([&] {
        try {
          routine.run();
        } catch (const db::DbError&) {
        }
      });
      EXPECT_EQ(sent.empty(), routine.name.starts_with("Round")) << routine.name;
      for (const std::string& text : sent) {
        EXPECT_EQ(text.find('#'), std::string::npos) << text;
        static const std::regex kQuotedDate(R"('\d{1,2}/\d{1,2}/\d{4}')");
        if (std::regex_search(text, kQuotedDate)) ++quoted_dates;
      }
    }
  }
  EXPECT_GT(quoted_dates, 1) << "the date in use and the dates of protection";
}

// docs/ingres.md has a row for each fix that tells the same.
TEST(IngresDocument, TellsWhichFixesWork) {
  std::ifstream file(VNT_SOURCE_FOLDER "/docs/ingres.md");
  std::string text((std::istreambuf_iterator<char>(file)), {});
  text = std::regex_replace(text, std::regex(" +"), " ");
  for (const FixCase& c : AllCases()) {
    if (*c.expected.variant != '\0') continue;
    const std::string outcome = c.fix->index == 5             ? "loses ant_type"
                                : *c.expected.error != '\0'   ? "error"
                                : *c.expected.differs != '\0' ? "differs"
                                                              : "works";
    const std::string caption = std::regex_replace(db::Trim(c.fix->caption), std::regex(" +"), " ");
    const std::string row = "\n| " + std::to_string(c.fix->index) + " | " + caption + " | " + outcome + " |";
    EXPECT_NE(text.find(row), std::string::npos) << row;
    EXPECT_EQ(text.find("`" + std::string(c.expected.failing) + "`: ") != std::string::npos,
              *c.expected.failing != '\0')
        << c.expected.failing;
  }
}

}  // namespace
}  // namespace vnt::test
