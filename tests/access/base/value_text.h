// Values as texts, for comparing rows and showing them.
#pragma once

#include <fmt/format.h>

#include <string>

#include "access/base/value.h"

namespace jet {

// "Null", a number, or 'text'.
inline std::string ValueText(const Value& value) {
  switch (value.kind()) {
    case ValueKind::kNull:
      return "Null";
    case ValueKind::kInteger:
      return std::to_string(value.integer());
    case ValueKind::kReal:
      return fmt::format("{}", value.real());
    case ValueKind::kDecimal:
      return value.decimal().ToText();
    case ValueKind::kText:
    case ValueKind::kBlob:
      return fmt::format("'{}'", value.bytes());
  }
  return {};
}

}  // namespace jet
