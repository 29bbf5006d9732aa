// What --help prints.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace vnt::cli {

// Of the program, or of one command: usage, what it does, arguments, options, and its footer (examples).
std::string HelpText(const CLI::App& app);

}  // namespace vnt::cli
