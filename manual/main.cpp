// Writes the manual pages. Usage: manual_pages FOLDER DATE
#include <filesystem>
#include <fstream>
#include <iostream>

#include "manual/pages.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: manual_pages FOLDER DATE\n";
    return 2;
  }
  const std::filesystem::path folder = argv[1];
  for (const vnt::manual::File& page : vnt::manual::Pages(argv[2])) {
    const std::filesystem::path file = folder / page.name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary);
    out << page.text;
    out.close();
    if (out) continue;
    std::cerr << file.string() << " cannot be written.\n";
    return 1;
  }
  return 0;
}
