// Installed files in the data folders of the desktop's conventions.

#include <algorithm>
#include <filesystem>
#include <vector>

#include "platform/home_posix.h"
#include "platform/installed.h"
#include "platform/settings.h"

namespace vnt::platform {
namespace fs = std::filesystem;
namespace {

std::vector<fs::path> DataFolders() {
  std::string list = Environment("XDG_DATA_DIRS");
  if (list.empty()) list = "/usr/local/share:/usr/share";
  std::vector<fs::path> folders;
  for (std::size_t start = 0; start <= list.size();) {
    const std::size_t end = std::min(list.find(':', start), list.size());
    if (end > start) folders.emplace_back(list.substr(start, end - start));
    start = end + 1;
  }
  // Unpacked anywhere, the program still finds what was unpacked with it.
  std::error_code ignored;
  const fs::path program = fs::read_symlink("/proc/self/exe", ignored);
  if (!program.empty()) folders.push_back(program.parent_path().parent_path() / "share");
  return folders;
}

bool IsFile(const fs::path& path) {
  std::error_code ignored;
  return fs::is_regular_file(path, ignored);
}

}  // namespace

std::string FindOnDriveC(std::string_view path) {
  std::string own = ResolvePath(path);
  if (IsFile(own)) return own;
  for (const fs::path& folder : DataFolders()) {
    const fs::path file = PathWithin(folder / "vntfix" / "c", path.substr(std::string_view("c:").size()));
    if (IsFile(file)) return file.string();
  }
  return own;
}

std::string GuideFile() {
  for (const fs::path& folder : DataFolders()) {
    const fs::path page = folder / "doc" / "vntfix" / "guide" / "index.html";
    if (IsFile(page)) return page.string();
  }
  return {};
}

}  // namespace vnt::platform
