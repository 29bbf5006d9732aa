// vntfix: the command line tool. Results go to standard output, messages and progress to standard error.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace vnt::cli {

enum ExitCode {
  kOk = 0,
  kFailed = 1,     // a fix or statement failed, a run ended early, or `check` found something
  kDifferent = 1,  // of `diff`: the databases are not equal
  kUsage = 2,      // wrong options or arguments
  kRefused = 3,    // missing, locked, read-only, unsupported or damaged file
  kUnwritten = 4,  // done, but the output could not be written
};

struct Streams {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool progress = false;  // err is a terminal
  std::size_t width = 0;  // of the terminal that out is, in columns; 0: it is none
  bool is_piped = false;  // out is a pipe: writing fails only when nobody reads any more
};

// `arguments` without the program's name. Gives an ExitCode, or 128 and the number of the signal that ended
// the command.
int Run(const std::vector<std::string>& arguments, Streams streams);

}  // namespace vnt::cli
