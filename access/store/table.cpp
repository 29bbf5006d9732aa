#include <fmt/format.h>

#include <algorithm>

#include "access/store/table_impl.h"
#include "access/store/text_codec.h"
#include "access/store/value_convert.h"

namespace jet {
namespace {

const StoredTableImpl& Impl(const Table& table) { return static_cast<const StoredTableImpl&>(table); }

}  // namespace

// ---- Rows ----

void RowAccess::Set(const StoredTableImpl& table, const PageRef& page, const RowView& view, Row* row) {
  row->table_ = &table;
  if (!row->page_ || row->page_.data() != page.data()) row->page_ = page;
  row->bytes_ = view.bytes;
  row->column_count_ = view.column_count;
  row->variable_count_ = view.variable_count;
  row->mask_offset_ = view.mask_offset;
  row->variable_part_ = view.variable_part;
}

RowView RowAccess::View(const Row& row) {
  RowView view;
  view.bytes = row.bytes_;
  view.page = row.page_.page_no();
  view.offset = row.bytes_.data() - row.page_.data();
  view.column_count = row.column_count_;
  view.variable_count = row.variable_count_;
  view.mask_offset = row.mask_offset_;
  view.variable_part = row.variable_part_;
  view.jet3 = TableOf(row).row_format().jet3;
  return view;
}

const StoredTableImpl& RowAccess::TableOf(const Row& row) { return Impl(*row.table_); }

bool Row::IsNull(int column) const {
  const ColumnDef& c = table_->def().columns[column];
  if (InMask(c)) return false;
  Bytes raw;
  const RowView view = RowAccess::View(*this);
  return !view.Raw(c, &raw) || IsNullValue(RowAccess::TableOf(*this).context(), c, raw, view);
}

Value Row::Get(int column) const {
  const ColumnDef& c = table_->def().columns[column];
  const RowView view = RowAccess::View(*this);
  if (InMask(c)) return Value::Integer(view.MaskBit(c.number) ? -1 : 0);
  Bytes raw;
  if (!view.Raw(c, &raw)) return Value::Null();
  return DecodeValue(RowAccess::TableOf(*this).context(), c, raw, view);
}

std::int64_t Row::GetInteger(int column) const {
  const ColumnDef& c = table_->def().columns[column];
  const RowView view = RowAccess::View(*this);
  if (InMask(c)) return view.MaskBit(c.number) ? -1 : 0;
  Bytes raw;
  if (!view.Raw(c, &raw)) return 0;
  if (!c.calculated) {
    switch (raw.size()) {
      case 1:
        return raw[0];
      case 2:
        return LoadLe<std::int16_t>(raw.data());
      case 4:
        return LoadLe<std::int32_t>(raw.data());
      case 8:
        return LoadLe<std::int64_t>(raw.data());
      default:
        break;
    }
  }
  return DecodeValue(RowAccess::TableOf(*this).context(), c, raw, view).integer();
}

double Row::GetReal(int column) const {
  const ColumnDef& c = table_->def().columns[column];
  const RowView view = RowAccess::View(*this);
  Bytes raw;
  if (!view.Raw(c, &raw)) return 0;
  if (!c.calculated && raw.size() == 8) return LoadLe<double>(raw.data());
  if (!c.calculated && raw.size() == 4) return LoadLe<float>(raw.data());
  return DecodeValue(RowAccess::TableOf(*this).context(), c, raw, view).real();
}

void Row::GetText(int column, std::string* utf8) const {
  const ColumnDef& c = table_->def().columns[column];
  const RowView view = RowAccess::View(*this);
  utf8->clear();
  Bytes raw;
  if (view.Raw(c, &raw)) DecodeTextColumn(RowAccess::TableOf(*this).context(), c, raw, view, utf8);
}

// ---- Keys ----

KeyColumn MakeKeyColumn(const ColumnDef& column, bool descending, Format format) {
  KeyColumn key;
  key.type = column.type;
  key.descending = descending;
  key.jet4_decimal = format == Format::kJet4 || format == Format::kJet3;
  key.decimal_scale = column.scale;
  if (column.type != ColumnType::kText && column.type != ColumnType::kMemo) return key;
  if (format == Format::kJet3) {
    key.collation = column.lcid == 1033 || column.lcid == 0 ? Collation::kGeneral97 : Collation::kUnsupported;
  } else if (column.lcid != 1033 && column.lcid != 0) {
    key.collation = Collation::kUnsupported;
  } else {
    key.collation = column.sort_version == 0   ? Collation::kGeneralLegacy
                    : column.sort_version == 1 ? Collation::kGeneral
                                               : Collation::kUnsupported;
  }
  return key;
}

std::string Table::MakeKey(int index, const std::vector<Value>& values) const {
  const IndexDef& d = def_.indexes[index];
  std::string key;
  if (values.size() > d.columns.size()) {
    throw Error(
        ErrorKind::kInvalid,
        fmt::format("Index \"{}\" of table \"{}\" has fewer columns than were given.", d.name, def_.name));
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    const ColumnDef& column = def_.columns[d.columns[i].column];
    const Value* value = &values[i];
    Value converted;
    if (!value->is_null() && value->kind() != KindOf(column.type)) {
      value = ConvertToColumn(def_, column, *value, &converted);
    }
    Impl(*this).AppendColumnKey(index, i, *value, &key);
  }
  return key;
}

KeyColumn Table::key_column(int index, int position) const {
  return Impl(*this).KeyColumnOf(index, position);
}

void StoredTableImpl::AppendColumnKey(int index, int position, const Value& value, std::string* key) const {
  const KeyColumn& column = indexes_[index].columns[position];
  if (column.type == ColumnType::kDateTimeExtended && value.kind() == ValueKind::kText) {
    // The key is made of the stored bytes.
    std::string raw;
    if (!ParseExtendedDate(value.bytes(), &raw)) raw = value.bytes();
    AppendKey(column, Value::Text(std::move(raw)), key);
    return;
  }
  AppendKey(column, value, key);
}

// ---- The table ----

std::shared_ptr<StoredTable> MakeStoredTable(StoreContext& context, TableDef def, TableLayout layout) {
  return std::make_shared<StoredTableImpl>(context, std::move(def), std::move(layout));
}

MutablePageRef StoredTableImpl::IndexPages::AllocateIndexPage() {
  MutablePageRef page = context_.allocator.Allocate();
  map_.Add(page.page_no());
  return page;
}

void StoredTableImpl::IndexPages::FreeIndexPage(PageNo page) {
  map_.Remove(page);
  context_.allocator.Free(page);
}

StoredTableImpl::StoredTableImpl(StoreContext& context, TableDef def, TableLayout layout)
    : context_(context),
      layout_(std::move(layout)),
      space_(context, layout_.owned_map, layout_.free_map, layout_.tdef_page, &held_) {
  def_ = std::move(def);
  const FormatInfo& format = context.format;
  row_format_ = MakeRowFormat(def_, layout_, format.jet3);
  const std::size_t columns = def_.columns.size();
  change_of_column_.assign(columns, -1);
  indexes_of_column_.assign(columns, 0);
  variable_order_.assign(layout_.variable_columns, -1);
  long_stores_.resize(columns);
  for (std::size_t i = 0; i < columns; ++i) {
    const ColumnDef& c = def_.columns[i];
    if (c.fixed && !InMask(c)) {
      fixed_bytes_ = std::max(fixed_bytes_, c.fixed_offset + FixedSize(c));
    } else if (!c.fixed && c.variable_index < layout_.variable_columns) {
      variable_order_[c.variable_index] = i;
    }
    if (c.auto_number && c.type == ColumnType::kLong) auto_column_ = i;
    if (c.type == ColumnType::kMemo || c.type == ColumnType::kOle) {
      const auto maps = layout_.long_columns.find(c.number);
      long_stores_[i] = std::make_unique<LongValueStore>(
          context, maps == layout_.long_columns.end() ? TableLayout::LongColumn{} : maps->second);
    }
  }
  if (variable_order_.empty()) fixed_bytes_ = std::max(fixed_bytes_, kSmallestFixedPart);
  for (std::size_t i = 0; i < def_.indexes.size(); ++i) {
    const IndexDef& d = def_.indexes[i];
    IndexState state;
    for (const IndexColumn& c : d.columns) {
      state.columns.push_back(MakeKeyColumn(def_.columns[c.column], c.descending, format.format));
      if (i < kMaxIndexes) indexes_of_column_[c.column] |= 1u << i;  // with more, the table is read-only
    }
    state.pages = std::make_unique<IndexPages>(
        context, i < layout_.index_maps.size() ? layout_.index_maps[i] : RowPointer{});
    state.tree =
        std::make_unique<BTree>(context.pages, state.pages.get(), d.root, layout_.tdef_page, format.jet3);
    indexes_.push_back(std::move(state));
  }
  ReadCounters();
}

void StoredTableImpl::ReadCounters() {
  const PageRef page = context_.pages.Read(layout_.tdef_page);
  const ByteReader bytes(page.bytes(), layout_.tdef_page);
  counters_.rows = bytes.U32(layout_.row_count_offset);
  counters_.auto_number = bytes.I32(layout_.auto_number_offset);
  counters_.distinct.clear();
  for (const std::uint32_t offset : layout_.distinct_count_offsets) {
    counters_.distinct.push_back(bytes.U32(offset));
  }
  counters_.distinct.resize(def_.indexes.size());
}

void StoredTableImpl::Flush() {
  const PageRef page = context_.pages.Read(layout_.tdef_page);
  MutablePageRef changed;
  const auto store = [&](std::uint32_t offset, std::uint32_t value) {
    if (LoadLe<std::uint32_t>(page.data() + offset) == value) return;
    if (!changed) changed = context_.pages.Write(layout_.tdef_page);
    StoreLe<std::uint32_t>(changed.mutable_data() + offset, value);
  };
  store(layout_.row_count_offset, counters_.rows);
  store(layout_.auto_number_offset, counters_.auto_number);
  for (std::size_t i = 0; i < layout_.distinct_count_offsets.size(); ++i) {
    store(layout_.distinct_count_offsets[i], counters_.distinct[i]);
  }
}

void StoredTableImpl::Touch() {
  if (touched_) return;
  touched_ = true;
  saved_ = counters_;
}

void StoredTableImpl::OnRollbackStatement() {
  if (!touched_) return;
  touched_ = false;
  counters_ = saved_;
  ForgetHints();
}

void StoredTableImpl::OnRevert() {
  touched_ = false;
  ReadCounters();
  ForgetHints();
}

void StoredTableImpl::ForgetHints() {
  ++rollbacks_;
  ++content_version_;
  space_.Forget();
  for (const auto& store : long_stores_) {
    if (store) store->Forget();
  }
}

void StoredTableImpl::ReleaseRowIds() {
  if (held_.Release()) space_.NoteReleased();
}

void StoredTableImpl::ReturnPages() {
  if (held_.held()) return;
  for (const PageNo page : emptied_) {
    // A statement that was rolled back may have left anything here.
    if (page >= context_.pages.page_count() || !owned().Contains(page)) continue;
    const PageRef ref = context_.pages.Read(page);
    if (!IsDataPageOf(ref.data(), layout_.tdef_page) || !IsEmptyDataPage(context_.format, ref.data()))
      continue;
    Touch();
    space_.Drop(page);
    context_.allocator.Free(page);
  }
  emptied_.clear();
}

RowView StoredTableImpl::ViewRow(const RowSlot& slot, PageRef* page) const {
  const PageNo page_no = page->page_no();
  if (!slot.moved()) {
    return RowView::Parse(row_format_, page->bytes().subspan(slot.start, slot.length()), page_no, slot.start);
  }
  const RowPointer to = ReadRowPointer(page->data(), page_no, slot);
  if (to.page >= context_.pages.page_count()) {
    ThrowCorrupt("a row has moved to a page past the end of the file", page_no, slot.start);
  }
  PageRef body_page = context_.pages.Read(to.page);
  if (!IsDataPageOf(body_page.data(), layout_.tdef_page)) {
    ThrowCorrupt("a row has moved to a page of something else", page_no, slot.start);
  }
  const RowSlot body = ReadSlot(context_.format, body_page.data(), to.page, to.row);
  if (!body.body()) ThrowCorrupt("a row has moved to a place where no moved row is", page_no, slot.start);
  *page = std::move(body_page);
  return RowView::Parse(row_format_, page->bytes().subspan(body.start, body.length()), to.page, body.start);
}

bool StoredTableImpl::Fetch(RowId id, Row* row) {
  if (id.page() >= context_.pages.page_count()) return false;
  PageRef page = context_.pages.Read(id.page());
  if (!IsDataPageOf(page.data(), layout_.tdef_page)) return false;
  if (id.slot() >= SlotCount(context_.format, page.data())) return false;
  const RowSlot slot = ReadSlot(context_.format, page.data(), id.page(), id.slot());
  if ((slot.flags & kSlotDeleted) != 0) return false;
  const RowView view = ViewRow(slot, &page);
  RowAccess::Set(*this, page, view, row);
  return true;
}

bool StoredTableImpl::StoresRowsAs(const Table& other) const {
  const StoredTableImpl& o = Impl(other);
  const auto same_place = [](const ColumnDef& a, const ColumnDef& b) {
    return a.type == b.type && a.number == b.number && a.fixed == b.fixed && a.calculated == b.calculated &&
           a.scale == b.scale && a.length == b.length &&
           (a.fixed ? a.fixed_offset == b.fixed_offset : a.variable_index == b.variable_index);
  };
  // How text is stored depends on the version and, before Unicode, on the code page.
  const bool same_text = context_.format.unicode == o.context_.format.unicode &&
                         (context_.format.unicode || context_.code_page == o.context_.code_page);
  return same_text && row_format_ == o.row_format_ &&
         std::ranges::equal(def_.columns, o.def_.columns, same_place);
}

bool StoredTableImpl::Locate(RowId id, Location* at) const {
  if (id.page() >= context_.pages.page_count()) return false;
  at->home_page = context_.pages.Read(id.page());
  const std::uint8_t* data = at->home_page.data();
  if (!IsDataPageOf(data, layout_.tdef_page) || id.slot() >= SlotCount(context_.format, data)) return false;
  at->home_slot = id.slot();
  at->home = ReadSlot(context_.format, data, id.page(), id.slot());
  if ((at->home.flags & kSlotDeleted) != 0) return false;
  at->body_page = at->home_page;
  at->body_slot = at->home_slot;
  at->body = at->home;
  at->view = ViewRow(at->home, &at->body_page);
  if (at->moved()) {
    at->body_slot = at->home_page.data()[at->home.start];
    at->body = ReadSlot(context_.format, at->body_page.data(), at->body_page.page_no(), at->body_slot);
  }
  return true;
}

// ---- The whole table ----

void StoredTableImpl::FreeData() {
  Touch();
  for (std::size_t i = 0; i < indexes_.size(); ++i) FreeIndex(i);
  const auto free_maps = [&](RowPointer owned, RowPointer free) {
    for (const PageNo page : UsageMap(context_, owned).Pages()) context_.allocator.Free(page);
    DeleteUsageMap(context_, owned);
    DeleteUsageMap(context_, free);
  };
  for (const auto& [number, maps] : layout_.long_columns) free_maps(maps.owned_map, maps.free_map);
  free_maps(layout_.owned_map, layout_.free_map);
  space_.Forget();
}

void StoredTableImpl::FreeIndex(int index) {
  Touch();
  const UsageMap& map = indexes_[index].pages->map();
  for (const PageNo page : map.Pages()) context_.allocator.Free(page);
  DeleteUsageMap(context_, map.row());
}

}  // namespace jet
