#include "program/notice_scope.h"

#include "program/program_state.h"

namespace vnt {

bool IsRestricted(NoticeTest test) {
  const std::int32_t ntc_id = State().ntc_id;
  return test == NoticeTest::kNotZero ? ntc_id != 0 : ntc_id > 0;
}

std::string CurrentNotice(const Restriction& restriction, NoticeTest test) {
  if (restriction.before.empty() || !IsRestricted(test)) return {};
  std::string text(restriction.before);
  if (State().notices.empty()) {
    text += std::to_string(State().ntc_id);
  } else {
    // "ntc_id = 12" becomes "ntc_id in (12, 13)".
    text.resize(text.rfind('='));
    for (const std::int32_t notice : State().notices)
      text += (text.back() == ' ' ? "in (" : ", ") + std::to_string(notice);
    text += ')';
  }
  text += restriction.after;
  return text;
}

}  // namespace vnt
