// One row: that each column stands where the definition says, has the length of its type and a value that can
// be read. What a change of the row relies on is tested here, too, because a change copies what it does not
// touch.
#include <fmt/format.h>

#include <algorithm>

#include "access/check/check_table.h"
#include "access/store/data_page.h"
#include "access/store/long_value.h"

namespace jet {
namespace {

// The units of a stored text, met piece by piece: see text_codec.h.
class TextShape {
 public:
  void Add(Bytes bytes) {
    std::size_t i = 0;
    for (; i < bytes.size() && size_ < 2; ++i) {
      mark_[size_++] = bytes[i];
      compressed_ = size_ == 2 && mark_[0] == 0xFF && mark_[1] == 0xFE;
    }
    size_ += bytes.size() - i;
    if (!compressed_) return;
    for (; i < bytes.size(); ++i) {
      if (half_) {
        half_ = false;
        ++units_;
      } else if (bytes[i] == 0) {
        single_ = !single_;
      } else if (single_) {
        ++units_;
      } else {
        half_ = true;
      }
    }
  }
  // False when the text ends within a unit.
  bool whole() const { return compressed_ ? !half_ : size_ % 2 == 0; }
  std::size_t units() const { return compressed_ ? units_ : size_ / 2; }

 private:
  std::uint8_t mark_[2] = {0, 0};
  std::size_t size_ = 0, units_ = 0;
  bool compressed_ = false;
  bool single_ = true;  // a byte is a unit
  bool half_ = false;   // the first byte of a unit of two has been met
};

}  // namespace

// Offsets of the variable part must ascend (Jet 3: column by column, in RowView::Raw).
void TableChecker::CheckRowShape(const RowView& row) {
  const TableLayout& layout = definition_.layout;
  if (row.column_count > layout.max_columns) {
    ThrowCorrupt("a row has more columns than its table", row.page, row.offset);
  }
  if (!row.variable_part) return;
  if (row.variable_count > layout.variable_columns) {
    ThrowCorrupt("a row has more variable values than its table", row.page, row.offset);
  }
  if (row.jet3) return;
  const std::uint8_t* table = row.bytes.data() + row.mask_offset - 4;
  std::uint32_t before = 2;
  for (unsigned i = 0; i <= row.variable_count; ++i) {
    const std::uint32_t offset = LoadLe<std::uint16_t>(table - 2 * i);
    if (offset < before) ThrowCorrupt("the offsets of a row do not ascend", row.page, row.offset);
    before = offset;
  }
  if (before > row.mask_offset - 4 - 2u * row.variable_count) {
    ThrowCorrupt("the values of a row run into its offsets", row.page, row.offset);
  }
}

// The bytes of a fixed column are there in every row that has the column, Null or not.
void TableChecker::CheckFixedPart(const RowView& row) {
  const std::uint32_t end = row.FixedEnd();
  const std::uint32_t count_bytes = row.jet3 ? 1 : 2;
  if (count_bytes + fixed_bytes_ <= end) return;
  for (const ColumnDef& column : definition_.def.columns) {
    if (!column.fixed || InMask(column) || column.number >= row.column_count) continue;
    if (count_bytes + column.fixed_offset + FixedSize(column) > end) {
      ThrowCorrupt(
          fmt::format("column \"{}\" of a row runs into the values behind the fixed ones", column.name),
          row.page, row.offset);
    }
  }
}

// Access gives every value of a type of fixed length this length, also where the column is a variable one and
// whatever length the definition names.
void TableChecker::CheckLength(std::size_t at, Bytes raw, const RowView& row) {
  const ColumnDef& column = definition_.def.columns[at];
  const Bytes value = Unwrap(column, raw, row);
  if (column.calculated && value.empty()) return;
  const std::uint32_t expected = ValueBytes(column);
  if (expected != 0
          ? value.size() != expected
          : column.type == ColumnType::kBinary && !column.calculated && value.size() > column.length) {
    ThrowCorrupt(fmt::format("a value of column \"{}\" has {} bytes instead of {}", column.name, value.size(),
                             expected != 0 ? expected : column.length),
                 row.page, row.offset);
  }
  if (!indexed_column_[at]) DecodeValue(context_.store, column, raw, row);
}

void TableChecker::CheckColumns(const RowView& row) {
  CheckFixedPart(row);
  for (const std::size_t at : examined_columns_) {
    const ColumnDef& column = definition_.def.columns[at];
    Bytes raw;
    if (!row.MaskBit(column.number)) continue;
    if (!row.Raw(column, &raw)) {
      ThrowCorrupt(fmt::format("a row has no place for its value of column \"{}\"", column.name), row.page,
                   row.offset);
    }
    switch (column.type) {
      case ColumnType::kText:
        CheckText(column, raw, row);
        break;
      case ColumnType::kMemo:
      case ColumnType::kOle:
        CheckLongValue(column, raw, row);
        break;
      default:
        CheckLength(at, raw, row);
    }
  }
}

void TableChecker::CheckRow(RowId id, const RowView& row) {
  CheckRowShape(row);
  if (row.bytes.size() < kRowPointerBytes) ++short_rows_;
  const TableDef& def = definition_.def;
  // A row with a wrong value is a row all the same: the indexes must have it.
  sink_.Guard(row.page, [this, &row] { CheckColumns(row); });
  std::fill(has_value_.begin(), has_value_.end(), false);
  for (std::size_t i = 0; i < indexes_.size(); ++i) {
    bool has_null = false;
    if (!BuildKey(i, row, &key_, &has_null)) continue;
    indexes_[i].rows.Add(key_, id);
    const IndexDef& index = def.indexes[i];
    if (has_null && (index.required || index.primary)) {
      sink_.Fatal(id.page(), fmt::format("The row at {} has a null column in {}, which forbids it.",
                                         RowPlace(id), IndexName(i)));
    }
  }
}

void TableChecker::CheckText(const ColumnDef& column, Bytes raw, const RowView& row) {
  raw = Unwrap(column, raw, row);
  std::size_t units = raw.size();
  if (context_.format.unicode) {
    TextShape shape;
    shape.Add(raw);
    if (!shape.whole()) ThrowCorrupt("a text in a row ends within a character", row.page, row.offset);
    units = shape.units();
  }
  if (!column.calculated && units > column.max_characters()) {
    ThrowCorrupt(fmt::format("a text is longer than its column \"{}\"", column.name), row.page, row.offset);
  }
}

// ---- Long values ----

bool TableChecker::UsePiece(const ColumnDef& column, LongPages* pages, RowPointer at, const RowView& row,
                            Bytes* bytes, PageRef* page) {
  const auto fail = [&](const char* what) {
    sink_.Fatal(
        row.page,
        fmt::format("A long value in column \"{}\" of table \"{}\", named on page {}, has a part at page {} "
                    "slot {}, {}.",
                    column.name, name_, row.page, at.page, at.row, what));
    return false;
  };
  const auto found = std::lower_bound(pages->pages.begin(), pages->pages.end(), at.page);
  if (found == pages->pages.end() || *found != at.page) return fail("which is not a page of that column");
  *page = context_.pages.Read(at.page);
  if (!IsDataPageOf(page->data(), kLongValueOwner) || at.row >= SlotCount(context_.format, page->data())) {
    return fail("where there is none");
  }
  const RowSlot slot = ReadSlot(context_.format, page->data(), at.page, at.row);
  if (slot.flags != 0) return fail("which has been deleted");
  std::uint64_t& word = pages->used[found - pages->pages.begin()][at.row / 64];
  const std::uint64_t bit = std::uint64_t{1} << (at.row % 64);
  if ((word & bit) != 0) return fail("which another value uses too");
  word |= bit;
  *bytes = page->bytes().subspan(slot.start, slot.length());
  return true;
}

// Calls `use` for the content, piece by piece, as far as it can be followed.
void TableChecker::WalkLongValue(const ColumnDef& column, Bytes raw, const RowView& row,
                                 const std::function<void(Bytes)>& use) {
  if (raw.empty()) return;
  if (raw.size() < kLongReferenceBytes) {
    ThrowCorrupt("the reference to a long value is cut short", row.page, row.offset);
  }
  const auto word = LoadLe<std::uint32_t>(raw.data());
  std::uint32_t left = word & kMaxLongValueBytes;
  const std::uint32_t kind = word >> 30;
  RowPointer at = LoadPointer(raw.data() + 4);
  if (kind == 2) {
    if (left > raw.size() - kLongReferenceBytes)
      ThrowCorrupt("a long value runs past its row", row.page, row.offset);
    use(raw.subspan(kLongReferenceBytes, left));
    return;
  }
  if (kind == 3) ThrowCorrupt("a long value is of an unknown kind", row.page, row.offset);
  if (left == 0 && at.page == 0) return;
  LongPages& pages = long_pages_[column.number];
  Bytes piece;
  PageRef page;
  if (kind == 1) {
    if (!UsePiece(column, &pages, at, row, &piece, &page)) return;
    if (piece.size() < left) ThrowCorrupt("a long value is cut short", at.page);
    use(piece.first(left));
    return;
  }
  // No piece is used twice, so this ends.
  while (left > 0) {
    if (at.page == 0) ThrowCorrupt("a long value ends before its length", row.page, row.offset);
    if (!UsePiece(column, &pages, at, row, &piece, &page)) return;
    if (piece.size() <= 4) ThrowCorrupt("a piece of a long value is empty", at.page);
    const auto take = std::min<std::uint32_t>(left, piece.size() - 4);
    use(piece.subspan(4, take));
    left -= take;
    at = LoadPointer(piece.data());
  }
}

void TableChecker::CheckLongValue(const ColumnDef& column, Bytes raw, const RowView& row) {
  TextShape shape;
  std::uint64_t walked = 0;
  WalkLongValue(column, raw, row, [&](Bytes piece) {
    walked += piece.size();
    shape.Add(piece);
  });
  const std::uint32_t length = raw.empty() ? 0 : LoadLe<std::uint32_t>(raw.data()) & kMaxLongValueBytes;
  if (walked != length) return;  // told already
  if (column.calculated) {
    DecodeValue(context_.store, column, raw, row);
  } else if (column.type == ColumnType::kMemo && context_.format.unicode && !shape.whole()) {
    ThrowCorrupt("a text in a row ends within a character", row.page, row.offset);
  }
}

}  // namespace jet
