#include "access/file/drop_journal.h"

#include <fmt/format.h>

#include <optional>

#include "access/base/error.h"
#include "access/file/journal_header.h"

namespace jet {
namespace {

using internal::JournalHeader;

// Whether some of what the journal holds may be in the file already. The time of the file's last change does
// not tell: a power loss may have lost it.
bool IsNeeded(const std::optional<JournalHeader>& header) {
  return header && header->phase == internal::Journal::Phase::kApplying;
}

}  // namespace

bool DropJournal(FileSystem& files, const std::string& database, const std::string& journal) {
  const std::unique_ptr<File> file = files.Open(database, OpenMode::kReadWrite);
  if (!files.Exists(journal)) return false;
  {
    const std::unique_ptr<File> open = files.OpenCompanion(journal, OpenMode::kReadWrite, *file);
    const internal::JournalHeaders headers = internal::ReadHeaders(*open, journal);
    if (IsNeeded(headers.newest) || IsNeeded(headers.before)) {
      throw Error(
          ErrorKind::kInvalid,
          fmt::format("The journal {} cannot be dropped: the file was being brought up to date from it, "
                      "and would be damaged without it. Nothing was changed.",
                      journal));
    }
  }
  files.Remove(journal);
  files.SyncFolder(journal);
  return true;
}

}  // namespace jet
