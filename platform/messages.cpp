#include "platform/messages.h"

#include <iostream>

namespace vnt::platform {
namespace {

class ErrorStreamMessages : public Messages {
 public:
  void Show(std::string_view text, MessageStyle) override { std::cerr << text << std::endl; }
};

Messages*& Installed() {
  static ErrorStreamMessages error_stream;
  static Messages* installed = &error_stream;
  return installed;
}

}  // namespace

void ShowMessage(std::string_view text, MessageStyle style) { Installed()->Show(text, style); }

ScopedMessages::ScopedMessages(Messages& messages) : former_(Installed()) { Installed() = &messages; }

ScopedMessages::~ScopedMessages() { Installed() = former_; }

}  // namespace vnt::platform
