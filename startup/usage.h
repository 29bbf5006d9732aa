// The command lines of VNTFixdb, for --help and the manual.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace vnt {

struct CommandLineForm {
  std::string_view line;
  std::string_view meaning;  // in lines; may be empty
};
std::span<const CommandLineForm> CommandLineForms();

// Settings and variables, in lines.
std::string_view UsageNotes();

// What --help prints.
std::string UsageText();

}  // namespace vnt
