// Inserting, changing and deleting rows.
#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <random>
#include <utility>

#include "access/base/interruption.h"
#include "access/store/table_impl.h"
#include "access/store/value_convert.h"

namespace jet {
namespace {

Bytes AsBytes(const std::string& s, std::size_t offset, std::size_t size) {
  return {reinterpret_cast<const std::uint8_t*>(s.data()) + offset, size};
}

bool IsLong(const ColumnDef& column) {
  return column.type == ColumnType::kMemo || column.type == ColumnType::kOle;
}

std::string RandomGuid() {
  static std::mt19937_64 random{std::random_device{}()};
  const std::uint64_t a = random(), b = random();
  return fmt::format("{{{:08X}-{:04X}-4{:03X}-{:04X}-{:012X}}}", a >> 32, a >> 16 & 0xFFFF, a & 0xFFF,
                     0x8000 | (b >> 48 & 0x3FFF), b & 0xFFFFFFFFFFFF);
}

}  // namespace

void StoredTableImpl::RequireChangeable() const {
  if (!def_.read_only_reason.empty()) {
    throw Error(ErrorKind::kNotSupported,
                fmt::format("Table \"{}\" cannot be changed: {}", def_.name, def_.read_only_reason));
  }
  for (const IndexDef& index : def_.indexes) {
    if (!index.supported) {
      throw Error(ErrorKind::kNotSupported,
                  fmt::format("Table \"{}\" cannot be changed: the sort order or a column type of its index "
                              "\"{}\" is not supported.",
                              def_.name, index.name));
    }
  }
}

StoredTableImpl::Location StoredTableImpl::LocateForChange(RowId id) const {
  Location at;
  if (!Locate(id, &at)) {
    throw Error(ErrorKind::kNotFound, fmt::format("The record of table \"{}\" that is to be changed has been "
                                                  "deleted.",
                                                  def_.name));
  }
  return at;
}

// ---- Preparing values ----

void StoredTableImpl::BeginPrepare(int count) {
  // Sized before any value is prepared: prepared values point into each other's storage.
  if (std::ssize(prepared_) < count) prepared_.resize(count);
  prepared_count_ = count;
  std::fill(change_of_column_.begin(), change_of_column_.end(), -1);
  raw_.clear();
  key_change_count_ = 0;
}

void StoredTableImpl::Prepare(int k, int column, const Value& value) {
  const ColumnDef& c = def_.columns[column];
  Prepared& p = prepared_[k];
  p.column = column;
  p.value = ConvertToColumn(def_, c, value, &p.storage);
  p.null = p.value->is_null();
  p.raw_offset = raw_.size();
  p.inline_content = true;
  change_of_column_[column] = k;
  if (p.null) {
    if (c.required) {
      throw Error(ErrorKind::kConstraint,
                  fmt::format("Column \"{}\" of table \"{}\" must not be Null.", c.name, def_.name));
    }
  } else if (!InMask(c)) {
    EncodeValue(context_.format, def_, c, *p.value, &raw_);
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

Value StoredTableImpl::OldValue(int column, const RowView& row) const {
  const ColumnDef& c = def_.columns[column];
  if (InMask(c)) return Value::Integer(row.MaskBit(c.number) ? -1 : 0);
  Bytes raw;
  if (!row.Raw(c, &raw)) return Value::Null();
  return DecodeValue(context_, c, raw, row);
}

Value StoredTableImpl::NewValue(int column, const RowView* old) const {
  const int k = change_of_column_[column];
  if (k >= 0) return *prepared_[k].value;
  return old != nullptr ? OldValue(column, *old) : Value::Null();
}

// ---- Keys ----

template <typename Get>
bool StoredTableImpl::BuildKey(int index, Get get, bool check, std::string* key, bool* all_null) const {
  const IndexDef& d = def_.indexes[index];
  key->clear();
  *all_null = true;
  for (std::size_t i = 0; i < d.columns.size(); ++i) {
    const int column = d.columns[i].column;
    const Value& value = get(column);
    if (!value.is_null()) {
      *all_null = false;
    } else if (check && (d.primary || d.required)) {
      throw Error(ErrorKind::kConstraint,
                  fmt::format("Index \"{}\" of table \"{}\" does not allow Null in column \"{}\".", d.name,
                              def_.name, def_.columns[column].name));
    }
    AppendColumnKey(index, i, value, key);
  }
  if (key->size() > BTree::kMaxKeyBytes) {
    throw Error(ErrorKind::kTooLarge,
                fmt::format("The key of index \"{}\" of table \"{}\" is too long.", d.name, def_.name));
  }
  return !(d.ignore_nulls && *all_null);
}

bool StoredTableImpl::RequireUnique(int index, const std::string& key, bool all_null, const RowView* old) {
  const IndexDef& d = def_.indexes[index];
  if (!d.unique && !d.primary) return false;
  if (all_null && !d.primary && !d.required) return false;
  if (tree(index).Contains(key)) ThrowDuplicate(index, old);
  return true;
}

void StoredTableImpl::ThrowDuplicate(int index, const RowView* old) const {
  const IndexDef& d = def_.indexes[index];
  std::string key;
  for (const IndexColumn& c : d.columns) {
    if (!key.empty()) key += ", ";
    key += fmt::format("{} = {}", def_.columns[c.column].name, DescribeValue(NewValue(c.column, old)));
  }
  throw Error(ErrorKind::kDuplicate,
              fmt::format("The change would make a duplicate key in {} \"{}\" of table \"{}\" ({}).",
                          d.primary ? "the primary key" : "the unique index", d.name, def_.name, key));
}

StoredTableImpl::KeyChange& StoredTableImpl::NextKeyChange(int index) {
  if (key_changes_.size() == key_change_count_) key_changes_.emplace_back();
  KeyChange& change = key_changes_[key_change_count_];
  change.index = index;
  change.has_old = change.has_new = change.new_is_unseen = false;
  return change;
}

void StoredTableImpl::ApplyKeyChanges(RowId id) {
  for (std::size_t i = 0; i < key_change_count_; ++i) {
    const KeyChange& change = key_changes_[i];
    BTree& index = tree(change.index);
    if (change.has_old && !index.Erase(change.old_key, id)) {
      ThrowCorrupt(fmt::format("index \"{}\" of table \"{}\" lacks a row of the table",
                               def_.indexes[change.index].name, def_.name),
                   id.page());
    }
    if (change.has_new) {
      // Counts keys that were never seen; like Access, it is not lowered when keys go.
      if (change.new_is_unseen || !index.Contains(change.new_key)) {
        ++counters_.distinct[change.index];
      }
      index.Insert(change.new_key, id);
    }
  }
}

// ---- Row bytes ----

void StoredTableImpl::AssembleRow(const RowView* old) {
  const std::size_t mask_bytes = (layout_.max_columns + 7u) / 8;
  std::size_t size = 2 + fixed_bytes_ + mask_bytes;
  const std::size_t variables = variable_order_.size();
  if (variables > 0) size += 2 + 2 * variables + 2;
  const auto variable_size = [&](int column) -> std::size_t {
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
  };
  for (const int column : variable_order_) {
    if (column >= 0) size += variable_size(column);
  }
  // Short long values stand in the row while there is room.
  for (int k = 0; k < prepared_count_ && size > context_.format.max_row_bytes; ++k) {
    Prepared& p = prepared_[k];
    if (p.null || !p.inline_content || p.raw_size == 0 || !IsLong(def_.columns[p.column])) {
      continue;
    }
    p.inline_content = false;
    size -= p.raw_size;
  }
  if (size > context_.format.max_row_bytes) {
    throw Error(ErrorKind::kTooLarge,
                fmt::format("The record is too large for table \"{}\" ({} bytes, at most "
                            "{}).",
                            def_.name, size, context_.format.max_row_bytes));
  }

  row_buffer_.assign(size, '\0');
  auto* out = reinterpret_cast<std::uint8_t*>(row_buffer_.data());
  std::uint8_t* mask = out + size - mask_bytes;
  StoreLe<std::uint16_t>(out, layout_.max_columns);
  std::size_t at = 2 + fixed_bytes_;
  std::uint8_t* table = mask - 4;  // offsets go downwards from here
  const auto put = [&](int column, std::size_t limit, std::uint8_t* to) -> std::size_t {
    const ColumnDef& c = def_.columns[column];
    const int k = change_of_column_[column];
    Bytes raw;
    if (k >= 0) {
      Prepared& p = prepared_[k];
      if (InMask(c) ? p.value->integer() == 0 : p.null) return 0;
      raw = AsBytes(raw_, p.raw_offset, p.raw_size);
      if (IsLong(c)) {
        StoreLe<std::uint32_t>(to, p.raw_size | 2u << 30);
        to += kLongReferenceBytes;
        p.reference_offset = to - out - kLongReferenceBytes;
        if (!p.inline_content) raw = {};
      }
    } else if (old == nullptr || (InMask(c) ? !old->MaskBit(c.number) : !old->Raw(c, &raw))) {
      return 0;
    }
    mask[c.number / 8] |= 1 << c.number % 8;
    const std::size_t length = std::min(raw.size(), limit);
    std::copy_n(raw.begin(), length, to);
    return length + (k >= 0 && IsLong(c) ? kLongReferenceBytes : 0);
  };
  for (std::size_t i = 0; i < def_.columns.size(); ++i) {
    const ColumnDef& c = def_.columns[i];
    if (c.fixed || InMask(c)) put(i, FixedSize(c), out + 2 + c.fixed_offset);
  }
  if (variables == 0) return;
  for (std::size_t v = 0; v < variables; ++v) {
    StoreLe<std::uint16_t>(table - 2 * v, at);
    const int column = variable_order_[v];
    if (column >= 0 && !InMask(def_.columns[column])) {
      at += put(column, std::numeric_limits<std::size_t>::max(), out + at);
    }
  }
  StoreLe<std::uint16_t>(table - 2 * variables, at);
  StoreLe<std::uint16_t>(mask - 2, variables);
}

void StoredTableImpl::WriteLongValues() {
  for (int k = 0; k < prepared_count_; ++k) {
    const Prepared& p = prepared_[k];
    if (p.null || p.inline_content || change_of_column_[p.column] != k) {
      continue;
    }
    long_stores_[p.column]->Write(AsBytes(raw_, p.raw_offset, p.raw_size),
                                  reinterpret_cast<std::uint8_t*>(row_buffer_.data()) + p.reference_offset);
  }
}

void StoredTableImpl::FreeLongValues(const RowView& old, bool only_changed) {
  for (std::size_t i = 0; i < long_stores_.size(); ++i) {
    Bytes raw;
    if (!long_stores_[i] || (only_changed && change_of_column_[i] < 0)) continue;
    if (old.Raw(def_.columns[i], &raw)) long_stores_[i]->Free(raw, old);
  }
}

// Whether every prepared change can be made within the bytes that the row has.
bool StoredTableImpl::CanPatch(const RowView& old) const {
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

bool StoredTableImpl::PatchChangesAnything(const RowView& old) const {
  for (int k = 0; k < prepared_count_; ++k) {
    const Prepared& p = prepared_[k];
    const ColumnDef& c = def_.columns[p.column];
    if (InMask(c)) {
      if (old.MaskBit(c.number) != (p.value->integer() != 0)) return true;
      continue;
    }
    Bytes raw;
    const bool old_null = !old.Raw(c, &raw);
    if (old_null != p.null) return true;
    if (!p.null && !std::equal(raw.begin(), raw.end(), AsBytes(raw_, p.raw_offset, p.raw_size).begin())) {
      return true;
    }
  }
  return false;
}

void StoredTableImpl::Patch(const Location& at) {
  const MutablePageRef page = context_.pages.Write(at.view.page);
  std::uint8_t* row = page.mutable_data() + at.view.offset;
  for (int k = 0; k < prepared_count_; ++k) {
    const Prepared& p = prepared_[k];
    if (change_of_column_[p.column] != k) continue;
    const ColumnDef& c = def_.columns[p.column];
    std::uint8_t& mask = row[at.view.mask_offset + c.number / 8];
    const std::uint8_t bit = 1 << c.number % 8;
    const bool on = InMask(c) ? p.value->integer() != 0 : !p.null;
    const Bytes raw = AsBytes(raw_, p.raw_offset, p.raw_size);
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

// A row has left a page.
void StoredTableImpl::NoteRoom(PageNo page, const std::uint8_t* data) {
  space_.NoteRoom(page, data);
  if (IsEmptyDataPage(context_.format, data)) emptied_.insert(page);
}

// Puts row_buffer_ in the place of a row: where it stands, else back home, else on another page with a
// pointer row left behind.
void StoredTableImpl::ReplaceRow(const Location& at) {
  const FormatInfo& format = context_.format;
  const std::uint32_t length = row_buffer_.size();
  const auto fill = [&](std::uint8_t* to) { std::copy(row_buffer_.begin(), row_buffer_.end(), to); };
  const auto try_slot = [&](PageNo page_no, unsigned slot, const RowSlot& now, std::uint16_t flags) {
    const PageRef seen = context_.pages.Read(page_no);
    if (FreeBytes(format, seen.data(), page_no) + now.length() < length) return false;
    const MutablePageRef page = context_.pages.Write(page_no);
    std::uint8_t* data = page.mutable_data();
    fill(data + ResizeRow(format, data, page_no, slot, length, flags));
    if (length < now.length()) space_.NoteRoom(page_no, data);
    return true;
  };
  const PageNo home_no = at.home_page.page_no();
  const PageNo body_no = at.body_page.page_no();
  const auto delete_body = [&] {
    const MutablePageRef page = context_.pages.Write(body_no);
    DeleteRow(format, page.mutable_data(), body_no, at.body_slot);
    NoteRoom(body_no, page.data());
  };
  if (!at.moved()) {
    if (try_slot(home_no, at.home_slot, at.home, 0)) return;
  } else {
    if (try_slot(body_no, at.body_slot, at.body, kSlotDeleted)) return;
    // The body goes first: it may stand on the home page.
    delete_body();
    const RowSlot home = ReadSlot(format, at.home_page.data(), home_no, at.home_slot);
    if (try_slot(home_no, at.home_slot, home, 0)) return;
  }
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
  const RowSpace::Place place = space_.Add(length, kSlotDeleted);
  fill(place.bytes);
  const RowSlot home = ReadSlot(format, home_data, home_no, at.home_slot);
  StorePointer(home_data + home.start, {place.page.page_no(), place.slot});
  space_.NoteRoom(home_no, home_data);
}

void StoredTableImpl::RewriteOldRows() {
  Touch();
  BeginPrepare(0);
  TableCursor cursor(*this);
  Row row;
  RowId id;
  while (cursor.Next(&row, &id)) {
    const Location at = LocateForChange(id);
    if (at.view.bytes.size() >= kSmallestRow && (at.view.variable_part || variable_order_.empty())) continue;
    AssembleRow(&at.view);
    ReplaceRow(at);
  }
}

// ---- The three changes ----

RowId StoredTableImpl::Insert(const std::vector<Value>& values) {
  RequireChangeable();
  ++content_version_;
  if (values.size() != def_.columns.size()) {
    throw Error(ErrorKind::kInvalid, fmt::format("A record of table \"{}\" needs {} values, not {}.",
                                                 def_.name, def_.columns.size(), values.size()));
  }
  BeginPrepare(values.size());
  std::int32_t auto_number = counters_.auto_number;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const int column = i;
    const ColumnDef& c = def_.columns[i];
    if (!c.auto_number) {
      Prepare(i, column, values[i]);
    } else if (column == auto_column_) {
      if (values[i].is_null()) {
        if (auto_number == std::numeric_limits<std::int32_t>::max()) {
          throw Error(ErrorKind::kTooLarge,
                      fmt::format("Table \"{}\" has used up its autonumbers.", def_.name));
        }
        Prepare(i, column, Value::Integer(++auto_number));
        // The value was a temporary.
        prepared_[i].storage = Value::Integer(auto_number);
        prepared_[i].value = &prepared_[i].storage;
      } else {
        Prepare(i, column, values[i]);
        auto_number = std::max<std::int32_t>(auto_number, prepared_[i].value->integer());
      }
    } else if (c.type == ColumnType::kGuid && values[i].is_null()) {
      const Value guid = Value::Text(RandomGuid());
      Prepare(i, column, guid);
      prepared_[i].storage = guid;
      prepared_[i].value = &prepared_[i].storage;
    } else {
      Prepare(i, column, values[i]);
    }
  }
  for (int index = 0; index < std::ssize(indexes_); ++index) {
    KeyChange& change = NextKeyChange(index);
    bool all_null = false;
    const auto get = [&](int column) -> const Value& { return *prepared_[change_of_column_[column]].value; };
    change.has_new = BuildKey(index, get, true, &change.new_key, &all_null);
    if (!change.has_new) continue;
    change.new_is_unseen = RequireUnique(index, change.new_key, all_null, nullptr);
    ++key_change_count_;
  }
  RequireParents(nullptr);
  AssembleRow(nullptr);

  Touch();
  WriteLongValues();
  const RowSpace::Place place = space_.Add(row_buffer_.size(), 0);
  std::copy(row_buffer_.begin(), row_buffer_.end(), place.bytes);
  const RowId id(place.page.page_no(), place.slot);
  ApplyKeyChanges(id);
  ++counters_.rows;
  counters_.auto_number = auto_number;
  return id;
}

void StoredTableImpl::Update(RowId id, const std::vector<ColumnChange>& changes) {
  RequireChangeable();
  ++content_version_;
  const Location at = LocateForChange(id);
  BeginPrepare(changes.size());
  std::uint32_t affected = 0;
  std::int32_t auto_number = counters_.auto_number;
  for (std::size_t k = 0; k < changes.size(); ++k) {
    const int column = changes[k].column;
    if (column < 0 || column >= std::ssize(def_.columns)) {
      throw Error(ErrorKind::kInvalid, fmt::format("Table \"{}\" has no such column.", def_.name));
    }
    Prepare(k, column, changes[k].value);
    affected |= indexes_of_column_[column];
    if (column == auto_column_ && !prepared_[k].null) {
      auto_number = std::max<std::int32_t>(auto_number, prepared_[k].value->integer());
    }
  }
  const bool patch = CanPatch(at.view);
  if (patch && !PatchChangesAnything(at.view)) return;
  for (int index = 0; affected != 0; ++index, affected >>= 1) {
    if ((affected & 1) == 0) continue;
    KeyChange& change = NextKeyChange(index);
    bool old_null = false, new_null = false;
    change.has_old = BuildKey(
        index, [&](int c) { return OldValue(c, at.view); }, false, &change.old_key, &old_null);
    change.has_new = BuildKey(
        index, [&](int c) { return NewValue(c, &at.view); }, true, &change.new_key, &new_null);
    if (change.has_old == change.has_new && (!change.has_old || change.old_key == change.new_key)) continue;
    if (change.has_new) change.new_is_unseen = RequireUnique(index, change.new_key, new_null, &at.view);
    ++key_change_count_;
  }
  RequireParents(&at.view);
  std::vector<Cascade> cascades = RequireNoChildren(id, at.view, false);
  if (!patch) AssembleRow(&at.view);

  Touch();
  counters_.auto_number = auto_number;
  if (patch) {
    Patch(at);
  } else {
    FreeLongValues(at.view, true);
    WriteLongValues();
    ReplaceRow(at);
  }
  ApplyKeyChanges(id);
  RunCascades(cascades);
}

void StoredTableImpl::Delete(RowId id) {
  RequireChangeable();
  const FormatInfo& format = context_.format;
  const Location at = LocateForChange(id);
  key_change_count_ = 0;
  for (int index = 0; index < std::ssize(indexes_); ++index) {
    KeyChange& change = NextKeyChange(index);
    bool all_null = false;
    change.has_old = BuildKey(
        index, [&](int c) { return OldValue(c, at.view); }, false, &change.old_key, &all_null);
    if (change.has_old) ++key_change_count_;
  }
  std::vector<Cascade> cascades = RequireNoChildren(id, at.view, true);

  Touch();
  FreeLongValues(at.view, false);
  if (at.moved()) {
    const PageNo body_no = at.body_page.page_no();
    const MutablePageRef page = context_.pages.Write(body_no);
    DeleteRow(format, page.mutable_data(), body_no, at.body_slot);
    NoteRoom(body_no, page.data());
  }
  const MutablePageRef page = context_.pages.Write(id.page());
  DeleteRow(format, page.mutable_data(), id.page(), at.home_slot);
  held_.NoteDeleted(id);
  NoteRoom(id.page(), page.data());
  ApplyKeyChanges(id);
  if (counters_.rows > 0) --counters_.rows;
  RunCascades(cascades);
}

// The bytes stay as they are, but for the places of long values.
void StoredTableImpl::CopyRow(const Row& row) {
  Touch();
  const RowView view = RowAccess::View(row);
  StoreContext& from = RowAccess::TableOf(row).context();
  row_buffer_.assign(reinterpret_cast<const char*>(view.bytes.data()), view.bytes.size());
  std::string content;
  for (std::size_t i = 0; i < long_stores_.size(); ++i) {
    Bytes raw;
    if (!long_stores_[i] || !view.Raw(def_.columns[i], &raw) || raw.empty()) continue;
    const Bytes value = ReadLongValue(from, raw, view, &content);
    if (value.data() != reinterpret_cast<const std::uint8_t*>(content.data())) continue;  // stands in the row
    if (value.empty() && LoadPointer(raw.data() + 4).page == 0) continue;
    std::uint8_t* reference =
        reinterpret_cast<std::uint8_t*>(row_buffer_.data()) + (raw.data() - view.bytes.data());
    const auto unknown = LoadLe<std::uint32_t>(reference + 8);
    long_stores_[i]->Write(value, reference);
    StoreLe(reference + 8, unknown);
  }
  const RowSpace::Place place = space_.Add(row_buffer_.size(), 0, RowSpace::Where::kBehind);
  std::copy(row_buffer_.begin(), row_buffer_.end(), place.bytes);
  ++counters_.rows;
}

// ---- Building an index ----

// Entries are inserted in ascending order, so that pages get filled. They are collected in portions, so that
// memory stays bounded: each portion is the lowest entries that are not yet in the index, found by a walk
// over all rows.
void StoredTableImpl::BuildIndex(int index) {
  constexpr std::size_t kPortionBytes = 32u << 20;
  struct Entry {
    std::size_t offset;
    std::size_t size;
    RowId row;
    bool all_null;
  };
  const IndexDef& d = def_.indexes[index];
  BTree& index_tree = tree(index);
  std::uint32_t& distinct = counters_.distinct[index];
  Touch();
  std::string keys, kept_keys, key;
  std::vector<Entry> entries;
  std::fill(change_of_column_.begin(), change_of_column_.end(), -1);
  const auto key_of = [&](const Entry& e) { return std::string_view(keys).substr(e.offset, e.size); };
  const auto less = [&](const Entry& a, const Entry& b) {
    const int order = key_of(a).compare(key_of(b));
    return order != 0 ? order < 0 : a.row < b.row;
  };
  using Place = std::pair<std::string, RowId>;
  std::optional<Place> last;  // in the index
  std::optional<Place> end;   // of the portion: what is not less is for the next one

  const auto keep_half = [&] {
    const auto half = entries.begin() + (entries.size() / 2);
    std::nth_element(entries.begin(), half, entries.end(), less);
    end.emplace(key_of(*half), half->row);
    entries.erase(half, entries.end());
    kept_keys.clear();
    for (Entry& e : entries) {
      const std::size_t offset = kept_keys.size();
      kept_keys += key_of(e);
      e.offset = offset;
    }
    keys.swap(kept_keys);
  };
  const auto insert_portion = [&] {
    std::sort(entries.begin(), entries.end(), less);
    for (const Entry& e : entries) {
      const bool exempt = e.all_null && !d.primary && !d.required;
      if (!last || last->first != key_of(e)) {
        ++distinct;
      } else if ((d.unique || d.primary) && !exempt) {
        const Location at = LocateForChange(e.row);
        ThrowDuplicate(index, &at.view);
      }
      index_tree.Insert(key_of(e), e.row);
      if (!last) last.emplace();
      last->first.assign(key_of(e));
      last->second = e.row;
    }
  };
  distinct = 0;
  do {
    entries.clear();
    keys.clear();
    end.reset();
    TableCursor cursor(*this);
    Row row;
    RowId id;
    while (cursor.Next(&row, &id)) {
      ThrowIfInterrupted();
      const RowView view = RowAccess::View(row);
      bool all_null = false;
      if (!BuildKey(
              index, [&](int c) { return OldValue(c, view); }, true, &key, &all_null))
        continue;
      const auto order = [&](const Place& place) {
        const int keys_order = key.compare(place.first);
        return keys_order != 0 ? keys_order : id < place.second ? -1 : id == place.second ? 0 : 1;
      };
      if ((last && order(*last) <= 0) || (end && order(*end) >= 0)) continue;
      entries.push_back({keys.size(), key.size(), id, all_null});
      keys += key;
      if (keys.size() + entries.size() * sizeof(Entry) > kPortionBytes) keep_half();
    }
    insert_portion();
  } while (end);
}

}  // namespace jet
