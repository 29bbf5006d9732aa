#include "access/sql/parser.h"

#include <algorithm>
#include <array>

#include "access/base/error.h"
#include "access/base/text.h"

namespace jet::sql {
namespace {

// Words that cannot be names without brackets, nor aliases without AS. Access reserves many more but takes
// them as names wherever it can; real tables have columns such as "comment" and "date".
constexpr std::array kReserved = {
    "SELECT", "FROM",   "WHERE",  "GROUP",  "HAVING",   "ORDER", "UNION", "INNER", "LEFT",
    "RIGHT",  "JOIN",   "ON",     "SET",    "IN",       "INTO",  "AS",    "AND",   "OR",
    "NOT",    "XOR",    "EQV",    "IMP",    "BETWEEN",  "LIKE",  "IS",    "NULL",  "VALUES",
    "MOD",    "INSERT", "UPDATE", "DELETE", "DISTINCT", "ASC",   "DESC",  "WITH",  "EXISTS"};

}  // namespace

std::unique_ptr<Statement> Parse(std::string_view statement, const std::vector<Token>& tokens) {
  return Parser(statement, tokens).ParseStatement();
}

const Token& Parser::Peek(int ahead) const {
  return tokens_[std::min(position_ + ahead, tokens_.size() - 1)];
}

bool Parser::TakeWord(std::string_view word) {
  if (!IsWordAt(word)) return false;
  Take();
  return true;
}

bool Parser::TakeOp(Op op) {
  if (!IsOp(op)) return false;
  Take();
  return true;
}

void Parser::ExpectWord(std::string_view word) {
  if (!TakeWord(word)) Fail();
}

void Parser::ExpectOp(Op op) {
  if (!TakeOp(op)) Fail();
}

void Parser::Fail() const { ThrowSyntax(text_, Peek().offset, Peek().length); }

void Parser::TooComplex() const { ThrowSyntax(text_, Peek().offset, "The statement is nested too deeply"); }

std::string Parser::TextOf(const Token& token) const {
  std::string_view text = text_.substr(token.offset, token.length);
  if (token.kind == TokenKind::kBracketName) {
    text = text.substr(1, text.size() - 2);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  }
  return std::string(text);
}

bool Parser::IsReserved(const Token& token) const {
  if (token.length > 8) return false;
  return std::any_of(kReserved.begin(), kReserved.end(),
                     [&](const char* w) { return IsWord(text_, token, w); });
}

bool Parser::IsName(int ahead) const {
  const Token& t = Peek(ahead);
  if (t.kind == TokenKind::kBracketName) return t.length > 2;
  return t.kind == TokenKind::kName && !IsReserved(t);
}

std::string Parser::TakeName() {
  if (!IsName()) Fail();
  return TextOf(Take());
}

// [AS] name, or nothing.
std::string Parser::TakeAlias() {
  if (TakeWord("AS")) {
    const Token& t = Peek();
    if (t.kind != TokenKind::kName && t.kind != TokenKind::kBracketName) Fail();
    return TextOf(Take());
  }
  return IsName() ? TextOf(Take()) : std::string();
}

// ---- queries

SelectPtr Parser::ParseQuery() {
  Depth depth(*this);
  SelectPtr first = ParseMember();
  while (TakeWord("UNION")) {
    // ORDER BY and TOP of a member in parentheses are its own: it becomes a nested query.
    if (first->unions.empty() && !first->order_by.empty()) Fail();
    Select::Member member;
    member.all = TakeWord("ALL");
    member.select = ParseMember();
    first->unions.push_back(std::move(member));
  }
  ParseOrderBy(first.get());
  return first;
}

SelectPtr Parser::ParseMember() {
  if (!IsOp(Op::kOpen)) return ParseSelectCore();
  Depth depth(*this);
  auto wrapper = std::make_unique<Select>();
  wrapper->offset = Take().offset;
  wrapper->nested = ParseQuery();
  ExpectOp(Op::kClose);
  return wrapper;
}

SelectPtr Parser::ParseSelectCore() {
  auto select = std::make_unique<Select>();
  select->offset = Peek().offset;
  ExpectWord("SELECT");
  while (true) {
    if (TakeWord("DISTINCT")) {
      select->distinct = true;
    } else if (IsWordAt("TOP") && Peek(1).kind == TokenKind::kNumber) {
      Take();
      const Value n = ConstantValue(text_, Take());
      select->top = n.kind() == ValueKind::kInteger   ? static_cast<double>(n.integer())
                    : n.kind() == ValueKind::kDecimal ? n.decimal().ToDouble()
                                                      : n.real();
      select->top_percent = TakeWord("PERCENT");
    } else if (TakeWord("DISTINCTROW")) {
      select->distinct_row = true;
    } else if (!TakeWord("ALL")) {
      break;
    }
  }
  ParseItems(select.get());
  if (TakeWord("INTO")) {
    select->into_offset = Peek().offset;
    select->into = TakeName();
  }
  if (TakeWord("FROM")) ParseFrom(select.get());
  if (TakeWord("WHERE")) select->where = ParseExpression();
  if (TakeWord("GROUP")) {
    ExpectWord("BY");
    do {
      select->group_by.push_back(ParseExpression());
    } while (TakeOp(Op::kComma));
  }
  if (TakeWord("HAVING")) select->having = ParseExpression();
  return select;
}

void Parser::ParseItems(Select* select) {
  do {
    SelectItem item;
    item.offset = Peek().offset;
    if (TakeOp(Op::kTimes)) {
      item.star = true;
    } else if (IsName() && (IsOp(Op::kDot, 1) || IsOp(Op::kBang, 1)) && IsOp(Op::kTimes, 2)) {
      item.star = true;
      item.star_table = TakeName();
      Take();
      Take();
    } else {
      item.expr = ParseExpression();
      item.alias = TakeAlias();
    }
    select->items.push_back(std::move(item));
  } while (TakeOp(Op::kComma));
}

void Parser::ParseFrom(Select* select) {
  do {
    select->from.push_back(ParseJoin());
  } while (TakeOp(Op::kComma));
  if (IsWordAt("IN") && Peek(1).kind == TokenKind::kText) {
    Take();
    select->in_file = ConstantValue(text_, Take()).bytes();
  }
}

TableRefPtr Parser::ParseJoin() {
  Depth depth(*this);
  TableRefPtr left = ParseTablePrimary();
  for (int chain = 0;; ++chain) {
    if (chain > 60) TooComplex();
    TableRef::Join join = TableRef::kInner;
    if (IsWordAt("LEFT") || IsWordAt("RIGHT")) {
      join = TakeWord("LEFT") ? TableRef::kLeft : (Take(), TableRef::kRight);
      TakeWord("OUTER");
      ExpectWord("JOIN");
    } else if (TakeWord("INNER")) {
      ExpectWord("JOIN");
    } else if (!TakeWord("JOIN")) {
      return left;
    }
    auto node = std::make_unique<TableRef>();
    node->kind = TableRef::kJoin;
    node->join = join;
    node->offset = left->offset;
    node->left = std::move(left);
    node->right = ParseTablePrimary();
    // "a INNER JOIN b INNER JOIN c ON ... ON ...": the inner join comes first.
    if (!IsWordAt("ON") && (IsWordAt("INNER") || IsWordAt("LEFT") || IsWordAt("RIGHT"))) Fail();
    ExpectWord("ON");
    node->on = ParseExpression();
    left = std::move(node);
  }
}

TableRefPtr Parser::ParseTablePrimary() {
  auto ref = std::make_unique<TableRef>();
  ref->offset = Peek().offset;
  if (IsOp(Op::kOpen)) {
    if (IsWordAt("SELECT", 1)) {
      Take();
      ref->kind = TableRef::kSelect;
      ref->select = ParseQuery();
      ExpectOp(Op::kClose);
      ref->alias = TakeAlias();
      return ref;
    }
    Take();
    TableRefPtr inner = ParseJoin();
    ExpectOp(Op::kClose);
    return inner;
  }
  ref->name = TakeName();
  ref->alias = TakeAlias();
  return ref;
}

void Parser::ParseOrderBy(Select* select) {
  if (!IsWordAt("ORDER")) return;
  Take();
  ExpectWord("BY");
  do {
    OrderTerm term;
    term.expr = ParseExpression();
    term.descending = TakeWord("DESC");
    if (!term.descending) TakeWord("ASC");
    select->order_by.push_back(std::move(term));
  } while (TakeOp(Op::kComma));
}

// ---- statements

std::unique_ptr<Statement> Parser::ParseStatement() {
  auto s = std::make_unique<Statement>();
  if (IsWordAt("SELECT") || IsOp(Op::kOpen)) {
    s->select = ParseQuery();
    s->kind = s->select->into.empty() ? StatementKind::kSelect : StatementKind::kSelectInto;
  } else if (TakeWord("UPDATE")) {
    ParseUpdate(s.get());
  } else if (TakeWord("DELETE")) {
    ParseDelete(s.get());
  } else if (TakeWord("INSERT")) {
    ParseInsert(s.get());
  } else if (TakeWord("CREATE")) {
    ParseCreate(s.get());
  } else if (TakeWord("DROP")) {
    ParseDrop(s.get());
  } else if (TakeWord("ALTER")) {
    ParseAlter(s.get());
  } else {
    for (const char* word : {"TRANSFORM", "PARAMETERS", "EXECUTE", "EXEC", "PROCEDURE", "GRANT", "REVOKE"}) {
      if (IsWordAt(word)) {
        throw Error(ErrorKind::kNotSupported, std::string(word) + " statements are not supported.");
      }
    }
    Fail();
  }
  TakeOp(Op::kSemicolon);
  if (Peek().kind != TokenKind::kEnd) Fail();
  s->parameters = parameters_;
  return s;
}

void Parser::ParseUpdate(Statement* s) {
  s->kind = StatementKind::kUpdate;
  s->select = std::make_unique<Select>();
  s->select->offset = Peek().offset;
  ParseFrom(s->select.get());
  ExpectWord("SET");
  do {
    Assignment a;
    a.offset = Peek().offset;
    ExprPtr target = ParseNamed();
    if (target->kind != ExprKind::kColumn) ThrowSyntax(text_, a.offset, Peek().offset - a.offset);
    a.table = target->table;
    a.column = target->name;
    ExpectOp(Op::kEqual);
    a.expr = ParseExpression();
    s->assignments.push_back(std::move(a));
  } while (TakeOp(Op::kComma));
  if (TakeWord("WHERE")) s->select->where = ParseExpression();
}

void Parser::ParseDelete(Statement* s) {
  s->kind = StatementKind::kDelete;
  TakeWord("DISTINCTROW");
  if (!TakeOp(Op::kTimes) && IsName()) {
    s->table_offset = Peek().offset;
    s->table = TakeName();
    ExpectOp(Op::kDot);
    ExpectOp(Op::kTimes);
  }
  ExpectWord("FROM");
  s->select = std::make_unique<Select>();
  s->select->offset = Peek().offset;
  ParseFrom(s->select.get());
  if (TakeWord("WHERE")) s->select->where = ParseExpression();
}

void Parser::ParseInsert(Statement* s) {
  ExpectWord("INTO");
  s->table_offset = Peek().offset;
  s->table = TakeName();
  if (IsOp(Op::kOpen) && !IsWordAt("SELECT", 1)) {
    Take();
    do {
      const std::size_t offset = Peek().offset;
      std::string name = TakeName();
      if (TakeOp(Op::kDot)) name = TakeName();  // INSERT INTO t (t.a, ...)
      s->columns.emplace_back(std::move(name), offset);
    } while (TakeOp(Op::kComma));
    ExpectOp(Op::kClose);
  }
  if (TakeWord("VALUES")) {
    s->kind = StatementKind::kInsertValues;
    ExpectOp(Op::kOpen);
    do {
      s->values.push_back(ParseExpression());
    } while (TakeOp(Op::kComma));
    ExpectOp(Op::kClose);
    return;
  }
  s->kind = StatementKind::kInsertSelect;
  s->select = ParseQuery();
  if (!s->select->into.empty()) ThrowSyntax(text_, s->select->into_offset, "INTO has no place");
}

}  // namespace jet::sql
