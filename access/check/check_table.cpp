#include "access/check/check_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "access/base/interruption.h"
#include "access/store/data_page.h"
#include "access/store/long_value.h"
#include "access/store/names.h"
#include "access/store/properties.h"
#include "access/store/usage_map.h"

namespace jet {

TableChecker::TableChecker(CheckContext& context, PageNo tdef_page, std::string name)
    : context_(context), sink_(context.sink), tdef_page_(tdef_page), name_(std::move(name)) {
  number_ = context_.claims.AddTable(name_);
}

std::string TableChecker::IndexName(std::size_t index) const {
  return fmt::format("index \"{}\" of table \"{}\"", definition_.def.indexes[index].name, name_);
}

std::string TableChecker::RowPlace(RowId id) const {
  return fmt::format("page {} slot {}", id.page(), id.slot());
}

bool TableChecker::Owns(PageNo page) const { return std::binary_search(owned_.begin(), owned_.end(), page); }

bool TableChecker::ReadDefinition() {
  const DefinitionContext context{context_.format, context_.header.lcid, context_.header.sort_version};
  std::vector<PageNo> chain;
  const bool read = sink_.Guard(tdef_page_, [&] {
    stream_ = ReadTdefStream(context_.pages, context_.format, tdef_page_, &chain);
    raw_ = SplitTdef(stream_, context_.format, tdef_page_);
    definition_ = InterpretTdef(raw_, context, tdef_page_);
    definition_.layout.tdef_pages = chain;
    definition_.def.name = name_;
  });
  if (!read) return false;
  row_format_ = MakeRowFormat(definition_.def, definition_.layout, context_.format.jet3);
  const UsageMap owned(context_.store, definition_.layout.owned_map);
  sink_.Guard(tdef_page_, [&] {
    for (auto page = owned.Next(0); page; page = owned.Next(*page + 1)) owned_.push_back(*page);
  });
  return true;
}

void TableChecker::ApplyProperties(const std::string& blob) {
  sink_.Guard(tdef_page_, [&] { jet::ApplyProperties(blob, context_.format, &definition_.def); });
}

void TableChecker::Check() {
  const TableDef& def = definition_.def;
  for (const PageNo page : definition_.layout.tdef_pages) {
    context_.claims.Claim(page, PageUse::kDefinition, number_);
  }
  sink_.Guard(tdef_page_, [&] { CheckDefinition(); });
  ClaimPages();

  indexed_column_.assign(def.columns.size(), false);
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    const ColumnDef& column = def.columns[i];
    if (InMask(column)) continue;
    if (column.fixed) fixed_bytes_ = std::max(fixed_bytes_, column.fixed_offset + FixedSize(column));
    const bool plain = FixedBytes(column.type) != 0 && column.type != ColumnType::kDecimal;
    if (!column.fixed || !plain) {
      examined_columns_.push_back(i);
    }
  }
  values_.resize(def.columns.size());
  has_value_.assign(def.columns.size(), false);
  for (const IndexDef& index : def.indexes) {
    IndexState state;
    state.by_key = index.supported;
    for (const IndexColumn& part : index.columns) {
      indexed_column_[part.column] = true;
      state.columns.push_back(
          MakeKeyColumn(def.columns[part.column], part.descending, context_.format.format));
      state.by_key = state.by_key && IsKeySupported(state.columns.back());
      state.null_key += part.descending ? '\xFF' : '\0';
    }
    indexes_.push_back(std::move(state));
  }
  sink_.Guard(tdef_page_, [&] { CheckRows(); });
  sink_.Guard(tdef_page_, [&] { CheckUnusedLongValues(); });
  for (std::size_t i = 0; i < indexes_.size(); ++i) {
    sink_.Guard(def.indexes[i].root, [&] { CheckIndex(i); });
  }
}

// What reading the definition does not test already.
void TableChecker::CheckDefinition() {
  const FormatInfo& f = context_.format;
  const std::size_t name_length = f.jet3 ? 1 : 2;
  std::size_t length = raw_.block.size() + 2;
  for (const std::string& counter : raw_.counters) length += counter.size();
  for (const RawTdef::Named& column : raw_.columns)
    length += column.block.size() + name_length + column.name.size();
  for (const std::string& index : raw_.real_indexes) length += index.size();
  for (const RawTdef::Named& index : raw_.logical_indexes) {
    length += index.block.size() + name_length + index.name.size();
  }
  for (const std::string& column : raw_.long_columns) length += column.size();
  if (length != stream_.size()) {
    sink_.Fatal(tdef_page_, fmt::format("The definition of table \"{}\" holds {} bytes more than its parts.",
                                        name_, stream_.size() - length));
  }

  const TableDef& def = definition_.def;
  std::set<std::string> names;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> areas;
  for (const ColumnDef& column : def.columns) {
    if (!names.insert(NameKey(column.name)).second) {
      sink_.Fatal(tdef_page_, fmt::format("Table \"{}\" has two columns named \"{}\".", name_, column.name));
    }
    if (column.fixed && !InMask(column)) {
      areas.emplace_back(column.fixed_offset, column.fixed_offset + FixedSize(column));
      if (column.length != FixedSize(column)) {
        sink_.Fatal(
            tdef_page_,
            fmt::format("Column \"{}\" of table \"{}\" says that it takes {} bytes of a row, and takes "
                        "{}.",
                        column.name, name_, column.length, FixedSize(column)));
      }
    }
    const bool long_column = column.type == ColumnType::kMemo || column.type == ColumnType::kOle;
    if (long_column && definition_.layout.long_columns.count(column.number) == 0) {
      sink_.Fatal(tdef_page_,
                  fmt::format("Column \"{}\" of table \"{}\" has no page maps.", column.name, name_));
    }
  }
  std::sort(areas.begin(), areas.end());
  for (std::size_t i = 1; i < areas.size(); ++i) {
    if (areas[i].first < areas[i - 1].second) {
      sink_.Fatal(tdef_page_,
                  fmt::format("Two columns of table \"{}\" take the same bytes of a row.", name_));
    }
  }
  names.clear();
  std::set<std::uint32_t> numbers;
  for (const LogicalIndex& index : definition_.logical_indexes) {
    if (!names.insert(NameKey(index.name)).second) {
      sink_.Fatal(tdef_page_, fmt::format("Table \"{}\" has two indexes named \"{}\".", name_, index.name));
    }
    if (!numbers.insert(index.number).second) {
      sink_.Fatal(tdef_page_, fmt::format("Table \"{}\" has two indexes of number {}.", name_, index.number));
    }
  }
}

void TableChecker::CheckDataPage(PageNo page, std::uint32_t owner) {
  const FormatInfo& f = context_.format;
  const PageRef ref = context_.pages.Read(page);
  if (!IsDataPageOf(ref.data(), owner)) {
    sink_.Fatal(page,
                fmt::format("Page {} is listed for table \"{}\" but holds something else.", page, name_));
    return;
  }
  const unsigned count = SlotCount(f, ref.data());
  for (unsigned slot = 0; slot < count; ++slot) ReadSlot(f, ref.data(), page, slot);
  if (FreeBytes(f, ref.data(), page) != LoadLe<std::uint16_t>(ref.data() + f.data_free_offset)) {
    sink_.Untidy(page, fmt::format("The free bytes of page {} are not what its rows leave.", page));
  }
}

void TableChecker::ClaimPages() {
  const TableLayout& layout = definition_.layout;
  const auto claim = [&](RowPointer owned_map, RowPointer free_map, PageUse use, std::uint32_t owner,
                         const std::string& what) {
    std::vector<PageNo> owned = ClaimMap(context_, owned_map, number_, what);
    const std::vector<PageNo> free = ClaimMap(context_, free_map, number_, what);
    if (!std::includes(owned.begin(), owned.end(), free.begin(), free.end())) {
      sink_.Fatal(free_map.page,
                  fmt::format("The free-space map of {} names a page that {} does not own.", what, what));
    }
    for (const PageNo page : owned) {
      if (context_.claims.Claim(page, use, number_)) {
        sink_.Guard(page, [&] { CheckDataPage(page, owner); });
      }
    }
    return owned;
  };
  claim(layout.owned_map, layout.free_map, PageUse::kRows, tdef_page_, fmt::format("table \"{}\"", name_));
  for (const auto& [number, maps] : layout.long_columns) {
    LongPages& pages = long_pages_[number];
    pages.pages = claim(maps.owned_map, maps.free_map, PageUse::kLongValues, kLongValueOwner,
                        fmt::format("a column of table \"{}\"", name_));
    pages.used.resize(pages.pages.size());
  }
}

// ---- Rows ----

// The body that a pointer row leads to. `*page` becomes the page of the body.
std::optional<RowView> TableChecker::FollowPointer(PageNo page_no, unsigned slot_no, PageRef* page,
                                                   bool report) {
  const FormatInfo& f = context_.format;
  const RowSlot slot = ReadSlot(f, page->data(), page_no, slot_no);
  const RowPointer to = ReadRowPointer(page->data(), page_no, slot);
  const auto lost = [&](const char* why) {
    if (report) {
      sink_.Fatal(page_no,
                  fmt::format("The row of table \"{}\" at page {} slot {} has moved to page {} slot {}, {}.",
                              name_, page_no, slot_no, to.page, to.row, why));
    }
    return std::nullopt;
  };
  if (!Owns(to.page)) return lost("which is not a page of the table");
  *page = context_.pages.Read(to.page);
  if (!IsDataPageOf(page->data(), tdef_page_) || to.row >= SlotCount(f, page->data())) {
    return lost("where there is no row");
  }
  const RowSlot body = ReadSlot(f, page->data(), to.page, to.row);
  if (!body.body()) return lost("where there is no moved row");
  if (report) pointer_targets_.push_back(RowId(to.page, to.row).packed);
  return RowView::Parse(row_format_, page->bytes().subspan(body.start, body.length()), to.page, body.start);
}

void TableChecker::ForEachRow(bool report, const std::function<void(RowId, const RowView&)>& use) {
  const FormatInfo& f = context_.format;
  for (const PageNo page_no : owned_) {
    ThrowIfInterrupted();
    const auto visit = [&] {
      const PageRef page = context_.pages.Read(page_no);
      if (!IsDataPageOf(page.data(), tdef_page_)) return;
      const unsigned count = SlotCount(f, page.data());
      for (unsigned i = 0; i < count; ++i) {
        const auto visit_row = [&] {
          const RowSlot slot = ReadSlot(f, page.data(), page_no, i);
          if (slot.gone()) return;
          if (slot.body()) {
            if (report) bodies_.push_back(RowId(page_no, i).packed);
            return;
          }
          if (i > 0xFF) ThrowCorrupt("it holds more rows than can be numbered", page_no);
          const RowId id(page_no, i);
          PageRef body_page = page;
          std::optional<RowView> row;
          if (slot.moved()) {
            row = FollowPointer(page_no, i, &body_page, report);
          } else {
            row = RowView::Parse(row_format_, page.bytes().subspan(slot.start, slot.length()), page_no,
                                 slot.start);
          }
          if (row) use(id, *row);
        };
        if (report) {
          sink_.Guard(page_no, visit_row);
        } else {
          try {
            visit_row();
          } catch (const Error& error) {
            if (error.is_obstacle()) throw;
            // Told when the rows were walked for the first time.
          }
        }
      }
    };
    if (report) {
      sink_.Guard(page_no, visit);
    } else {
      try {
        visit();
      } catch (const Error& error) {
        if (error.is_obstacle()) throw;
      }
    }
  }
}

void TableChecker::CheckRows() {
  ForEachRow(true, [&](RowId id, const RowView& row) {
    ++row_count_;
    CheckRow(id, row);
  });

  std::sort(pointer_targets_.begin(), pointer_targets_.end());
  const auto twice = std::adjacent_find(pointer_targets_.begin(), pointer_targets_.end());
  if (twice != pointer_targets_.end()) {
    const RowId id = RowId::FromPacked(*twice);
    sink_.Fatal(id.page(), fmt::format("Two rows of table \"{}\" have moved to {}.", name_, RowPlace(id)));
  }
  std::size_t orphans = 0;
  for (const std::uint32_t body : bodies_) {
    if (!std::binary_search(pointer_targets_.begin(), pointer_targets_.end(), body)) ++orphans;
  }
  if (orphans > 0) {
    sink_.Untidy(tdef_page_,
                 fmt::format("Table \"{}\" holds {} moved rows that nothing leads to.", name_, orphans));
  }

  if (short_rows_ > 0) {
    sink_.Untidy(tdef_page_,
                 fmt::format("Table \"{}\" has {} rows of less than {} bytes, which cannot be moved "
                             "to another page.",
                             name_, short_rows_, kRowPointerBytes));
  }
  std::uint64_t stored = LoadLe<std::uint32_t>(reinterpret_cast<const std::uint8_t*>(stream_.data()) +
                                               definition_.layout.row_count_offset);
  if (context_.database.has_changes()) {
    // The stored count is brought up to date by the next checkpoint.
    const auto table = context_.database.FindTable(name_);
    if (!table) return;
    stored = table->row_count();
  }
  if (stored != row_count_) {
    sink_.Untidy(tdef_page_,
                 fmt::format("Table \"{}\" has {} rows and says that it has {}.", name_, row_count_, stored));
  }
}

void TableChecker::CheckUnusedLongValues() {
  std::size_t unused = 0;
  for (const auto& [number, pages] : long_pages_) {
    for (std::size_t p = 0; p < pages.pages.size(); ++p) {
      const PageRef page = context_.pages.Read(pages.pages[p]);
      if (!IsDataPageOf(page.data(), kLongValueOwner)) continue;
      const unsigned count = std::min(256u, SlotCount(context_.format, page.data()));
      for (unsigned i = 0; i < count; ++i) {
        const bool used = (pages.used[p][i / 64] >> (i % 64) & 1) != 0;
        if (!used && ReadSlot(context_.format, page.data(), pages.pages[p], i).flags == 0) ++unused;
      }
    }
  }
  if (unused > 0) {
    sink_.Untidy(tdef_page_,
                 fmt::format("Table \"{}\" holds {} parts of long values that no row names.", name_, unused));
  }
}

Value TableChecker::Get(RowId id, const char* column) {
  PageRef page;
  const std::optional<RowView> row = LiveRow(id, &page);
  return row ? Get(*row, column) : Value::Null();
}

Value TableChecker::Get(const RowView& row, const char* column) {
  const int at = definition_.def.FindColumn(column);
  if (at < 0) return Value::Null();
  const ColumnDef& c = definition_.def.columns[at];
  if (InMask(c)) return Value::Integer(row.MaskBit(c.number) ? -1 : 0);
  Bytes raw;
  return row.Raw(c, &raw) ? DecodeValue(context_.store, c, raw, row) : Value::Null();
}

}  // namespace jet
