// Enforced relationships: what a row refers to exists, and what rows refer to stays.
//
// The definitions of both tables hold an end of the relationship: a logical index of the foreign kind, which
// names an index of its own table and the other end. The columns of both indexes correspond by position. A
// relationship without such ends is drawn only, not enforced. As in Access, a row with a Null among its
// referring columns refers to nothing.
//
// Everything is tested row by row before the row is written. Rows that cascade are changed after it, so that
// they find the new key.
#include <fmt/format.h>

#include <algorithm>

#include "access/store/table_impl.h"
#include "access/store/value_convert.h"

namespace jet {
namespace {

// Chains of cascades that are longer are refused: each takes room on the stack.
constexpr int kMaxCascadeDepth = 100;

}  // namespace

StoredTableImpl& StoredTableImpl::PartnerOf(const Relationship& end, const Relationship** other) const {
  StoredTable* found = end.partner_table == layout_.tdef_page ? const_cast<StoredTableImpl*>(this)
                       : context_.tables != nullptr           ? context_.tables->TableAt(end.partner_table)
                                                              : nullptr;
  if (found != nullptr) {
    auto& partner = static_cast<StoredTableImpl&>(*found);
    for (const Relationship& r : partner.layout_.relationships) {
      if (static_cast<std::int32_t>(r.number) != end.partner_number || r.referenced == end.referenced)
        continue;
      const auto& own = def_.indexes[end.index];
      const auto& others = partner.def_.indexes[r.index];
      if (own.columns.size() != others.columns.size() || !others.supported) break;
      *other = &r;
      return partner;
    }
  }
  throw Error(ErrorKind::kCorrupt,
              fmt::format("The relationship \"{}\" of table \"{}\" leads to no index of another table.",
                          end.name, def_.name),
              layout_.tdef_page);
}

template <typename Get>
bool StoredTableImpl::RelatedValues(const Relationship& end, Get get, std::vector<Value>* values) const {
  values->clear();
  for (const IndexColumn& c : def_.indexes[end.index].columns) {
    values->push_back(get(c.column));
    if (values->back().is_null()) return false;
  }
  return true;
}

bool StoredTableImpl::HoldsKey(int index, const std::vector<Value>& values) {
  std::string key;
  try {
    key = MakeKey(index, values);
  } catch (const Error& error) {
    if (error.is_environment()) throw;
    return false;  // a value that the column cannot hold
  }
  return tree(index).Contains(key);
}

void StoredTableImpl::RequireParents(const RowView* old) {
  std::vector<Value> values;
  for (const Relationship& end : layout_.relationships) {
    if (end.referenced) continue;
    const auto changes_key = [&](const KeyChange& k) {
      return static_cast<std::uint32_t>(k.index) == end.index && k.has_new;
    };
    const auto last = key_changes_.begin() + key_change_count_;
    if (std::none_of(key_changes_.begin(), last, changes_key)) continue;
    const auto get = [&](int column) { return NewValue(column, old); };
    if (!RelatedValues(end, get, &values)) continue;
    const Relationship* other = nullptr;
    StoredTableImpl& parent = PartnerOf(end, &other);
    const int parent_index = other->index;
    if (parent.HoldsKey(parent_index, values)) continue;
    std::vector<Value> own_key;
    // A row may refer to itself.
    if (&parent == this && RelatedValues(*other, get, &own_key) &&
        MakeKey(parent_index, own_key) == MakeKey(parent_index, values)) {
      continue;
    }
    std::string key;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const IndexColumn& c = parent.def_.indexes[other->index].columns[i];
      if (!key.empty()) key += ", ";
      key += fmt::format("{} = {}", parent.def_.columns[c.column].name, DescribeValue(values[i]));
    }
    throw Error(ErrorKind::kConstraint,
                fmt::format("A record of table \"{}\" would refer to a record of table \"{}\" that does not "
                            "exist ({}; relationship \"{}\").",
                            def_.name, parent.def_.name, key, end.name));
  }
}

std::vector<StoredTableImpl::Cascade> StoredTableImpl::RequireNoChildren(RowId id, const RowView& old,
                                                                         bool deletes) {
  std::vector<Cascade> cascades;
  std::vector<Value> values;
  for (const Relationship& end : layout_.relationships) {
    if (!end.referenced) continue;
    const auto changes_key = [&](const KeyChange& k) {
      return static_cast<std::uint32_t>(k.index) == end.index && k.has_old;
    };
    const auto last = key_changes_.begin() + key_change_count_;
    if (std::none_of(key_changes_.begin(), last, changes_key)) continue;
    if (!RelatedValues(
            end, [&](int column) { return OldValue(column, old); }, &values))
      continue;
    const Relationship* other = nullptr;
    StoredTableImpl& child = PartnerOf(end, &other);
    const int child_index = other->index;
    if (!child.HoldsKey(child_index, values)) continue;
    const IndexDef& index = child.def_.indexes[other->index];

    Cascade cascade;
    cascade.table = &child;
    const std::string key = child.MakeKey(child_index, values);
    IndexCursor cursor(child, child_index, {key, false, key, false});
    for (RowId row; cursor.Next(&row);) {
      // A row that refers to itself goes with itself.
      if (&child == this && row == id) {
        if (deletes) continue;
        const auto get = [&](int column) { return NewValue(column, &old); };
        std::vector<Value> referring, referred;
        if (!RelatedValues(*other, get, &referring) ||
            (RelatedValues(end, get, &referred) &&
             child.MakeKey(child_index, referring) == child.MakeKey(child_index, referred))) {
          continue;
        }
      }
      cascade.rows.push_back(row);
    }
    if (cascade.rows.empty()) continue;
    const bool nulls = deletes && !end.cascades_deletes && end.sets_null;
    if (deletes ? !end.cascades_deletes && !nulls : !end.cascades_updates) {
      throw Error(
          ErrorKind::kConstraint,
          fmt::format("A record of table \"{}\" cannot be {}, because records of table \"{}\" refer to "
                      "it (relationship \"{}\").",
                      def_.name, deletes ? "deleted" : "given another key", child.def_.name, other->name));
    }
    for (std::size_t i = 0; i < index.columns.size() && (nulls || !deletes); ++i) {
      const int column = def_.indexes[end.index].columns[i].column;
      cascade.changes.push_back({index.columns[i].column, nulls ? Value::Null() : NewValue(column, &old)});
    }
    cascades.push_back(std::move(cascade));
  }
  return cascades;
}

void StoredTableImpl::RunCascades(const std::vector<Cascade>& cascades) {
  if (cascades.empty()) return;
  struct Depth {
    explicit Depth(int* at) : depth(at) { ++*depth; }
    ~Depth() { --*depth; }
    int* depth;
  } const depth(&cascade_depth_);
  if (cascade_depth_ > kMaxCascadeDepth) {
    throw Error(ErrorKind::kNotSupported,
                fmt::format("Too many records of table \"{}\" refer to each other in a chain.", def_.name));
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
