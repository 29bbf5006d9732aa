// Messages as message boxes that carry the program's title.
#pragma once

#include "platform/messages.h"

namespace vnt::ui {

inline constexpr const char* kProgramTitle = "VNTFixdb";

class BoxMessages : public platform::Messages {
 public:
  void Show(std::string_view text, platform::MessageStyle style) override;
  void ShowExplained(std::string_view text, platform::MessageStyle style,
                     std::string_view explanation) override;
  bool ShowWithCheck(std::string_view text, platform::MessageStyle style, std::string_view explanation,
                     std::string_view caption) override;
};

}  // namespace vnt::ui
