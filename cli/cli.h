// vntfix: the command line tool. Results go to standard output, messages and progress to standard error.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace vnt::cli {

enum ExitCode {
  kOk = 0,
  kFailed = 1,     // the run finished, but a fix or statement failed, or `check` found something
  kUsage = 2,      // wrong options or arguments
  kRefused = 3,    // missing, locked, read-only, unsupported or damaged file
  kUnwritten = 4,  // done, but the output could not be written
};

struct Streams {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool progress = false;  // err is a terminal
};

// `arguments` without the program's name.
int Run(const std::vector<std::string>& arguments, Streams streams);

}  // namespace vnt::cli
