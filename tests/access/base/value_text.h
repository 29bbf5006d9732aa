// Values as texts, for comparing rows and showing them.
#pragma once

#include <fmt/format.h>

#include <string>

#include "access/base/value.h"

namespace jet {

// "Null", a number, or 'text'.
inline std::string ValueText(const Value& value) {
  const ValueKind kind = value.kind();
  if (kind == ValueKind::kNull) return "Null";
  if (kind == ValueKind::kInteger) return std::to_string(value.integer());
  if (kind == ValueKind::kReal) return fmt::format("{}", value.real());
  if (kind == ValueKind::kDecimal) return value.decimal().ToText();
  return fmt::format("'{}'", value.bytes());
}

}  // namespace jet
