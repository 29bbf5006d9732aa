// The border between the engine's errors and those that the program shows, for the provider's own calls.
#pragma once

#include <utility>

#include "access/base/error.h"
#include "db/engine_errors.h"
#include "db/error.h"

namespace vnt::db {

inline constexpr char kAccessSource[] = "VNTFixdb Access engine";

// Runs `work`, and raises an error of the engine as a DbError.
template <typename Work>
decltype(auto) Translated(Work&& work) {
  try {
    return std::forward<Work>(work)();
  } catch (const jet::Error& error) {
    throw ToDbError(error);
  }
}

}  // namespace vnt::db
