// A row as it is read, and the table that the users of a database see.
#include "access/store/stored_table.h"

namespace jet {

// ---- Rows ----

void RowAccess::Set(const StoredTable& table, const PageRef& page, const RowView& view, Row* row) {
  row->table_ = &table;
  if (!row->page_ || row->page_.data() != page.data()) row->page_ = page;
  row->bytes_ = view.bytes;
  row->page_no_ = view.page;
  row->offset_ = view.offset;
  row->column_count_ = view.column_count;
  row->variable_count_ = view.variable_count;
  row->mask_offset_ = view.mask_offset;
  row->variable_part_ = view.variable_part;
}

RowView RowAccess::View(const Row& row) {
  RowView view;
  view.bytes = row.bytes_;
  view.page = row.page_no_;
  view.offset = row.offset_;
  view.column_count = row.column_count_;
  view.variable_count = row.variable_count_;
  view.mask_offset = row.mask_offset_;
  view.variable_part = row.variable_part_;
  view.jet3 = TableOf(row).row_format().jet3;
  return view;
}

void Row::Detach(std::vector<std::uint8_t>* bytes) {
  bytes->assign(bytes_.begin(), bytes_.end());
  bytes_ = *bytes;
  page_ = PageRef();
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

bool Row::ReadInteger(int column, std::int64_t* value) const {
  const ColumnDef& c = table_->def().columns[column];
  const RowView view = RowAccess::View(*this);
  if (InMask(c)) {
    *value = view.MaskBit(c.number) ? -1 : 0;
    return true;
  }
  Bytes raw;
  if (!view.Raw(c, &raw)) return false;
  if (!c.calculated) {
    switch (raw.size()) {
      case 1:
        *value = raw[0];
        return true;
      case 2:
        *value = LoadLe<std::int16_t>(raw.data());
        return true;
      case 4:
        *value = LoadLe<std::int32_t>(raw.data());
        return true;
      case 8:
        *value = LoadLe<std::int64_t>(raw.data());
        return true;
      default:
        break;
    }
  }
  const Value decoded = DecodeValue(table_->context(), c, raw, view);
  *value = decoded.integer();
  return !decoded.is_null();
}

bool Row::ReadReal(int column, double* value) const {
  const ColumnDef& c = table_->def().columns[column];
  const RowView view = RowAccess::View(*this);
  Bytes raw;
  if (!view.Raw(c, &raw)) return false;
  if (!c.calculated && raw.size() == 8) {
    *value = LoadLe<double>(raw.data());
    return true;
  }
  if (!c.calculated && raw.size() == 4) {
    *value = LoadLe<float>(raw.data());
    return true;
  }
  const Value decoded = DecodeValue(table_->context(), c, raw, view);
  *value = decoded.real();
  return !decoded.is_null();
}

bool Row::ReadText(int column, std::string* utf8) const {
  const ColumnDef& c = table_->def().columns[column];
  const RowView view = RowAccess::View(*this);
  Bytes raw;
  if (!view.Raw(c, &raw) || IsNullValue(table_->context(), c, raw, view)) return false;
  utf8->clear();
  DecodeTextColumn(table_->context(), c, raw, view, utf8);
  return true;
}

std::int64_t Row::GetInteger(int column) const {
  std::int64_t value = 0;
  ReadInteger(column, &value);
  return value;
}

double Row::GetReal(int column) const {
  double value = 0;
  ReadReal(column, &value);
  return value;
}

void Row::GetText(int column, std::string* utf8) const {
  if (!ReadText(column, utf8)) utf8->clear();
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
