#include "platform/interruption.h"

#include <csignal>
#include <cstddef>
#include <iterator>

namespace vnt::platform {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

std::atomic<std::atomic<int>*> current_request{nullptr};
struct sigaction former[std::size(kSignals)];

extern "C" void Note(int signal) {
  int none = 0;
  std::atomic<int>* const request = current_request.load();
  const bool is_second = request != nullptr && !request->compare_exchange_strong(none, signal);
  // From now on each of them ends the process.
  for (const int other : kSignals) {
    if (other != SIGPIPE) std::signal(other, SIG_DFL);
  }
  // Two that came at the same moment are both handled here.
  if (is_second) std::raise(signal);
}

}  // namespace

InterruptionScope::InterruptionScope(std::atomic<int>& request) {
  current_request = &request;
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigaction(kSignals[i], nullptr, &former[i]);
    if (former[i].sa_handler == SIG_IGN) continue;
    struct sigaction action {};
    action.sa_handler = kSignals[i] == SIGPIPE ? SIG_IGN : Note;
    // Reads and writes that a signal meets are made again.
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(kSignals[i], &action, nullptr);
  }
}

InterruptionScope::~InterruptionScope() {
  for (std::size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &former[i], nullptr);
  current_request = nullptr;
}

}  // namespace vnt::platform
