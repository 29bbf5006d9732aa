#include "access/store/file_kind.h"

#include <fmt/format.h>

#include <fstream>
#include <string_view>

#include "access/base/error.h"

namespace jet {
namespace {

bool HasJournalName(std::u8string_view path) {
  while (path.ends_with(u8'/') || path.ends_with(u8'\\')) path.remove_suffix(1);
  return path.ends_with(u8"-vntjournal");
}

}  // namespace

// An Access file names itself from its byte 4 on ("Standard Jet DB", "Standard ACE DB"), and still does where
// a part of that is damaged; a journal from its first, as does a SQLite file, which "export" makes.
bool IsDatabaseOrJournal(const std::filesystem::path& path) {
  if (HasJournalName(path.u8string())) return true;
  // Whoever opens a pipe may wait for its other end.
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) return false;
  char head[20] = {};
  std::ifstream(path, std::ios::binary).read(head, sizeof head);
  const std::string_view bytes(head, sizeof head);
  const std::string_view engine = bytes.substr(13);
  return bytes.substr(4).starts_with("Standard ") || engine.starts_with("Jet DB") ||
         engine.starts_with("ACE DB") || bytes.starts_with("pgjrnl") || bytes.starts_with("SQLite format 3");
}

void RequireNoJournalName(const std::string& path) {
  if (!HasJournalName(std::u8string(path.begin(), path.end()))) return;
  throw Error(
      ErrorKind::kNotSupported,
      fmt::format("\"{}\" is the name of a journal: the database that it belongs to could not be opened "
                  "any more. Choose another name.",
                  path));
}

}  // namespace jet
