// The messages of one run: shown as they come, until somebody has seen enough of them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/messages.h"

namespace vnt {

// While this lives, messages go through it to where they went before. From the third error of a run on, they
// come with a check mark; once it is set, the rest is kept for one list at the end.
class RunMessages : public platform::Messages {
 public:
  // `before` is called before each message; it may be empty.
  explicit RunMessages(std::function<void()> before = {});
  ~RunMessages() override;
  RunMessages(const RunMessages&) = delete;
  RunMessages& operator=(const RunMessages&) = delete;

  void Show(std::string_view text, platform::MessageStyle style) override;
  void ShowExplained(std::string_view text, platform::MessageStyle style,
                     std::string_view explanation) override;
  // To be called when the last fix has ended: what is said from then on is shown, after the list.
  void RunEnds();

 private:
  platform::Messages* const former_;
  std::function<void()> before_;
  int errors_ = 0;
  bool seen_enough_ = false;
  std::vector<std::string> kept_;
};

}  // namespace vnt
