#include "db/row_list.h"

#include <cstring>

namespace vnt::db {
namespace {

template <typename T>
void Put(std::string* bytes, T value) {
  char raw[sizeof value];
  std::memcpy(raw, &value, sizeof value);
  bytes->append(raw, sizeof value);
}

template <typename T>
T Take(const char** p) {
  T value;
  std::memcpy(&value, *p, sizeof value);
  *p += sizeof value;
  return value;
}

std::string TakeBytes(const char** p) {
  const auto length = Take<std::uint32_t>(p);
  std::string bytes(*p, length);
  *p += length;
  return bytes;
}

Value TakeValue(const char** p) {
  switch (static_cast<ValueType>(*(*p)++)) {
    case ValueType::kEmpty:
      return {};
    case ValueType::kNull:
      return Value::Null();
    case ValueType::kInt16:
      return Value::Int16(Take<std::int64_t>(p));
    case ValueType::kInt32:
      return Value::Int32(Take<std::int64_t>(p));
    case ValueType::kInt64:
      return Value::Int64(Take<std::int64_t>(p));
    case ValueType::kCurrency:
      return Value::Currency(Take<std::int64_t>(p));
    case ValueType::kBoolean:
      return Value::Boolean(Take<std::int64_t>(p) != 0);
    case ValueType::kSingle:
      return Value::Single(static_cast<float>(Take<double>(p)));
    case ValueType::kDouble:
      return Value::Double(Take<double>(p));
    case ValueType::kDate:
      return Value::Date(Take<double>(p));
    case ValueType::kDecimal:
      return Value::Decimal(TakeBytes(p));
    case ValueType::kText:
      return Value::Text(TakeBytes(p));
    case ValueType::kBinary:
      return Value::Binary(TakeBytes(p));
  }
  return {};
}

}  // namespace

void RowList::Encode(const std::vector<Value>& values) {
  for (const Value& value : values) {
    bytes_.push_back(static_cast<char>(value.type()));
    switch (value.type()) {
      case ValueType::kEmpty:
      case ValueType::kNull:
        break;
      case ValueType::kSingle:
      case ValueType::kDouble:
      case ValueType::kDate:
        Put(&bytes_, value.raw_double());
        break;
      case ValueType::kDecimal:
      case ValueType::kText:
      case ValueType::kBinary:
        Put<std::uint32_t>(&bytes_, value.raw_bytes().size());
        bytes_ += value.raw_bytes();
        break;
      default:
        Put(&bytes_, value.raw_integer());
    }
  }
}

void RowList::Append(const std::vector<Value>& values) {
  starts_.push_back(bytes_.size());
  Encode(values);
}

void RowList::Replace(std::int64_t row, const std::vector<Value>& values) {
  // The former bytes stay behind, unused: rows are replaced one by one, and rarely.
  starts_[row] = bytes_.size();
  Encode(values);
}

void RowList::Read(std::int64_t row, std::vector<Value>* values) const {
  const char* p = bytes_.data() + starts_[row];
  for (Value& value : *values) value = TakeValue(&p);
}

}  // namespace vnt::db
