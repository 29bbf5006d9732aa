// Signals that ask a console program to end, turned into a number that its work looks at.
#pragma once

#include <atomic>

namespace vnt::platform {

// While this lives, the first request to end (SIGINT, SIGTERM, SIGHUP; on Windows Ctrl+C, Ctrl+Break and the
// closing of the console) stores its signal number in `request`; a second one ends the process at once, as it
// would have done without this. What the process was started to ignore stays ignored. Writing to a pipe that
// nobody reads any more fails and does not end the process.
//
// One at a time in a process.
class InterruptionScope {
 public:
  explicit InterruptionScope(std::atomic<int>& request);
  ~InterruptionScope();
  InterruptionScope(const InterruptionScope&) = delete;
  InterruptionScope& operator=(const InterruptionScope&) = delete;
};

}  // namespace vnt::platform
