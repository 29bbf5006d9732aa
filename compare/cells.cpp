#include "compare/cells.h"

#include <bit>
#include <cstdint>

namespace vnt::compare {
namespace {

using jet::ColumnType;
using jet::Value;
using jet::ValueKind;
using Kind = CellRule::Kind;

bool IsNumber(ValueKind kind) {
  return kind == ValueKind::kInteger || kind == ValueKind::kReal || kind == ValueKind::kDecimal;
}

double AsDouble(const Value& value) {
  switch (value.kind()) {
    case ValueKind::kInteger:
      return static_cast<double>(value.integer());
    case ValueKind::kDecimal:
      return value.decimal().ToDouble();
    default:
      return value.real();
  }
}

// Without zeros at the end of the fraction, and no negative zero.
std::string PlainText(const Value& value) {
  if (value.kind() == ValueKind::kInteger) return std::to_string(value.integer());
  std::string text = value.decimal().ToText();
  if (text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
  }
  return text == "-0" ? "0" : text;
}

void AppendBigEndian(std::uint64_t bits, std::string* key) {
  for (int shift = 56; shift >= 0; shift -= 8) key->push_back(bits >> shift);
}

void AppendReal(double value, std::string* key) {
  constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
  const auto bits = std::bit_cast<std::uint64_t>(value);
  AppendBigEndian((bits & kSign) != 0 ? ~bits : bits | kSign, key);
}

}  // namespace

CellRule RuleFor(const jet::ColumnDef& old_column, const jet::ColumnDef& new_column) {
  const ValueKind a = KindOf(old_column.type);
  const ValueKind b = KindOf(new_column.type);
  if (IsNumber(a) && IsNumber(b)) {
    if (a == ValueKind::kInteger && b == ValueKind::kInteger) return {Kind::kInteger};
    if (a == ValueKind::kReal || b == ValueKind::kReal)
      return {Kind::kReal, old_column.type == new_column.type};
    return {Kind::kDecimal};
  }
  if (a != b) return {Kind::kUnlike};
  return {a == ValueKind::kText ? Kind::kText : Kind::kBytes};
}

bool AreEqual(const CellRule& rule, const Value& a, const Value& b) {
  if (a.is_null() || b.is_null()) return a.is_null() && b.is_null();
  switch (rule.kind) {
    case Kind::kInteger:
      return a.integer() == b.integer();
    case Kind::kReal:
      if (rule.bitwise)
        return std::bit_cast<std::uint64_t>(a.real()) == std::bit_cast<std::uint64_t>(b.real());
      return AsDouble(a) == AsDouble(b);
    case Kind::kDecimal:
      return a == b || PlainText(a) == PlainText(b);
    case Kind::kText:
    case Kind::kBytes:
      return a.bytes() == b.bytes();
    case Kind::kUnlike:
      break;
  }
  return false;
}

void AppendCell(const CellRule& rule, const Value& value, std::string* key) {
  if (rule.kind == Kind::kUnlike) return;
  key->push_back(value.is_null() ? '\0' : '\1');
  if (value.is_null()) return;
  switch (rule.kind) {
    case Kind::kInteger:
      AppendBigEndian(static_cast<std::uint64_t>(value.integer()) ^ std::uint64_t{1} << 63, key);
      break;
    case Kind::kReal:
      AppendReal(rule.bitwise ? value.real() : AsDouble(value) + 0.0, key);
      break;
    case Kind::kDecimal:
      AppendReal(AsDouble(value) + 0.0, key);
      key->append(PlainText(value)).push_back('\0');
      break;
    default:
      key->append(value.bytes()).push_back('\0');
      break;
  }
}

}  // namespace vnt::compare
