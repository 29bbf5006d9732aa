#include "access/store/catalog.h"

#include <fmt/format.h>

#include <set>

#include "access/base/calendar.h"
#include "access/store/names.h"

namespace jet {
namespace {

// Full rights on a new object, as the engine of Access gives them.
constexpr std::int64_t kAllRights = 0xFFFFF;

int RequiredColumn(const TableDef& def, const char* name) {
  const int at = def.FindColumn(name);
  if (at < 0)
    ThrowCorrupt(fmt::format("the system table {} has no column \"{}\"", def.name, name), def.tdef_page);
  return at;
}

std::int64_t IntegerOr(const Row& row, int column, std::int64_t when_null) {
  return row.IsNull(column) ? when_null : row.GetInteger(column);
}

}  // namespace

RowBuilder& RowBuilder::Set(const char* column, Value value) {
  values_[RequiredColumn(def_, column)] = std::move(value);
  return *this;
}

Catalog::Catalog(std::shared_ptr<Table> objects, std::shared_ptr<Table> aces)
    : objects_(std::move(objects)), aces_(std::move(aces)) {}

int Catalog::Column(const char* name) const { return RequiredColumn(objects_->def(), name); }

void Catalog::Load() {
  if (loaded_) return;
  rows_.clear();
  by_name_.clear();
  const int id = Column("Id"), parent = Column("ParentId"), name = Column("Name"), type = Column("Type"),
            flags = Column("Flags");
  TableCursor cursor(*objects_);
  Row row;
  RowId row_id;
  while (cursor.Next(&row, &row_id)) {
    CatalogRow r;
    r.entry.id = IntegerOr(row, id, 0);
    r.parent = IntegerOr(row, parent, 0);
    if (!row.IsNull(name)) row.GetText(name, &r.entry.name);
    r.entry.type = IntegerOr(row, type, 0);
    r.entry.flags = IntegerOr(row, flags, 0);
    r.row = row_id;
    if (r.parent == kTablesContainer) by_name_.emplace(NameKey(r.entry.name), rows_.size());
    rows_.push_back(std::move(r));
  }
  loaded_ = true;
}

std::vector<CatalogEntry> Catalog::List() {
  Load();
  std::vector<CatalogEntry> entries;
  for (const CatalogRow& r : rows_) entries.push_back(r.entry);
  return entries;
}

const CatalogRow* Catalog::Find(std::string_view name) {
  Load();
  const auto it = by_name_.find(NameKey(name));
  return it == by_name_.end() ? nullptr : &rows_[it->second];
}

const CatalogRow* Catalog::FindTableAt(PageNo tdef_page) {
  Load();
  for (const CatalogRow& r : rows_) {
    if (r.entry.type == object_type::kTable && static_cast<PageNo>(r.entry.id) == tdef_page) return &r;
  }
  return nullptr;
}

std::string Catalog::Properties(const CatalogRow& row) {
  Row stored;
  if (!objects_->Fetch(row.row, &stored)) return {};
  const int column = Column("LvProp");
  return stored.IsNull(column) ? std::string() : stored.Get(column).bytes();
}

void Catalog::SetProperties(const CatalogRow& row, const std::string& blob) {
  objects_->Update(
      row.row, {{Column("LvProp"), Value::Blob(blob)}, {Column("DateUpdate"), Value::Real(CurrentDate())}});
}

void Catalog::AddTable(const std::string& name, PageNo tdef_page, std::uint32_t flags,
                       const std::string& properties) {
  // The owner of the database owns the new table too.
  Value owner;
  Load();
  for (const CatalogRow& r : rows_) {
    Row stored;
    if (r.entry.id == kDatabaseObject && flags == 0 && objects_->Fetch(r.row, &stored)) {
      owner = stored.Get(Column("Owner"));
    }
  }
  const double now = CurrentDate();
  RowBuilder object(objects_->def());
  object.Set("Id", Value::Integer(tdef_page))
      .Set("ParentId", Value::Integer(kTablesContainer))
      .Set("Name", Value::Text(name))
      .Set("Type", Value::Integer(object_type::kTable))
      .Set("DateCreate", Value::Real(now))
      .Set("DateUpdate", Value::Real(now))
      .Set("Owner", owner)
      .Set("Flags", Value::Integer(static_cast<std::int32_t>(flags)));
  if (!properties.empty()) object.Set("LvProp", Value::Blob(properties));
  objects_->Insert(object.values());
  Forget();
  if (flags != 0) return;

  std::set<std::string> principals;
  const TableDef& aces = aces_->def();
  const int object_id = RequiredColumn(aces, "ObjectId"), sid = RequiredColumn(aces, "SID");
  {
    TableCursor cursor(*aces_);
    Row row;
    RowId row_id;
    while (cursor.Next(&row, &row_id)) {
      if (IntegerOr(row, object_id, 0) == kTablesContainer && !row.IsNull(sid))
        principals.insert(row.Get(sid).bytes());
    }
  }
  for (const std::string& principal : principals) {
    RowBuilder ace(aces);
    ace.Set("ObjectId", Value::Integer(tdef_page))
        .Set("SID", Value::Blob(principal))
        .Set("ACM", Value::Integer(kAllRights))
        .Set("FInheritable", Value::Integer(0));
    aces_->Insert(ace.values());
  }
}

void Catalog::Remove(const CatalogRow& row) {
  const std::int64_t id = row.entry.id;
  const RowId object = row.row;
  Forget();  // `row` may lie in the map of names
  objects_->Delete(object);
  const int object_id = RequiredColumn(aces_->def(), "ObjectId");
  std::vector<RowId> rights;
  {
    TableCursor cursor(*aces_);
    Row ace;
    RowId ace_id;
    while (cursor.Next(&ace, &ace_id)) {
      if (IntegerOr(ace, object_id, 0) == id) rights.push_back(ace_id);
    }
  }
  for (const RowId ace : rights) aces_->Delete(ace);
}

}  // namespace jet
