#include "access/store/tdef.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "access/store/data_page.h"
#include "access/store/names.h"
#include "access/store/row_codec.h"

namespace jet {
namespace {

constexpr std::size_t kChainHeaderBytes = 8;
// No definition of 255 columns and 32 indexes comes near this.
constexpr std::uint32_t kMaxStreamBytes = 1u << 20;

constexpr std::uint8_t kColumnFixed = 0x01;
constexpr std::uint8_t kColumnAutoNumber = 0x04;
constexpr std::uint8_t kColumnGuidAutoNumber = 0x40;
constexpr std::uint8_t kColumnHyperlink = 0x80;
constexpr std::uint8_t kExtCompressed = 0x01;
constexpr std::uint8_t kExtCalculated = 0xC0;
constexpr std::uint8_t kIndexUnique = 0x01;
constexpr std::uint8_t kIndexIgnoreNulls = 0x02;
constexpr std::uint8_t kIndexRequired = 0x08;
constexpr std::uint8_t kCascadeUpdates = 0x01;
constexpr std::uint8_t kCascadeDeletes = 0x01;
constexpr std::uint8_t kSetNull = 0x02;
constexpr std::uint16_t kNoColumn = 0xFFFF;
constexpr std::size_t kLongColumnBytes = 10;

Bytes AsBytes(const std::string& s) { return {reinterpret_cast<const std::uint8_t*>(s.data()), s.size()}; }

// Walks a stream from part to part.
class StreamReader {
 public:
  StreamReader(const std::string& stream, PageNo page) : stream_(stream), page_(page) {}

  std::string Take(std::size_t count) {
    if (stream_.size() - offset_ < count) ThrowCorrupt("its table definition ends too early", page_, Place());
    offset_ += count;
    return stream_.substr(offset_ - count, count);
  }
  std::uint16_t TakeU16() { return LoadLe<std::uint16_t>(AsBytes(Take(2)).data()); }
  std::string TakeName(const FormatInfo& format) {
    const std::size_t length = format.jet3 ? static_cast<std::uint8_t>(Take(1)[0]) : TakeU16();
    return Take(length);
  }
  std::int64_t Place() const { return offset_; }
  std::size_t left() const { return stream_.size() - offset_; }

 private:
  const std::string& stream_;
  PageNo page_;
  std::size_t offset_ = 0;
};

bool IsTextType(ColumnType type) { return type == ColumnType::kText || type == ColumnType::kMemo; }

ColumnDef InterpretColumn(const RawTdef::Named& raw, const DefinitionContext& context) {
  const FormatInfo& f = context.format;
  const std::uint8_t* p = AsBytes(raw.block).data();
  ColumnDef c;
  c.name = DecodeName(AsBytes(raw.name), f);
  c.type = static_cast<ColumnType>(p[0]);
  c.number = LoadLe<std::uint16_t>(p + f.column_number_offset);
  c.variable_index = LoadLe<std::uint16_t>(p + f.column_variable_offset);
  c.ordinal = LoadLe<std::uint16_t>(p + f.column_ordinal_offset);
  c.length = LoadLe<std::uint16_t>(p + f.column_length_offset);
  const std::uint8_t flags = p[f.column_flags_offset];
  c.fixed = (flags & kColumnFixed) != 0;
  // The field holds arbitrary bytes for variable columns.
  c.fixed_offset = c.fixed ? LoadLe<std::uint16_t>(p + f.column_fixed_offset) : 0;
  c.auto_number = (c.type == ColumnType::kLong && (flags & kColumnAutoNumber) != 0) ||
                  (c.type == ColumnType::kGuid && (flags & kColumnGuidAutoNumber) != 0);
  c.hyperlink = c.type == ColumnType::kMemo && (flags & kColumnHyperlink) != 0;
  if (f.jet3) c.character_bytes = 1;
  if (IsTextType(c.type)) {
    c.lcid = LoadLe<std::uint16_t>(p + f.column_collation_offset);
    if (!f.jet3) c.sort_version = p[f.column_sort_version_offset];
    // Written by some other programs; the file's own order is meant.
    if (c.lcid == 0) {
      c.lcid = context.lcid;
      c.sort_version = context.sort_version;
    }
  }
  if (!f.jet3) {
    const std::uint8_t ext = p[f.column_ext_flags_offset];
    c.compressed_unicode = IsTextType(c.type) && (ext & kExtCompressed) != 0;
    c.calculated = (ext & kExtCalculated) == kExtCalculated;
  }
  // Values of calculated decimals bring a scale of their own; the field is arbitrary.
  if (c.type == ColumnType::kDecimal && !c.calculated) {
    c.precision = p[f.column_precision_offset];
    c.scale = p[f.column_precision_offset + 1];
  }
  return c;
}

// Column numbers and variable indexes must be unique and in range, and fixed columns must lie within a page.
void CheckColumns(const std::vector<ColumnDef>& columns, const TableLayout& layout, const FormatInfo& format,
                  PageNo page) {
  std::set<std::uint16_t> numbers, variables;
  for (const ColumnDef& c : columns) {
    const auto fail = [&](const char* what) {
      ThrowCorrupt(fmt::format("the definition of column \"{}\" has {}", c.name, what), page);
    };
    if (c.number >= layout.max_columns || !numbers.insert(c.number).second)
      fail("an impossible column number");
    if (!c.fixed &&
        (c.variable_index >= layout.variable_columns || !variables.insert(c.variable_index).second)) {
      fail("an impossible variable index");
    }
    if (c.fixed && c.fixed_offset + std::size_t{FixedSize(c)} > format.page_size)
      fail("an impossible place in the row");
    if (c.type == ColumnType::kDecimal && c.scale > 28) fail("an impossible scale");
  }
}

IndexDef InterpretIndex(const std::string& raw, const std::vector<ColumnDef>& columns,
                        const DefinitionContext& context, PageNo page) {
  const FormatInfo& f = context.format;
  const std::uint8_t* p = AsBytes(raw).data();
  IndexDef index;
  for (std::size_t i = 0; i < kMaxIndexColumns; ++i) {
    const std::uint8_t* q = p + f.real_index_columns_offset + 3 * i;
    const auto number = LoadLe<std::uint16_t>(q);
    if (number == kNoColumn) continue;
    const auto it =
        std::find_if(columns.begin(), columns.end(), [&](const ColumnDef& c) { return c.number == number; });
    if (it == columns.end()) ThrowCorrupt("an index names a column that does not exist", page);
    index.columns.push_back({static_cast<std::uint16_t>(it - columns.begin()), (q[2] & 1) == 0});
    const KeyColumn key = MakeKeyColumn(*it, index.columns.back().descending, f.format);
    if (it->calculated || !IsKeySupported(key)) index.supported = false;
  }
  if (index.columns.empty()) ThrowCorrupt("an index has no columns", page);
  index.root = LoadLe<std::uint32_t>(p + f.real_index_root_offset);
  const std::uint8_t flags = p[f.real_index_flags_offset];
  index.unique = (flags & kIndexUnique) != 0;
  index.ignore_nulls = (flags & kIndexIgnoreNulls) != 0;
  index.required = (flags & kIndexRequired) != 0;
  return index;
}

LogicalIndex InterpretLogical(const RawTdef::Named& raw, const FormatInfo& f) {
  const std::uint8_t* p = AsBytes(raw.block).data();
  LogicalIndex l;
  l.name = DecodeName(AsBytes(raw.name), f);
  l.number = LoadLe<std::uint32_t>(p + f.logical_index_number_offset);
  l.real = LoadLe<std::uint32_t>(p + f.logical_index_real_offset);
  l.side = p[f.logical_index_side_offset];
  l.partner_index = LoadLe<std::int32_t>(p + f.logical_index_partner_offset);
  l.partner_table = LoadLe<std::uint32_t>(p + f.logical_index_table_offset);
  l.kind = p[f.logical_index_kind_offset];
  if (l.kind == LogicalIndex::kForeign) {
    l.cascades_updates = (p[f.logical_index_cascade_updates_offset] & kCascadeUpdates) != 0;
    l.cascades_deletes = (p[f.logical_index_cascade_deletes_offset] & kCascadeDeletes) != 0;
    l.sets_null = (p[f.logical_index_cascade_deletes_offset] & kSetNull) != 0;
  }
  return l;
}

// Names, primary keys and relationship-only indexes are said by the logical indexes.
void ApplyLogicalIndexes(const std::vector<LogicalIndex>& logical_indexes, std::vector<IndexDef>* indexes,
                         PageNo page) {
  std::vector<bool> seen(indexes->size()), ordinary(indexes->size());
  for (const LogicalIndex& l : logical_indexes) {
    if (l.real >= indexes->size()) ThrowCorrupt("an index refers to a key tree that does not exist", page);
    IndexDef& index = (*indexes)[l.real];
    const bool foreign = l.kind == LogicalIndex::kForeign;
    if (!seen[l.real] || (!foreign && !ordinary[l.real])) index.name = l.name;
    if (l.kind == LogicalIndex::kPrimary) index.primary = true;
    seen[l.real] = true;
    if (!foreign) ordinary[l.real] = true;
  }
  for (std::size_t i = 0; i < indexes->size(); ++i) (*indexes)[i].foreign = seen[i] && !ordinary[i];
}

std::string ReadOnlyReason(const TableDef& def, const FormatInfo& format) {
  if (format.jet3) return "Access 97 databases can be read but not changed";
  for (const ColumnDef& c : def.columns) {
    if (!IsKnownType(c.type)) {
      return fmt::format("column \"{}\" has the unknown type {}", c.name, static_cast<int>(c.type));
    }
    if (c.calculated) return fmt::format("column \"{}\" is calculated", c.name);
    if (c.type == ColumnType::kComplex) return fmt::format("column \"{}\" holds several values", c.name);
  }
  if (def.indexes.size() > kMaxIndexes) {
    return fmt::format("it has {} indexes, and {} are the most that can be maintained", def.indexes.size(),
                       kMaxIndexes);
  }
  for (const IndexDef& index : def.indexes) {
    if (index.supported) continue;
    for (const IndexColumn& part : index.columns) {
      const ColumnDef& c = def.columns[part.column];
      if (!IsKeySupported(MakeKeyColumn(c, part.descending, format.format)) && IsTextType(c.type)) {
        return fmt::format("the text order of index \"{}\" is not supported (LCID {} version {})", index.name,
                           c.lcid, c.sort_version);
      }
    }
    return fmt::format("the keys of index \"{}\" are not supported", index.name);
  }
  return {};
}

}  // namespace

int TableDef::FindColumn(std::string_view column_name) const {
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (SameName(columns[i].name, column_name)) return i;
  }
  return -1;
}

std::string ReadTdefStream(PageStore& pages, const FormatInfo& format, PageNo page,
                           std::vector<PageNo>* chain) {
  std::string stream;
  std::uint32_t length = 0;
  std::set<PageNo> met;
  for (PageNo next = page; next != 0;) {
    if (next >= pages.page_count()) ThrowCorrupt("a table definition goes on past the end of the file", page);
    if (!met.insert(next).second) ThrowCorrupt("the pages of a table definition form a ring", page);
    const PageRef ref = pages.Read(next);
    const Bytes bytes = ref.bytes();
    if (bytes[0] != kPageTdef) ThrowCorrupt("a table definition was expected here", next, 0);
    chain->push_back(next);
    const Bytes part = stream.empty() ? bytes : bytes.subspan(kChainHeaderBytes);
    stream.append(reinterpret_cast<const char*>(part.data()), part.size());
    if (met.size() == 1) {
      length = LoadLe<std::uint32_t>(bytes.data() + format.tdef_length_offset);
      if (length < format.tdef_counters_offset || length > kMaxStreamBytes) {
        ThrowCorrupt("the length of a table definition is impossible", page, format.tdef_length_offset);
      }
    }
    next = LoadLe<std::uint32_t>(bytes.data() + 4);
    if (stream.size() >= kMaxStreamBytes) ThrowCorrupt("a table definition does not end", page);
  }
  if (stream.size() < length) ThrowCorrupt("a table definition is longer than its pages", page);
  stream.resize(length);
  return stream;
}

RawTdef SplitTdef(const std::string& stream, const FormatInfo& format, PageNo page) {
  StreamReader in(stream, page);
  RawTdef raw;
  raw.block = in.Take(format.tdef_counters_offset);
  const std::uint8_t* block = AsBytes(raw.block).data();
  const std::size_t columns = LoadLe<std::uint16_t>(block + format.tdef_columns_offset);
  const std::size_t logical = LoadLe<std::uint32_t>(block + format.tdef_logical_indexes_offset);
  const std::size_t real = LoadLe<std::uint32_t>(block + format.tdef_real_indexes_offset);
  // Each of them takes more than ten bytes, so impossible counts are found before anything is made for them.
  if ((columns + logical + real) * 10 > stream.size())
    ThrowCorrupt("a table definition has impossible counts", page);

  for (std::size_t i = 0; i < real; ++i) raw.counters.push_back(in.Take(format.tdef_counter_bytes));
  for (std::size_t i = 0; i < columns; ++i) raw.columns.push_back({in.Take(format.column_bytes), {}});
  for (RawTdef::Named& c : raw.columns) c.name = in.TakeName(format);
  for (std::size_t i = 0; i < real; ++i) raw.real_indexes.push_back(in.Take(format.real_index_bytes));
  for (std::size_t i = 0; i < logical; ++i)
    raw.logical_indexes.push_back({in.Take(format.logical_index_bytes), {}});
  for (RawTdef::Named& l : raw.logical_indexes) l.name = in.TakeName(format);
  while (in.left() >= 2) {
    const std::string number = in.Take(2);
    if (number == "\xFF\xFF") return raw;
    raw.long_columns.push_back(number + in.Take(kLongColumnBytes - 2));
  }
  ThrowCorrupt("a table definition has no end mark", page, in.Place());
}

Definition InterpretTdef(const RawTdef& raw, const DefinitionContext& context, PageNo page) {
  const FormatInfo& f = context.format;
  const std::uint8_t* block = AsBytes(raw.block).data();
  Definition d;
  TableLayout& layout = d.layout;
  layout.tdef_page = d.def.tdef_page = page;
  layout.max_columns = LoadLe<std::uint16_t>(block + f.tdef_max_columns_offset);
  layout.variable_columns = LoadLe<std::uint16_t>(block + f.tdef_variable_columns_offset);
  if (layout.max_columns > kMaxColumns || layout.variable_columns > layout.max_columns) {
    ThrowCorrupt("a table definition has an impossible number of columns", page, f.tdef_max_columns_offset);
  }
  layout.owned_map = LoadPointer(block + f.tdef_owned_map_offset);
  layout.free_map = LoadPointer(block + f.tdef_free_map_offset);
  layout.row_count_offset = f.tdef_row_count_offset;
  layout.auto_number_offset = f.tdef_auto_number_offset;
  d.core_system = d.def.system = block[f.tdef_type_offset] == 0x53;

  for (const RawTdef::Named& c : raw.columns) d.def.columns.push_back(InterpretColumn(c, context));
  CheckColumns(d.def.columns, layout, f, page);
  std::stable_sort(d.def.columns.begin(), d.def.columns.end(),
                   [](const ColumnDef& a, const ColumnDef& b) { return a.ordinal < b.ordinal; });

  for (std::size_t i = 0; i < raw.real_indexes.size(); ++i) {
    const std::string& index = raw.real_indexes[i];
    d.def.indexes.push_back(InterpretIndex(index, d.def.columns, context, page));
    layout.index_maps.push_back(LoadPointer(AsBytes(index).data() + f.real_index_map_offset));
    layout.distinct_count_offsets.push_back(f.tdef_counters_offset + i * f.tdef_counter_bytes +
                                            f.tdef_distinct_count_offset);
  }
  for (const RawTdef::Named& l : raw.logical_indexes) d.logical_indexes.push_back(InterpretLogical(l, f));
  ApplyLogicalIndexes(d.logical_indexes, &d.def.indexes, page);
  for (const LogicalIndex& l : d.logical_indexes) {
    if (l.kind != LogicalIndex::kForeign) continue;
    layout.relationships.push_back({l.name, l.number, l.real, l.side == 1, l.partner_table, l.partner_index,
                                    l.cascades_updates, l.cascades_deletes, l.sets_null});
  }

  for (const std::string& record : raw.long_columns) {
    const std::uint8_t* p = AsBytes(record).data();
    layout.long_columns[LoadLe<std::uint16_t>(p)] = {LoadPointer(p + 2), LoadPointer(p + 6)};
  }
  d.def.read_only_reason = ReadOnlyReason(d.def, f);
  return d;
}

Definition ReadDefinition(PageStore& pages, const DefinitionContext& context, PageNo page) {
  std::vector<PageNo> chain;
  const std::string stream = ReadTdefStream(pages, context.format, page, &chain);
  Definition d = InterpretTdef(SplitTdef(stream, context.format, page), context, page);
  d.layout.tdef_pages = std::move(chain);
  return d;
}

}  // namespace jet
