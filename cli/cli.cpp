#include "cli/cli.h"

#include <new>
#include <optional>
#include <ostream>

#include <fmt/format.h>

#include "access/base/error.h"
#include "cli/command_line.h"
#include "cli/completion.h"
#include "cli/interruptible.h"
#include "cli/output.h"
#include "cli/server.h"
#include "cli/waiting_journal.h"
#include "db/engine_errors.h"
#include "db/error.h"

namespace vnt::cli {
namespace {

int Dispatch(const Request& r, Streams& streams) {
  const std::string& command = r.command;
  if (command == "fix") return Fix(r.fix, streams);
  if (command == "undo") return Undo(r.undo, streams);
  if (command == "list") return List(r.list, streams);
  if (command == "new") return New(r.file, r.format, streams);
  if (command == "tables") return Tables(r.file, r.all_tables, streams);
  if (command == "schema") return Schema(r.file, r.table, streams);
  if (command == "export") return Export(r.exported, streams);
  if (command == "info") return Info(r.file, streams);
  if (command == "check") return Check(r.file, streams);
  if (command == "compact") return Compact(r.file, streams);
  if (command == "diff") return Diff(r.diff, streams);
  if (command == "sql") return Sql(r.sql, streams);
  if (command == "copy") return Copy(r.copy, streams);
  return Sample(r.sample, streams);
}

// What the user is told of an error: program, file where there is one, and the number at the end.
void Tell(const Request& request, const db::DbError& error, Streams& streams) {
  const std::vector<std::string> files = request.Files();
  std::string place = files.size() == 1 ? files.front() : "";
  // The sentences of undo tell of several files, and name each.
  if (request.command == "undo" && error.description().find(place) != std::string::npos) place.clear();
  TellError(error, place, streams.err);
}

void TellWaitingJournals(const Request& request, Streams& streams) {
  if (request.command == "info") return;  // has a line of its own
  if (request.command == "fix" && request.fix.discard_journal) return;
  const bool writes = request.command == "fix" ? !request.fix.dry_run : request.command == "compact";
  for (const std::string& file : request.Files()) {
    if (IsServerName(file)) continue;
    const std::string text = WaitingJournal(jet::PlatformFileSystem(), file, writes);
    if (!text.empty()) streams.err << fmt::format("vntfix: {}: {}\n", file, text);
  }
}

int RunCommand(const std::vector<std::string>& arguments, Streams& streams) {
  if (!arguments.empty() && arguments.front() == kCompletionCommand) {
    return PrintCompletion({arguments.begin() + 1, arguments.end()}, streams);
  }
  int status = kOk;
  const std::optional<Request> request = ParseCommandLine(arguments, streams, &status);
  if (!request) return status;
  try {
    UseLogin(request->login);
    TellWaitingJournals(*request, streams);
    return Dispatch(*request, streams);
  } catch (const jet::Error& e) {
    Tell(*request, db::ToDbError(e), streams);
    if (e.kind() == jet::ErrorKind::kInterrupted) return InterruptedStatus();
    return e.is_refusal() || e.kind() == jet::ErrorKind::kNoTable ? kRefused : kFailed;
  } catch (const db::DbError& e) {
    Tell(*request, e, streams);
    if (e.number() == db::kErrInterrupted) return InterruptedStatus();
    return e.number() == db::kErrReadOnly ? kRefused : kFailed;
  } catch (const std::bad_alloc&) {
    streams.err << "vntfix: " << db::kOutOfMemory << '\n';
    // Statements before the one that failed may have been done.
    return request->command == "sql" ? kFailed : kRefused;
  } catch (const std::exception& e) {
    streams.err << "vntfix: " << e.what() << '\n';
    return kFailed;
  }
}

}  // namespace

int Run(const std::vector<std::string>& arguments, Streams streams) {
  const int code = RunCommand(arguments, streams);
  // What is still buffered fails here at the latest.
  streams.out.flush();
  streams.err.flush();
  if (streams.out && streams.err) return code;
  // Whoever leaves a pipe has read what they wanted.
  const bool is_told = streams.err && !(streams.is_piped && !streams.out);
  if (is_told) streams.err << "vntfix: the output could not be written.\n" << std::flush;
  return code == kOk ? kUnwritten : code;
}

}  // namespace vnt::cli
