#include "access/sql/column_filter.h"

#include <new>

namespace jet::sql {
namespace {

bool Holds(Op op, int order) {
  switch (op) {
    case Op::kEqual:
      return order == 0;
    case Op::kNotEqual:
      return order != 0;
    case Op::kLess:
      return order < 0;
    case Op::kLessEqual:
      return order <= 0;
    case Op::kGreater:
      return order > 0;
    default:
      return order >= 0;
  }
}

template <typename T>
int Order(T a, T b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

}  // namespace

ColumnClass ClassOf(ColumnType type) {
  switch (TypeOf(type)) {
    case Type::kBoolean:
    case Type::kInteger:
      return ColumnClass::kWhole;
    case Type::kReal:
    case Type::kDate:
      return ColumnClass::kReal;
    case Type::kDecimal:
      return ColumnClass::kDecimal;
    case Type::kText:
      return ColumnClass::kText;
    default:
      return ColumnClass::kBlob;
  }
}

bool TakeValue(const PlannedValue& p, ColumnClass column_class, sqlite3_value* value, Filter* f) {
  f->op = p.op;
  f->column = p.column;
  f->column_class = column_class;
  f->kind = ValueKind::kNull;
  if (p.op == Op::kIsNull || p.op == Op::kIsNotNull) return true;
  int type = sqlite3_value_type(value);
  if (type == SQLITE_NULL) return false;
  if (column_class != ColumnClass::kText && type == SQLITE_TEXT) type = sqlite3_value_numeric_type(value);
  if (type == SQLITE_BLOB) {
    f->kind = ValueKind::kBlob;
  } else if (column_class == ColumnClass::kText || type == SQLITE_TEXT) {
    f->kind = ValueKind::kText;
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
    if (text == nullptr) throw std::bad_alloc();
    f->text.assign(text, sqlite3_value_bytes(value));
  } else if (type == SQLITE_INTEGER) {
    f->kind = ValueKind::kInteger;
    f->integer = sqlite3_value_int64(value);
  } else {
    f->kind = ValueKind::kReal;
    f->real = sqlite3_value_double(value);
  }
  return true;
}

bool Passes(const Filter& f, const Row& row, std::string* buffer) {
  if (f.op == Op::kPassesAll) return true;
  if (f.op == Op::kIsNull) return row.IsNull(f.column);
  if (f.op == Op::kIsNotNull) return !row.IsNull(f.column);
  const bool number = f.kind == ValueKind::kInteger || f.kind == ValueKind::kReal;
  // Text and blobs come after numbers.
  if (!number && f.column_class != ColumnClass::kText && f.column_class != ColumnClass::kBlob) {
    return !row.IsNull(f.column) && Holds(f.op, -1);
  }
  switch (f.column_class) {
    case ColumnClass::kWhole: {
      std::int64_t v = 0;
      if (!row.ReadInteger(f.column, &v)) return false;
      return Holds(f.op, f.kind == ValueKind::kInteger ? Order(v, f.integer) : CompareIntegerReal(v, f.real));
    }
    case ColumnClass::kReal: {
      double v = 0;
      if (!row.ReadReal(f.column, &v)) return false;
      return Holds(f.op, f.kind == ValueKind::kReal ? Order(v, f.real) : -CompareIntegerReal(f.integer, v));
    }
    case ColumnClass::kDecimal: {
      const Value decimal = row.Get(f.column);
      if (decimal.is_null()) return false;
      const double v = decimal.decimal().ToDouble();
      return Holds(f.op, f.kind == ValueKind::kReal ? Order(v, f.real) : -CompareIntegerReal(f.integer, v));
    }
    default: {
      if (f.kind == ValueKind::kBlob) return !row.IsNull(f.column) && Holds(f.op, -1);
      if (f.is_text_column) {
        if (!row.ReadText(f.column, buffer)) return false;
      } else {
        const Value value = row.Get(f.column);
        if (value.is_null()) return false;
        *buffer = value.bytes();
      }
      return Holds(f.op, buffer->compare(f.text));
    }
  }
}

}  // namespace jet::sql
