#include "access/sql/virtual_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "access/base/error.h"
#include "access/base/interruption.h"
#include "access/sql/column_filter.h"

namespace jet::sql {
namespace {

struct VirtualTable : sqlite3_vtab {
  TableHost* host = nullptr;
  std::shared_ptr<DeclaredTable> declared;
};

// Rows collected from an index, to be read in the order of the table. As long as it lives, no other row takes
// the place of one that is deleted.
class CollectedRows {
 public:
  explicit CollectedRows(Table& table) : table_(table) { table_.HoldRowIds(); }
  ~CollectedRows() { table_.ReleaseRowIds(); }
  CollectedRows(const CollectedRows&) = delete;
  CollectedRows& operator=(const CollectedRows&) = delete;

  void Add(RowId id) { ids_.push_back(id); }
  std::size_t size() const { return ids_.size(); }
  // A member of an IN may find what another found before it: text is searched by its collation.
  void Arrange() {
    if (!std::is_sorted(ids_.begin(), ids_.end())) std::sort(ids_.begin(), ids_.end());
    ids_.erase(std::unique(ids_.begin(), ids_.end()), ids_.end());
  }
  bool Next(RowId* id) {
    if (next_ == ids_.size()) return false;
    *id = ids_[next_++];
    return true;
  }

 private:
  Table& table_;
  std::vector<RowId> ids_;
  std::size_t next_ = 0;
};

struct Cursor : sqlite3_vtab_cursor {
  TableHost* host = nullptr;
  Table* table = nullptr;
  DeclaredTable* declared = nullptr;
  std::optional<TableCursor> scan;
  std::optional<IndexCursor> search;
  std::optional<CollectedRows> collected;
  CandidateRows::List candidates;
  std::size_t next_candidate = 0;
  std::vector<Filter> filters;
  std::size_t filter_count = 0;
  std::vector<std::vector<Filter>> members;  // per value of the plan: of an IN that comes at once
  std::vector<SearchValue> search_values;
  std::vector<PlannedValue> plan;
  std::string plan_copy;
  Row row;
  RowId id;
  bool at_end = true;
  bool gone = false;  // the row was deleted while the statement stood still
  std::uint64_t epoch = 0;
  std::string buffer;
};

int Fail(TableHost* host, sqlite3_vtab* vtab) {
  host->failure = std::current_exception();
  sqlite3_free(vtab->zErrMsg);
  vtab->zErrMsg = sqlite3_mprintf("table access failed");
  return SQLITE_ERROR;
}

bool PassesAll(Cursor& c) {
  for (std::size_t i = 0; i < c.filter_count; ++i) {
    if (!Passes(c.filters[i], c.row, &c.buffer)) return false;
  }
  return true;
}

// Reads the next row of whatever the cursor walks; false at the end.
bool NextRow(Cursor& c) {
  if (c.scan) return c.scan->Next(&c.row, &c.id);
  if (c.candidates) {
    while (c.next_candidate < c.candidates->size()) {
      c.id = (*c.candidates)[c.next_candidate++];
      if (c.table->Fetch(c.id, &c.row)) return true;
    }
    return false;
  }
  while (c.collected ? c.collected->Next(&c.id) : c.search->Next(&c.id)) {
    if (c.table->Fetch(c.id, &c.row)) return true;
  }
  return false;
}

void Advance(Cursor& c) {
  if (c.declared->gone) {
    throw Error(
        ErrorKind::kFailed,
        fmt::format("The table '{}' was dropped or redefined while it was being read.", c.table->def().name));
  }
  while (NextRow(c)) {
    ThrowIfInterrupted();
    if (!PassesAll(c)) continue;
    c.epoch = c.host->epoch;
    c.gone = false;
    return;
  }
  c.at_end = true;
}

// ---- module callbacks

int ConnectTable(TableHost* host, sqlite3* db, int argc, const char* const* argv, sqlite3_vtab** out,
                 char** error) {
  const auto found = argc > 3 ? host->tables.find(std::atoi(argv[3])) : host->tables.end();
  if (found == host->tables.end()) {
    *error = sqlite3_mprintf("no such table");
    return SQLITE_ERROR;
  }
  std::string sql = "CREATE TABLE x(", twins;
  const TableDef& def = found->second->table->def();
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    const char* affinity = "BLOB";
    switch (ClassOf(def.columns[i].type)) {
      case ColumnClass::kWhole:
        affinity = "INTEGER";
        break;
      case ColumnClass::kReal:
      case ColumnClass::kDecimal:
        affinity = "REAL";
        break;
      case ColumnClass::kText:
        affinity = "TEXT";
        break;
      case ColumnClass::kBlob:
        break;
    }
    sql += fmt::format("{}c{} {}", i == 0 ? "" : ", ", i, affinity);
  }
  // Every column has its twin, so that eN stands at a fixed place. What is hidden cannot be seen through the
  // parentheses of a join.
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    const bool decimal = ClassOf(def.columns[i].type) == ColumnClass::kDecimal;
    twins += fmt::format(", e{}{}", i, decimal ? "" : " HIDDEN");
  }
  sql += twins + ", r INTEGER)";
  const int rc = sqlite3_declare_vtab(db, sql.c_str());
  if (rc != SQLITE_OK) {
    *error = sqlite3_mprintf("%s", sqlite3_errmsg(db));
    return rc;
  }
  auto* vtab = new VirtualTable();
  vtab->host = host;
  vtab->declared = found->second;
  *out = vtab;
  return SQLITE_OK;
}

int Connect(sqlite3* db, void* aux, int argc, const char* const* argv, sqlite3_vtab** out, char** error) {
  auto* host = static_cast<TableHost*>(aux);
  try {
    return ConnectTable(host, db, argc, argv, out, error);
  } catch (...) {
    host->failure = std::current_exception();
    return SQLITE_ERROR;
  }
}

int Disconnect(sqlite3_vtab* vtab) {
  delete static_cast<VirtualTable*>(vtab);
  return SQLITE_OK;
}

int BestIndex(sqlite3_vtab* base, sqlite3_index_info* info) {
  auto* vtab = static_cast<VirtualTable*>(base);
  try {
    return PlanSearch(*vtab->declared, info);
  } catch (...) {
    return Fail(vtab->host, base);
  }
}

int OpenCursor(sqlite3_vtab* base, sqlite3_vtab_cursor** out) {
  auto* vtab = static_cast<VirtualTable*>(base);
  auto* c = new (std::nothrow) Cursor();
  if (c == nullptr) return SQLITE_NOMEM;
  c->host = vtab->host;
  c->declared = vtab->declared.get();
  c->table = vtab->declared->table.get();
  *out = c;
  return SQLITE_OK;
}

int CloseCursor(sqlite3_vtab_cursor* base) {
  delete static_cast<Cursor*>(base);
  return SQLITE_OK;
}

// The bounds of the index search for the values that the filters hold now; false when no row can satisfy
// them.
bool BoundsOf(Cursor& c, int index, IndexCursor::Bounds* bounds) {
  c.search_values.clear();
  for (std::size_t i = 0; i < c.plan.size(); ++i) {
    if (!c.plan[i].index) continue;
    const Filter& f = c.filters[i];
    const bool number = f.kind == ValueKind::kInteger || f.kind == ValueKind::kReal;
    const bool fits =
        f.op == Op::kIsNull || (f.column_class == ColumnClass::kText ? f.kind == ValueKind::kText : number);
    // A text among numbers: the rows before it may bound the search, the rest is left to the filter.
    if (!fits) break;
    c.search_values.push_back({f.op, f.column, f.kind, f.integer, f.real, f.text});
  }
  return MakeBounds(*c.table, index, c.search_values, bounds);
}

// Past this number of rows, walking the table is no slower than fetching them one by one, and needs no
// memory.
std::size_t MostCollected(const Table& table) {
  return std::clamp<std::size_t>(table.row_count() / 4, 1000, 1u << 20);
}

// Adds the rows that the index gives for the members of each IN from the value `at` on. False when they are
// too many; those of an IN never are, the table could not be walked for them.
bool Collect(Cursor& c, int index, std::size_t at, bool has_members) {
  while (at < c.plan.size() && !c.plan[at].members) ++at;
  if (at < c.plan.size()) {
    for (const Filter& member : c.members[at]) {
      c.filters[at] = member;
      Collect(c, index, at + 1, true);
    }
    c.filters[at].op = Op::kPassesAll;
    return true;
  }
  IndexCursor::Bounds bounds;
  if (!BoundsOf(c, index, &bounds)) return true;
  IndexCursor search(*c.table, index, std::move(bounds));
  const std::size_t most = MostCollected(*c.table);
  RowId id;
  while (search.Next(&id)) {
    // Which member a row was found for is known only here.
    if (has_members && !(c.table->Fetch(id, &c.row) && PassesAll(c))) continue;
    c.collected->Add(id);
    if (!has_members && c.collected->size() > most) return false;
  }
  return true;
}

bool TakeMembers(const PlannedValue& p, ColumnClass column_class, sqlite3_value* list, const Filter& like,
                 std::vector<Filter>* members) {
  members->clear();
  sqlite3_value* value = nullptr;
  int rc = sqlite3_vtab_in_first(list, &value);
  for (; rc == SQLITE_OK && value != nullptr; rc = sqlite3_vtab_in_next(list, &value)) {
    Filter f = like;
    if (TakeValue(p, column_class, value, &f)) members->push_back(std::move(f));
  }
  if (rc == SQLITE_NOMEM) throw Error(ErrorKind::kIo, "There is not enough memory.");
  return !members->empty();
}

bool Start(Cursor& c, int index, bool in_row_order, const char* plan_text, sqlite3_value** argv) {
  if (c.plan_copy != plan_text) {
    c.plan_copy = plan_text;
    c.plan = DecodePlan(plan_text);
    c.filters.resize(c.plan.size());
    c.members.resize(c.plan.size());
  }
  c.filter_count = 0;
  for (std::size_t i = 0; i < c.plan.size(); ++i) {
    const PlannedValue& p = c.plan[i];
    const ColumnType type = c.table->def().columns[p.column].type;
    Filter& f = c.filters[i];
    f.is_text_column = type == ColumnType::kText || type == ColumnType::kMemo;
    if (!(p.members ? TakeMembers(p, ClassOf(type), argv[i], f, &c.members[i])
                    : TakeValue(p, ClassOf(type), argv[i], &f)))
      return false;
  }
  c.filter_count = c.plan.size();
  c.declared->last_index = index;
  if (index < 0 && c.declared->candidates != nullptr) {
    c.candidates = c.declared->candidates->Of(*c.table);
    c.next_candidate = 0;
    return true;
  }
  if (index >= 0 && in_row_order) {
    c.collected.emplace(*c.table);
    if (Collect(c, index, 0, false)) {
      c.collected->Arrange();
      return true;
    }
    c.collected.reset();
    index = -1;
  }
  if (index < 0) {
    c.scan.emplace(*c.table);
    return true;
  }
  IndexCursor::Bounds bounds;
  if (!BoundsOf(c, index, &bounds)) return false;
  c.search.emplace(*c.table, index, std::move(bounds));
  return true;
}

int StartSearch(sqlite3_vtab_cursor* base, int index_number, const char* plan, int, sqlite3_value** argv) {
  auto& c = *static_cast<Cursor*>(base);
  try {
    c.scan.reset();
    c.search.reset();
    c.collected.reset();
    c.candidates.reset();
    c.at_end = false;
    const int index = (index_number & ~kInRowOrder) - 1;
    if (Start(c, index, (index_number & kInRowOrder) != 0, plan != nullptr ? plan : "", argv)) {
      Advance(c);
    } else {
      c.at_end = true;
    }
    return SQLITE_OK;
  } catch (...) {
    return Fail(c.host, base->pVtab);
  }
}

int Next(sqlite3_vtab_cursor* base) {
  auto& c = *static_cast<Cursor*>(base);
  try {
    Advance(c);
    return SQLITE_OK;
  } catch (...) {
    return Fail(c.host, base->pVtab);
  }
}

int AtEnd(sqlite3_vtab_cursor* base) { return static_cast<Cursor*>(base)->at_end ? 1 : 0; }

int ReadRowId(sqlite3_vtab_cursor* base, sqlite3_int64* id) {
  *id = static_cast<Cursor*>(base)->id.packed;
  return SQLITE_OK;
}

void ResultText(sqlite3_context* context, const std::string& text) {
  sqlite3_result_text(context, text.data(), text.size(), SQLITE_TRANSIENT);
}

int ReadColumn(sqlite3_vtab_cursor* base, sqlite3_context* context, int column) {
  auto& c = *static_cast<Cursor*>(base);
  try {
    if (c.epoch != c.host->epoch) {
      // The statement stood still meanwhile: the page may hold something else now.
      c.epoch = c.host->epoch;
      c.gone = c.declared->gone || !c.table->Fetch(c.id, &c.row);
    }
    const auto& columns = c.table->def().columns;
    const int count = columns.size();
    if (column == 2 * count) {
      if (!c.gone) sqlite3_result_int64(context, c.id.packed);
      return SQLITE_OK;
    }
    const bool exact = column >= count;
    if (exact) column -= count;
    if (c.gone) return SQLITE_OK;
    const ColumnType type = columns[column].type;
    // What is not given a result is Null.
    switch (type) {
      case ColumnType::kBoolean:
      case ColumnType::kByte:
      case ColumnType::kInteger:
      case ColumnType::kLong:
      case ColumnType::kBigInt: {
        std::int64_t v = 0;
        if (c.row.ReadInteger(column, &v)) sqlite3_result_int64(context, v);
        break;
      }
      case ColumnType::kSingle:
      case ColumnType::kDouble:
      case ColumnType::kDateTime: {
        double v = 0;
        if (c.row.ReadReal(column, &v)) sqlite3_result_double(context, v);
        break;
      }
      case ColumnType::kText:
      case ColumnType::kMemo:
        if (c.row.ReadText(column, &c.buffer)) ResultText(context, c.buffer);
        break;
      case ColumnType::kCurrency:
      case ColumnType::kDecimal: {
        const Value v = c.row.Get(column);
        if (v.is_null()) break;
        if (exact) {
          ResultText(context, v.decimal().ToText());
        } else {
          sqlite3_result_double(context, v.decimal().ToDouble());
        }
        break;
      }
      default: {
        const Value v = c.row.Get(column);
        if (v.kind() == ValueKind::kText) {
          ResultText(context, v.bytes());
        } else if (!v.is_null()) {
          sqlite3_result_blob64(context, v.bytes().data(), v.bytes().size(), SQLITE_TRANSIENT);
        }
      }
    }
    return SQLITE_OK;
  } catch (...) {
    return Fail(c.host, base->pVtab);
  }
}

const sqlite3_module& Module() {
  static const sqlite3_module module = [] {
    sqlite3_module m{};
    m.iVersion = 2;
    m.xCreate = Connect;
    m.xConnect = Connect;
    m.xBestIndex = BestIndex;
    m.xDisconnect = Disconnect;
    m.xDestroy = Disconnect;
    m.xOpen = OpenCursor;
    m.xClose = CloseCursor;
    m.xFilter = StartSearch;
    m.xNext = Next;
    m.xEof = AtEnd;
    m.xColumn = ReadColumn;
    m.xRowid = ReadRowId;
    return m;
  }();
  return module;
}

}  // namespace

void RegisterTableModule(TableHost* host) {
  if (sqlite3_create_module_v2(host->db, "access", &Module(), host, nullptr) != SQLITE_OK)
    throw std::bad_alloc();
}

void DeclareTable(TableHost* host, const DeclaredTable& table) {
  const std::string sql = fmt::format("CREATE VIRTUAL TABLE {} USING access({})", table.sql_name, table.id);
  if (sqlite3_exec(host->db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    if (host->failure) std::rethrow_exception(std::exchange(host->failure, nullptr));
    if (sqlite3_errcode(host->db) == SQLITE_NOMEM) throw std::bad_alloc();
    throw Error(ErrorKind::kFailed, fmt::format("The table '{}' cannot be declared: {}",
                                                table.table->def().name, sqlite3_errmsg(host->db)));
  }
}

}  // namespace jet::sql
