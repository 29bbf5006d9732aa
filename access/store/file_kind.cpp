#include "access/store/file_kind.h"

#include <fstream>
#include <string_view>

namespace jet {

// An Access file names itself from its byte 4 on ("Standard Jet DB", "Standard ACE DB"), a journal from its
// first.
bool IsDatabaseOrJournal(const std::filesystem::path& path) {
  if (path.filename().u8string().ends_with(u8"-vntjournal")) return true;
  char head[16] = {};
  std::ifstream(path, std::ios::binary).read(head, sizeof head);
  const std::string_view bytes(head, sizeof head);
  return bytes.substr(4).starts_with("Standard ") || bytes.starts_with("pgjrnl");
}

}  // namespace jet
