#include "access/base/error.h"

#include <fmt/format.h>

#include "access/base/interruption.h"

namespace jet {

bool Error::is_environment() const {
  return kind_ == ErrorKind::kCorrupt || kind_ == ErrorKind::kIo || kind_ == ErrorKind::kInterrupted;
}

bool Error::is_refusal() const {
  switch (kind_) {
    case ErrorKind::kNotFound:
    case ErrorKind::kExists:
    case ErrorKind::kNotSupported:
    case ErrorKind::kLocked:
    case ErrorKind::kReadOnly:
      return true;
    default:
      return is_environment();
  }
}

void ThrowInterrupted() { throw Error(ErrorKind::kInterrupted, "The work was interrupted."); }

void ThrowCorrupt(const std::string& what, std::int64_t page, std::int64_t offset) {
  std::string text = page == Error::kNoPlace ? fmt::format("The file is damaged: {}", what)
                                             : fmt::format("Page {} is damaged: {}", page, what);
  if (offset != Error::kNoPlace) text += fmt::format(" (offset {})", offset);
  throw Error(ErrorKind::kCorrupt, text + ".", page, offset);
}

}  // namespace jet
