// A row as it is read, and the table that the users of a database see.
#include "access/store/stored_table.h"

namespace jet {

// ---- Rows ----

void RowAccess::Set(const StoredTable& table, const PageRef& page, const RowView& view, Row* row) {
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

bool Row::IsNull(int column) const {
  const ColumnDef& c = table_->def().columns[column];
  if (InMask(c)) return false;
  Bytes raw;
  const RowView view = RowAccess::View(*this);
  return !view.Raw(c, &raw) || IsNullValue(table_->context(), c, raw, view);
}

Value Row::Get(int column) const {
  const ColumnDef& c = table_->def().columns[column];
  const RowView view = RowAccess::View(*this);
  if (InMask(c)) return Value::Integer(view.MaskBit(c.number) ? -1 : 0);
  Bytes raw;
  if (!view.Raw(c, &raw)) return Value::Null();
  return DecodeValue(table_->context(), c, raw, view);
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
  return DecodeValue(table_->context(), c, raw, view).integer();
}

double Row::GetReal(int column) const {
  const ColumnDef& c = table_->def().columns[column];
  const RowView view = RowAccess::View(*this);
  Bytes raw;
  if (!view.Raw(c, &raw)) return 0;
  if (!c.calculated && raw.size() == 8) return LoadLe<double>(raw.data());
  if (!c.calculated && raw.size() == 4) return LoadLe<float>(raw.data());
  return DecodeValue(table_->context(), c, raw, view).real();
}

void Row::GetText(int column, std::string* utf8) const {
  const ColumnDef& c = table_->def().columns[column];
  const RowView view = RowAccess::View(*this);
  utf8->clear();
  Bytes raw;
  if (view.Raw(c, &raw)) DecodeTextColumn(table_->context(), c, raw, view, utf8);
}

// ---- The table ----

Table::Table(std::unique_ptr<StoredTable> stored) : stored_(std::move(stored)), def_(stored_->def()) {}
Table::~Table() = default;

std::uint32_t Table::row_count() const { return stored_->row_count(); }
std::uint64_t Table::content_version() const { return stored_->content_version(); }
bool Table::Fetch(RowId id, Row* row) { return stored_->Fetch(id, row); }
RowId Table::Insert(const std::vector<Value>& values) { return stored_->Insert(values); }
void Table::Update(RowId id, const std::vector<ColumnChange>& changes) { stored_->Update(id, changes); }
void Table::Delete(RowId id) { stored_->Delete(id); }
void Table::HoldRowIds() { stored_->HoldRowIds(); }
void Table::ReleaseRowIds() { stored_->ReleaseRowIds(); }
bool Table::StoresRowsAs(const Table& other) const { return stored_->StoresRowsAs(*other.stored_); }
std::string Table::MakeKey(int index, const std::vector<Value>& values) const {
  return stored_->MakeKey(index, values);
}
KeyColumn Table::key_column(int index, int position) const { return stored_->key_column(index, position); }

}  // namespace jet
