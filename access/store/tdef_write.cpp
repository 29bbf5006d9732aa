#include "access/store/tdef_write.h"

#include <algorithm>
#include <cstring>

#include "access/index/btree.h"
#include "access/store/data_page.h"
#include "access/store/names.h"
#include "access/store/usage_map.h"

namespace jet {
namespace {

// Magic numbers at the head of the blocks, the same in all files of Jet 4 and later.
constexpr std::uint32_t kBlockMagic = 1625;
constexpr std::uint32_t kRealIndexMagic = 1923;
constexpr std::size_t kChainHeaderBytes = 8;

const FormatInfo& Jet4() { return GetFormatInfo(Format::kJet4); }  // later versions share all offsets

std::uint8_t* Data(std::string& s) { return reinterpret_cast<std::uint8_t*>(s.data()); }

void AppendNames(const std::vector<RawTdef::Named>& parts, std::string* stream) {
  for (const RawTdef::Named& part : parts) {
    stream->push_back(part.name.size() & 0xFF);
    stream->push_back(part.name.size() >> 8);
    *stream += part.name;
  }
}

std::string NameKeyOf(const RawTdef::Named& part) {
  return NameKey(
      DecodeName({reinterpret_cast<const std::uint8_t*>(part.name.data()), part.name.size()}, Jet4()));
}

}  // namespace

void AssignPlaces(std::vector<ColumnSpec>* columns) {
  std::uint16_t number = 0, variable = 0, offset = 0;
  for (ColumnSpec& c : *columns) {
    c.number = number++;
    c.variable_index = variable;
    if (!c.fixed()) {
      ++variable;
    } else if (c.type != ColumnType::kBoolean) {
      c.fixed_offset = offset;
      offset = offset + c.length;
    }
  }
}

RawTdef::Named MakeColumnBlock(const ColumnSpec& column, const DefinitionContext& context) {
  const FormatInfo& f = Jet4();
  std::string block(f.column_bytes, '\0');
  std::uint8_t* p = Data(block);
  p[0] = static_cast<std::uint8_t>(column.type);
  StoreLe(p + 1, kBlockMagic);
  StoreLe(p + f.column_number_offset, column.number);
  StoreLe(p + f.column_variable_offset, column.variable_index);
  StoreLe(p + f.column_ordinal_offset, column.ordinal);
  if (column.type == ColumnType::kDecimal) {
    p[f.column_precision_offset] = column.precision;
    p[f.column_precision_offset + 1] = column.scale;
  } else {
    // Access gives every column the text order of the file, text or not.
    StoreLe(p + f.column_collation_offset, context.lcid);
    p[f.column_sort_version_offset] = context.sort_version;
  }
  p[f.column_flags_offset] = column.flags;
  p[f.column_ext_flags_offset] = column.ext_flags;
  StoreLe(p + f.column_fixed_offset, column.fixed_offset);
  StoreLe(p + f.column_length_offset, column.length);
  return {block, EncodeName(column.name)};
}

std::string MakeRealIndexBlock(const IndexSpec& index, const IndexPlace& place) {
  const FormatInfo& f = Jet4();
  std::string block(f.real_index_bytes, '\0');
  std::uint8_t* p = Data(block);
  StoreLe(p, kRealIndexMagic);
  for (std::size_t i = 0; i < kMaxIndexColumns; ++i) {
    std::uint8_t* q = p + f.real_index_columns_offset + 3 * i;
    StoreLe<std::uint16_t>(q, i < index.columns.size() ? index.columns[i].first : 0xFFFF);
    q[2] = i < index.columns.size() && !index.columns[i].second ? 1 : 0;
  }
  StorePointer(p + f.real_index_map_offset, place.map);
  StoreLe(p + f.real_index_root_offset, place.root);
  p[f.real_index_flags_offset] = index.flags;
  return block;
}

RawTdef::Named MakeLogicalIndexBlock(const IndexSpec& index, std::uint32_t number, std::uint32_t real) {
  const FormatInfo& f = Jet4();
  std::string block(f.logical_index_bytes, '\0');
  std::uint8_t* p = Data(block);
  StoreLe(p, kBlockMagic);
  StoreLe(p + f.logical_index_number_offset, number);
  StoreLe(p + f.logical_index_real_offset, real);
  StoreLe<std::int32_t>(p + f.logical_index_partner_offset, -1);
  // The two cascade bytes mean nothing here; Access writes 4 into both.
  p[f.logical_index_table_offset + 4] = 4;
  p[f.logical_index_table_offset + 5] = 4;
  p[f.logical_index_kind_offset] = index.primary ? LogicalIndex::kPrimary : LogicalIndex::kOrdinary;
  return {block, EncodeName(index.name)};
}

std::string MakeLongColumnRecord(std::uint16_t column_number, const TableLayout::LongColumn& maps) {
  std::string record(10, '\0');
  StoreLe(Data(record), column_number);
  StorePointer(Data(record) + 2, maps.owned_map);
  StorePointer(Data(record) + 6, maps.free_map);
  return record;
}

IndexPlace AllocateIndex(StoreContext& context, PageNo tdef_page, PageNo* map_page) {
  IndexPlace place;
  place.map = CreateUsageMap(context, *map_page);
  *map_page = place.map.page;
  const MutablePageRef root = context.allocator.Allocate();
  place.root = root.page_no();
  BTree::InitRoot(root, tdef_page);
  UsageMap(context, place.map).Add(place.root);
  return place;
}

TableLayout::LongColumn AllocateLongColumn(StoreContext& context, PageNo* map_page) {
  TableLayout::LongColumn maps;
  maps.owned_map = CreateUsageMap(context, *map_page);
  maps.free_map = CreateUsageMap(context, maps.owned_map.page);
  *map_page = maps.free_map.page;
  return maps;
}

TablePlaces AllocatePlaces(StoreContext& context, const TableSpec& spec, PageNo tdef_page, PageNo* map_page) {
  TablePlaces places;
  places.owned_map = CreateUsageMap(context, *map_page);
  places.free_map = CreateUsageMap(context, places.owned_map.page);
  *map_page = places.free_map.page;
  for (const ColumnSpec& c : spec.columns) {
    if (c.is_long()) places.long_columns[c.number] = AllocateLongColumn(context, map_page);
  }
  for (std::size_t i = 0; i < spec.indexes.size(); ++i) {
    places.indexes.push_back(AllocateIndex(context, tdef_page, map_page));
  }
  return places;
}

RawTdef MakeTdef(const TableSpec& spec, const TablePlaces& places, const DefinitionContext& context) {
  const FormatInfo& f = Jet4();
  RawTdef raw;
  raw.block.assign(f.tdef_counters_offset, '\0');
  std::uint8_t* p = Data(raw.block);
  StoreLe(p + 12, kBlockMagic);
  StoreLe<std::uint32_t>(p + 24, 1);  // probably the step of autonumbers; 1 in every file
  p[f.tdef_type_offset] = spec.type;
  StoreLe<std::uint16_t>(p + f.tdef_max_columns_offset, spec.columns.size());
  StoreLe<std::uint16_t>(p + f.tdef_variable_columns_offset,
                         std::count_if(spec.columns.begin(), spec.columns.end(),
                                       [](const ColumnSpec& c) { return !c.fixed(); }));
  StorePointer(p + f.tdef_owned_map_offset, places.owned_map);
  StorePointer(p + f.tdef_free_map_offset, places.free_map);

  for (const ColumnSpec& c : spec.columns) raw.columns.push_back(MakeColumnBlock(c, context));
  if (spec.descriptors_by_name) {
    std::stable_sort(
        raw.columns.begin(), raw.columns.end(),
        [](const RawTdef::Named& a, const RawTdef::Named& b) { return NameKeyOf(a) < NameKeyOf(b); });
  }
  for (std::size_t i = 0; i < spec.indexes.size(); ++i) {
    raw.counters.emplace_back(f.tdef_counter_bytes, '\0');
    raw.real_indexes.push_back(MakeRealIndexBlock(spec.indexes[i], places.indexes[i]));
    const std::uint32_t number = i;
    InsertLogicalIndex(MakeLogicalIndexBlock(spec.indexes[i], number, number), &raw);
  }
  for (const auto& [number, maps] : places.long_columns) {
    raw.long_columns.push_back(MakeLongColumnRecord(number, maps));
  }
  return raw;
}

void InsertLogicalIndex(RawTdef::Named block, RawTdef* raw) {
  const std::string key = NameKeyOf(block);
  auto& all = raw->logical_indexes;
  const auto at =
      std::find_if(all.begin(), all.end(), [&](const RawTdef::Named& l) { return NameKeyOf(l) > key; });
  all.insert(at, std::move(block));
}

std::string JoinTdef(RawTdef* raw) {
  const FormatInfo& f = Jet4();
  std::uint8_t* p = Data(raw->block);
  StoreLe<std::uint16_t>(p + f.tdef_columns_offset, raw->columns.size());
  StoreLe<std::uint32_t>(p + f.tdef_logical_indexes_offset, raw->logical_indexes.size());
  StoreLe<std::uint32_t>(p + f.tdef_real_indexes_offset, raw->real_indexes.size());
  std::string stream = raw->block;
  for (const std::string& c : raw->counters) stream += c;
  for (const RawTdef::Named& c : raw->columns) stream += c.block;
  AppendNames(raw->columns, &stream);
  for (const std::string& r : raw->real_indexes) stream += r;
  for (const RawTdef::Named& l : raw->logical_indexes) stream += l.block;
  AppendNames(raw->logical_indexes, &stream);
  for (const std::string& r : raw->long_columns) stream += r;
  stream += "\xFF\xFF";
  StoreLe<std::uint32_t>(Data(stream) + f.tdef_length_offset, stream.size());
  return stream;
}

void WriteTdefStream(StoreContext& context, const std::string& stream, std::vector<PageNo>* chain) {
  const std::size_t page_size = context.format.page_size;
  const std::size_t room = page_size - kChainHeaderBytes;
  const std::size_t pages = std::max<std::size_t>(1, (stream.size() - kChainHeaderBytes + room - 1) / room);
  for (; chain->size() > pages; chain->pop_back()) context.allocator.Free(chain->back());
  while (chain->size() < pages) chain->push_back(context.allocator.Allocate().page_no());

  for (std::size_t i = 0; i < pages; ++i) {
    const MutablePageRef page = context.pages.Write((*chain)[i]);
    std::uint8_t* p = page.mutable_data();
    const std::size_t from = kChainHeaderBytes + i * room;
    const std::size_t count = std::min(room, stream.size() - from);
    const std::size_t free = room - count;
    p[0] = kPageTdef;
    p[1] = 1;
    // The field is 8 less than what is free, for a reason only its makers know.
    StoreLe<std::uint16_t>(p + 2, free > 8 ? free - 8 : 0);
    StoreLe<PageNo>(p + 4, i + 1 < pages ? (*chain)[i + 1] : 0);
    std::memcpy(p + kChainHeaderBytes, stream.data() + from, count);
    std::memset(p + kChainHeaderBytes + count, 0, free);
  }
}

}  // namespace jet
