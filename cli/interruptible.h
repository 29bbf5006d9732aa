// Commands that a signal ends in good order.
#pragma once

#include "access/base/interruption.h"
#include "platform/interruption.h"

namespace vnt::cli {

// While this lives, SIGINT, SIGTERM and SIGHUP end what runs as an error does: with jet::Error(kInterrupted)
// or its DbError, which takes the statement under way back. See platform::InterruptionScope.
class Interruptible {
 public:
  Interruptible() { jet::interruption = 0; }

 private:
  platform::InterruptionScope scope_{jet::interruption};
};

// The exit status of a command that ended because of the signal; 0 when no signal came.
inline int InterruptedStatus() {
  constexpr int kSignalBase = 128;
  const int signal = jet::interruption;
  return signal == 0 ? 0 : kSignalBase + signal;
}

}  // namespace vnt::cli
