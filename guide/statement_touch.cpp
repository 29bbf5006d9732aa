#include "guide/statement_touch.h"

#include <algorithm>
#include <cctype>
#include <regex>

#include "access/sql/lexer.h"
#include "access/sql/parser.h"

namespace vnt::guide {
namespace {

using jet::sql::Expr;
using jet::sql::Select;
using jet::sql::Statement;
using jet::sql::StatementKind;
using jet::sql::TableRef;

void Collect(const Select* select, std::set<std::string>& tables);

void Collect(const Expr* expr, std::set<std::string>& tables) {
  if (expr == nullptr) return;
  for (const auto& arg : expr->args) Collect(arg.get(), tables);
  Collect(expr->select.get(), tables);
}

void Collect(const TableRef* ref, std::set<std::string>& tables) {
  if (ref == nullptr) return;
  if (ref->kind == TableRef::kTable) tables.insert(LowerCase(ref->name));
  Collect(ref->select.get(), tables);
  Collect(ref->left.get(), tables);
  Collect(ref->right.get(), tables);
  Collect(ref->on.get(), tables);
}

void Collect(const Select* select, std::set<std::string>& tables) {
  if (select == nullptr) return;
  for (const auto& ref : select->from) Collect(ref.get(), tables);
  for (const auto& item : select->items) Collect(item.expr.get(), tables);
  Collect(select->where.get(), tables);
  Collect(select->having.get(), tables);
  for (const auto& member : select->unions) Collect(member.select.get(), tables);
  Collect(select->nested.get(), tables);
}

// The table that an UPDATE or DELETE over one table changes.
std::string FirstTable(const Select& source) {
  const TableRef* ref = source.from.empty() ? nullptr : source.from.front().get();
  while (ref != nullptr && ref->kind == TableRef::kJoin) ref = ref->left.get();
  return ref == nullptr ? std::string() : ref->name;
}

// The table's name may be written in any letter case.
std::optional<TableChange> ChangeOf(const Statement& statement) {
  TableChange change;
  change.table = LowerCase(statement.table);
  switch (statement.kind) {
    case StatementKind::kUpdate:
      change.kind = ChangeKind::kUpdate;
      change.table = LowerCase(statement.assignments.front().table);
      if (change.table.empty()) change.table = LowerCase(FirstTable(*statement.select));
      for (const auto& assignment : statement.assignments) change.columns.push_back(assignment.column);
      return change;
    case StatementKind::kDelete:
      change.kind = ChangeKind::kDelete;
      if (change.table.empty()) change.table = LowerCase(FirstTable(*statement.select));
      return change;
    case StatementKind::kInsertValues:
    case StatementKind::kInsertSelect:
      change.kind = ChangeKind::kInsert;
      for (const auto& [column, offset] : statement.columns) change.columns.push_back(column);
      return change;
    case StatementKind::kSelectInto:
      change.kind = ChangeKind::kMakeTable;
      change.table = LowerCase(statement.select->into);
      return change;
    case StatementKind::kDropTable:
      change.kind = ChangeKind::kDropTable;
      return change;
    default:
      return std::nullopt;
  }
}

}  // namespace

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return lower;
}

StatementTouch TouchOf(std::string_view statement) {
  static const std::regex kPlaceholder("<[A-Za-z][^<>]*>");
  const std::string text = std::regex_replace(std::string(statement), kPlaceholder, "1");
  std::vector<jet::sql::Token> tokens;
  jet::sql::Lex(text, &tokens);
  const auto parsed = jet::sql::Parse(text, tokens);
  StatementTouch touch;
  touch.change = ChangeOf(*parsed);
  Collect(parsed->select.get(), touch.read);
  return touch;
}

}  // namespace vnt::guide
