#include "platform/device.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace vnt::platform {
namespace {

constexpr int kPatience = 10'000;  // milliseconds

// A reader who goes away is an error of the write, and not the end of the program.
class WithoutPipeSignal {
 public:
  WithoutPipeSignal() : former_(std::signal(SIGPIPE, SIG_IGN)) {}
  ~WithoutPipeSignal() { std::signal(SIGPIPE, former_); }
  WithoutPipeSignal(const WithoutPipeSignal&) = delete;
  WithoutPipeSignal& operator=(const WithoutPipeSignal&) = delete;

 private:
  void (*former_)(int);
};

bool WriteAll(int device, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(device, text.data(), text.size());
    if (written > 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (written < 0 && errno == EAGAIN) {
      pollfd ready = {device, POLLOUT, 0};
      if (poll(&ready, 1, kPatience) == 0) return false;
    } else if (written == 0 || errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool WriteToDevice(const std::filesystem::path& path, std::string_view text) {
  const WithoutPipeSignal ignored;
  // Else a pipe that nobody reads from is waited for.
  const int device = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (device < 0) return false;
  const bool written = WriteAll(device, text);
  return close(device) == 0 && written;
}

}  // namespace vnt::platform
