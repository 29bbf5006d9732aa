#include "access/store/row_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "access/store/value_convert.h"

namespace jet {
namespace {

bool IsLong(const ColumnDef& column) {
  return column.type == ColumnType::kMemo || column.type == ColumnType::kOle;
}

}  // namespace

RowWriter::RowWriter(StoreContext& context, const TableDef& def, const TableLayout& layout)
    : context_(context),
      def_(def),
      layout_(layout),
      space_(context, layout.owned_map, layout.free_map, layout.tdef_page, &held_),
      long_stores_(def.columns.size()),
      variable_order_(layout.variable_columns, -1),
      change_of_column_(def.columns.size(), -1) {
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    const ColumnDef& c = def.columns[i];
    if (c.fixed && !InMask(c)) {
      fixed_bytes_ = std::max(fixed_bytes_, c.fixed_offset + FixedSize(c));
    } else if (!c.fixed && c.variable_index < layout.variable_columns) {
      variable_order_[c.variable_index] = i;
    }
    if (IsLong(c)) {
      const auto maps = layout.long_columns.find(c.number);
      long_stores_[i] = std::make_unique<LongValueStore>(
          context, maps == layout.long_columns.end() ? TableLayout::LongColumn{} : maps->second);
    }
  }
  if (variable_order_.empty()) fixed_bytes_ = std::max(fixed_bytes_, kSmallestFixedPart);
}

// ---- Preparing ----

void RowWriter::Begin(int count) {
  if (std::ssize(prepared_) < count) prepared_.resize(count);
  prepared_count_ = count;
  std::fill(change_of_column_.begin(), change_of_column_.end(), -1);
  raw_.clear();
}

void RowWriter::Prepare(int k, int column, const Value& value) {
  const ColumnDef& c = def_.columns[column];
  Prepared& p = prepared_[k];
  p.column = column;
  const Value* const converted = ConvertToColumn(def_, c, value, &p.value);
  if (converted != &p.value) p.value = *converted;
  p.null = p.value.is_null();
  p.raw_offset = raw_.size();
  p.inline_content = true;
  change_of_column_[column] = k;
  if (p.null) {
    if (c.required) {
      throw Error(ErrorKind::kConstraint,
                  fmt::format("Column \"{}\" of table \"{}\" must not be Null.", c.name, def_.name));
    }
  } else if (!InMask(c)) {
    EncodeValue(context_.format, def_, c, p.value, &raw_);
  }
  p.raw_size = raw_.size() - p.raw_offset;
  if (IsLong(c) && !p.null) {
    if (p.raw_size > kMaxLongValueBytes) {
      throw Error(ErrorKind::kTooLarge,
                  fmt::format("The value for column \"{}\" of table \"{}\" is too long.", c.name, def_.name));
    }
    p.inline_content = p.raw_size <= context_.format.long_inline_max;
  }
}

Bytes RowWriter::Raw(const Prepared& p) const {
  return {reinterpret_cast<const std::uint8_t*>(raw_.data()) + p.raw_offset, p.raw_size};
}

Value RowWriter::OldValue(int column, const RowView& row) const {
  const ColumnDef& c = def_.columns[column];
  if (InMask(c)) return Value::Integer(row.MaskBit(c.number) ? -1 : 0);
  Bytes raw;
  if (!row.Raw(c, &raw)) return Value::Null();
  return DecodeValue(context_, c, raw, row);
}

Value RowWriter::NewValue(int column, const RowView* old) const {
  const int k = change_of_column_[column];
  if (k >= 0) return prepared_[k].value;
  return old != nullptr ? OldValue(column, *old) : Value::Null();
}

// ---- The bytes of a row ----

std::size_t RowWriter::VariableSize(int column, const RowView* old) const {
  const int k = change_of_column_[column];
  const ColumnDef& c = def_.columns[column];
  if (k >= 0) {
    const Prepared& p = prepared_[k];
    if (p.null) return 0;
    if (!IsLong(c)) return p.raw_size;
    return kLongReferenceBytes + (p.inline_content ? p.raw_size : 0);
  }
  Bytes raw;
  return old != nullptr && !InMask(c) && old->Raw(c, &raw) ? raw.size() : 0;
}

std::size_t RowWriter::AssembledSize(const RowView* old) {
  std::size_t size = 2 + fixed_bytes_ + (layout_.max_columns + 7u) / 8;
  if (!variable_order_.empty()) size += 2 + 2 * variable_order_.size() + 2;
  for (const int column : variable_order_) {
    if (column >= 0) size += VariableSize(column, old);
  }
  // Short long values stand in the row while there is room.
  for (int k = 0; k < prepared_count_ && size > context_.format.max_row_bytes; ++k) {
    Prepared& p = prepared_[k];
    if (p.null || !p.inline_content || p.raw_size == 0 || !IsLong(def_.columns[p.column])) continue;
    p.inline_content = false;
    size -= p.raw_size;
  }
  if (size > context_.format.max_row_bytes) {
    throw Error(ErrorKind::kTooLarge,
                fmt::format("The record is too large for table \"{}\" ({} bytes, at most "
                            "{}).",
                            def_.name, size, context_.format.max_row_bytes));
  }
  return size;
}

// Writes what a column holds, at most `limit` bytes of it, and returns how many those are.
std::size_t RowWriter::PutColumn(int column, const RowView* old, std::size_t limit, std::uint8_t* to,
                                 std::uint8_t* mask) {
  const ColumnDef& c = def_.columns[column];
  const int k = change_of_column_[column];
  Bytes raw;
  if (k >= 0) {
    Prepared& p = prepared_[k];
    if (InMask(c) ? p.value.integer() == 0 : p.null) return 0;
    raw = Raw(p);
    if (IsLong(c)) {
      StoreLe<std::uint32_t>(to, p.raw_size | 2u << 30);
      p.reference_offset = to - reinterpret_cast<std::uint8_t*>(row_buffer_.data());
      to += kLongReferenceBytes;
      if (!p.inline_content) raw = {};
    }
  } else if (old == nullptr || (InMask(c) ? !old->MaskBit(c.number) : !old->Raw(c, &raw))) {
    return 0;
  }
  mask[c.number / 8] |= 1 << c.number % 8;
  const std::size_t length = std::min(raw.size(), limit);
  std::copy_n(raw.begin(), length, to);
  return length + (k >= 0 && IsLong(c) ? kLongReferenceBytes : 0);
}

void RowWriter::Assemble(const RowView* old) {
  const std::size_t size = AssembledSize(old);
  row_buffer_.assign(size, '\0');
  auto* out = reinterpret_cast<std::uint8_t*>(row_buffer_.data());
  std::uint8_t* mask = out + size - (layout_.max_columns + 7u) / 8;
  StoreLe<std::uint16_t>(out, layout_.max_columns);
  for (std::size_t i = 0; i < def_.columns.size(); ++i) {
    const ColumnDef& c = def_.columns[i];
    if (c.fixed || InMask(c)) PutColumn(i, old, FixedSize(c), out + 2 + c.fixed_offset, mask);
  }
  const std::size_t variables = variable_order_.size();
  if (variables == 0) return;
  std::size_t at = 2 + fixed_bytes_;
  std::uint8_t* table = mask - 4;  // offsets go downwards from here
  for (std::size_t v = 0; v < variables; ++v) {
    StoreLe<std::uint16_t>(table - 2 * v, at);
    const int column = variable_order_[v];
    if (column >= 0 && !InMask(def_.columns[column])) {
      at += PutColumn(column, old, std::numeric_limits<std::size_t>::max(), out + at, mask);
    }
  }
  StoreLe<std::uint16_t>(table - 2 * variables, at);
  StoreLe<std::uint16_t>(mask - 2, variables);
}

bool RowWriter::NeedsRewriting(const RowView& row) const {
  return row.bytes.size() < kSmallestRow || (!row.variable_part && !variable_order_.empty());
}

void RowWriter::WriteLongValues() {
  for (int k = 0; k < prepared_count_; ++k) {
    const Prepared& p = prepared_[k];
    if (p.null || p.inline_content || change_of_column_[p.column] != k) {
      continue;
    }
    long_stores_[p.column]->Write(Raw(p),
                                  reinterpret_cast<std::uint8_t*>(row_buffer_.data()) + p.reference_offset);
  }
}

void RowWriter::FreeLongValues(const RowView& old, bool only_changed) {
  for (std::size_t i = 0; i < long_stores_.size(); ++i) {
    Bytes raw;
    if (!long_stores_[i] || (only_changed && change_of_column_[i] < 0)) continue;
    if (old.Raw(def_.columns[i], &raw)) long_stores_[i]->Free(raw, old);
  }
}

bool RowWriter::CanPatch(const RowView& old) const {
  if (old.bytes.size() < kSmallestRow) return false;
  const std::uint32_t fixed_end = old.FixedEnd();
  for (int k = 0; k < prepared_count_; ++k) {
    const Prepared& p = prepared_[k];
    const ColumnDef& c = def_.columns[p.column];
    if (c.number >= old.column_count) return false;
    if (InMask(c)) continue;
    if (c.fixed) {
      if (2 + c.fixed_offset + FixedSize(c) > fixed_end) return false;
      continue;
    }
    Bytes raw;
    const bool old_null = !old.Raw(c, &raw);
    if (old_null && p.null) continue;
    if (old_null || p.null || IsLong(c) || raw.size() != p.raw_size) return false;
  }
  return true;
}

bool RowWriter::PatchChangesAnything(const RowView& old) const {
  for (int k = 0; k < prepared_count_; ++k) {
    const Prepared& p = prepared_[k];
    const ColumnDef& c = def_.columns[p.column];
    if (InMask(c)) {
      if (old.MaskBit(c.number) != (p.value.integer() != 0)) return true;
      continue;
    }
    Bytes raw;
    const bool old_null = !old.Raw(c, &raw);
    if (old_null != p.null) return true;
    if (!p.null && !std::equal(raw.begin(), raw.end(), Raw(p).begin())) {
      return true;
    }
  }
  return false;
}

void RowWriter::Patch(const RowLocation& at) {
  const MutablePageRef page = context_.pages.Write(at.view.page);
  std::uint8_t* row = page.mutable_data() + at.view.offset;
  for (int k = 0; k < prepared_count_; ++k) {
    const Prepared& p = prepared_[k];
    if (change_of_column_[p.column] != k) continue;
    const ColumnDef& c = def_.columns[p.column];
    std::uint8_t& mask = row[at.view.mask_offset + c.number / 8];
    const std::uint8_t bit = 1 << c.number % 8;
    const bool on = InMask(c) ? p.value.integer() != 0 : !p.null;
    const Bytes raw = Raw(p);
    if (c.fixed && !InMask(c)) {
      std::uint8_t* to = row + 2 + c.fixed_offset;
      if (p.null) {
        std::fill_n(to, FixedSize(c), std::uint8_t{0});
      } else {
        std::copy(raw.begin(), raw.end(), to);
      }
    } else if (!InMask(c) && !p.null) {
      Bytes old;
      at.view.Raw(c, &old);
      std::copy(raw.begin(), raw.end(), row + (old.data() - at.view.bytes.data()));
    }
    mask = on ? mask | bit : mask & ~bit;
  }
}

// ---- Their places ----

// A row has left a page.
void RowWriter::NoteRoom(PageNo page, const std::uint8_t* data) {
  space_.NoteRoom(page, data);
  if (IsEmptyDataPage(context_.format, data)) emptied_.insert(page);
}

RowId RowWriter::Add() {
  const RowSpace::Place place = space_.Add(row_buffer_.size(), 0);
  std::copy(row_buffer_.begin(), row_buffer_.end(), place.bytes);
  return RowId(place.page.page_no(), place.slot);
}

// Puts row_buffer_ where a row stands now, if the page has room for it.
bool RowWriter::TryPlace(PageNo page_no, unsigned slot, const RowSlot& now, std::uint16_t flags) {
  const FormatInfo& format = context_.format;
  const std::uint32_t length = row_buffer_.size();
  const PageRef seen = context_.pages.Read(page_no);
  if (FreeBytes(format, seen.data(), page_no) + now.length() < length) return false;
  const MutablePageRef page = context_.pages.Write(page_no);
  std::uint8_t* data = page.mutable_data();
  std::copy(row_buffer_.begin(), row_buffer_.end(),
            data + ResizeRow(format, data, page_no, slot, length, flags));
  if (length < now.length()) space_.NoteRoom(page_no, data);
  return true;
}

void RowWriter::DeleteBody(const RowLocation& at) {
  const PageNo body_no = at.body_page.page_no();
  const MutablePageRef page = context_.pages.Write(body_no);
  DeleteRow(context_.format, page.mutable_data(), body_no, at.body_slot);
  NoteRoom(body_no, page.data());
}

// Where it stands, else back home, else on another page with a pointer row left behind.
void RowWriter::Replace(const RowLocation& at) {
  const PageNo home_no = at.home_page.page_no();
  if (!at.moved()) {
    if (TryPlace(home_no, at.home_slot, at.home, 0)) return;
  } else {
    if (TryPlace(at.body_page.page_no(), at.body_slot, at.body, kSlotDeleted)) return;
    // The body goes first: it may stand on the home page.
    DeleteBody(at);
    const RowSlot home = ReadSlot(context_.format, at.home_page.data(), home_no, at.home_slot);
    if (TryPlace(home_no, at.home_slot, home, 0)) return;
  }
  LeavePointer(at);
}

void RowWriter::LeavePointer(const RowLocation& at) {
  const FormatInfo& format = context_.format;
  const PageNo home_no = at.home_page.page_no();
  // Room is made for the pointer before the body takes what is left of the page.
  const MutablePageRef home_page = context_.pages.Write(home_no);
  std::uint8_t* home_data = home_page.mutable_data();
  const RowSlot small = ReadSlot(format, home_data, home_no, at.home_slot);
  if (small.length() + FreeBytes(format, home_data, home_no) < kRowPointerBytes) {
    throw Error(
        ErrorKind::kNotSupported,
        fmt::format("A record of table \"{}\" cannot grow: it takes {} bytes on page {}, which is full, "
                    "and a note of where it has gone would take {}.",
                    def_.name, small.length(), home_no, kRowPointerBytes));
  }
  ResizeRow(format, home_data, home_no, at.home_slot, kRowPointerBytes, kSlotPointer);
  const RowSpace::Place place = space_.Add(row_buffer_.size(), kSlotDeleted);
  std::copy(row_buffer_.begin(), row_buffer_.end(), place.bytes);
  const RowSlot home = ReadSlot(format, home_data, home_no, at.home_slot);
  StorePointer(home_data + home.start, {place.page.page_no(), place.slot});
  space_.NoteRoom(home_no, home_data);
}

void RowWriter::Delete(RowId id, const RowLocation& at) {
  FreeLongValues(at.view, false);
  if (at.moved()) DeleteBody(at);
  const MutablePageRef page = context_.pages.Write(id.page());
  DeleteRow(context_.format, page.mutable_data(), id.page(), at.home_slot);
  held_.NoteDeleted(id);
  NoteRoom(id.page(), page.data());
}

void RowWriter::AddCopy(StoreContext& from, const RowView& row) {
  row_buffer_.assign(reinterpret_cast<const char*>(row.bytes.data()), row.bytes.size());
  std::string content;
  for (std::size_t i = 0; i < long_stores_.size(); ++i) {
    Bytes raw;
    if (!long_stores_[i] || !row.Raw(def_.columns[i], &raw) || raw.empty()) continue;
    const Bytes value = ReadLongValue(from, raw, row, &content);
    if (value.data() != reinterpret_cast<const std::uint8_t*>(content.data())) continue;  // stands in the row
    if (value.empty() && LoadPointer(raw.data() + 4).page == 0) continue;
    std::uint8_t* reference =
        reinterpret_cast<std::uint8_t*>(row_buffer_.data()) + (raw.data() - row.bytes.data());
    const auto unknown = LoadLe<std::uint32_t>(reference + 8);
    long_stores_[i]->Write(value, reference);
    StoreLe(reference + 8, unknown);
  }
  const RowSpace::Place place = space_.Add(row_buffer_.size(), 0, RowSpace::Where::kBehind);
  std::copy(row_buffer_.begin(), row_buffer_.end(), place.bytes);
}

// ---- Pages ----

void RowWriter::ReleaseRowIds() {
  if (held_.Release()) space_.NoteReleased();
}

void RowWriter::ReturnPages() {
  for (const PageNo page : emptied_) {
    // A statement that was rolled back may have left anything here.
    if (page >= context_.pages.page_count() || !owned().Contains(page)) continue;
    const PageRef ref = context_.pages.Read(page);
    if (!IsDataPageOf(ref.data(), layout_.tdef_page) || !IsEmptyDataPage(context_.format, ref.data()))
      continue;
    space_.Drop(page);
    context_.allocator.Free(page);
  }
  emptied_.clear();
}

void RowWriter::Forget() {
  space_.Forget();
  for (const auto& store : long_stores_) {
    if (store) store->Forget();
  }
}

}  // namespace jet
