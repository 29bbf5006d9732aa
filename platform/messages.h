// The one way in which the program speaks to its user. A window shows message boxes; without a display, and
// in the command line tool, the texts go to standard error.
#pragma once

#include <chrono>
#include <string_view>

namespace vnt::platform {

enum class MessageStyle { kPlain, kInformation, kCritical };

class Messages {
 public:
  virtual ~Messages() = default;
  virtual void Show(std::string_view text, MessageStyle style) = 0;
  // With a second text that says more about the first. Who has no place for one shows the first alone.
  virtual void ShowExplained(std::string_view text, MessageStyle style, std::string_view /*explanation*/) {
    Show(text, style);
  }
  // With a check mark of that caption beneath the texts, of which the second may be empty; gives whether it
  // was set. Who has none to offer shows the texts.
  virtual bool ShowWithCheck(std::string_view text, MessageStyle style, std::string_view explanation,
                             std::string_view /*caption*/) {
    ShowExplained(text, style, explanation);
    return false;
  }
};

// Shows a message in the way now in force (services.h). The explanation may be empty.
void ShowMessage(std::string_view text, MessageStyle style, std::string_view explanation = {});

// While this lives, the program waits for its user, as it does for the length of each message.
class WaitForUser {
 public:
  WaitForUser();
  ~WaitForUser();
  WaitForUser(const WaitForUser&) = delete;
  WaitForUser& operator=(const WaitForUser&) = delete;

 private:
  const bool outermost_;
  const std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
};

// How long it has waited until now, in all. What takes the time of a piece of work leaves that out.
std::chrono::steady_clock::duration TimeWaited();

}  // namespace vnt::platform
