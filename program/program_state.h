// The program-wide state, held for the life of the process. Fix routines take no arguments and read it here;
// a test installs its own with ScopedProgramState.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "db/cadodb.h"
#include "db/services.h"
#include "platform/in_force.h"
#include "platform/services.h"

namespace vnt {

// What of a run that cannot come to its end is kept.
enum class Keeping : std::uint8_t {
  kFixes,     // those that were finished
  kWholeRun,  // nothing
  kCleanRun,  // nothing; and an error of a fix ends the run, too
};

struct ProgramState {
  std::string current_database;       // Access file or Ingres data source name; empty: none is open
  std::int32_t ntc_id = 0;            // 0: the whole database; above 0: one notice
  std::vector<std::int32_t> notices;  // several that are worked on together, and not ntc_id alone
  std::unique_ptr<db::cadodb> main_connection;
  std::unique_ptr<db::cadodb>
      second_connection;  // by design: opened and closed with the first, no fix asks it
  std::unique_ptr<db::cadodb> reference_connection;
  std::string reference_database;  // setting VeltRefdb, read by each run
  bool needs_reference = true;     // a run is refused without it
  bool read_only = false;
  std::string read_only_reason;  // why the database open now cannot be changed; empty: it can
  bool dry_run = false;          // files beside the database, such as logs, are not written either
  bool counts_changes = false;   // a run finds out how many rows each fix has really changed
  bool stamps_history = true;    // at the end of a run; false: a further part of it will do that
  Keeping keeping = Keeping::kFixes;
  std::int16_t version_no = 0;
  std::int16_t version_no_sub = 0;
  std::string source_fault;   // why the data source could not be reached at start-up; empty: it could
  std::string setting_fault;  // a setting that was read otherwise than it may be meant; empty: none
  bool active = false;
  std::int16_t data_level = 0;
  std::string run_remark;
  std::string unattended_report;  // what its report has so far
  std::string date_separator;
  // Fixes that take no time are made durable together, so that a run on one notice does not spend its time
  // waiting for the disk. A run that is killed loses the fix that was running and, of those before it, at
  // most what was done in this time.
  std::chrono::milliseconds persist_interval{250};

  // What the floors below need to be told. Elsewhere than here it is reached as platform::InForce<...>().
  platform::Services platform_services;
  db::Services db_services;

  // What is said beside an error that is shown: where it came up, and what becomes of the run. May be empty.
  std::string error_context;
  // Told of each error that a fix reports or that reaches the runner's trap (for counting); may be empty.
  std::function<void(const db::DbError&)> on_error;
};

// The two Ingres data source names; every other database name is an Access file.
inline constexpr std::string_view kIngresSources[] = {"TLKP-ING", "TLKD-ING"};
bool IsIngresSource(std::string_view database_name);

// Thrown to end the program from inside a routine that its caller cannot ask; start-up catches it.
struct EndProgram {
  int exit_code = 0;
};

// The state in force.
ProgramState& State();

// Puts a state with all its parts in force, and the former one back when it goes.
class ScopedProgramState {
 public:
  explicit ScopedProgramState(ProgramState& state)
      : platform_(state.platform_services), db_(state.db_services), state_(state) {}

 private:
  platform::Scoped<platform::Services> platform_;
  platform::Scoped<db::Services> db_;
  platform::Scoped<ProgramState> state_;
};

// Counts an error that was dealt with like one that is shown.
void CountError(const db::DbError& error);

// The common error report: a plain box with the number in decimal, one blank and the description; beside that
// the explanation, or where there is none the context of the state.
void ShowError(const db::DbError& error, std::string_view explanation = {});

// The connection all fixes work on.
db::Connection& MainCn();
// The dialect test: the last three characters of the main connection's DsName are "ING".
bool IsIngres();

}  // namespace vnt
