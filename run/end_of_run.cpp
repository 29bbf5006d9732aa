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

// A few are named; of more it is told how many, or the message would be longer than anybody reads.
constexpr std::size_t kNamed = 3;

class Sentences {
 public:
  Sentences(const std::vector<FixResult>& fixes, std::string* text) : fixes_(fixes), text_(*text) {}

  template <class Wanted>
  std::size_t Count(Wanted wanted) const {
    return static_cast<std::size_t>(std::ranges::count_if(fixes_, wanted));
  }

  // Nothing where there are none.
  template <class Wanted>
  void Tell(std::string_view begin, Wanted wanted) {
    const std::size_t count = Count(wanted);
    if (count == 0) return;
    text_ += begin;
    if (count > kNamed) {
      AppendFixes(Count([&](const FixResult& fix) { return fix.fix != nullptr && wanted(fix); }));
      counted_ = true;
    } else {
      AppendNames(wanted);
    }
    text_ += '.';
  }

  // Whether more are told of than are named.
  bool counted() const { return counted_; }

 private:
  template <class Wanted>
  void AppendNames(Wanted wanted) {
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
  void AppendFixes(std::size_t number) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    text_ += ' ';
    text_.append(digits.data(), end);
    text_ += " fixes";
  }

  const std::vector<FixResult>& fixes_;
  std::string& text_;
  bool counted_ = false;
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
  sentences.Tell(" Undone:", Is<FixStatus::kUndone>);
  const bool doubt = sentences.Count(Is<FixStatus::kInDoubt>) > 0;
  sentences.Tell(" Perhaps in the database, all or none of them:", Is<FixStatus::kInDoubt>);
  sentences.Tell(" Stopped, and what was executed until then stays:", Is<FixStatus::kStopped>);
  sentences.Tell(doubt ? " Surely in the database:" : " In the database:", IsFixInDatabase);
  if (sentences.Count(IsFixInDatabase) == 0) {
    *text +=
        doubt ? " No other fix of this run is in the database." : " No fix of this run is in the database.";
  }
  sentences.Tell(" Not run:", Is<FixStatus::kNotRun>);
  if (sentences.counted()) *text += " The report names them.";
  if (!IsInDatabase(fixes.back()) && fixes.back().status != FixStatus::kInDoubt)
    *text += " No history was written.";
}

}  // namespace vnt
