#include "access/store/relationships.h"

#include <fmt/format.h>

#include "access/store/stored_table.h"
#include "access/store/value_convert.h"

namespace jet {
namespace {

// Chains of cascades that are longer are refused: each takes room on the stack.
constexpr int kMaxCascadeDepth = 100;

bool HoldsKey(const StoredTable& table, int index, const std::vector<Value>& values) {
  std::string key;
  try {
    key = table.MakeKey(index, values);
  } catch (const Error& error) {
    if (error.is_environment()) throw;
    return false;  // a value that the column cannot hold
  }
  return table.tree(index).Contains(key);
}

}  // namespace

StoredTable& Relationships::PartnerOf(const Relationship& end, const Relationship** other) const {
  TableSource* const tables = table_.context().tables;
  StoredTable* const partner = end.partner_table == table_.layout().tdef_page ? &table_
                               : tables != nullptr ? tables->TableAt(end.partner_table)
                                                   : nullptr;
  if (partner != nullptr) {
    for (const Relationship& r : partner->layout().relationships) {
      if (r.number != end.partner_number || r.referenced == end.referenced) continue;
      const auto& own = table_.def().indexes[end.index];
      const auto& others = partner->def().indexes[r.index];
      if (own.columns.size() != others.columns.size() || !others.supported) break;
      *other = &r;
      return *partner;
    }
  }
  throw Error(ErrorKind::kCorrupt,
              fmt::format("The relationship \"{}\" of table \"{}\" leads to no index of another table.",
                          end.name, table_.def().name),
              table_.layout().tdef_page);
}

template <typename Get>
bool Relationships::RelatedValues(const Relationship& end, Get get, std::vector<Value>* values) const {
  values->clear();
  for (const IndexColumn& c : table_.def().indexes[end.index].columns) {
    values->push_back(get(c.column));
    if (values->back().is_null()) return false;
  }
  return true;
}

void Relationships::RequireParents(const RowView* old) const {
  std::vector<Value> values;
  for (const Relationship& end : table_.layout().relationships) {
    if (end.referenced) continue;
    if (!keys_.gets_new(end.index)) continue;
    const auto get = [&](int column) { return row_.NewValue(column, old); };
    if (!RelatedValues(end, get, &values)) continue;
    const Relationship* other = nullptr;
    StoredTable& parent = PartnerOf(end, &other);
    const int parent_index = other->index;
    if (HoldsKey(parent, parent_index, values)) continue;
    std::vector<Value> own_key;
    // A row may refer to itself.
    if (&parent == &table_ && RelatedValues(*other, get, &own_key) &&
        parent.MakeKey(parent_index, own_key) == parent.MakeKey(parent_index, values)) {
      continue;
    }
    std::string key;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const IndexColumn& c = parent.def().indexes[other->index].columns[i];
      if (!key.empty()) key += ", ";
      key += fmt::format("{} = {}", parent.def().columns[c.column].name, DescribeValue(values[i]));
    }
    throw Error(ErrorKind::kConstraint,
                fmt::format("A record of table \"{}\" would refer to a record of table \"{}\" that does not "
                            "exist ({}; relationship \"{}\").",
                            table_.def().name, parent.def().name, key, end.name));
  }
}

std::vector<RowId> Relationships::RowsReferring(StoredTable& child, const Relationship& end,
                                                const Relationship& other, const std::vector<Value>& values,
                                                RowId id, const RowView& old, bool deletes) const {
  const int child_index = other.index;
  std::vector<RowId> rows;
  const std::string key = child.MakeKey(child_index, values);
  IndexCursor cursor(child, child_index, {key, false, key, false});
  for (RowId row; cursor.Next(&row);) {
    // A row that refers to itself goes with itself.
    if (&child == &table_ && row == id) {
      if (deletes) continue;
      const auto get = [&](int column) { return row_.NewValue(column, &old); };
      std::vector<Value> referring, referred;
      if (!RelatedValues(other, get, &referring) ||
          (RelatedValues(end, get, &referred) &&
           child.MakeKey(child_index, referring) == child.MakeKey(child_index, referred))) {
        continue;
      }
    }
    rows.push_back(row);
  }
  return rows;
}

std::vector<Cascade> Relationships::RequireNoChildren(RowId id, const RowView& old, bool deletes) const {
  std::vector<Cascade> cascades;
  std::vector<Value> values;
  for (const Relationship& end : table_.layout().relationships) {
    if (!end.referenced) continue;
    if (!keys_.loses_old(end.index)) continue;
    if (!RelatedValues(
            end, [&](int column) { return row_.OldValue(column, old); }, &values))
      continue;
    const Relationship* other = nullptr;
    StoredTable& child = PartnerOf(end, &other);
    if (!HoldsKey(child, other->index, values)) continue;
    const IndexDef& index = child.def().indexes[other->index];

    Cascade cascade;
    cascade.table = &child;
    cascade.rows = RowsReferring(child, end, *other, values, id, old, deletes);
    if (cascade.rows.empty()) continue;
    const bool nulls = deletes && !end.cascades_deletes && end.sets_null;
    if (deletes ? !end.cascades_deletes && !nulls : !end.cascades_updates) {
      throw Error(
          ErrorKind::kConstraint,
          fmt::format("A record of table \"{}\" cannot be {}, because records of table \"{}\" refer to "
                      "it (relationship \"{}\").",
                      table_.def().name, deletes ? "deleted" : "given another key", child.def().name,
                      other->name));
    }
    for (std::size_t i = 0; i < index.columns.size() && (nulls || !deletes); ++i) {
      const int column = table_.def().indexes[end.index].columns[i].column;
      cascade.changes.push_back(
          {index.columns[i].column, nulls ? Value::Null() : row_.NewValue(column, &old)});
    }
    cascades.push_back(std::move(cascade));
  }
  return cascades;
}

void Relationships::Run(const std::vector<Cascade>& cascades) {
  if (cascades.empty()) return;
  struct Depth {
    explicit Depth(int* at) : depth(at) { ++*depth; }
    ~Depth() { --*depth; }
    int* depth;
  } const depth(&cascade_depth_);
  if (cascade_depth_ > kMaxCascadeDepth) {
    throw Error(
        ErrorKind::kNotSupported,
        fmt::format("Too many records of table \"{}\" refer to each other in a chain.", table_.def().name));
  }
  for (const Cascade& cascade : cascades) {
    Row row;
    for (const RowId id : cascade.rows) {
      // Another cascade may have taken it already.
      if (!cascade.table->Fetch(id, &row)) continue;
      if (cascade.changes.empty()) {
        cascade.table->Delete(id);
      } else {
        cascade.table->Update(id, cascade.changes);
      }
    }
  }
}

}  // namespace jet
