// The fixes know the database layer and nothing of the engine below or of the windows above.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>

namespace {

TEST(Layers, FixesIncludeNeitherEngineNorToolkit) {
  const std::regex forbidden(
      R"re(^\s*#\s*include\s*[<"](access/|wx/|sqlite3|db/access_provider|db/odbc_provider).*)re");
  int files = 0;
  for (const char* folder : {"fixes", "freq", "history"}) {
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(std::filesystem::path(VNT_SOURCE_FOLDER) / folder)) {
      if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") continue;
      ++files;
      std::ifstream file(entry.path());
      std::string line;
      while (std::getline(file, line))
        EXPECT_FALSE(std::regex_match(line, forbidden)) << entry.path() << ": " << line;
    }
  }
  EXPECT_GT(files, 30);
}

}  // namespace
