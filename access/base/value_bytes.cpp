#include "access/base/value_bytes.h"

#include <cstdint>
#include <utility>

namespace jet {

void PutValue(const Value& value, std::string* out) {
  out->push_back(static_cast<char>(value.kind()));
  switch (value.kind()) {
    case ValueKind::kNull:
      break;
    case ValueKind::kInteger:
      PutNumber(value.integer(), out);
      break;
    case ValueKind::kReal:
      PutNumber(value.real(), out);
      break;
    case ValueKind::kDecimal:
      PutNumber(value.decimal().low, out);
      PutNumber(value.decimal().high, out);
      PutNumber(value.decimal().scale, out);
      PutNumber(value.decimal().negative, out);
      break;
    case ValueKind::kText:
    case ValueKind::kBlob:
      PutNumber(static_cast<std::uint32_t>(value.bytes().size()), out);
      out->append(value.bytes());
      break;
  }
}

Value TakeValue(const char** from) {
  const auto kind = static_cast<ValueKind>(TakeNumber<char>(from));
  switch (kind) {
    case ValueKind::kNull:
      break;
    case ValueKind::kInteger:
      return Value::Integer(TakeNumber<std::int64_t>(from));
    case ValueKind::kReal:
      return Value::Real(TakeNumber<double>(from));
    case ValueKind::kDecimal: {
      Decimal d;
      d.low = TakeNumber<std::uint64_t>(from);
      d.high = TakeNumber<std::uint32_t>(from);
      d.scale = TakeNumber<std::uint8_t>(from);
      d.negative = TakeNumber<bool>(from);
      return Value::Dec(d);
    }
    case ValueKind::kText:
    case ValueKind::kBlob: {
      const auto length = TakeNumber<std::uint32_t>(from);
      std::string bytes(*from, length);
      *from += length;
      return kind == ValueKind::kText ? Value::Text(std::move(bytes)) : Value::Blob(std::move(bytes));
    }
  }
  return Value::Null();
}

}  // namespace jet
