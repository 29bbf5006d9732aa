// The manual pages of both programs. They are made of what the programs themselves go by: the parser's table
// of commands and options, the lists behind --help, and the catalogue of the fixes.
#pragma once

#include <string>
#include <vector>

namespace vnt::manual {

struct File {
  std::string name;  // with the folder of the package that it belongs to: "vntfix/vntfix-fix.1"
  std::string text;
};

// `date` of the version, as 2026-11-22.
std::vector<File> Pages(const std::string& date);

}  // namespace vnt::manual
