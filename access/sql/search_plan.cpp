// How a table is searched: the planner's side (which constraints, which index, what it costs) and the bounds
// of the index search.
//
// An index holds text by its collation, while SQL compares texts binary: equal texts have equal keys, so the
// search for a text finds all that match and perhaps more; ranges of text say nothing about ranges of keys
// and are not used. The filter in the cursor tells exactly.

#include <algorithm>
#include <cmath>
#include <limits>

#include "access/sql/virtual_table.h"

namespace jet::sql {
namespace {

bool IsWhole(ColumnType t) {
  return t == ColumnType::kByte || t == ColumnType::kInteger || t == ColumnType::kLong ||
         t == ColumnType::kBigInt || t == ColumnType::kBoolean;
}
bool IsFloating(ColumnType t) {
  return t == ColumnType::kSingle || t == ColumnType::kDouble || t == ColumnType::kDateTime;
}

// Decimals and currency are left out: their double may stand for several values of the column.
bool IsSearchable(ColumnType t) { return IsWhole(t) || IsFloating(t) || t == ColumnType::kText; }

Op OperatorOf(unsigned char op) {
  switch (op) {
    case SQLITE_INDEX_CONSTRAINT_EQ:
      return Op::kEqual;
    case SQLITE_INDEX_CONSTRAINT_GT:
      return Op::kGreater;
    case SQLITE_INDEX_CONSTRAINT_GE:
      return Op::kGreaterEqual;
    case SQLITE_INDEX_CONSTRAINT_LT:
      return Op::kLess;
    case SQLITE_INDEX_CONSTRAINT_LE:
      return Op::kLessEqual;
    case SQLITE_INDEX_CONSTRAINT_NE:
      return Op::kNotEqual;
    case SQLITE_INDEX_CONSTRAINT_ISNULL:
      return Op::kIsNull;
    case SQLITE_INDEX_CONSTRAINT_ISNOTNULL:
      return Op::kIsNotNull;
    default:
      return Op::kNone;
  }
}

double Selectivity(Op op) {
  switch (op) {
    case Op::kEqual:
    case Op::kIsNull:
      return 0.1;
    case Op::kNotEqual:
    case Op::kIsNotNull:
      return 0.9;
    default:
      return 0.4;
  }
}

struct Usable {
  int constraint = 0;
  PlannedValue value;
  bool in = false;  // IN: SQLite asks once for each member
  bool used = false;
};

struct Candidate {
  int index = -1;
  std::vector<std::size_t> chosen;  // positions in the list of usable constraints
  bool has_in = false;
  bool range = false;
  bool single = false;  // at most one row can be found
  double rows = 0;
  double cost = 0;
};

Candidate TryIndex(DeclaredTable& declared, int number, const std::vector<Usable>& usable, double total) {
  const TableDef& def = declared.table->def();
  const IndexDef& index = def.indexes[number];
  Candidate c;
  c.index = number;
  if (!index.supported) return c;
  // Such an index leaves rows out.
  if (index.ignore_nulls && index.columns.size() > 1) return c;
  std::size_t matched = 0;
  bool nulls = false;
  for (const IndexColumn& column : index.columns) {
    const ColumnType type = def.columns[column.column].type;
    if (!IsSearchable(type)) break;
    std::size_t best = usable.size();
    for (std::size_t i = 0; i < usable.size(); ++i) {
      if (usable[i].value.column != column.column) continue;
      const Op op = usable[i].value.op;
      if (op != Op::kEqual && !(op == Op::kIsNull && !index.ignore_nulls)) continue;
      if (best == usable.size() || (usable[best].in && !usable[i].in)) best = i;
    }
    if (best < usable.size()) {
      c.chosen.push_back(best);
      c.has_in = c.has_in || usable[best].in;
      nulls = nulls || usable[best].value.op == Op::kIsNull;
      ++matched;
      continue;
    }
    if (type == ColumnType::kText) break;
    bool lower = false, upper = false;
    for (std::size_t i = 0; i < usable.size(); ++i) {
      if (usable[i].value.column != column.column || usable[i].in) continue;
      const Op op = usable[i].value.op;
      bool& side = IsGreater(op) ? lower : upper;
      if (!IsGreater(op) && !IsLess(op)) continue;
      if (side) continue;
      side = true;
      c.chosen.push_back(i);
    }
    c.range = lower || upper;
    break;
  }
  if (c.chosen.empty()) return c;
  if (index.unique && matched == index.columns.size() && !nulls) {
    c.rows = 1;
    c.single = !c.has_in;
  } else {
    c.rows = matched == 0 ? total : declared.statistics.RowsPerPrefix(*declared.table, number, matched);
    if (c.range) c.rows = std::max(1.0, c.rows * (c.chosen.size() - matched == 2 ? 0.1 : 0.35));
  }
  const double searches = c.has_in ? 25 : 1;
  c.cost = searches * (8 + 2.5 * c.rows);
  c.rows *= searches;
  return c;
}

// Whether the order of the table is asked for and nothing else.
bool AsksForRowOrder(const sqlite3_index_info& info) {
  return info.nOrderBy == 1 && info.aOrderBy[0].iColumn < 0 && info.aOrderBy[0].desc == 0;
}

// Whether walking the index gives the order that is asked for: the columns behind those searched for
// equality, and, as entries of equal keys stand in the order of their rows, the row identifier last.
bool GivesOrder(const TableDef& def, const Candidate& c, const std::vector<Usable>& usable,
                const sqlite3_index_info& info) {
  if (info.nOrderBy == 0 || c.has_in) return false;
  const auto order = [&](int i) { return info.aOrderBy[i]; };
  if (c.index < 0) return AsksForRowOrder(info);
  const IndexDef& index = def.indexes[c.index];
  std::size_t next = 0;
  while (next < index.columns.size() && next < c.chosen.size()) {
    const PlannedValue& v = usable[c.chosen[next]].value;
    if ((v.op != Op::kEqual && v.op != Op::kIsNull) || v.column != index.columns[next].column) break;
    // Equal keys of texts are not equal texts, but here that only means more rows to filter.
    ++next;
  }
  int i = 0;
  for (; i < info.nOrderBy && next < index.columns.size(); ++i, ++next) {
    const IndexColumn& column = index.columns[next];
    const ColumnType type = def.columns[column.column].type;
    if (order(i).iColumn != column.column || !(IsWhole(type) || IsFloating(type))) return false;
    if (type == ColumnType::kBoolean) return false;
    if ((order(i).desc != 0) != column.descending) return false;
  }
  if (i == info.nOrderBy) return true;
  return next == index.columns.size() && i == info.nOrderBy - 1 && order(i).iColumn < 0 && !order(i).desc;
}

}  // namespace

std::string EncodePlan(const std::vector<PlannedValue>& values) {
  std::string out;
  for (const PlannedValue& v : values) {
    out.push_back(v.members ? 'm' : v.index ? 'i' : 'f');
    out.push_back('a' + static_cast<int>(v.op));
    out.push_back('A' + v.column / 64);
    out.push_back('0' + v.column % 64);
  }
  return out;
}

std::vector<PlannedValue> DecodePlan(const char* text) {
  std::vector<PlannedValue> values;
  for (; text != nullptr && *text != '\0'; text += 4) {
    values.push_back({text[0] != 'f', text[0] == 'm', static_cast<Op>(text[1] - 'a'),
                      (text[2] - 'A') * 64 + (text[3] - '0')});
  }
  return values;
}

int PlanSearch(DeclaredTable& declared, sqlite3_index_info* info) {
  const TableDef& def = declared.table->def();
  // A plan lives on when its table grows: a small table counts as one that is not.
  constexpr double kLeastTotal = 5000;
  const double total = std::max<double>(declared.table->row_count(), kLeastTotal);
  std::vector<Usable> usable;
  for (int i = 0; i < info->nConstraint; ++i) {
    const auto& constraint = info->aConstraint[i];
    const Op op = OperatorOf(constraint.op);
    if (!constraint.usable || op == Op::kNone || constraint.iColumn < 0 ||
        constraint.iColumn >= std::ssize(def.columns)) {
      continue;
    }
    const Type type = TypeOf(def.columns[constraint.iColumn].type);
    if (type == Type::kBlob && op != Op::kIsNull && op != Op::kIsNotNull) continue;
    Usable u;
    u.constraint = i;
    u.value.op = op;
    u.value.column = constraint.iColumn;
    u.in = op == Op::kEqual && sqlite3_vtab_in(info, i, -1) != 0;
    usable.push_back(u);
  }

  double kept = 1;
  for (const Usable& u : usable) {
    if (!u.in) kept *= Selectivity(u.value.op);
  }
  Candidate best;
  best.rows = std::max(1.0, total * kept);
  best.cost = 20 + total * (0.3 + kept);
  for (std::size_t i = 0; i < def.indexes.size(); ++i) {
    Candidate c = TryIndex(declared, i, usable, total);
    if (!c.chosen.empty() && c.cost < best.cost) best = c;
  }

  // When the order of the table is asked for, the cursor brings what the index gives into that order, which
  // is possible only where it gets all members of an IN at once.
  const bool ordered = GivesOrder(def, best, usable, *info);
  const bool rows_in_order = !ordered && AsksForRowOrder(*info);
  std::vector<PlannedValue> plan;
  int argument = 0;
  const auto take = [&](Usable& u, bool index) {
    u.used = true;
    u.value.index = index;
    u.value.members = u.in && rows_in_order;
    if (u.value.members) sqlite3_vtab_in(info, u.constraint, 1);
    plan.push_back(u.value);
    info->aConstraintUsage[u.constraint].argvIndex = ++argument;
    info->aConstraintUsage[u.constraint].omit = 1;
  };
  for (const std::size_t i : best.chosen) take(usable[i], true);
  for (Usable& u : usable) {
    // Taking an IN over as a filter would make SQLite scan the table once for each member.
    if (!u.used && !u.in) take(u, false);
  }
  info->orderByConsumed = ordered || rows_in_order ? 1 : 0;
  info->idxNum = (best.index + 1) | (rows_in_order ? kInRowOrder : 0);
  info->idxStr = sqlite3_mprintf("%s", EncodePlan(plan).c_str());
  info->needToFreeIdxStr = 1;
  info->estimatedCost = best.cost;
  info->estimatedRows = static_cast<sqlite3_int64>(std::min(best.rows, 1e12));
  // A promise, which an estimate of one row is not: SQLite leaves sorting and outer joins out for it.
  if (best.index >= 0 && best.single) info->idxFlags = SQLITE_INDEX_SCAN_UNIQUE;
  return info->idxStr != nullptr ? SQLITE_OK : SQLITE_NOMEM;
}

int CompareIntegerReal(std::int64_t a, double b) {
  if (b < -9223372036854775808.0) return 1;
  if (b >= 9223372036854775808.0) return -1;
  const auto whole = static_cast<std::int64_t>(b);
  if (a != whole) return a < whole ? -1 : 1;
  const double rest = b - static_cast<double>(whole);
  return rest > 0 ? -1 : rest < 0 ? 1 : 0;
}

// ---- bounds

namespace {

struct Limits {
  std::int64_t least, most;
};

Limits LimitsOf(ColumnType type) {
  switch (type) {
    case ColumnType::kBoolean:
      return {-1, 0};
    case ColumnType::kByte:
      return {0, 255};
    case ColumnType::kInteger:
      return {-32768, 32767};
    case ColumnType::kLong:
      return {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
    default:
      return {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()};
  }
}

enum class Fit { kValue, kNone, kAll };  // a bound, no row at all, no bound needed

// The value to search a whole-number column for.
Fit WholeBound(ColumnType type, const SearchValue& v, Value* out) {
  const Limits limits = LimitsOf(type);
  std::int64_t n = v.integer;
  const bool up = IsGreater(v.op);
  if (v.kind == ValueKind::kReal) {
    if (v.real < -9.2e18 || v.real > 9.2e18) {
      if (v.op == Op::kEqual) return Fit::kNone;
      return (v.real > 0) == up ? Fit::kNone : Fit::kAll;
    }
    const double down = std::floor(v.real);
    if (v.op == Op::kEqual && down != v.real) return Fit::kNone;
    n = static_cast<std::int64_t>(down) + (up && down != v.real ? 1 : 0);
  }
  if (n < limits.least || n > limits.most) {
    if (v.op == Op::kEqual) return Fit::kNone;
    return (n > limits.most) == up ? Fit::kNone : Fit::kAll;
  }
  *out = Value::Integer(n);
  return Fit::kValue;
}

Fit FloatingBound(ColumnType type, const SearchValue& v, Value* out) {
  double r = v.kind == ValueKind::kReal ? v.real : static_cast<double>(v.integer);
  if (v.kind == ValueKind::kInteger && CompareIntegerReal(v.integer, r) != 0 && v.op == Op::kEqual)
    return Fit::kNone;
  if (type == ColumnType::kSingle) {
    if (std::fabs(r) > std::numeric_limits<float>::max()) {
      if (v.op == Op::kEqual) return Fit::kNone;
      return (r > 0) == IsGreater(v.op) ? Fit::kNone : Fit::kAll;
    }
    const float f = static_cast<float>(r);
    if (v.op == Op::kEqual && static_cast<double>(f) != r) return Fit::kNone;
    r = f;
  }
  *out = Value::Real(r);
  return Fit::kValue;
}

}  // namespace

bool MakeBounds(const Table& table, int index, const std::vector<SearchValue>& values,
                IndexCursor::Bounds* bounds) {
  const TableDef& def = table.def();
  std::string prefix;
  std::size_t position = 0, i = 0;
  for (; i < values.size() && (values[i].op == Op::kEqual || values[i].op == Op::kIsNull); ++i, ++position) {
    const SearchValue& v = values[i];
    const ColumnType type = def.columns[v.column].type;
    const KeyColumn key = table.key_column(index, position);
    Value value;
    if (v.op == Op::kEqual) {
      const Fit fit = type == ColumnType::kText ? (value = Value::Text(std::string(v.text)), Fit::kValue)
                      : IsWhole(type)           ? WholeBound(type, v, &value)
                                                : FloatingBound(type, v, &value);
      if (fit == Fit::kNone) return false;
      if (IsFloating(type) && value.real() == 0) {
        // Zero has two keys. What stands behind in the index cannot bound the search then.
        std::string negative = prefix, positive = prefix;
        AppendKey(key, Value::Real(-0.0), &negative);
        AppendKey(key, Value::Real(0.0), &positive);
        bounds->lower = std::min(negative, positive);
        bounds->upper = std::max(negative, positive);
        return true;
      }
    }
    AppendKey(key, value, &prefix);
  }
  if (!prefix.empty()) {
    bounds->lower = prefix;
    bounds->upper = prefix;
  }
  if (i == values.size()) return true;

  // A range on the next column. Null is no part of any range.
  const int column = values[i].column;
  const ColumnType type = def.columns[column].type;
  const KeyColumn key = table.key_column(index, position);
  std::string null = prefix;
  AppendKey(key, Value::Null(), &null);
  if (key.descending) {
    bounds->upper = null;
    bounds->upper_open = true;
  } else {
    bounds->lower = null;
    bounds->lower_open = true;
  }
  for (; i < values.size(); ++i) {
    const SearchValue& v = values[i];
    Value value;
    const Fit fit = IsWhole(type) ? WholeBound(type, v, &value) : FloatingBound(type, v, &value);
    if (fit == Fit::kNone) return false;
    if (fit == Fit::kAll) continue;
    const bool lower = IsGreater(v.op) != key.descending;
    if (IsFloating(type) && value.real() == 0) {
      // Take both zeros in.
      value = Value::Real(IsGreater(v.op) ? -0.0 : 0.0);
    }
    std::string bound = prefix;
    AppendKey(key, value, &bound);
    if (lower) {
      bounds->lower = bound;
      bounds->lower_open = false;
    } else {
      bounds->upper = bound;
      bounds->upper_open = false;
    }
  }
  return true;
}

}  // namespace jet::sql
