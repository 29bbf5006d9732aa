// Rows as bytes.
//
//   u16 count of columns the row was written with
//   fixed columns, each at 2 + its offset
//   variable values in the order of their indexes, perhaps padding
//   u16 end of the variable values, u16 offsets of the values in reversed order, u16 number of values
//                                    (all of this only when the row was written with variable columns)
//   null mask: bit = column number, 1 = not null (of a Boolean: true)
//
// Jet 3 writes counts and offsets in one byte, with a jump table between offsets and count whose k-th entry
// is the first value past k * 256.
//
// A column is found by its number, variable index and fixed offset, never by its place in the definition:
// rows may be older than columns, and dropped columns leave holes. Access does not touch the rows when a
// column is added, so that a row may hold fewer columns than its table has, down to no variable part at all.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "access/base/bytes.h"
#include "access/store/database.h"
#include "access/store/format.h"
#include "access/store/layout.h"

namespace jet {

// What parsing a row needs to know of its table: which rows have a variable part. Where dropped columns leave
// that open the row itself has to tell.
struct RowFormat {
  bool jet3 = false;
  // Rows with at most so many columns have none: all these columns are fixed.
  std::uint16_t fixed_only_columns = 0xFFFF;
  // Rows with more than so many have one: a variable column is among them.
  std::uint16_t open_columns = 0xFFFF;
  // Variable columns that the table has ever had.
  std::uint16_t variable_columns = 0;

  bool operator==(const RowFormat&) const = default;
};
RowFormat MakeRowFormat(const TableDef& def, const TableLayout& layout, bool jet3);

// The shortest row that Access was seen to write (Yes/No columns only): a column count, two bytes of nothing
// where fixed columns would stand, the mask. A row must take 4 bytes at least, because a pointer row may have
// to stand in its place.
inline constexpr std::uint32_t kSmallestFixedPart = 2;
inline constexpr std::uint32_t kSmallestRow = 5;

// Bytes of a column in the fixed part.
inline std::uint32_t FixedSize(const ColumnDef& column) {
  if (column.type == ColumnType::kBoolean) return 0;
  const std::uint32_t bytes = FixedBytes(column.type);
  return bytes != 0 ? bytes : column.length;
}

// A row, parsed far enough to find each column. `page` and `offset` say where it stands, for errors.
struct RowView {
  Bytes bytes;
  PageNo page = 0;
  std::uint32_t offset = 0;
  std::uint16_t column_count = 0;
  std::uint16_t variable_count = 0;
  std::uint32_t mask_offset = 0;
  bool jet3 = false;
  bool variable_part = false;  // there may be one without values

  // kCorrupt when the trailing structures do not lie inside.
  static RowView Parse(const RowFormat& format, Bytes bytes, PageNo page, std::uint32_t offset) {
    RowView row;
    row.bytes = bytes;
    row.page = page;
    row.offset = offset;
    row.jet3 = format.jet3;
    if (format.jet3 || !row.ParseJet4(format)) row.ParseOrThrow(format);
    return row;
  }

  bool MaskBit(unsigned number) const {
    return number < column_count && (bytes[mask_offset + number / 8] >> (number % 8) & 1) != 0;
  }
  // Where the variable values begin, which is where the fixed part ends.
  std::uint32_t FixedEnd() const;
  // The bytes of a column that is not null; false when it is. Not for Booleans, whose value is the mask bit
  // (calculated ones excepted; calculated values may be Null all the same, see IsNullValue).
  bool Raw(const ColumnDef& column, Bytes* raw) const {
    if (!MaskBit(column.number)) return false;
    if (column.fixed) {
      const std::uint32_t start = (jet3 ? 1u : 2u) + column.fixed_offset;
      const std::uint32_t size = FixedSize(column);
      if (start + size > mask_offset) ThrowCutOff(start);
      *raw = bytes.subspan(start, size);
      return true;
    }
    if (column.variable_index >= variable_count) return false;
    const std::uint32_t start = VariableOffset(column.variable_index);
    const std::uint32_t end = VariableOffset(column.variable_index + 1u);
    if (start > end || end > mask_offset) ThrowBadBounds();
    *raw = bytes.subspan(start, end - start);
    return true;
  }

 private:
  // False when something does not fit; ParseOrThrow says what.
  bool ParseJet4(const RowFormat& format) {
    if (bytes.size() < 3) return false;
    column_count = LoadLe<std::uint16_t>(bytes.data());
    const std::uint32_t size = bytes.size();
    const std::uint32_t mask_bytes = (column_count + 7u) / 8;
    if (2 + mask_bytes > size) return false;
    mask_offset = size - mask_bytes;
    if (column_count <= format.fixed_only_columns) return true;
    if (column_count <= format.open_columns) return false;
    variable_part = true;
    if (mask_offset < 6) return false;
    variable_count = LoadLe<std::uint16_t>(bytes.data() + mask_offset - 2);
    return 6 + 2u * variable_count <= mask_offset;
  }
  void ParseOrThrow(const RowFormat& format);
  bool LooksLikeVariablePart(const RowFormat& format) const;
  // Offset of variable value `index`; of the end of the last one when index is variable_count.
  std::uint32_t VariableOffset(unsigned index) const {
    if (jet3) return VariableOffset97(index);
    return LoadLe<std::uint16_t>(bytes.data() + mask_offset - 4 - 2 * index);
  }
  std::uint32_t VariableOffset97(unsigned index) const;
  [[noreturn]] void ThrowCutOff(std::uint32_t start) const;
  [[noreturn]] void ThrowBadBounds() const;
};

namespace internal {
bool IsCalculatedNull(StoreContext& context, const ColumnDef& column, Bytes raw, const RowView& place);
}

// Whether the bytes of a column that Raw() found stand for Null, which in calculated columns is a value of no
// bytes.
inline bool IsNullValue(StoreContext& context, const ColumnDef& column, Bytes raw, const RowView& place) {
  return column.calculated && internal::IsCalculatedNull(context, column, raw, place);
}

// Bytes that a value of that type takes in a variable or fixed place, without the frame of calculated values;
// 0 when the length varies.
std::uint32_t ValueBytes(const ColumnDef& column);

// Whether the value of the column is kept in the null mask alone.
inline bool InMask(const ColumnDef& column) {
  return column.type == ColumnType::kBoolean && !column.calculated;
}

// The value of raw bytes, the kind being that of the column type. Memo and OLE references are followed.
// `place` names the row for errors.
Value DecodeValue(StoreContext& context, const ColumnDef& column, Bytes raw, const RowView& place);
// The same for text columns, appended to *utf8.
void DecodeTextColumn(StoreContext& context, const ColumnDef& column, Bytes raw, const RowView& place,
                      std::string* utf8);
// Raw bytes without the frame that calculated columns have around them.
Bytes Unwrap(const ColumnDef& column, Bytes raw, const RowView& place);

// Appends the storage form of `value`, which has the kind that the column type calls for (see
// ConvertToColumn); not for Boolean. For Memo and OLE: the content, without reference.
// kType naming the column when a text is no valid text.
void EncodeValue(const FormatInfo& format, const TableDef& table, const ColumnDef& column, const Value& value,
                 std::string* raw);

}  // namespace jet
