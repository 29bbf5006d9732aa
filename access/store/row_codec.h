// Rows as bytes.
//
//   u16 count of columns the row was written with
//   fixed columns, each at 2 + its offset
//   variable values in the order of their indexes, perhaps padding
//   u16 end of the variable values, u16 offsets of the values in reversed order, u16 number of values
//                                    (all of this only when the table has variable columns)
//   null mask: bit = column number, 1 = not null (of a Boolean: true)
//
// Jet 3 writes counts and offsets in one byte, with a jump table between offsets and count whose k-th entry
// is the first value past k * 256.
//
// A column is found by its number, variable index and fixed offset, never by its place in the definition:
// rows may be older than columns, and dropped columns leave holes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "access/base/bytes.h"
#include "access/store/database.h"
#include "access/store/format.h"
#include "access/store/layout.h"

namespace jet {

// What parsing a row needs to know of its table.
struct RowFormat {
  bool jet3 = false;
  bool has_variable = false;
};

// A row, parsed far enough to find each column. `page` and `offset` say where it stands, for errors.
struct RowView {
  Bytes bytes;
  PageNo page = 0;
  std::uint32_t offset = 0;
  std::uint16_t column_count = 0;
  std::uint16_t variable_count = 0;
  std::uint32_t mask_offset = 0;
  bool jet3 = false;

  // kCorrupt when the trailing structures do not lie inside.
  static RowView Parse(const RowFormat& format, Bytes bytes, PageNo page, std::uint32_t offset) {
    RowView row;
    row.bytes = bytes;
    row.page = page;
    row.offset = offset;
    row.jet3 = format.jet3;
    if (format.jet3 || !row.ParseJet4(format.has_variable)) row.ParseOrThrow(format);
    return row;
  }

  bool MaskBit(unsigned number) const {
    return number < column_count && (bytes[mask_offset + number / 8] >> (number % 8) & 1) != 0;
  }
  // Where the variable values begin, which is where the fixed part ends.
  std::uint32_t FixedEnd() const;
  // The bytes of a column that is not null; empty optional (false) when it is. Not for Booleans, whose value
  // is the mask bit (calculated ones excepted).
  bool Raw(const ColumnDef& column, Bytes* raw) const;

 private:
  // False when something does not fit; ParseOrThrow says what.
  bool ParseJet4(bool has_variable) {
    if (bytes.size() < 3) return false;
    column_count = LoadLe<std::uint16_t>(bytes.data());
    const std::uint32_t size = static_cast<std::uint32_t>(bytes.size());
    const std::uint32_t mask_bytes = (column_count + 7u) / 8;
    if (2 + mask_bytes > size) return false;
    mask_offset = size - mask_bytes;
    if (!has_variable) return true;
    if (mask_offset < 6) return false;
    variable_count = LoadLe<std::uint16_t>(bytes.data() + mask_offset - 2);
    return 6 + 2u * variable_count <= mask_offset;
  }
  void ParseOrThrow(const RowFormat& format);
  std::uint32_t VariableOffset(unsigned index) const;
};

// Bytes of a column in the fixed part.
std::uint32_t FixedSize(const ColumnDef& column);

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
