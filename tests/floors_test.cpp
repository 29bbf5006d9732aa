// Each folder includes only from folders on floors below its own, or from itself. The floors are the list in
// the root's CMakeLists.txt. A test stands on the floor of the folder whose name its own begins with
// (`tests/run` on that of `run`); one of the whole engine (`tests/access/crash`) on the engine's highest.
// What lies in `tests` itself serves every test and includes nothing of the project.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Folder {
  std::string name;
  int floor;  // from the ground up
};

std::vector<Folder> Folders() {
  std::vector<Folder> folders;
  std::istringstream floors(VNT_FLOORS);
  std::string floor, name;
  for (int number = 0; std::getline(floors, floor, '|'); ++number)
    for (std::istringstream names(floor); names >> name;) folders.push_back({name, number});
  return folders;
}

bool IsWithin(const std::string& path, const std::string& folder) {
  return path == folder || path.starts_with(folder + "/");
}

// The folder of the list to which a source folder belongs; nothing when the list does not name it.
std::optional<Folder> FolderOf(std::string path, const std::vector<Folder>& folders) {
  const bool is_test = IsWithin(path, "tests");
  if (path == "tests") return Folder{path, -1};
  if (is_test) path = path.substr(std::string("tests/").size());
  for (const Folder& folder : folders)
    if (IsWithin(path, folder.name)) return folder;
  std::optional<Folder> highest;
  for (const Folder& folder : folders) {
    const bool holds = is_test && IsWithin(folder.name, path.substr(0, path.find('/')));
    if (holds && (!highest || folder.floor > highest->floor))
      highest = Folder{"tests/" + path.substr(0, path.find('/')), folder.floor + 1};
  }
  return highest;
}

bool MayInclude(const Folder& from, const Folder& what) {
  return from.name == what.name || what.floor < from.floor;
}

TEST(Floors, IncludesPointDownOnly) {
  const std::vector<Folder> folders = Folders();
  ASSERT_GT(folders.size(), 10U);
  const fs::path root = VNT_SOURCE_FOLDER;
  const std::regex include(R"re(^\s*#\s*include\s*"([^"]+)/[^"/]+".*)re");
  const std::regex generated("tables");  // collation tables, made by the build beside access/index
  int includes = 0;
  std::vector<std::string> roots = {"tests"};
  for (const Folder& folder : folders) roots.push_back(folder.name.substr(0, folder.name.find('/')));
  std::ranges::sort(roots);
  roots.erase(std::unique(roots.begin(), roots.end()), roots.end());
  for (const std::string& top : roots) {
    for (const auto& entry : fs::recursive_directory_iterator(root / top)) {
      const fs::path& path = entry.path();
      if (path.extension() != ".cpp" && path.extension() != ".h") continue;
      const std::string folder = path.parent_path().lexically_relative(root).generic_string();
      const auto from = FolderOf(folder, folders);
      ASSERT_TRUE(from) << folder << " is on no floor: name it in CMakeLists.txt";
      std::ifstream file(path);
      std::smatch match;
      for (std::string line; std::getline(file, line);) {
        if (!std::regex_match(line, match, include) || std::regex_match(match[1].str(), generated)) continue;
        ++includes;
        const auto what = FolderOf(match[1], folders);
        EXPECT_TRUE(what && MayInclude(*from, *what)) << path << ": " << line;
        EXPECT_TRUE(IsWithin(folder, "tests") || !IsWithin(match[1], "tests")) << path << ": " << line;
      }
    }
  }
  EXPECT_GT(includes, 500);
}

TEST(Floors, ABreachIsSeen) {
  const std::vector<Folder> folders = Folders();
  const struct {
    const char* from;
    const char* what;
    bool allowed;
  } cases[] = {
      {"freq", "fixes", false},
      {"freq", "program", true},
      {"tests/platform", "tests", true},
      {"tests", "access/base", false},
      {"db", "access/sql", true},
      {"db/access_provider", "db", true},
      {"access/check", "access/sql", false},
      {"access/base", "platform", false},
      {"tests/freq", "run", false},
      {"tests/access/fuzz", "access/check", true},
      {"tests/access/fuzz", "db", false},
      {"tests/startup/ingres", "run", true},
      {"cli", "ui", false},
  };
  for (const auto& [from, what, allowed] : cases)
    EXPECT_EQ(MayInclude(*FolderOf(from, folders), *FolderOf(what, folders)), allowed) << from << " " << what;
  EXPECT_FALSE(FolderOf("elsewhere", folders));
}

}  // namespace
