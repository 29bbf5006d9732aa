// Values as bytes, for temporary files, which this process alone reads: a kind byte, then 8 bytes (integers,
// reals), 14 bytes (decimals), or a 32-bit length and the bytes (texts, blobs).
#pragma once

#include <cstring>
#include <string>

#include "access/base/value.h"

namespace jet {

// A number as its bytes in memory.
template <typename T>
void PutNumber(T number, std::string* out) {
  out->append(reinterpret_cast<const char*>(&number), sizeof number);
}
// Moves `*from` past it.
template <typename T>
T TakeNumber(const char** from) {
  T number;
  std::memcpy(&number, *from, sizeof number);
  *from += sizeof number;
  return number;
}

void PutValue(const Value& value, std::string* out);
Value TakeValue(const char** from);

}  // namespace jet
