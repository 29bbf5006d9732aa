// What a run was asked to do, did and left behind, for a report and for undoing it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "run/fix_runner.h"

namespace vnt {

enum class RecordKind { kRun, kDryRun, kUndo };
enum class RecordFormat { kText, kJson };
// Of one that has not ended yet, file and scope are known, and the start of one that was begun.
enum class RecordStage { kNotBegun, kRunning, kEnded };

struct RunRecord {
  RecordKind kind = RecordKind::kRun;
  RecordStage stage = RecordStage::kEnded;
  std::string file;
  std::vector<std::int32_t> notices;  // empty: all
  std::chrono::system_clock::time_point started, ended;
  RunResult result;
  // Of the file before the run and after it, as jet::Fingerprint; empty where that is not known (data
  // sources, runs that failed while they saved).
  std::string before, after;
  std::string refusal;        // why it was refused, where that is known
  std::string source_fault;   // why the data source could not be reached; empty: it could, or there is none
  std::string setting_fault;  // what setting was read otherwise than it may be meant; empty: none
  std::string backup;         // path; empty: none was made
  // Why the file could not be looked at after the run, or the backup has no record; empty: neither. What the
  // run did stands.
  std::string fault;
};

// A word or two for what became of a fix.
std::string_view StatusWord(FixStatus status);

// Equal errors together, in the order in which they came first.
struct CountedError {
  const db::DbError* error;
  std::int64_t count;
};
std::vector<CountedError> Counted(const std::vector<db::DbError>& errors);

// One word for what became of it: "done", "errors", "ended early", "refused".
std::string OutcomeOf(const RunResult& result);
// The same or, of a run that has not ended, "not begun" and "running".
std::string OutcomeOf(const RunRecord& record);

// docs/run-report.schema.json describes the JSON; the text is for people.
std::string RecordText(const RunRecord& record, RecordFormat format);

// JSON where the name ends in ".json", in any letter case.
RecordFormat FormatOfName(const std::string& path);

// What undoing a run has to know of it, from the JSON of its record. jet::Error(kNotFound) when there is no
// such record, kCorrupt when it is damaged: then its text names the file and says what is wrong.
struct RecordedState {
  RecordKind kind = RecordKind::kRun;
  std::string file;
  std::string before, after;
  std::string outcome;
};
RecordedState ReadRecord(const std::string& path);

}  // namespace vnt
