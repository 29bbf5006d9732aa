#include "startup/run_messages.h"

#include <algorithm>
#include <map>
#include <utility>

#include "platform/in_force.h"
#include "platform/services.h"

namespace vnt {
namespace {

using platform::MessageStyle;

constexpr char kCheckCaption[] = "Show no more messages of this run; list them at the end";
constexpr int kErrorsBeforeAsking = 2;
constexpr std::size_t kListedLines = 20;

platform::Messages*& InForce() { return platform::InForce<platform::Services>().messages; }

// One line for each text, with how often it came, in the order in which they came first.
std::string ListOf(const std::vector<std::string>& texts) {
  std::vector<const std::string*> order;
  std::map<std::string, int> counts;
  for (const std::string& text : texts) {
    if (++counts[text] == 1) order.push_back(&text);
  }
  std::string list = texts.size() == 1 ? "1 message was not shown:"
                                       : std::to_string(texts.size()) + " messages were not shown:";
  for (std::size_t i = 0; i < std::min(order.size(), kListedLines); ++i) {
    const int count = counts[*order[i]];
    list += "\n" + *order[i];
    if (count > 1) list += " (" + std::to_string(count) + " times)";
  }
  if (order.size() > kListedLines) {
    list += "\nand " + std::to_string(order.size() - kListedLines) + " others; the report has them all.";
  }
  return list;
}

}  // namespace

RunMessages::RunMessages(std::function<void()> before)
    : former_(std::exchange(InForce(), this)), before_(std::move(before)) {}

RunMessages::~RunMessages() { InForce() = former_; }

void RunMessages::Show(std::string_view text, MessageStyle style) { ShowExplained(text, style, {}); }

void RunMessages::ShowExplained(std::string_view text, MessageStyle style, std::string_view explanation) {
  if (seen_enough_) {
    kept_.emplace_back(text);
    return;
  }
  if (before_) before_();
  if (former_ == nullptr) {
    // Nobody has said where messages go: standard error.
    InForce() = nullptr;
    platform::ShowMessage(text, style, explanation);
    InForce() = this;
    return;
  }
  if (style != MessageStyle::kInformation && ++errors_ > kErrorsBeforeAsking) {
    seen_enough_ = former_->ShowWithCheck(text, style, explanation, kCheckCaption);
  } else {
    former_->ShowExplained(text, style, explanation);
  }
}

void RunMessages::RunEnds() {
  seen_enough_ = false;
  errors_ = 0;
  if (kept_.empty()) return;
  const std::string list = ListOf(std::exchange(kept_, {}));
  Show(list, MessageStyle::kCritical);
}

}  // namespace vnt
