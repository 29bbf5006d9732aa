#include "compare/value_text.h"

#include <charconv>
#include <iterator>

#include <fmt/format.h>

#include "access/base/calendar.h"

namespace vnt::compare {

std::string TypeText(const jet::ColumnDef& column) {
  using jet::ColumnType;
  switch (column.type) {
    case ColumnType::kBoolean:
      return "YESNO";
    case ColumnType::kByte:
      return "BYTE";
    case ColumnType::kInteger:
      return "SHORT";
    case ColumnType::kLong:
      return column.auto_number ? "COUNTER" : "LONG";
    case ColumnType::kCurrency:
      return "CURRENCY";
    case ColumnType::kSingle:
      return "SINGLE";
    case ColumnType::kDouble:
      return "DOUBLE";
    case ColumnType::kDateTime:
      return "DATETIME";
    case ColumnType::kBinary:
      return fmt::format("VARBINARY({})", column.length);
    case ColumnType::kText:
      return fmt::format("{}({})", column.fixed ? "CHAR" : "TEXT", column.max_characters());
    case ColumnType::kOle:
      return "OLEOBJECT";
    case ColumnType::kMemo:
      return "MEMO";
    case ColumnType::kGuid:
      return "GUID";
    case ColumnType::kDecimal:
      if (column.calculated) return "DECIMAL";
      return fmt::format("DECIMAL({},{})", column.precision, column.scale);
    case ColumnType::kBigInt:
      return "BIGINT";
    case ColumnType::kComplex:
      return "/* complex */ LONG";
    case ColumnType::kDateTimeExtended:
      return "/* date and time, extended */ TEXT(42)";
  }
  return fmt::format("/* type {:#x} */ VARBINARY(255)", static_cast<int>(column.type));
}

void AppendReal(double value, std::string* out) {
  char buffer[32];
  // Negative zero is zero.
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value == 0 ? 0.0 : value);
  out->append(buffer, result.ptr);
}

void AppendDate(double days, std::string* out) {
  jet::CalendarTime p;
  if (!jet::ToCalendar(days, &p)) {
    AppendReal(days, out);  // a damaged value is shown as it is
    return;
  }
  fmt::format_to(std::back_inserter(*out), "{:04}-{:02}-{:02} {:02}:{:02}:{:02}", p.year, p.month, p.day,
                 p.hour, p.minute, p.second);
}

void AppendHex(std::string_view bytes, std::string* out) {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out->push_back(kDigits[byte >> 4]);
    out->push_back(kDigits[byte & 15]);
  }
}

void AppendQuoted(std::string_view text, std::string* out) {
  out->push_back('"');
  for (std::size_t start = 0;;) {
    const std::size_t quote = text.find('"', start);
    out->append(text.substr(start, quote == std::string_view::npos ? quote : quote - start + 1));
    if (quote == std::string_view::npos) break;
    out->push_back('"');
    start = quote + 1;
  }
  out->push_back('"');
}

void AppendBinary(std::string_view bytes, std::string* out) {
  if (bytes.empty()) out->append("\"\"");
  AppendHex(bytes, out);
}

void AppendCsv(const jet::Value& value, jet::ColumnType type, std::string* out) {
  switch (value.kind()) {
    case jet::ValueKind::kNull:
      break;
    case jet::ValueKind::kInteger:
      if (type == jet::ColumnType::kBoolean) {
        out->push_back(value.integer() != 0 ? '1' : '0');
      } else {
        fmt::format_to(std::back_inserter(*out), "{}", value.integer());
      }
      break;
    case jet::ValueKind::kReal:
      if (type == jet::ColumnType::kDateTime) {
        AppendDate(value.real(), out);
      } else if (type == jet::ColumnType::kSingle) {
        char buffer[32];
        const float single = value.real() == 0 ? 0.0F : static_cast<float>(value.real());
        const auto result = std::to_chars(buffer, buffer + sizeof buffer, single);
        out->append(buffer, result.ptr);
      } else {
        AppendReal(value.real(), out);
      }
      break;
    case jet::ValueKind::kDecimal:
      out->append(value.decimal().ToText());
      break;
    case jet::ValueKind::kText:
      AppendQuoted(value.bytes(), out);
      break;
    case jet::ValueKind::kBlob:
      AppendBinary(value.bytes(), out);
      break;
  }
}

}  // namespace vnt::compare
