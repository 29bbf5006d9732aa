#include "platform/messages.h"

#include <iostream>

#include "platform/in_force.h"
#include "platform/services.h"

namespace vnt::platform {

void ShowMessage(std::string_view text, MessageStyle style) {
  if (Messages* messages = InForce<Services>().messages) {
    messages->Show(text, style);
  } else {
    std::cerr << text << std::endl;
  }
}

}  // namespace vnt::platform
