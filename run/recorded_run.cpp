#include "run/recorded_run.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "access/base/error.h"
#include "access/base/interruption.h"
#include "access/file/copy_file.h"
#include "db/engine_errors.h"
#include "db/services.h"
#include "program/program_state.h"
#include "run/backup.h"

namespace vnt {
namespace {

// The file as it was saved last; null where there is none.
jet::File* SavedFile() {
  const auto& main = State().main_connection;
  return main && main->has_connection() && main->Cn().is_open() ? main->Cn().SavedFile() : nullptr;
}

class Recorder : public RunObserver {
 public:
  Recorder(const Recording& recording, RunRecord& record, RunObserver& inner)
      : recording_(recording), record_(record), inner_(inner) {}

  void RunStarts() override {
    jet::File* const file = SavedFile();
    const bool first = record_.before.empty();  // of several notices
    if (first && file != nullptr && (recording_.backup || recording_.fingerprints)) {
      try {
        BackUp(*file);
      } catch (const jet::Error& error) {
        throw db::ToDbError(error);
      }
    }
    inner_.RunStarts();
  }
  void BackupAdvances(std::uint64_t done, std::uint64_t all) override { inner_.BackupAdvances(done, all); }
  void FixStarts(const FixEntry& fix, int number, int count) override {
    inner_.FixStarts(fix, number, count);
  }
  void FixAdvances(std::int64_t steps, std::int64_t rows) override { inner_.FixAdvances(steps, rows); }
  void FixEnds(const FixResult& result) override { inner_.FixEnds(result); }
  void RunEnds() override { inner_.RunEnds(); }

 private:
  void BackUp(jet::File& file) {
    const std::uint64_t passes = recording_.backup ? 2 : 1;
    std::uint64_t passed = 0;  // bytes
    const auto advance = [&](std::uint64_t done, std::uint64_t all) {
      if (recording_.backup) BackupAdvances(passed + done, passes * all);
      jet::ThrowIfInterrupted();
    };
    record_.before = jet::Fingerprint(file, advance);
    passed = file.Size();
    if (recording_.backup) record_.backup = MakeBackup(db::Files(), file, *recording_.backup, advance);
  }

  const Recording& recording_;
  RunRecord& record_;
  RunObserver& inner_;
};

// What the run left, in the file or, where somebody who reads keeps it from being brought up to date, in file
// and journal: then it is what the file becomes. Empty where that is not known.
std::string FingerprintAfter() {
  jet::File* const file = SavedFile();
  if (file == nullptr) return {};
  if (MainCn().IsSaved()) return jet::Fingerprint(*file);
  const std::unique_ptr<jet::File> content = MainCn().SavedContent();
  return content ? jet::Fingerprint(*content) : std::string();
}

// Adds the run over one more notice.
void Add(RunResult&& one, RunResult& all) {
  if (all.fixes.empty()) {
    all = std::move(one);
    return;
  }
  all.refused |= one.refused;
  all.ended_early |= one.ended_early;
  for (std::size_t i = 0; i < one.fixes.size(); ++i) {
    FixResult& sum = all.fixes[i];
    FixResult& fix = one.fixes[i];
    sum.statements += fix.statements;
    sum.rows += fix.rows;
    if (sum.changed && fix.changed) {
      *sum.changed += *fix.changed;
    } else {
      sum.changed.reset();
    }
    sum.time += fix.time;
    std::ranges::move(fix.errors, std::back_inserter(sum.errors));
    sum.unsaved = std::move(fix.unsaved);  // the next one saves what this one could not
    if (sum.status == FixStatus::kDone) sum.status = fix.status;
  }
}

}  // namespace

RunRecord RunRecorded(const FixSelection& selection, const std::vector<std::int32_t>& notices,
                      const Recording& recording, RunObserver& observer) {
  RunRecord record;
  record.kind = recording.dry_run ? RecordKind::kDryRun : RecordKind::kRun;
  record.file = State().current_database;
  record.notices = notices;
  if (notices.empty() && State().ntc_id > 0) record.notices.push_back(State().ntc_id);
  record.started = std::chrono::system_clock::now();
  Recorder recorder(recording, record, observer);
  State().counts_changes = recording.dry_run || recording.fingerprints || recording.backup;
  if (IsIngresSource(record.file)) record.source_fault = State().source_fault;
  record.setting_fault = State().setting_fault;
  if (record.notices.empty()) record.result = RunFixes(selection, recorder);
  ChangesOfNotices together;
  for (const std::int32_t notice : record.notices) {
    State().ntc_id = notice;
    Add(RunFixes(selection, recorder, record.notices.size() > 1 ? &together : nullptr), record.result);
    if (record.result.refused || record.result.ended_early) break;
  }
  for (FixResult& fix : record.result.fixes) {
    // Elsewhere no row is of two notices.
    const auto changes = together.find(fix.fix);
    if (changes != together.end() && fix.changed) fix.changed = changes->second.Count();
  }
  record.ended = std::chrono::system_clock::now();
  try {
    if (!record.before.empty()) record.after = FingerprintAfter();
    if (!record.backup.empty()) RecordBackup(db::Files(), record);
  } catch (const std::exception& error) {
    record.fault = error.what();
  }
  return record;
}

}  // namespace vnt
