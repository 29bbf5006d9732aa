// How a statement is carried out: parsed, translated, and kept for the next of its kind.

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "access/base/error.h"
#include "access/sql/narrow.h"
#include "access/sql/parser.h"
#include "access/sql/session_impl.h"

namespace jet::sql {

Translator Session::Impl::TranslatorOf(std::string_view text, int parameters) {
  const auto lifted =
      std::count_if(tokens.begin(), tokens.end(), [](const Token& t) { return t.lifted >= 0; });
  return Translator(*this, text, parameters, lifted);
}

std::shared_ptr<Plan> Session::Impl::PlanOf(std::string_view statement, std::vector<Value>* lifted) {
  CheckSchema();
  Lex(statement, &tokens);
  MakeKey(statement, tokens, &key);
  for (const Token& t : tokens) {
    if (t.lifted >= 0) lifted->push_back(ConstantValue(statement, t));
  }
  std::shared_ptr<Plan> plan = plans.Find(key);
  if (plan) return plan;
  try {
    plan = MakePlan(statement);
  } catch (...) {
    const auto unused = std::make_shared<Plan>();
    unused->connection = connection;
    GiveOtherFilesTo(unused.get());
    throw;
  }
  GiveOtherFilesTo(plan.get());
  if (plan->keep && !plan->definition) plans.Add(key, plan);
  return plan;
}

// Other files stay open as long as the plan that reads them; the next statement opens them anew.
void Session::Impl::GiveOtherFilesTo(Plan* plan) {
  if (files.empty()) return;
  std::erase_if(declared, [&](const auto& d) {
    if (d.second->database == nullptr) return false;
    plan->other_tables.push_back(d.second);
    return true;
  });
  files.clear();
}

std::shared_ptr<Plan> Session::Impl::MakePlan(std::string_view statement) {
  std::unique_ptr<Statement> s;
  if (tokens.size() == 2 &&
      (tokens[0].kind == TokenKind::kName || tokens[0].kind == TokenKind::kBracketName)) {
    // A table's name alone stands for all its rows.
    s = std::make_unique<Statement>();
    s->select = std::make_unique<Select>();
    SelectItem all;
    all.star = true;
    s->select->items.push_back(std::move(all));
    auto ref = std::make_unique<TableRef>();
    ref->name = std::string(statement.substr(tokens[0].offset, tokens[0].length));
    if (ref->name[0] == '[') ref->name = ref->name.substr(1, ref->name.size() - 2);
    s->select->from.push_back(std::move(ref));
  } else {
    s = Parse(statement, tokens);
    NarrowSubqueries(*database, s.get());
  }
  auto plan = std::make_shared<Plan>();
  plan->connection = connection;
  plan->kind = s->kind;
  plan->parameters = s->parameters;
  other_files = false;
  switch (s->kind) {
    case StatementKind::kSelect:
    case StatementKind::kSelectInto:
      PlanQuery(*s, statement, plan.get());
      plan->new_table = s->select->into;
      break;
    case StatementKind::kUpdate:
    case StatementKind::kDelete:
      PlanChange(*s, statement, plan.get());
      if (s->kind == StatementKind::kDelete && plan->candidates)
        PlanAlternatives(s.get(), statement, plan.get());
      break;
    case StatementKind::kInsertValues:
    case StatementKind::kInsertSelect:
      PlanInsert(*s, statement, plan.get());
      break;
    default:
      plan->definition = std::move(s);
      return plan;
  }
  plan->keep = !other_files;
  return plan;
}

// The catalog keeps these; a change past it would cut tables off from their names and rights.
void Session::Impl::RequireNoSystemTable(const Table& table) {
  if (!table.def().system) return;
  throw Error(ErrorKind::kInvalid,
              fmt::format("'{}' is a system table; its rows cannot be changed.", table.def().name));
}

void Session::Impl::PlanChange(const Statement& s, std::string_view text, Plan* plan) {
  Translator translator = TranslatorOf(text, s.parameters);
  UpdateTranslation u = s.kind == StatementKind::kUpdate ? translator.Update(s) : translator.Delete(s);
  plan->sql = std::move(u.source.sql);
  plan->tables = std::move(u.source.tables);
  plan->update_targets = std::move(u.targets);
  plan->update_columns = std::move(u.columns);
  plan->joined = s.select->from.size() != 1 || s.select->from[0]->kind == TableRef::kJoin;
  // Decimals arrive as exact text.
  plan->columns.resize(plan->update_targets.size());
  for (const UpdateColumn& c : plan->update_columns) {
    OutputColumn column;
    column.type = c.source_type;
    plan->columns.push_back(std::move(column));
  }
  if (other_files) throw Error(ErrorKind::kNotSupported, "Tables of another file cannot be changed.");
  for (const UpdateTarget& target : plan->update_targets) RequireNoSystemTable(*target.table);
  if (!plan->joined && s.select->where && plan->MentionsTargetOnce()) {
    if (auto filter = RowFilter::Make(*s.select->where, *plan->update_targets[0].table)) {
      plan->candidates = std::make_unique<CandidateRows>(std::move(filter));
    }
  }
}

namespace {

// Takes "a OR b OR c" apart.
void TakeAlternatives(ExprPtr e, std::vector<ExprPtr>* alternatives) {
  if (e->kind != ExprKind::kLogic || e->op != Op::kOr) {
    alternatives->push_back(std::move(e));
    return;
  }
  for (ExprPtr& arg : e->args) TakeAlternatives(std::move(arg), alternatives);
}

ExprPtr JoinAlternatives(std::vector<ExprPtr> alternatives) {
  ExprPtr joined;
  for (ExprPtr& e : alternatives) {
    if (!joined) {
      joined = std::move(e);
      continue;
    }
    auto both = std::make_unique<Expr>();
    both->kind = ExprKind::kLogic;
    both->op = Op::kOr;
    both->args.push_back(std::move(joined));
    both->args.push_back(std::move(e));
    joined = std::move(both);
  }
  return joined;
}

}  // namespace

// "DELETE FROM t WHERE a = 'x' OR b = 'y' AND c IN (SELECT ...)": as one search it walks all candidates for
// every notice; taken apart, the first part finds its rows once and the second one by its index.
void Session::Impl::PlanAlternatives(Statement* s, std::string_view text, Plan* plan) {
  const Table& table = *plan->update_targets[0].table;
  std::vector<ExprPtr> all, texts, others;
  TakeAlternatives(std::move(s->select->where), &all);
  for (ExprPtr& e : all) (RowFilter::Decides(*e, table) ? texts : others).push_back(std::move(e));
  if (texts.empty() || others.empty()) return;
  std::vector<ExprPtr> parts;
  parts.push_back(JoinAlternatives(std::move(texts)));
  for (ExprPtr& e : others) parts.push_back(std::move(e));
  for (ExprPtr& e : parts) {
    s->select->where = std::move(e);
    auto part = std::make_shared<Plan>();
    part->connection = connection;
    part->kind = s->kind;
    part->parameters = s->parameters;
    PlanChange(*s, text, part.get());
    plan->alternatives.push_back(std::move(part));
  }
}

void Session::Impl::PlanQuery(const Statement& s, std::string_view text, Plan* plan) {
  Translator translator = TranslatorOf(text, s.parameters);
  Translation t = translator.Query(*s.select, s.kind == StatementKind::kSelect);
  plan->sql = std::move(t.sql);
  plan->columns = std::move(t.columns);
  plan->base_table = std::move(t.base_table);
  plan->tables = std::move(t.tables);
  for (const OutputColumn& c : plan->columns) {
    ResultColumn r;
    r.name = c.name;
    if (c.table) {
      r.table = c.table->TableName();
      r.column = c.table->ColumnName(c.column);
      if (plan->base_table && BaseTable(c) == plan->base_table.get()) r.position = c.column;
      r.type = c.table->TypeOfColumn(c.column);
    } else if (c.type == Type::kDate) {
      r.type = ColumnType::kDateTime;
    } else if (c.type == Type::kBoolean) {
      r.type = ColumnType::kBoolean;
    }
    plan->result_columns.push_back(std::move(r));
  }
}

}  // namespace jet::sql
