#include "access/store/row_codec.h"

#include <fmt/format.h>

#include <algorithm>

#include "access/store/data_page.h"
#include "access/store/long_value.h"
#include "access/store/text_codec.h"
#include "access/store/value_convert.h"

namespace jet {
namespace {

// Calculated values: 16 bytes, u32 length, value, 3 bytes.
constexpr std::size_t kCalculatedHead = 20;
// Of a calculated decimal.
constexpr std::size_t kCalculatedDecimalBytes = 16;

[[noreturn]] void ThrowRow(const RowView& row, const char* what, std::size_t at = 0) {
  ThrowCorrupt(what, row.page, row.offset + at);
}

template <typename T>
T LoadOf(Bytes raw, const RowView& place) {
  if (raw.size() < sizeof(T)) ThrowRow(place, "a value in a row is cut short");
  return LoadLe<T>(raw.data());
}

// Calculated: u16 (14 or 0, of no known meaning), u8 scale, u8 sign, then the magnitude as u32 words:
// highest, lowest, middle.
Value DecodeCalculatedDecimal(Bytes raw, const RowView& place) {
  if (raw.size() < kCalculatedDecimalBytes) ThrowRow(place, "a value in a row is cut short");
  Decimal d;
  d.scale = raw[2];
  d.high = LoadLe<std::uint32_t>(raw.data() + 4);
  d.low = LoadLe<std::uint64_t>(raw.data() + 8);
  d.negative = raw[3] != 0 && (d.low != 0 || d.high != 0);
  if (d.scale > 28) ThrowRow(place, "a calculated decimal in a row has an impossible scale");
  return Value::Dec(d);
}

// Sign byte, then the magnitude as u32 words, most significant first: 17 bytes, whatever length the
// definition names (Access gives variable columns the length 9). Fewer words are read, but never written.
Value DecodeDecimal(const ColumnDef& column, Bytes raw, const RowView& place) {
  if (raw.size() < 5 || raw.size() % 4 != 1) ThrowRow(place, "a decimal in a row has a wrong length");
  const std::size_t words = raw.size() / 4;
  const auto word = [&](std::size_t from_low) {
    return from_low < words ? LoadLe<std::uint32_t>(raw.data() + 1 + 4 * (words - 1 - from_low)) : 0u;
  };
  for (std::size_t i = 3; i < words; ++i) {
    if (word(i) != 0) ThrowRow(place, "a decimal in a row is out of range");
  }
  Decimal d;
  d.low = word(0) | std::uint64_t{word(1)} << 32;
  d.high = word(2);
  d.scale = column.scale;
  d.negative = (raw[0] & 0x80) != 0 && (d.low != 0 || d.high != 0);
  return Value::Dec(d);
}

void EncodeDecimal(const Decimal& d, std::string* raw) {
  raw->push_back(d.negative ? 0x80 : 0);
  const std::uint32_t from_low[4] = {static_cast<std::uint32_t>(d.low),
                                     static_cast<std::uint32_t>(d.low >> 32), d.high, 0};
  for (std::size_t i = 4; i-- > 0;) {
    for (int b = 0; b < 4; ++b) raw->push_back(from_low[i] >> 8 * b);
  }
}

std::string GuidText(Bytes raw) {
  const std::uint8_t* p = raw.data();
  return fmt::format("{{{:08X}-{:04X}-{:04X}-{:02X}{:02X}-{:02X}{:02X}{:02X}{:02X}{:02X}{:02X}}}",
                     LoadLe<std::uint32_t>(p), LoadLe<std::uint16_t>(p + 4), LoadLe<std::uint16_t>(p + 6),
                     p[8], p[9], p[10], p[11], p[12], p[13], p[14], p[15]);
}

template <typename T>
void Put(T value, std::string* raw) {
  raw->append(reinterpret_cast<const char*>(&value), sizeof value);
}

}  // namespace

RowFormat MakeRowFormat(const TableDef& def, const TableLayout& layout, bool jet3) {
  RowFormat format;
  format.jet3 = jet3;
  format.variable_columns = layout.variable_columns;
  if (layout.variable_columns == 0) return format;
  // Which kind a dropped column was is not known, so only columns that are there prove something.
  std::vector<int> kinds(layout.max_columns, -1);  // by number: 1 variable, 0 fixed
  for (const ColumnDef& c : def.columns) kinds[c.number] = c.fixed ? 0 : 1;
  const auto first_not_fixed = std::find_if(kinds.begin(), kinds.end(), [](int kind) { return kind != 0; });
  const auto first_variable = std::find(kinds.begin(), kinds.end(), 1);
  format.fixed_only_columns = first_not_fixed - kinds.begin();
  // With all variable columns dropped, rows of the full width are those that must have had them.
  format.open_columns = std::min<std::ptrdiff_t>(first_variable - kinds.begin(), layout.max_columns - 1);
  return format;
}

// Whether the bytes before the mask make sense as offsets of variable values.
bool RowView::LooksLikeVariablePart(const RowFormat& format) const {
  if (jet3) return true;
  if (mask_offset < 8) return false;
  const std::uint8_t* end = bytes.data() + mask_offset;
  const unsigned count = LoadLe<std::uint16_t>(end - 2);
  if (count == 0 || count > format.variable_columns || count > column_count) return false;
  if (6 + 2 * count > mask_offset) return false;
  std::uint32_t before = 2;
  for (unsigned i = 0; i <= count; ++i) {
    const std::uint32_t start = LoadLe<std::uint16_t>(end - 4 - 2 * i);
    if (start < before) return false;
    before = start;
  }
  return before <= mask_offset - 4 - 2 * count;
}

void RowView::ParseOrThrow(const RowFormat& format) {
  column_count = variable_count = 0;
  variable_part = false;
  const std::size_t count_bytes = format.jet3 ? 1 : 2;
  if (bytes.size() < count_bytes) ThrowRow(*this, "a row is cut short");
  column_count = format.jet3 ? bytes[0] : LoadLe<std::uint16_t>(bytes.data());
  const std::size_t mask_bytes = (column_count + 7u) / 8;
  if (count_bytes + mask_bytes > bytes.size()) ThrowRow(*this, "the null mask of a row does not fit");
  mask_offset = bytes.size() - mask_bytes;
  if (column_count <= format.fixed_only_columns) return;
  if (column_count <= format.open_columns && !LooksLikeVariablePart(format)) return;
  variable_part = true;
  std::size_t need = 0;
  if (format.jet3) {
    if (mask_offset < 2) ThrowRow(*this, "a row is cut short");
    variable_count = bytes[mask_offset - 1];
    need = 1u + 1 + 1 + variable_count + (bytes.size() - 1) / 256;
  } else {
    if (mask_offset < 4) ThrowRow(*this, "a row is cut short");
    variable_count = LoadLe<std::uint16_t>(bytes.data() + mask_offset - 2);
    need = 2u + 2 + 2 + 2u * variable_count;
  }
  if (need > mask_offset) ThrowRow(*this, "the offsets of a row do not fit", mask_offset);
}

std::uint32_t RowView::VariableOffset97(unsigned index) const {
  const std::uint32_t jumps = (bytes.size() - 1) / 256;
  const std::uint8_t* jump = bytes.data() + mask_offset - 2;  // entries in reversed order
  std::uint32_t high = 0;
  while (high < jumps && *(jump - high) <= index) ++high;
  return bytes[mask_offset - 2 - jumps - index] + 256 * high;
}

std::uint32_t RowView::FixedEnd() const { return variable_part ? VariableOffset(0) : mask_offset; }

void RowView::ThrowCutOff(std::uint32_t start) const {
  ThrowRow(*this, "a fixed column runs past its row", start);
}

void RowView::ThrowBadBounds() const { ThrowRow(*this, "a value of a row has bounds that make no sense"); }

std::uint32_t ValueBytes(const ColumnDef& column) {
  if (column.type == ColumnType::kBoolean) return column.calculated ? 1 : 0;
  if (column.type == ColumnType::kDecimal && column.calculated) return kCalculatedDecimalBytes;
  return FixedBytes(column.type);
}

bool internal::IsCalculatedNull(StoreContext& context, const ColumnDef& column, Bytes raw,
                                const RowView& place) {
  std::string content;
  if (column.type == ColumnType::kMemo || column.type == ColumnType::kOle) {
    raw = ReadLongValue(context, raw, place, &content);
  }
  return Unwrap(column, raw, place).empty();
}

Bytes Unwrap(const ColumnDef& column, Bytes raw, const RowView& place) {
  if (!column.calculated) return raw;
  if (raw.empty()) return raw;
  if (raw.size() < kCalculatedHead) ThrowRow(place, "a calculated value is cut short");
  const auto length = LoadLe<std::uint32_t>(raw.data() + 16);
  if (length > raw.size() - kCalculatedHead) ThrowRow(place, "a calculated value is cut short");
  return raw.subspan(kCalculatedHead, length);
}

void DecodeTextColumn(StoreContext& context, const ColumnDef& column, Bytes raw, const RowView& place,
                      std::string* utf8) {
  std::string content;
  if (column.type == ColumnType::kMemo) raw = ReadLongValue(context, raw, place, &content);
  raw = Unwrap(column, raw, place);
  if (!DecodeText(raw, context.format.unicode, context.code_page, utf8)) {
    ThrowRow(place, "a text in a row ends within a character");
  }
}

Value DecodeValue(StoreContext& context, const ColumnDef& column, Bytes raw, const RowView& place) {
  if (IsNullValue(context, column, raw, place)) return Value::Null();
  switch (column.type) {
    case ColumnType::kText:
    case ColumnType::kMemo: {
      std::string text;
      DecodeTextColumn(context, column, raw, place, &text);
      return Value::Text(std::move(text));
    }
    case ColumnType::kOle: {
      std::string content;
      const Bytes whole = Unwrap(column, ReadLongValue(context, raw, place, &content), place);
      return Value::Blob(std::string(whole.begin(), whole.end()));
    }
    default:
      break;
  }
  raw = Unwrap(column, raw, place);
  switch (column.type) {
    case ColumnType::kBoolean:
      return Value::Integer(!raw.empty() && raw[0] != 0 ? -1 : 0);
    case ColumnType::kByte:
      return Value::Integer(LoadOf<std::uint8_t>(raw, place));
    case ColumnType::kInteger:
      return Value::Integer(LoadOf<std::int16_t>(raw, place));
    case ColumnType::kLong:
    case ColumnType::kComplex:
      return Value::Integer(LoadOf<std::int32_t>(raw, place));
    case ColumnType::kBigInt:
      return Value::Integer(LoadOf<std::int64_t>(raw, place));
    case ColumnType::kSingle:
      return Value::Real(LoadOf<float>(raw, place));
    case ColumnType::kDouble:
    case ColumnType::kDateTime:
      return Value::Real(LoadOf<double>(raw, place));
    case ColumnType::kCurrency:
      return Value::Dec(Decimal::FromScaledInt64(LoadOf<std::int64_t>(raw, place), 4));
    case ColumnType::kDecimal:
      return column.calculated ? DecodeCalculatedDecimal(raw, place) : DecodeDecimal(column, raw, place);
    case ColumnType::kGuid:
      if (raw.size() < 16) ThrowRow(place, "a value in a row is cut short");
      return Value::Text(GuidText(raw));
    case ColumnType::kDateTimeExtended:
      return Value::Text(ExtendedDateText(raw));
    default:
      return Value::Blob(std::string(raw.begin(), raw.end()));
  }
}

void EncodeValue(const FormatInfo& format, const TableDef& table, const ColumnDef& column, const Value& value,
                 std::string* raw) {
  const std::size_t start = raw->size();
  switch (column.type) {
    case ColumnType::kByte:
      Put<std::uint8_t>(value.integer(), raw);
      break;
    case ColumnType::kInteger:
      Put<std::int16_t>(value.integer(), raw);
      break;
    case ColumnType::kLong:
      Put<std::int32_t>(value.integer(), raw);
      break;
    case ColumnType::kBigInt:
      Put(value.integer(), raw);
      break;
    case ColumnType::kSingle:
      Put<float>(value.real(), raw);
      break;
    case ColumnType::kDouble:
    case ColumnType::kDateTime:
      Put(value.real(), raw);
      break;
    case ColumnType::kCurrency: {
      const Decimal& d = value.decimal();
      Put<std::int64_t>(d.negative ? 0 - d.low : d.low, raw);
      break;
    }
    case ColumnType::kDecimal:
      EncodeDecimal(value.decimal(), raw);
      break;
    case ColumnType::kGuid:
      ParseGuid(value.bytes(), raw);
      break;
    case ColumnType::kDateTimeExtended:
      ParseExtendedDate(value.bytes(), raw);
      break;
    case ColumnType::kText:
    case ColumnType::kMemo:
      if (!EncodeText(value.bytes(), column.compressed_unicode && !column.fixed, format.compress_max_units,
                      raw)) {
        throw Error(ErrorKind::kType, fmt::format("The text for column \"{}\" of table \"{}\" is not valid "
                                                  "Unicode text.",
                                                  column.name, table.name));
      }
      if (column.fixed) {
        // CHAR(n) is filled up with blanks.
        while (raw->size() - start + 1 < column.length) raw->append({' ', '\0'});
      }
      break;
    default:
      raw->append(value.bytes());
      if (column.fixed) raw->resize(start + column.length, '\0');
      break;
  }
}

}  // namespace jet
