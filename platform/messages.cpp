#include "platform/messages.h"

#include <iostream>
#include <utility>

#include "platform/in_force.h"
#include "platform/services.h"

namespace vnt::platform {

void ShowMessage(std::string_view text, MessageStyle style, std::string_view explanation) {
  const WaitForUser waiting;
  if (Messages* messages = InForce<Services>().messages) {
    messages->ShowExplained(text, style, explanation);
    return;
  }
  std::cerr << text << std::endl;
  if (!explanation.empty()) std::cerr << explanation << std::endl;
}

WaitForUser::WaitForUser() : outermost_(!std::exchange(InForce<Services>().waits, true)) {}

WaitForUser::~WaitForUser() {
  if (!outermost_) return;
  InForce<Services>().waits = false;
  InForce<Services>().time_waited += std::chrono::steady_clock::now() - began_;
}

std::chrono::steady_clock::duration TimeWaited() { return InForce<Services>().time_waited; }

}  // namespace vnt::platform
