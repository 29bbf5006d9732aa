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

// More than that are counted, and the report names them: a box is no place for forty captions.
constexpr std::size_t kMostNames = 3;

class Sentences {
 public:
  Sentences(const std::vector<FixResult>& fixes, std::string* text) : fixes_(fixes), text_(*text) {}

  // Appends a sentence of that beginning about all that are wanted; none when there are none.
  template <class Wanted>
  void Tell(std::string_view beginning, Wanted wanted) {
    const std::size_t count = Count(wanted);
    if (count == 0) return;
    text_ += beginning;
    if (count <= kMostNames) {
      Names(wanted);
    } else {
      counted_ = true;
      const bool with_stamp = wanted(fixes_.back());
      text_ += ' ';
      Number(with_stamp ? count - 1 : count);
      text_ += with_stamp ? " fixes and the history" : " fixes";
    }
    text_ += '.';
  }

  template <class Wanted>
  std::size_t Count(Wanted wanted) const {
    return static_cast<std::size_t>(std::ranges::count_if(fixes_, wanted));
  }

  // Whether a sentence has counted what it does not name.
  bool counted() const { return counted_; }

 private:
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

  void Number(std::size_t number) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    text_.append(digits.data(), end);
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

bool AppendEndOfRun(const std::exception_ptr& failure, const std::vector<FixResult>& fixes,
                    std::string* text) {
  Sentences sentences(fixes, text);
  AppendReason(failure, text);
  sentences.Tell(" Undone:", Is<FixStatus::kUndone>);
  const bool doubt = sentences.Count(Is<FixStatus::kInDoubt>) > 0;
  sentences.Tell(" Perhaps in the database, all or none of them:", Is<FixStatus::kInDoubt>);
  sentences.Tell(" Stopped, and what was executed until then stays:", Is<FixStatus::kStopped>);
  if (sentences.Count(IsFixInDatabase) == 0) {
    *text +=
        doubt ? " No other fix of this run is in the database." : " No fix of this run is in the database.";
  } else {
    sentences.Tell(doubt ? " Surely in the database:" : " In the database:", IsFixInDatabase);
  }
  sentences.Tell(" Not run:", Is<FixStatus::kNotRun>);
  if (!IsInDatabase(fixes.back()) && fixes.back().status != FixStatus::kInDoubt)
    *text += " No history was written.";
  return sentences.counted();
}

}  // namespace vnt
