// The one way in which the program speaks to its user. A window shows message boxes; without a display, and
// in the command line tool, the texts go to standard error.
#pragma once

#include <string_view>

namespace vnt::platform {

enum class MessageStyle { kPlain, kInformation, kCritical };

class Messages {
 public:
  virtual ~Messages() = default;
  virtual void Show(std::string_view text, MessageStyle style) = 0;
  // With a check mark of that caption beneath the text; gives whether it was set. Who has none to offer shows
  // the text.
  virtual bool ShowWithCheck(std::string_view text, MessageStyle style, std::string_view /*caption*/) {
    Show(text, style);
    return false;
  }
};

// Shows a message in the way now in force (services.h).
void ShowMessage(std::string_view text, MessageStyle style);

}  // namespace vnt::platform
