// guide_pages PROSE OUT: writes the pages of the guide that are made from the program itself into the folder
// OUT: fixes.md and fixes/NN.md. PROSE is docs/guide/fixes.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "guide/fix_page.h"

namespace {

namespace fs = std::filesystem;
using namespace vnt;

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  if (!file || !text) throw std::runtime_error("cannot be read");
  return text.str();
}

void WriteFile(const fs::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw std::runtime_error(path.string() + " cannot be written");
}

void WritePages(const fs::path& prose_folder, const fs::path& out) {
  fs::create_directories(out / "fixes");
  WriteFile(out / "fixes.md", guide::FixListPage());
  guide::ExampleDatabases databases;
  for (const FixEntry& fix : FixCatalogue()) {
    const fs::path prose_file = prose_folder / guide::PageName(fix.index);
    try {
      const guide::FixProse prose = guide::ReadProse(ReadFile(prose_file));
      const guide::Example example = databases.Try(fix.index, prose.example_query);
      WriteFile(out / "fixes" / guide::PageName(fix.index), guide::FixPage(fix, prose, example));
    } catch (const std::exception& error) {
      throw std::runtime_error(prose_file.string() + ": " + error.what());
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: guide_pages PROSE OUT\n", stderr);
    return 2;
  }
  try {
    WritePages(argv[1], argv[2]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "guide_pages: %s\n", error.what());
    return 1;
  }
  return 0;
}
