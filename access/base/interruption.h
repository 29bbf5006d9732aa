// A request from outside (a signal, a console that is closed) that what runs should end.
//
// Whoever can be asked so stores the signal's number; long work looks at it between rows and ends with
// Error(kInterrupted), which takes the statement under way back. Bringing pages back and making them durable
// does not look: what was begun there is finished.
#pragma once

#include <atomic>

namespace jet {

// The number of the signal, or kStopThis; 0: nobody asked. May be stored from a signal handler and from any
// thread.
inline std::atomic<int> interruption{0};
// Asked by the user of a window: what runs ends, and the program goes on.
inline constexpr int kStopThis = -1;
static_assert(std::atomic<int>::is_always_lock_free);

[[noreturn]] void ThrowInterrupted();

inline void ThrowIfInterrupted() {
  if (interruption.load(std::memory_order_relaxed) != 0) ThrowInterrupted();
}

}  // namespace jet
