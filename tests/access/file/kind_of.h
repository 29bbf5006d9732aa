// What an action ends with.
#pragma once

#include <functional>

#include "access/base/error.h"

namespace jet {

// The kind of the error that `action` throws; kFailed, which neither files nor stores throw, when it throws
// none.
inline ErrorKind KindOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.kind();
  }
  return ErrorKind::kFailed;
}

}  // namespace jet
