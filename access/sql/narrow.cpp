#include "access/sql/narrow.h"

#include <memory>
#include <utility>
#include <vector>

#include "access/sql/column_filter.h"
#include "access/store/names.h"

namespace jet::sql {
namespace {

// The only table of a query; null when there is another, or what it reads is no table of the database.
std::shared_ptr<Table> OnlyTable(Database& database, const Select& select) {
  if (select.from.size() != 1 || select.from[0]->kind != TableRef::kTable || !select.in_file.empty())
    return {};
  return database.FindTable(select.from[0]->name);
}

// The position of a column of whole numbers in the query's only table, or -1.
int WholeColumn(const Expr& e, const Select& select, const Table& table) {
  if (e.kind != ExprKind::kColumn) return -1;
  const TableRef& from = *select.from[0];
  if (!e.table.empty() && !SameName(e.table, from.alias.empty() ? from.name : from.alias)) return -1;
  const int column = table.def().FindColumn(e.name);
  if (column < 0 || ClassOf(table.def().columns[column].type) != ColumnClass::kWhole) return -1;
  return column;
}

// Whether the query gives the rows of one table that its WHERE clause lets through, neither fewer nor others.
bool GivesPlainRows(const Select& select) {
  return !select.top && select.unions.empty() && !select.nested && select.group_by.empty() &&
         !select.having && select.items.size() == 1 && select.items[0].expr != nullptr;
}

void TakeConjuncts(Expr& e, std::vector<Expr*>* conjuncts) {
  if (e.kind != ExprKind::kLogic || e.op != Op::kAnd) {
    conjuncts->push_back(&e);
    return;
  }
  for (const ExprPtr& arg : e.args) TakeConjuncts(*arg, conjuncts);
}

// The value that a column must have; null when `e` is no such comparison.
const Expr* KnownValue(const Expr& e, int column, const Select& select, const Table& table) {
  if (e.kind != ExprKind::kCompare || e.op != Op::kEqual) return nullptr;
  for (const int side : {0, 1}) {
    const Expr& value = *e.args[1 - side];
    if (value.kind != ExprKind::kConstant && value.kind != ExprKind::kParameter) continue;
    if (WholeColumn(*e.args[side], select, table) == column) return &value;
  }
  return nullptr;
}

// Of a column or a value, which has no parts.
ExprPtr CopyOfLeaf(const Expr& e) {
  auto copy = std::make_unique<Expr>();
  copy->kind = e.kind;
  copy->is_date = e.is_date;
  copy->lifted = e.lifted;
  copy->number = e.number;
  copy->offset = e.offset;
  copy->table = e.table;
  copy->name = e.name;
  copy->value = e.value;
  return copy;
}

ExprPtr Operation(ExprKind kind, Op op, ExprPtr left, ExprPtr right) {
  auto e = std::make_unique<Expr>();
  e->kind = kind;
  e->op = op;
  e->offset = left->offset;
  e->args.push_back(std::move(left));
  e->args.push_back(std::move(right));
  return e;
}

class Narrowing {
 public:
  explicit Narrowing(Database& database) : database_(database) {}

  void Visit(Select& select) {
    // From without to within: what a subquery is told it may pass on.
    NarrowWhere(select);
    for (const SelectItem& item : select.items) Visit(item.expr.get());
    for (const TableRefPtr& from : select.from) Visit(*from);
    Visit(select.where.get());
    for (const ExprPtr& e : select.group_by) Visit(e.get());
    Visit(select.having.get());
    for (const OrderTerm& term : select.order_by) Visit(term.expr.get());
    for (const Select::Member& member : select.unions) Visit(*member.select);
    if (select.nested) Visit(*select.nested);
  }

  void Visit(Expr* e) {
    if (e == nullptr) return;
    for (const ExprPtr& arg : e->args) Visit(arg.get());
    if (e->select) Visit(*e->select);
  }

 private:
  void Visit(TableRef& ref) {
    if (ref.select) Visit(*ref.select);
    if (ref.left) Visit(*ref.left);
    if (ref.right) Visit(*ref.right);
    Visit(ref.on.get());
  }

  void NarrowWhere(Select& select) {
    if (!select.where || select.where->kind != ExprKind::kLogic) return;
    const std::shared_ptr<Table> table = OnlyTable(database_, select);
    if (!table) return;
    std::vector<Expr*> conjuncts;
    TakeConjuncts(*select.where, &conjuncts);
    for (Expr* e : conjuncts) {
      if (e->kind != ExprKind::kInSelect || e->negated || !GivesPlainRows(*e->select)) continue;
      const int column = WholeColumn(*e->args[0], select, *table);
      if (column < 0) continue;
      for (const Expr* other : conjuncts) {
        const Expr* value = KnownValue(*other, column, select, *table);
        if (value == nullptr) continue;
        Add(*value, e->select.get());
        break;
      }
    }
  }

  void Add(const Expr& value, Select* subquery) {
    const std::shared_ptr<Table> table = OnlyTable(database_, *subquery);
    const Expr& item = *subquery->items[0].expr;
    if (!table || WholeColumn(item, *subquery, *table) < 0) return;
    ExprPtr known = Operation(ExprKind::kCompare, Op::kEqual, CopyOfLeaf(item), CopyOfLeaf(value));
    subquery->where =
        subquery->where ? Operation(ExprKind::kLogic, Op::kAnd, std::move(subquery->where), std::move(known))
                        : std::move(known);
  }

  Database& database_;
};

}  // namespace

void NarrowSubqueries(Database& database, Statement* statement) {
  Narrowing narrowing(database);
  if (statement->select) narrowing.Visit(*statement->select);
  for (const Assignment& a : statement->assignments) narrowing.Visit(a.expr.get());
}

}  // namespace jet::sql
