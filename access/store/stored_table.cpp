#include "access/store/stored_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <random>
#include <utility>

#include "access/store/index_build.h"

namespace jet {
namespace {

std::string RandomGuid() {
  static std::mt19937_64 random{std::random_device{}()};
  const std::uint64_t a = random(), b = random();
  return fmt::format("{{{:08X}-{:04X}-4{:03X}-{:04X}-{:012X}}}", a >> 32, a >> 16 & 0xFFFF, a & 0xFFF,
                     0x8000 | (b >> 48 & 0x3FFF), b & 0xFFFFFFFFFFFF);
}

int FindAutoColumn(const TableDef& def) {
  int found = -1;
  for (int i = 0; i < std::ssize(def.columns); ++i) {
    if (def.columns[i].auto_number && def.columns[i].type == ColumnType::kLong) found = i;
  }
  return found;
}

}  // namespace

StoredTable::StoredTable(StoreContext& context, TableDef def, TableLayout layout)
    : context_(context),
      def_(std::move(def)),
      layout_(std::move(layout)),
      row_format_(MakeRowFormat(def_, layout_, context.format.jet3)),
      indexes_(context, def_, layout_),
      rows_(context, def_, layout_),
      keys_(def_, indexes_, rows_),
      relationships_(*this, rows_, keys_),
      auto_column_(FindAutoColumn(def_)) {
  ReadCounters();
}

void StoredTable::ReadCounters() {
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

void StoredTable::Flush() {
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

void StoredTable::Touch() {
  if (touched_by_ == context_.statement) return;
  touched_by_ = context_.statement;
  saved_ = counters_;
}

void StoredTable::OnRollbackStatement() {
  if (touched_by_ != context_.statement) return;
  touched_by_ = 0;
  counters_ = saved_;
  ForgetHints();
}

void StoredTable::OnRevert() {
  touched_by_ = 0;
  ReadCounters();
  ForgetHints();
}

void StoredTable::ForgetHints() {
  ++rollbacks_;
  ++content_version_;
  rows_.Forget();
}

void StoredTable::ReturnPages() {
  if (!has_pages_to_return()) return;
  Touch();
  rows_.ReturnPages();
}

// ---- Finding rows ----

RowView StoredTable::ViewRow(const RowSlot& slot, PageRef* page) const {
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

bool StoredTable::Fetch(RowId id, Row* row) const {
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

bool StoredTable::Locate(RowId id, RowLocation* at) const {
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

RowLocation StoredTable::LocateForChange(RowId id) const {
  RowLocation at;
  if (!Locate(id, &at)) {
    throw Error(ErrorKind::kNotFound, fmt::format("The record of table \"{}\" that is to be changed has been "
                                                  "deleted.",
                                                  def_.name));
  }
  return at;
}

bool StoredTable::StoresRowsAs(const StoredTable& o) const {
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

// ---- The three changes ----

void StoredTable::RequireChangeable() const {
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

std::int32_t StoredTable::PrepareValues(const std::vector<Value>& values) {
  rows_.Begin(values.size());
  std::int32_t auto_number = counters_.auto_number;
  for (int i = 0; i < std::ssize(values); ++i) {
    const ColumnDef& c = def_.columns[i];
    if (!c.auto_number) {
      rows_.Prepare(i, i, values[i]);
    } else if (i == auto_column_) {
      if (values[i].is_null()) {
        if (auto_number == std::numeric_limits<std::int32_t>::max()) {
          throw Error(ErrorKind::kTooLarge,
                      fmt::format("Table \"{}\" has used up its autonumbers.", def_.name));
        }
        rows_.Prepare(i, i, Value::Integer(++auto_number));
      } else {
        rows_.Prepare(i, i, values[i]);
        auto_number = std::max<std::int32_t>(auto_number, rows_.prepared(i).integer());
      }
    } else if (c.type == ColumnType::kGuid && values[i].is_null()) {
      rows_.Prepare(i, i, Value::Text(RandomGuid()));
    } else {
      rows_.Prepare(i, i, values[i]);
    }
  }
  return auto_number;
}

RowId StoredTable::Insert(const std::vector<Value>& values) {
  RequireChangeable();
  ++content_version_;
  if (values.size() != def_.columns.size()) {
    throw Error(ErrorKind::kInvalid, fmt::format("A record of table \"{}\" needs {} values, not {}.",
                                                 def_.name, def_.columns.size(), values.size()));
  }
  const std::int32_t auto_number = PrepareValues(values);
  keys_.PrepareInsert();
  relationships_.RequireParents(nullptr);
  rows_.Assemble(nullptr);

  Touch();
  rows_.WriteLongValues();
  const RowId id = rows_.Add();
  keys_.Apply(id, &counters_.distinct);
  ++counters_.rows;
  counters_.auto_number = auto_number;
  return id;
}

void StoredTable::Update(RowId id, const std::vector<ColumnChange>& changes) {
  RequireChangeable();
  ++content_version_;
  const RowLocation at = LocateForChange(id);
  rows_.Begin(changes.size());
  std::uint32_t affected = 0;
  std::int32_t auto_number = counters_.auto_number;
  for (int k = 0; k < std::ssize(changes); ++k) {
    const int column = changes[k].column;
    if (column < 0 || column >= std::ssize(def_.columns)) {
      throw Error(ErrorKind::kInvalid, fmt::format("Table \"{}\" has no such column.", def_.name));
    }
    rows_.Prepare(k, column, changes[k].value);
    affected |= indexes_.with_column(column);
    if (column == auto_column_ && !rows_.prepared(k).is_null()) {
      auto_number = std::max<std::int32_t>(auto_number, rows_.prepared(k).integer());
    }
  }
  const bool patch = rows_.CanPatch(at.view);
  if (patch && !rows_.PatchChangesAnything(at.view)) return;
  keys_.PrepareUpdate(affected, at.view);
  relationships_.RequireParents(&at.view);
  const std::vector<Cascade> cascades = relationships_.RequireNoChildren(id, at.view, false);
  if (!patch) rows_.Assemble(&at.view);

  Touch();
  counters_.auto_number = auto_number;
  if (patch) {
    rows_.Patch(at);
  } else {
    rows_.FreeLongValues(at.view, true);
    rows_.WriteLongValues();
    rows_.Replace(at);
  }
  keys_.Apply(id, &counters_.distinct);
  relationships_.Run(cascades);
}

void StoredTable::Delete(RowId id) {
  RequireChangeable();
  const RowLocation at = LocateForChange(id);
  keys_.PrepareDelete(at.view);
  const std::vector<Cascade> cascades = relationships_.RequireNoChildren(id, at.view, true);

  Touch();
  rows_.Delete(id, at);
  keys_.Apply(id, &counters_.distinct);
  if (counters_.rows > 0) --counters_.rows;
  relationships_.Run(cascades);
}

// ---- The whole table ----

void StoredTable::CopyRow(const Row& row) {
  Touch();
  rows_.AddCopy(RowAccess::TableOf(row).context(), RowAccess::View(row));
  ++counters_.rows;
}

void StoredTable::RewriteOldRows() {
  Touch();
  rows_.Begin(0);
  TableCursor cursor(*this);
  Row row;
  RowId id;
  while (cursor.Next(&row, &id)) {
    const RowLocation at = LocateForChange(id);
    if (!rows_.NeedsRewriting(at.view)) continue;
    rows_.Assemble(&at.view);
    rows_.Replace(at);
  }
}

void StoredTable::FreeData() {
  Touch();
  for (int i = 0; i < indexes_.count(); ++i) indexes_.Free(i);
  const auto free_maps = [&](RowPointer owned, RowPointer free) {
    for (const PageNo page : UsageMap(context_, owned).Pages()) context_.allocator.Free(page);
    DeleteUsageMap(context_, owned);
    DeleteUsageMap(context_, free);
  };
  for (const auto& [number, maps] : layout_.long_columns) free_maps(maps.owned_map, maps.free_map);
  free_maps(layout_.owned_map, layout_.free_map);
  rows_.ForgetSpace();
}

void StoredTable::BuildIndex(int index) {
  Touch();
  rows_.Begin(0);
  counters_.distinct[index] = FillIndex(*this, keys_, rows_, index);
}

void StoredTable::FreeIndex(int index) {
  Touch();
  indexes_.Free(index);
}

}  // namespace jet
