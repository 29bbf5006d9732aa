// vntfix undo: the way back to the state before the last run.
#include <ostream>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/output.h"
#include "run/backup.h"

namespace vnt::cli {

int Undo(const UndoOptions& options, Streams& streams) {
  if (options.list) {
    std::vector<std::vector<std::string>> rows;
    for (const Backup& backup : FindBackups(jet::PlatformFileSystem(), options.file, options.folder)) {
      rows.push_back({backup.made, std::to_string(backup.size), backup.path, backup.says});
    }
    PrintTable({"made", "bytes", "backup", "the run"}, rows, {false, true, false, false}, streams.out);
    return kOk;
  }
  const Undone undone = UndoLastRun(jet::PlatformFileSystem(), options.file, options.folder, options.force);
  streams.out << fmt::format("{} is what it was before the {}: {}\nWhat it was until now: {}\n", options.file,
                             undone.of_undoing ? "undoing" : "run", undone.restored, undone.kept);
  if (!undone.remark.empty()) streams.err << fmt::format("vntfix: {}\n", undone.remark);
  return kOk;
}

}  // namespace vnt::cli
