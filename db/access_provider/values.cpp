#include "db/access_provider/values.h"

#include <cmath>
#include <limits>
#include <utility>

#include "db/access_provider/errors.h"

namespace vnt::db {
namespace {

using jet::ColumnType;
using jet::ValueKind;

Value FromInteger(std::int64_t number, ColumnType type) {
  switch (type) {
    case ColumnType::kBoolean:
      return Value::Boolean(number != 0);
    case ColumnType::kByte:
    case ColumnType::kInteger:
      return Value::Int16(number);
    case ColumnType::kLong:
    case ColumnType::kComplex:
      return Value::Int32(number);
    default:
      return Value::Int64(number);
  }
}

Value FromReal(double number, ColumnType type) {
  switch (type) {
    case ColumnType::kSingle:
      return Value::Single(static_cast<float>(number));
    case ColumnType::kDateTime:
      return Value::Date(number);
    default:
      return Value::Double(number);
  }
}

std::int64_t ScaledCurrency(const jet::Value& value) {
  switch (value.kind()) {
    case ValueKind::kInteger:
      return value.integer() * 10000;
    case ValueKind::kDecimal:
      if (value.decimal().scale == 4 && value.decimal().high == 0) {
        const std::int64_t magnitude = value.decimal().low;
        return value.decimal().negative ? -magnitude : magnitude;
      }
      return std::llrint(value.decimal().ToDouble() * 10000);
    case ValueKind::kText:
      return std::llrint(Value::Text(value.bytes()).ToDouble() * 10000);
    default:
      return std::llrint(value.real() * 10000);
  }
}

Value ByKind(const jet::Value& value) {
  switch (value.kind()) {
    case ValueKind::kNull:
      return Value::Null();
    case ValueKind::kInteger: {
      using Limits = std::numeric_limits<std::int32_t>;
      if (value.integer() < Limits::min() || value.integer() > Limits::max())
        return Value::Int64(value.integer());
      return Value::Int32(value.integer());
    }
    case ValueKind::kReal:
      return Value::Double(value.real());
    case ValueKind::kDecimal:
      return Value::Decimal(value.decimal().ToText());
    case ValueKind::kText:
      return Value::Text(value.bytes());
    case ValueKind::kBlob:
      return Value::Binary(value.bytes());
  }
  return Value::Null();
}

jet::Value ExactNumber(const Value& value) {
  switch (value.type()) {
    case ValueType::kInt16:
    case ValueType::kInt32:
    case ValueType::kInt64:
    case ValueType::kBoolean:
      return jet::Value::Dec(jet::Decimal::FromScaledInt64(value.raw_integer(), 0));
    case ValueType::kCurrency:
      return jet::Value::Dec(jet::Decimal::FromScaledInt64(value.raw_integer(), 4));
    default: {
      const double number = value.ToDouble();  // refuses what is no number
      const bool exact = value.type() == ValueType::kDecimal || value.type() == ValueType::kText;
      jet::Decimal decimal;
      if (jet::Decimal::FromText(exact ? Trim(value.raw_bytes()) : Value::Double(number).ToText(), &decimal))
        return jet::Value::Dec(decimal);
      throw DbError(kErrTruncated, kAccessSource,
                    "The number " + value.ToText() + " has more digits than a decimal column holds.");
    }
  }
}

jet::Value WholeNumber(const Value& value) {
  switch (value.type()) {
    case ValueType::kInt16:
    case ValueType::kInt32:
    case ValueType::kInt64:
    case ValueType::kBoolean:
      return jet::Value::Integer(value.raw_integer());
    default: {
      const double number = std::nearbyint(value.ToDouble());
      if (!(std::fabs(number) < 9.2e18)) throw DbError(kErrOverflow, kAccessSource, "Overflow");
      return jet::Value::Integer(static_cast<std::int64_t>(number));
    }
  }
}

}  // namespace

Value FromEngine(const jet::Value& value, std::optional<ColumnType> type) {
  if (value.is_null()) return Value::Null();
  if (!type) return ByKind(value);
  switch (*type) {
    case ColumnType::kCurrency:
      return Value::Currency(ScaledCurrency(value));
    case ColumnType::kDecimal:
      if (value.kind() == ValueKind::kDecimal) return Value::Decimal(value.decimal().ToText());
      return Value::Decimal(ByKind(value).ToText());
    case ColumnType::kSingle:
    case ColumnType::kDouble:
    case ColumnType::kDateTime:
      if (value.kind() == ValueKind::kReal) return FromReal(value.real(), *type);
      if (value.kind() == ValueKind::kInteger) return FromReal(static_cast<double>(value.integer()), *type);
      return ByKind(value);
    case ColumnType::kBoolean:
    case ColumnType::kByte:
    case ColumnType::kInteger:
    case ColumnType::kLong:
    case ColumnType::kBigInt:
    case ColumnType::kComplex:
      if (value.kind() == ValueKind::kInteger) return FromInteger(value.integer(), *type);
      return ByKind(value);
    default:
      return ByKind(value);
  }
}

Value FromRow(const jet::Row& row, int column, ColumnType type) {
  switch (type) {
    case ColumnType::kBoolean:
      return Value::Boolean(row.Get(column).integer() != 0);
    case ColumnType::kByte:
    case ColumnType::kInteger:
    case ColumnType::kLong:
    case ColumnType::kBigInt: {
      std::int64_t number = 0;
      return row.ReadInteger(column, &number) ? FromInteger(number, type) : Value::Null();
    }
    case ColumnType::kSingle:
    case ColumnType::kDouble:
    case ColumnType::kDateTime: {
      double number = 0;
      return row.ReadReal(column, &number) ? FromReal(number, type) : Value::Null();
    }
    case ColumnType::kText:
    case ColumnType::kMemo: {
      std::string text;
      return row.ReadText(column, &text) ? Value::Text(std::move(text)) : Value::Null();
    }
    default:
      return FromEngine(row.Get(column), type);
  }
}

jet::Value ToEngine(const Value& value) {
  switch (value.type()) {
    case ValueType::kEmpty:
    case ValueType::kNull:
      return jet::Value::Null();
    case ValueType::kInt16:
    case ValueType::kInt32:
    case ValueType::kInt64:
    case ValueType::kBoolean:
      return jet::Value::Integer(value.raw_integer());
    case ValueType::kSingle:
    case ValueType::kDouble:
    case ValueType::kDate:
      return jet::Value::Real(value.raw_double());
    case ValueType::kCurrency:
    case ValueType::kDecimal:
      return ExactNumber(value);
    case ValueType::kText:
      return jet::Value::Text(value.raw_bytes());
    case ValueType::kBinary:
      return jet::Value::Blob(value.raw_bytes());
  }
  return jet::Value::Null();
}

jet::Value ToColumn(const Value& value, ColumnType type) {
  if (value.is_null()) return jet::Value::Null();
  switch (type) {
    case ColumnType::kBoolean:
      return jet::Value::Integer(value.ToBoolean() ? -1 : 0);
    case ColumnType::kByte:
    case ColumnType::kInteger:
    case ColumnType::kLong:
    case ColumnType::kBigInt:
      return WholeNumber(value);
    case ColumnType::kSingle:
    case ColumnType::kDouble:
      return jet::Value::Real(value.ToDouble());
    case ColumnType::kDateTime:
      return jet::Value::Real(value.ToDate());
    case ColumnType::kCurrency:
    case ColumnType::kDecimal:
      return ExactNumber(value);
    case ColumnType::kText:
    case ColumnType::kMemo:
    case ColumnType::kGuid:
    case ColumnType::kDateTimeExtended:
      return jet::Value::Text(value.ToText());
    default:
      return ToEngine(value);
  }
}

}  // namespace vnt::db
