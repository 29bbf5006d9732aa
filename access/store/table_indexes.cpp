#include "access/store/table_indexes.h"

#include <fmt/format.h>

#include <utility>

#include "access/store/format.h"
#include "access/store/value_convert.h"

namespace jet {

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

MutablePageRef TableIndexes::Pages::AllocateIndexPage() {
  MutablePageRef page = context_.allocator.Allocate();
  map_.Add(page.page_no());
  return page;
}

void TableIndexes::Pages::FreeIndexPage(PageNo page) {
  map_.Remove(page);
  context_.allocator.Free(page);
}

TableIndexes::TableIndexes(StoreContext& context, const TableDef& def, const TableLayout& layout)
    : context_(context), def_(def), of_column_(def.columns.size()) {
  const FormatInfo& format = context.format;
  for (std::size_t i = 0; i < def.indexes.size(); ++i) {
    const IndexDef& d = def.indexes[i];
    Index index;
    for (const IndexColumn& c : d.columns) {
      index.columns.push_back(MakeKeyColumn(def.columns[c.column], c.descending, format.format));
      if (i < kMaxIndexes) of_column_[c.column] |= 1u << i;  // with more, the table is read-only
    }
    index.pages =
        std::make_unique<Pages>(context, i < layout.index_maps.size() ? layout.index_maps[i] : RowPointer{});
    index.tree =
        std::make_unique<BTree>(context.pages, index.pages.get(), d.root, layout.tdef_page, format.jet3);
    indexes_.push_back(std::move(index));
  }
}

void TableIndexes::AppendColumnKey(int index, int position, const Value& value, std::string* key) const {
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

std::string TableIndexes::MakeKey(int index, const std::vector<Value>& values) const {
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
    AppendColumnKey(index, i, *value, &key);
  }
  return key;
}

void TableIndexes::Free(int index) {
  for (const PageNo page : map(index).Pages()) context_.allocator.Free(page);
  DeleteUsageMap(context_, map(index).row());
}

}  // namespace jet
