// Changes of definitions: tables, columns and indexes that come and go.
//
// Everything that can be refused is refused before anything is written. A new table's pages are linked from
// the outside in: maps and roots first, then the definition, the row of the catalog last. Existing
// definitions are changed part by part (see tdef.h), so that what is not understood stays.
#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "access/store/data_page.h"
#include "access/store/database_impl.h"
#include "access/store/names.h"
#include "access/store/properties.h"
#include "access/store/row_codec.h"

namespace jet {
namespace {

std::uint8_t* Data(std::string& s) { return reinterpret_cast<std::uint8_t*>(s.data()); }

void CheckTypeAllowed(const NewColumn& column, const FormatInfo& format) {
  const bool allowed = column.type == ColumnType::kBigInt
                           ? format.format == Format::kAce16 || format.format == Format::kAce17
                       : column.type == ColumnType::kDateTimeExtended ? format.format == Format::kAce17
                                                                      : column.type != ColumnType::kComplex;
  if (!allowed) {
    throw Error(
        ErrorKind::kNotSupported,
        fmt::format("Column \"{}\" has a type that {} databases do not have.", column.name, format.name));
  }
}

// The descriptor of a new column; its number and place are given later.
ColumnSpec MakeColumnSpec(const NewColumn& column, const FormatInfo& format) {
  CheckName("Column name", column.name);
  CheckTypeAllowed(column, format);
  const auto fail = [&](std::string_view why) {
    throw Error(ErrorKind::kInvalid, fmt::format("Column \"{}\" {}.", column.name, why));
  };
  ColumnSpec spec;
  spec.name = column.name;
  spec.type = column.type;
  spec.length = FixedBytes(column.type);
  bool fixed = true;
  switch (column.type) {
    case ColumnType::kBoolean:
      spec.length = 1;
      break;
    case ColumnType::kText:
      if (column.characters < 1 || column.characters > kMaxTextCharacters)
        fail("must have 1 to 255 characters");
      spec.length = 2 * column.characters;
      fixed = column.fixed_length;
      break;
    case ColumnType::kBinary:
      if (column.characters < 1 || column.characters > kMaxBinaryBytes) fail("must have 1 to 510 bytes");
      spec.length = column.characters;
      fixed = column.fixed_length;
      break;
    case ColumnType::kMemo:
    case ColumnType::kOle:
      fixed = false;
      break;
    case ColumnType::kDecimal:
      if (column.precision < 1 || column.precision > 28) fail("must have a precision of 1 to 28 digits");
      if (column.scale > column.precision) fail("has a scale that is larger than its precision");
      spec.precision = column.precision;
      spec.scale = column.scale;
      break;
    default:
      break;
  }
  if (fixed) spec.flags |= column_flag::kFixed;
  if (column.auto_number) {
    if (column.type != ColumnType::kLong) fail("cannot be an autonumber, because it is no Long");
    spec.flags |= column_flag::kAutoNumber;
  }
  const bool text = column.type == ColumnType::kText || column.type == ColumnType::kMemo;
  if (text) spec.ext_flags = kExtCompressedUnicode;
  return spec;
}

// Counts of a row's trailing structures: column count, end of the values, offsets and their number, null
// mask; and 12 bytes for the reference of each long column.
std::size_t SmallestRow(std::size_t fixed_end, std::size_t columns, std::size_t variable,
                        std::size_t long_columns) {
  return 2 + fixed_end + (variable > 0 ? 4 + 2 * variable : 0) + (columns + 7) / 8 + 12 * long_columns;
}

void CheckRowFits(std::string_view table, std::size_t row_bytes, const FormatInfo& format) {
  if (row_bytes <= format.max_row_bytes) return;
  throw Error(ErrorKind::kTooLarge, fmt::format("A record of table \"{}\" would be longer than {} bytes.",
                                                table, format.max_row_bytes));
}

// The flags Access gives: primary keys 0x89, unique indexes 0x81, others 0x80.
IndexSpec MakeIndexSpec(const NewIndex& index) {
  CheckName("Index name", index.name);
  if (index.columns.empty()) {
    throw Error(ErrorKind::kInvalid, fmt::format("Index \"{}\" has no columns.", index.name));
  }
  if (index.columns.size() > kMaxIndexColumns) {
    throw Error(ErrorKind::kInvalid, fmt::format("Index \"{}\" has more than 10 columns.", index.name));
  }
  IndexSpec spec;
  spec.name = index.name;
  spec.primary = index.primary;
  if (index.unique || index.primary) spec.flags |= index_flag::kUnique;
  if (index.required || index.primary) spec.flags |= index_flag::kRequired;
  if (index.ignore_nulls && !index.primary) spec.flags |= index_flag::kIgnoreNulls;
  return spec;
}

void AddIndexColumn(const NewIndex& index, const ColumnDef& column, bool descending, Format format,
                    IndexSpec* spec) {
  for (const auto& [number, other_descending] : spec->columns) {
    if (number == column.number) {
      throw Error(ErrorKind::kInvalid,
                  fmt::format("Index \"{}\" names column \"{}\" twice.", index.name, column.name));
    }
  }
  if (column.calculated || !IsKeySupported(MakeKeyColumn(column, descending, format))) {
    throw Error(ErrorKind::kNotSupported,
                fmt::format("Column \"{}\" cannot be indexed (index \"{}\").", column.name, index.name));
  }
  spec->columns.emplace_back(column.number, descending);
}

[[noreturn]] void NoSuchIndexColumn(const NewIndex& index, const std::string& column) {
  throw Error(
      ErrorKind::kNoColumn,
      fmt::format("Index \"{}\" names column \"{}\", which the table does not have.", index.name, column));
}

// What a column will be once it is stored, as far as its keys go.
ColumnDef KeyColumnDef(const ColumnSpec& spec, const DefinitionContext& context) {
  ColumnDef c;
  c.name = spec.name;
  c.type = spec.type;
  c.number = spec.number;
  c.scale = spec.scale;
  c.lcid = context.lcid;
  c.sort_version = context.sort_version;
  return c;
}

std::vector<ColumnSpec> MakeColumnSpecs(const std::string& table, const std::vector<NewColumn>& columns,
                                        const FormatInfo& format) {
  if (columns.empty()) throw Error(ErrorKind::kInvalid, fmt::format("Table \"{}\" has no columns.", table));
  if (columns.size() > kMaxColumns) {
    throw Error(ErrorKind::kInvalid, fmt::format("Table \"{}\" has more than 255 columns.", table));
  }
  std::vector<ColumnSpec> specs;
  std::set<std::string> names;
  std::size_t fixed = 0, variable = 0, long_columns = 0, auto_numbers = 0;
  for (const NewColumn& column : columns) {
    specs.push_back(MakeColumnSpec(column, format));
    ColumnSpec& spec = specs.back();
    spec.ordinal = specs.size() - 1;
    if (!names.insert(NameKey(column.name)).second) {
      throw Error(ErrorKind::kExists,
                  fmt::format("Table \"{}\" has two columns \"{}\".", table, column.name));
    }
    auto_numbers += column.auto_number;
    if (!spec.fixed()) ++variable;
    if (spec.fixed() && spec.type != ColumnType::kBoolean) fixed += spec.length;
    if (spec.is_long()) ++long_columns;
  }
  if (auto_numbers > 1) {
    throw Error(ErrorKind::kInvalid, fmt::format("Table \"{}\" has more than one autonumber column.", table));
  }
  CheckRowFits(table, SmallestRow(fixed, specs.size(), variable, long_columns), format);
  AssignPlaces(&specs);
  return specs;
}

std::vector<IndexSpec> MakeIndexSpecs(const std::string& table, const std::vector<NewIndex>& indexes,
                                      const std::vector<ColumnSpec>& columns,
                                      const DefinitionContext& context) {
  if (indexes.size() > kMaxIndexes) {
    throw Error(ErrorKind::kInvalid, fmt::format("Table \"{}\" has more than 32 indexes.", table));
  }
  std::vector<IndexSpec> specs;
  std::set<std::string> names;
  bool primary = false;
  for (const NewIndex& index : indexes) {
    IndexSpec spec = MakeIndexSpec(index);
    if (!names.insert(NameKey(index.name)).second) {
      throw Error(ErrorKind::kExists, fmt::format("Table \"{}\" has two indexes \"{}\".", table, index.name));
    }
    if (index.primary && std::exchange(primary, true)) {
      throw Error(ErrorKind::kExists, fmt::format("Table \"{}\" has two primary keys.", table));
    }
    for (const auto& [name, descending] : index.columns) {
      const auto it = std::find_if(columns.begin(), columns.end(),
                                   [&name = name](const ColumnSpec& c) { return SameName(c.name, name); });
      if (it == columns.end()) NoSuchIndexColumn(index, name);
      AddIndexColumn(index, KeyColumnDef(*it, context), descending, context.format.format, &spec);
    }
    specs.push_back(std::move(spec));
  }
  return specs;
}

// Whether the fixed part of the table's rows may hold bytes that no present column accounts for: a dropped
// fixed column whose number is larger than those of all present ones.
bool MayHideFixedColumn(const TableDef& def, const TableLayout& layout) {
  int last_fixed = -1;
  std::size_t variable_before = 0;  // a fixed column says how many variable ones came before it
  for (const ColumnDef& c : def.columns) {
    if (!c.fixed || c.type == ColumnType::kBoolean || c.number < last_fixed) continue;
    last_fixed = c.number;
    variable_before = c.variable_index;
  }
  std::size_t left = 0, variable_left = 0;
  for (const ColumnDef& c : def.columns) {
    left += c.number > last_fixed;
    variable_left += c.number > last_fixed && !c.fixed;
  }
  const std::size_t dropped = layout.max_columns - (last_fixed + 1) - left;
  return dropped + variable_before + variable_left != layout.variable_columns;
}

// Number and place of a column that is added to an existing table.
void PlaceNewColumn(const TableDef& def, const TableLayout& layout, ColumnSpec* spec) {
  spec->number = layout.max_columns;
  spec->variable_index = layout.variable_columns;
  std::uint16_t fixed_end = 0, last_ordinal = 0;
  for (const ColumnDef& c : def.columns) {
    last_ordinal = std::max(last_ordinal, c.ordinal);
    if (!c.fixed || c.type == ColumnType::kBoolean) continue;
    fixed_end = std::max<std::uint16_t>(fixed_end, c.fixed_offset + FixedSize(c));
  }
  spec->ordinal = std::max<std::uint16_t>(spec->number, last_ordinal + 1);
  if (!spec->fixed() || spec->type == ColumnType::kBoolean) return;
  // Where rows may hold forgotten fixed bytes the column becomes a variable one, which any type may be; it
  // then cannot come to lie over them.
  if (MayHideFixedColumn(def, layout)) {
    spec->flags &= ~column_flag::kFixed;
  } else {
    spec->fixed_offset = fixed_end;
  }
}

bool IsForeign(const LogicalIndex& index) { return index.kind == LogicalIndex::kForeign; }

}  // namespace

// ---- Tables ----

void DatabaseImpl::CreateTable(const std::string& name, const std::vector<NewColumn>& columns,
                               const std::vector<NewIndex>& indexes) {
  RequireWritable();
  CheckName("Table name", name);
  if (const CatalogRow* row = catalog_->Find(name)) {
    const bool table = row->entry.type == object_type::kTable;
    throw Error(ErrorKind::kExists, fmt::format("There is already a {} \"{}\".",
                                                table ? "table" : "query or link", row->entry.name));
  }
  TableSpec spec;
  spec.columns = MakeColumnSpecs(name, columns, *header_.format);
  spec.indexes = MakeIndexSpecs(name, indexes, spec.columns, definition_context());
  std::string properties;
  for (const NewColumn& column : columns) properties = AddColumnProperties(properties, column);
  InStatement([&] { MakeTable(name, spec, 0, properties); });
}

PageNo DatabaseImpl::MakeTable(const std::string& name, const TableSpec& spec, std::uint32_t flags,
                               const std::string& properties) {
  std::vector<PageNo> chain = {allocator_->Allocate().page_no()};
  // A table's maps have a page of their own, which is freed with it.
  PageNo map_page = 0;
  RawTdef raw = MakeTdef(spec, AllocatePlaces(context_, spec, chain[0], &map_page), definition_context());
  WriteTdefStream(context_, JoinTdef(&raw), &chain);
  catalog_->AddTable(name, chain[0], flags, properties);
  Replace(chain[0]);
  return chain[0];
}

bool DatabaseImpl::HasRelationship(const std::string& table_name) {
  const std::shared_ptr<Table> table = LoadTable(header_.relationships, "MSysRelationships", {}, true);
  const int columns[] = {table->def().FindColumn("szObject"), table->def().FindColumn("szReferencedObject")};
  TableCursor cursor(*table);
  Row row;
  RowId id;
  std::string text;
  while (cursor.Next(&row, &id)) {
    for (const int column : columns) {
      if (column < 0 || row.IsNull(column)) continue;
      row.GetText(column, &text);
      if (SameName(text, table_name)) return true;
    }
  }
  return false;
}

void DatabaseImpl::DropTable(const std::string& name) {
  RequireWritable();
  const CatalogRow row = RequireTable(name);
  const Definition definition = ReadDefinition(*pages_, definition_context(), row.entry.id);
  const auto& logical = definition.logical_indexes;
  if (HasRelationship(name) || std::any_of(logical.begin(), logical.end(), IsForeign)) {
    throw Error(
        ErrorKind::kConstraint,
        fmt::format("Table \"{}\" cannot be dropped, because it takes part in a relationship.", name));
  }
  for (const ColumnDef& c : definition.def.columns) {
    if (c.type == ColumnType::kComplex) {
      throw Error(
          ErrorKind::kNotSupported,
          fmt::format("Table \"{}\" cannot be dropped, because its column \"{}\" holds several values.", name,
                      c.name));
    }
  }
  InStatement([&] {
    const auto table = FindTable(name);
    Replace(table->stored().layout().tdef_page);
    catalog_->Remove(row);
    table->stored().FreeData();
    for (const PageNo page : table->stored().layout().tdef_pages) allocator_->Free(page);
  });
}

// ---- Changing a definition ----

DatabaseImpl::Change DatabaseImpl::BeginChange(const std::string& table_name) {
  Change c;
  c.row = &RequireTable(table_name);
  c.table = FindTable(table_name);
  if (!c.table->def().read_only_reason.empty()) {
    throw Error(ErrorKind::kNotSupported, fmt::format("Table \"{}\" cannot be changed: {}.", table_name,
                                                      c.table->def().read_only_reason));
  }
  // The counters in the definition are to be the current ones, also for a new object.
  c.table->stored().Flush();
  const PageNo page = c.row->entry.id;
  c.raw = SplitTdef(ReadTdefStream(*pages_, *header_.format, page, &c.chain), *header_.format, page);
  c.definition = InterpretTdef(c.raw, definition_context(), page);
  return c;
}

std::shared_ptr<Table> DatabaseImpl::EndChange(Change* change) {
  WriteTdefStream(context_, JoinTdef(&change->raw), &change->chain);
  const std::string name = change->row->entry.name;
  Replace(change->chain[0]);
  return FindTable(name);
}

void DatabaseImpl::AddColumn(const std::string& table, const NewColumn& column) {
  RequireWritable();
  InStatement([&] {
    Change c = BeginChange(table);
    const TableDef& def = c.definition.def;
    TableLayout& layout = c.definition.layout;
    if (def.FindColumn(column.name) >= 0) {
      throw Error(ErrorKind::kExists,
                  fmt::format("Table \"{}\" already has a column \"{}\".", table, column.name));
    }
    if (layout.max_columns >= kMaxColumns) {
      throw Error(
          ErrorKind::kInvalid,
          fmt::format("Table \"{}\" has had 255 columns, dropped ones included; compacting the database in "
                      "Access makes room.",
                      table));
    }
    if (column.auto_number && c.table->row_count() > 0) {
      throw Error(
          ErrorKind::kNotSupported,
          fmt::format("Table \"{}\" holds records, so that no autonumber column can be added.", table));
    }
    if (column.auto_number && std::any_of(def.columns.begin(), def.columns.end(),
                                          [](const ColumnDef& d) { return d.auto_number; })) {
      throw Error(ErrorKind::kInvalid, fmt::format("Table \"{}\" already has an autonumber column.", table));
    }
    ColumnSpec spec = MakeColumnSpec(column, *header_.format);
    PlaceNewColumn(def, layout, &spec);

    std::size_t fixed_end =
        spec.fixed() && spec.type != ColumnType::kBoolean ? spec.fixed_offset + spec.length : 0;
    for (const ColumnDef& d : def.columns) {
      if (d.fixed && d.type != ColumnType::kBoolean)
        fixed_end = std::max<std::size_t>(fixed_end, d.fixed_offset + FixedSize(d));
    }
    const std::size_t variable = layout.variable_columns + std::size_t{!spec.fixed()};
    CheckRowFits(table,
                 SmallestRow(fixed_end, layout.max_columns + std::size_t{1}, variable,
                             layout.long_columns.size() + spec.is_long()),
                 *header_.format);

    c.raw.columns.push_back(MakeColumnBlock(spec, definition_context()));
    if (spec.is_long()) {
      PageNo map_page = layout.owned_map.page;
      c.raw.long_columns.push_back(
          MakeLongColumnRecord(spec.number, AllocateLongColumn(context_, &map_page)));
    }
    std::uint8_t* block = Data(c.raw.block);
    StoreLe<std::uint16_t>(block + header_.format->tdef_max_columns_offset, layout.max_columns + 1);
    StoreLe<std::uint16_t>(block + header_.format->tdef_variable_columns_offset, variable);
    const std::string old_properties = catalog_->Properties(*c.row);
    const std::string properties = AddColumnProperties(old_properties, column);
    if (properties != old_properties) catalog_->SetProperties(*c.row, properties);
    const std::shared_ptr<Table> changed = EndChange(&c);
    if (layout.variable_columns == 0) changed->stored().RewriteOldRows();
  });
}

void DatabaseImpl::CreateIndex(const std::string& table, const NewIndex& index) {
  RequireWritable();
  InStatement([&] {
    Change c = BeginChange(table);
    const TableDef& def = c.definition.def;
    IndexSpec spec = MakeIndexSpec(index);
    std::int32_t number = 0;
    for (const LogicalIndex& l : c.definition.logical_indexes) {
      if (SameName(l.name, index.name)) {
        throw Error(ErrorKind::kExists,
                    fmt::format("Table \"{}\" already has an index \"{}\".", table, index.name));
      }
      if (index.primary && l.kind == LogicalIndex::kPrimary) {
        throw Error(ErrorKind::kExists, fmt::format("Table \"{}\" already has a primary key.", table));
      }
      number = std::max(number, l.number + 1);
    }
    if (c.raw.logical_indexes.size() >= kMaxIndexes || c.raw.real_indexes.size() >= kMaxIndexes) {
      throw Error(ErrorKind::kInvalid, fmt::format("Table \"{}\" already has 32 indexes.", table));
    }
    for (const auto& [name, descending] : index.columns) {
      const int at = def.FindColumn(name);
      if (at < 0) NoSuchIndexColumn(index, name);
      AddIndexColumn(index, def.columns[at], descending, header_.format->format, &spec);
    }
    PageNo map_page = c.definition.layout.owned_map.page;
    const IndexPlace place = AllocateIndex(context_, def.tdef_page, &map_page);
    const std::uint32_t real = c.raw.real_indexes.size();
    c.raw.counters.emplace_back(header_.format->tdef_counter_bytes, '\0');
    c.raw.real_indexes.push_back(MakeRealIndexBlock(spec, place));
    InsertLogicalIndex(MakeLogicalIndexBlock(spec, number, real), &c.raw);
    EndChange(&c)->stored().BuildIndex(real);
  });
}

void DatabaseImpl::DropIndex(const std::string& table, const std::string& index) {
  RequireWritable();
  InStatement([&] {
    Change c = BeginChange(table);
    const auto& logical = c.definition.logical_indexes;
    const auto it = std::find_if(logical.begin(), logical.end(),
                                 [&](const LogicalIndex& l) { return SameName(l.name, index); });
    if (it == logical.end()) {
      throw Error(ErrorKind::kNotFound, fmt::format("Table \"{}\" has no index \"{}\".", table, index));
    }
    const std::uint32_t real = it->real;
    std::size_t users = 0;
    for (const LogicalIndex& l : logical) {
      if (l.real != real) continue;
      ++users;
      if (IsForeign(l)) {
        throw Error(
            ErrorKind::kConstraint,
            fmt::format("Index \"{}\" of table \"{}\" cannot be dropped, because a relationship needs it.",
                        index, table));
      }
    }
    c.raw.logical_indexes.erase(c.raw.logical_indexes.begin() + (it - logical.begin()));
    // Another name for the same keys keeps them.
    if (users == 1) {
      c.table->stored().FreeIndex(real);
      c.raw.counters.erase(c.raw.counters.begin() + real);
      c.raw.real_indexes.erase(c.raw.real_indexes.begin() + real);
      for (RawTdef::Named& l : c.raw.logical_indexes) {
        std::uint8_t* p = Data(l.block) + header_.format->logical_index_real_offset;
        const auto used = LoadLe<std::uint32_t>(p);
        if (used > real) StoreLe(p, used - 1);
      }
    }
    EndChange(&c);
  });
}

}  // namespace jet
