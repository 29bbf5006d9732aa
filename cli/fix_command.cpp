// vntfix fix.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>

#include <fmt/format.h>

#include "access/base/error.h"
#include "access/file/drop_journal.h"
#include "access/file/overlay.h"
#include "access/store/database.h"
#include "cli/commands.h"
#include "cli/fix_choice.h"
#include "cli/fix_jobs.h"
#include "cli/fix_printer.h"
#include "cli/fix_report.h"
#include "cli/fix_settings.h"
#include "cli/interruptible.h"
#include "cli/output.h"
#include "cli/server.h"
#include "db/engine_errors.h"
#include "db/services.h"
#include "platform/in_force.h"
#include "platform/paths.h"
#include "platform/settings.h"
#include "program/program_state.h"
#include "run/backup.h"
#include "run/databases.h"
#include "run/guards.h"
#include "run/recorded_run.h"
#include "run/reference_check.h"
#include "run/report_file.h"

namespace vnt::cli {

void PrepareState(const FixOptions& options, Speaker& speaker, ProgramState& state) {
  platform::SettingOverrides& settings = state.platform_services.settings;
  if (options.reference) settings.Set("GLOBAL", "VeltRefdb", *options.reference);
  if (options.empty_template) settings.Set("GLOBAL", "EmptyDBV6", *options.empty_template);
  if (options.data_level) settings.Set("GLOBAL", "DataLevel", std::to_string(*options.data_level));
  if (options.date_order) {
    const bool day_first = *options.date_order == platform::DateOrder::kDayFirst;
    settings.Set("intl", "sShortDate", day_first ? "d/M/yyyy" : "M/d/yyyy");
  }
  state.platform_services.messages = &speaker;
  const db::Services& outer = platform::InForce<db::Services>();
  state.db_services.server_user = outer.server_user;
  state.db_services.server_password = outer.server_password;
}

namespace {

FixSelection Select(const FixOptions& options) {
  FixSelection selection = DefaultSelection();
  if (options.all) selection.set();
  if (!options.only.empty()) selection = ChooseFixes(options.only);
  if (!options.except.empty()) selection &= ~ChooseFixes(options.except);
  if (options.strict_notice && !options.notices.empty()) {
    for (const FixEntry& fix : FixCatalogue()) {
      if (!fix.reach.empty()) selection.reset(static_cast<std::size_t>(fix.index));
    }
  }
  // A run of nothing would yet add its history rows.
  if (selection.none())
    throw ChoiceError("All fixes that were chosen are left out again, so there is none to run.");
  return selection;
}

// The notices of the open database that were asked for; a number that stands for none is a ChoiceError.
std::vector<std::int32_t> FindNotices(const std::vector<NoticeRange>& ranges) {
  std::vector<std::int32_t> notices;
  for (const NoticeRange& range : ranges) {
    db::Recordset rows;
    rows.Open(fmt::format("select ntc_id from notice where ntc_id >= {} and ntc_id <= {} order by ntc_id",
                          range.first, range.last),
              MainCn());
    if (rows.Eof()) {
      throw ChoiceError(range.first == range.last
                            ? fmt::format("there is no notice {}.", range.first)
                            : fmt::format("there are no notices {} to {}.", range.first, range.last));
    }
    for (; !rows.Eof(); rows.MoveNext()) notices.push_back(rows.Get(0).ToInt32());
  }
  return notices;
}

// What says which schema a notice database has; without it the file would pass for one that cannot be
// changed.
bool IsNoticeDatabase(const std::string& file) {
  return jet::Database::Open(db::Files(), file, jet::OpenMode::kRead)->FindTable("vnt_ooak") != nullptr;
}

// Two runs keep off one notice, and a run for all notices off every other.
bool LockNotices(db::ServerSession& session, const std::vector<std::int32_t>& notices) {
  return session.TryLock({0}, /*shared=*/!notices.empty()) &&
         (notices.empty() || session.TryLock(notices, /*shared=*/false));
}

// The same of a data source, without reading what tables it has.
bool IsNoticeSource(db::ServerSession& session) {
  try {
    session.Open("SELECT version_no FROM vnt_ooak WHERE 1 = 0");
    session.Commit();
    return true;
  } catch (const db::DbError& error) {
    if (error.number() != db::kErrMissingTable) throw;
    session.Rollback();
    return false;
  }
}

// With a hint where nothing names it, and the file that is meant is not far.
std::string ReferenceNamedBy(const FixOptions& options) {
  if (options.reference) return "--reference";
  std::string named =
      fmt::format("--reference, else VeltRefdb in section [GLOBAL] of {}", platform::SettingsFile());
  const std::filesystem::path beside =
      platform::PathOf(State().current_database).replace_filename("reference.mdb");
  std::error_code ignored;
  if (platform::GetSettingString("GLOBAL", "VeltRefdb").empty() &&
      std::filesystem::is_regular_file(beside, ignored)) {
    named += fmt::format(" (there is one beside the file: --reference {})", platform::Utf8Of(beside));
  }
  return named;
}

void TellReach(const FixSelection& selection, Speaker& speaker) {
  for (const FixEntry& fix : FixCatalogue()) {
    if (fix.reach.empty() || !selection.test(static_cast<std::size_t>(fix.index))) continue;
    speaker.Say(fmt::format("fix {} reaches beyond the notice: it {} (--strict-notice leaves it out).",
                            fix.index, fix.reach));
  }
}

int StatusOf(const RunResult& result) {
  if (result.refused) return kRefused;
  if (result.ended_early && InterruptedStatus() != 0) return InterruptedStatus();
  return result.failed() ? kFailed : kOk;
}

// What files are and what they would be, as vntfix diff prints it. JSON of several files is an array.
class DifferencePrinter {
 public:
  DifferencePrinter(const FixOptions& options, std::ostream& out)
      : format_(options.format.value_or(DiffFormat::kText)),
        is_array_(options.diff && format_ == DiffFormat::kJson && options.files.size() > 1),
        out_(out) {
    if (is_array_) out_ << '[';
  }

  // Nothing may be open through the overlay.
  void Print(const std::string& file, jet::FileSystem& overlay) {
    if (is_array_) out_ << (printed_++ == 0 ? "\n" : ",\n");
    const auto before = OpenToCompare(jet::PlatformFileSystem(), file);
    const auto after = OpenToCompare(overlay, file);
    const auto writer = MakeDiffWriter(format_, {file, file + " after the run", 0, false}, out_);
    writer->Finish(compare::Compare(*before, *after, {}, *writer));
  }
  void Finish() {
    if (is_array_) out_ << "]\n";
  }

 private:
  const DiffFormat format_;
  const bool is_array_;
  std::ostream& out_;
  int printed_ = 0;
};

struct Fixed {
  int status = kRefused;
  RunRecord record;  // of a run that was refused, unless one was done
};

struct Refusal {
  std::string text;
  int status = kRefused;
};

// Opens the file of the state in force, and looks for what keeps a run from being begun.
std::optional<Refusal> OpenForRun(const FixOptions& options, const FixSelection& selection,
                                  const std::vector<NoticeRange>& ranges, Speaker& speaker,
                                  db::ServerSession* server, std::vector<std::int32_t>* notices) {
  if (server != nullptr ? !IsNoticeSource(*server) : !IsNoticeDatabase(State().current_database)) {
    return Refusal{"this is no notice database: it has no table vnt_ooak."};
  }
  OpenAccessDatabase();
  // The message about it has been shown; it does not say why.
  if (State().read_only) speaker.Say(State().read_only_reason);
  *notices = FindNotices(ranges);
  if (!notices->empty()) State().ntc_id = notices->front();
  if (server != nullptr && !LockNotices(*server, *notices)) return Refusal{"another run is at work on it."};
  State().needs_reference = NeedsReference(selection);
  if (std::string fault = ReferenceFault(selection, ReferenceNamedBy(options)); !fault.empty()) {
    return Refusal{std::move(fault)};
  }
  return {};
}

// Drops a waiting journal if the run can be begun without it; what that needs is tried on changes in memory
// first.
std::optional<Refusal> DiscardJournal(const std::string& file, const FixOptions& options,
                                      const FixSelection& selection, const std::vector<NoticeRange>& ranges,
                                      Speaker& speaker) {
  const std::string journal = jet::JournalPath(db::Files(), file);
  {
    const auto rehearsal = jet::MakeOverlay(db::Files());
    if (!jet::DropJournal(*rehearsal, file, journal)) return {};
    std::ostringstream unheard;
    Speaker silent(unheard, file);
    ProgramState state;
    PrepareState(options, silent, state);
    state.db_services.files = rehearsal.get();
    const ScopedProgramState in_force(state);
    state.current_database = file;
    std::vector<std::int32_t> notices;
    std::optional<Refusal> refusal = OpenForRun(options, selection, ranges, silent, nullptr, &notices);
    if (state.main_connection) state.main_connection->Cn().Drop();
    if (refusal) return refusal;
  }
  if (options.backup) {
    const std::string fault = WhyNoBackup(db::Files(), file, *options.backup);
    if (!fault.empty()) return Refusal{fault};
  }
  if (jet::DropJournal(db::Files(), file, journal)) {
    speaker.Say("the journal of a run that did not end was dropped; what that run had saved is lost.");
  }
  return {};
}

// One file, on a state of its own.
Fixed FixFile(const std::string& file, const FixOptions& options, const FixSelection& selection,
              const std::vector<NoticeRange>& ranges, Streams& streams, DifferencePrinter& differences) {
  Fixed fixed;
  fixed.record = FixReport::Refused(file, options);
  Speaker speaker(streams.err, file);
  // Outlives the connections.
  std::unique_ptr<jet::FileSystem> overlay;
  if (options.dry_run) overlay = jet::MakeOverlay(db::Files());
  ProgramState state;
  PrepareState(options, speaker, state);
  state.db_services.files = overlay.get();
  ScopedProgramState scoped_state(state);
  state.current_database = file;
  state.dry_run = options.dry_run;
  std::vector<std::int32_t> notices;
  const auto refuse = [&](const std::string& text, int status) {
    speaker.Say(text);
    if (fixed.record.result.refused) fixed.record.refusal = text;
    fixed.status = status;
  };
  const bool on_server = IsServerName(file);
  if (on_server && (options.dry_run || options.backup || options.discard_journal)) {
    refuse("--dry-run, --backup and --discard-journal are for files.", kUsage);
    return fixed;
  }
  try {
    std::optional<Refusal> refusal;
    if (options.discard_journal) refusal = DiscardJournal(file, options, selection, ranges, speaker);
    std::shared_ptr<db::ServerSession> locks;
    if (on_server) locks = OpenServerSession(file);
    if (!refusal) refusal = OpenForRun(options, selection, ranges, speaker, locks.get(), &notices);
    if (refusal) {
      refuse(refusal->text, refusal->status);
      return fixed;
    }
    if (!notices.empty() && !options.quiet) TellReach(selection, speaker);
    if (options.dry_run && !options.quiet) speaker.Say("a dry run: nothing is written.");
    FixPrinter printer(streams, speaker, options, selection, notices.size() > 1);
    Recording recording;
    recording.dry_run = options.dry_run;
    recording.fingerprints = !options.report.empty();
    if (!options.dry_run) recording.backup = options.backup;
    fixed.record = RunRecorded(selection, notices, recording, printer);
    fixed.status = StatusOf(fixed.record.result);
    if (fixed.record.result.refused) {
      fixed.record.refusal = State().read_only_reason;
    } else {
      printer.Total(fixed.record);
    }
    if (!fixed.record.fault.empty()) {
      speaker.Say((fixed.record.result.ended_early
                       ? "the run ended early, and undo will not find what it left: "
                       : "the run is done, but undo will not find what it left: ") +
                  fixed.record.fault);
      if (fixed.status == kOk) fixed.status = kUnwritten;
    }
    if (options.diff && !fixed.record.result.refused && InterruptedStatus() == 0 && CloseDatabases()) {
      differences.Print(file, *overlay);
    }
  } catch (const ChoiceError& error) {
    refuse(error.what(), kRefused);
  } catch (const jet::Error& error) {
    refuse(ErrorText(db::ToDbError(error)), InterruptedStatus() != 0 ? InterruptedStatus() : kRefused);
  } catch (const OutputFailed&) {
    fixed.status = kUnwritten;
  } catch (const db::DbError& error) {
    refuse(ErrorText(error), InterruptedStatus() != 0 ? InterruptedStatus() : kRefused);
  }
  return fixed;
}

// What is wrong with what was asked for as output; empty: nothing.
std::string OutputFault(const FixOptions& options) {
  if (options.report == kStandardOutput && options.diff) {
    return "--report - and --diff both go to standard output; name a file for the report.";
  }
  if (!options.report.empty() && options.all_notices) return "--all-notices makes no report.";
  if (!options.format) return {};
  if (options.report.empty() && !options.diff) return "--format is of a report or of --diff; name one.";
  if (options.format != DiffFormat::kCsv) return {};
  if (!options.diff) return "csv is no format of a report.";
  return options.files.size() == 1 ? "" : "with --format csv one file is compared at a time; name one.";
}

// The worst of several.
int Worse(int a, int b) {
  const auto rank = [](int status) {
    return status == kOk ? 0 : status == kFailed ? 1 : status == kRefused ? 2 : status == kUsage ? 3 : 4;
  };
  return rank(a) >= rank(b) ? a : b;
}

// Why FILE cannot be one, where that is seen without opening it; empty: it may be.
std::string FaultOfName(const std::string& file, const FixOptions& options) {
  if (IsServerName(file)) return {};
  std::error_code ignored;
  if (std::filesystem::is_directory(platform::PathOf(file), ignored)) {
    return fmt::format("{} is a folder, not a file; name files: {}.", file,
                       platform::Utf8Of(platform::PathOf(file) / "*.mdb"));
  }
  try {
    if (jet::PlatformFileSystem().Exists(file)) return {};
  } catch (const jet::Error&) {
    return {};  // its run says why
  }
  std::string fault = fmt::format("The file {} does not exist.", file);
  const std::string& list = options.only.empty() ? options.except : options.only;
  if (!list.empty() && IsFixNumber(file)) {
    fault += fmt::format(" Several fixes are named with commas: {} {},{}.",
                         options.only.empty() ? "--except" : "--only", list, file);
  }
  return fault;
}

// Refuses the whole command when a FILE is none, so that a slip in the last one is not heard of when the
// first is done.
bool AllAreFiles(const FixOptions& options, FixReport& report, std::ostream& err) {
  bool all = true;
  for (std::size_t i = 0; i < options.files.size(); ++i) {
    const std::string fault = FaultOfName(options.files[i], options);
    if (fault.empty()) continue;
    all = false;
    err << fmt::format("vntfix: {}\n", fault);
    RunRecord record = FixReport::Refused(options.files[i], options);
    record.refusal = fault;
    report.Ends(i, std::move(record));
  }
  if (!all && options.files.size() > 1) err << "vntfix: Nothing was done, on no file.\n";
  return all;
}

int FixFiles(const FixOptions& options, const FixSelection& selection, const std::vector<NoticeRange>& ranges,
             Streams& streams) {
  // A document stands alone on standard output.
  const bool is_document =
      (options.diff && options.format.value_or(DiffFormat::kText) != DiffFormat::kText) ||
      options.report == kStandardOutput;
  Streams lines{streams.in, is_document ? streams.err : streams.out, streams.err, streams.progress};
  FixReport report(options);
  if (const std::string fault = report.Begin(); !fault.empty()) {
    streams.err << "vntfix: " << fault << '\n';
    return kRefused;
  }
  DifferencePrinter differences(options, streams.out);
  int status = kOk;
  if (AllAreFiles(options, report, streams.err)) {
    for (std::size_t i = 0; i < options.files.size() && InterruptedStatus() == 0; ++i) {
      report.Starts(i);
      Fixed fixed = FixFile(options.files[i], options, selection, ranges, lines, differences);
      status = Worse(status, fixed.status);
      report.Ends(i, std::move(fixed.record));
    }
  } else {
    status = kRefused;
  }
  differences.Finish();
  if (!report.Finish(options.report == kStandardOutput ? streams : lines) && status == kOk)
    status = kUnwritten;
  return status;
}

}  // namespace

int Fix(const FixOptions& options, Streams& streams) {
  FixSelection selection;
  std::vector<NoticeRange> ranges;
  try {
    selection = Select(options);
    if (!options.notices.empty()) ranges = ParseNotices(options.notices);
  } catch (const ChoiceError& error) {
    streams.err << "vntfix: " << error.what() << '\n';
    return kUsage;
  }
  if (!options.report.empty() && options.report != kStandardOutput &&
      WouldOverwriteDatabase(options.report)) {
    streams.err << fmt::format("vntfix: the report {} would overwrite a database. Nothing was done.\n",
                               options.report);
    return kUsage;
  }
  if (const std::string fault = OutputFault(options); !fault.empty()) {
    streams.err << "vntfix: " << fault << '\n';
    return kUsage;
  }
  const Interruptible interruptible;
  if (options.all_notices) {
    if (options.files.size() != 1 || !IsServerName(options.files[0])) {
      streams.err << "vntfix: --all-notices takes one data source (dsn:NAME).\n";
      return kUsage;
    }
    return FixAllNotices(options.files[0], options, selection, streams);
  }
  return FixFiles(options, selection, ranges, streams);
}

}  // namespace vnt::cli
