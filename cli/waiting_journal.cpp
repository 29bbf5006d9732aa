#include "cli/waiting_journal.h"

#include <ctime>

#include <fmt/format.h>

#include "access/base/error.h"
#include "access/store/database.h"

namespace vnt::cli {

std::string FileTime(std::int64_t nanoseconds) {
  const auto seconds = static_cast<std::time_t>(nanoseconds / 1'000'000'000);
  const std::tm* local = std::localtime(&seconds);
  char text[32];
  if (local == nullptr || std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", local) == 0) return "?";
  return text;
}

std::optional<JournalFacts> FindJournal(jet::FileSystem& files, const std::string& path, jet::File& file) {
  JournalFacts facts;
  facts.path = jet::JournalPath(files, path);
  if (!files.Exists(facts.path)) return {};
  facts.in_use = file.HasWriter();
  // Its own writer may have it; what it holds can be said all the same.
  try {
    const jet::FileStamp stamp = files.OpenCompanion(facts.path, jet::OpenMode::kRead, file)->Stamp();
    facts.size = stamp.size;
    facts.changed = FileTime(stamp.modified);
  } catch (const jet::Error& error) {
    facts.fault = error.what();
  }
  return facts;
}

std::string WaitingJournal(jet::FileSystem& files, const std::string& path, bool writes) {
  try {
    const auto file = files.Open(path, jet::OpenMode::kRead);
    const auto journal = FindJournal(files, path, *file);
    if (!journal || journal->in_use || !journal->fault.empty()) return {};
    return fmt::format("a run that did not end saved its last work in {} at {}; {}.", journal->path,
                       journal->changed,
                       writes ? "it is brought into the file first" : "it is read with the file");
  } catch (const jet::Error&) {
    return {};  // the command itself says why
  }
}

}  // namespace vnt::cli
