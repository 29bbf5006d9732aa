#include "run/end_of_run.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <new>
#include <string_view>

namespace vnt {
namespace {

void AppendReason(const std::exception_ptr& failure, std::string* text) {
  try {
    std::rethrow_exception(failure);
  } catch (const db::DbError& error) {
    *text += error.description();
  } catch (const std::bad_alloc&) {
    *text += db::kOutOfMemory;
  } catch (const std::exception& error) {
    *text += error.what();
  }
}

std::string_view NameOf(const FixResult& fix) {
  return fix.fix == nullptr ? std::string_view("History") : fix.fix->caption;
}

class Sentences {
 public:
  Sentences(const std::vector<FixResult>& fixes, std::string* text) : fixes_(fixes), text_(*text) {}

  template <class Wanted>
  void Names(Wanted wanted) {
    std::string_view separator = " ";
    for (const FixResult& fix : fixes_) {
      if (!wanted(fix)) continue;
      text_ += separator;
      text_ += '"';
      text_ += NameOf(fix);
      text_ += '"';
      separator = ", ";
    }
  }

  template <class Wanted>
  std::size_t Count(Wanted wanted) const {
    return static_cast<std::size_t>(std::ranges::count_if(fixes_, wanted));
  }

  void Number(std::size_t number) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    text_.append(digits.data(), end);
  }

 private:
  const std::vector<FixResult>& fixes_;
  std::string& text_;
};

template <FixStatus kStatus>
bool Is(const FixResult& fix) {
  return fix.status == kStatus;
}

bool IsInDatabase(const FixResult& fix) {
  return fix.status == FixStatus::kDone || fix.status == FixStatus::kFailed;
}

bool IsFixInDatabase(const FixResult& fix) { return fix.fix != nullptr && IsInDatabase(fix); }

}  // namespace

void AppendEndOfRun(const std::exception_ptr& failure, const std::vector<FixResult>& fixes,
                    std::string* text) {
  Sentences sentences(fixes, text);
  AppendReason(failure, text);
  if (sentences.Count(Is<FixStatus::kUndone>) > 0) {
    *text += " Undone:";
    sentences.Names(Is<FixStatus::kUndone>);
    *text += ".";
  }
  const bool doubt = sentences.Count(Is<FixStatus::kInDoubt>) > 0;
  if (doubt) {
    *text += " Perhaps in the database, all or none of them:";
    sentences.Names(Is<FixStatus::kInDoubt>);
    *text += ".";
  }
  if (sentences.Count(Is<FixStatus::kStopped>) > 0) {
    *text += " Stopped, and what was executed until then stays:";
    sentences.Names(Is<FixStatus::kStopped>);
    *text += ".";
  }
  const std::size_t kept = sentences.Count(IsFixInDatabase);
  if (kept == 0) {
    *text +=
        doubt ? " No other fix of this run is in the database." : " No fix of this run is in the database.";
  } else {
    *text += doubt ? " Surely in the database: " : " In the database: ";
    sentences.Number(kept);
    *text += kept == 1 ? " fix:" : " fixes:";
    sentences.Names(IsFixInDatabase);
    *text += ".";
  }
  if (sentences.Count(Is<FixStatus::kNotRun>) > 0) {
    *text += " Not run:";
    sentences.Names(Is<FixStatus::kNotRun>);
    *text += ".";
  }
  if (!IsInDatabase(fixes.back()) && fixes.back().status != FixStatus::kInDoubt)
    *text += " No history was written.";
}

}  // namespace vnt
