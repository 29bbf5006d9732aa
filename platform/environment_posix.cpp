#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "platform/environment.h"

namespace vnt::platform {

std::filesystem::path EnvironmentPath(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::filesystem::path() : std::filesystem::path(value);
}

void OccupyStandardStreams() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (fcntl(fd, F_GETFD) != -1) continue;
    // A new descriptor is the lowest that is free: this one.
    if (open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY) != fd) _exit(1);
  }
}

void LetLargeFilesFail() { std::signal(SIGXFSZ, SIG_IGN); }

}  // namespace vnt::platform
