// vntfix undo: the way back to the state before the last run.
#include <ostream>

#include <fmt/format.h>

#include "access/base/error.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "run/backup.h"

namespace vnt::cli {

namespace {

// What the record says of the run, and what is against putting the backup back.
std::string Described(const Backup& backup) {
  std::string text = backup.says;
  if (!backup.is_surely_of_it) text += ", perhaps of another file";
  try {
    if (!DamageOf(jet::PlatformFileSystem(), backup).empty()) text += ", damaged";
  } catch (const jet::Error&) {
    text += ", cannot be read";
  }
  return text;
}

}  // namespace

int Undo(const UndoOptions& options, Streams& streams) {
  if (options.list) {
    std::vector<std::vector<std::string>> rows;
    for (const Backup& backup : FindBackups(jet::PlatformFileSystem(), options.file, options.folder)) {
      rows.push_back({backup.made, std::to_string(backup.size), backup.path, Described(backup)});
    }
    PrintTable({"made", "bytes", "backup", "the run"}, rows, {false, true, false, false}, streams.out);
    return kOk;
  }
  const Undone undone =
      UndoLastRun(jet::PlatformFileSystem(), options.file, options.folder, options.force, {}, options.from);
  for (const std::string& warning : undone.warnings) streams.err << fmt::format("vntfix: {}\n", warning);
  streams.out << fmt::format("{} is what it was before the {}: {}\n", options.file,
                             undone.of_undoing ? "undoing" : "run", undone.restored);
  if (!undone.kept.empty()) streams.out << fmt::format("What it was until now: {}\n", undone.kept);
  if (!undone.remark.empty()) streams.err << fmt::format("vntfix: {}\n", undone.remark);
  return undone.durable ? kOk : kFailed;
}

}  // namespace vnt::cli
