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

// An Access file names itself from its byte 4 on ("Standard Jet DB", "Standard ACE DB"), a journal from its
// first.
bool IsDatabaseOrJournal(const std::filesystem::path& path) {
  if (HasJournalName(path.u8string())) return true;
  // Whoever opens a pipe may wait for its other end.
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) return false;
  char head[16] = {};
  std::ifstream(path, std::ios::binary).read(head, sizeof head);
  const std::string_view bytes(head, sizeof head);
  return bytes.substr(4).starts_with("Standard ") || bytes.starts_with("pgjrnl");
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
