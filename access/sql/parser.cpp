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
  return tokens_[std::min(position_ + static_cast<std::size_t>(ahead), tokens_.size() - 1)];
}

bool Parser::TakeWord(std::string_view word) {
  if (!IsWordAt(word)) return false;
  Take();
  return true;
}

bool Parser::TakeOp(char op) {
  if (!IsOp(op)) return false;
  Take();
  return true;
}

void Parser::ExpectWord(std::string_view word) {
  if (!TakeWord(word)) Fail();
}

void Parser::ExpectOp(char op) {
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
  if (!IsOp('(')) return ParseSelectCore();
  Depth depth(*this);
  auto wrapper = std::make_unique<Select>();
  wrapper->offset = Take().offset;
  wrapper->nested = ParseQuery();
  ExpectOp(')');
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
    } while (TakeOp(','));
  }
  if (TakeWord("HAVING")) select->having = ParseExpression();
  return select;
}

void Parser::ParseItems(Select* select) {
  do {
    SelectItem item;
    item.offset = Peek().offset;
    if (TakeOp('*')) {
      item.star = true;
    } else if (IsName() && (IsOp('.', 1) || IsOp('!', 1)) && IsOp('*', 2)) {
      item.star = true;
      item.star_table = TakeName();
      Take();
      Take();
    } else {
      item.expr = ParseExpression();
      item.alias = TakeAlias();
    }
    select->items.push_back(std::move(item));
  } while (TakeOp(','));
}

void Parser::ParseFrom(Select* select) {
  do {
    select->from.push_back(ParseJoin());
  } while (TakeOp(','));
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
  if (IsOp('(')) {
    if (IsWordAt("SELECT", 1)) {
      Take();
      ref->kind = TableRef::kSelect;
      ref->select = ParseQuery();
      ExpectOp(')');
      ref->alias = TakeAlias();
      return ref;
    }
    Take();
    TableRefPtr inner = ParseJoin();
    ExpectOp(')');
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
  } while (TakeOp(','));
}

// ---- statements

std::unique_ptr<Statement> Parser::ParseStatement() {
  auto s = std::make_unique<Statement>();
  if (IsWordAt("SELECT") || IsOp('(')) {
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
  TakeOp(';');
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
    ExpectOp('=');
    a.expr = ParseExpression();
    s->assignments.push_back(std::move(a));
  } while (TakeOp(','));
  if (TakeWord("WHERE")) s->select->where = ParseExpression();
}

void Parser::ParseDelete(Statement* s) {
  s->kind = StatementKind::kDelete;
  TakeWord("DISTINCTROW");
  if (!TakeOp('*') && IsName()) {
    s->table_offset = Peek().offset;
    s->table = TakeName();
    ExpectOp('.');
    ExpectOp('*');
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
  if (IsOp('(') && !IsWordAt("SELECT", 1)) {
    Take();
    do {
      const std::size_t offset = Peek().offset;
      std::string name = TakeName();
      if (TakeOp('.')) name = TakeName();  // INSERT INTO t (t.a, ...)
      s->columns.emplace_back(std::move(name), offset);
    } while (TakeOp(','));
    ExpectOp(')');
  }
  if (TakeWord("VALUES")) {
    s->kind = StatementKind::kInsertValues;
    ExpectOp('(');
    do {
      s->values.push_back(ParseExpression());
    } while (TakeOp(','));
    ExpectOp(')');
    return;
  }
  s->kind = StatementKind::kInsertSelect;
  s->select = ParseQuery();
  if (!s->select->into.empty()) ThrowSyntax(text_, s->select->into_offset, "INTO has no place");
}

void Parser::ParseCreate(Statement* s) {
  const bool unique = TakeWord("UNIQUE");
  if (!unique && TakeWord("TABLE")) {
    ParseCreateTable(s);
  } else if (TakeWord("INDEX")) {
    ParseCreateIndex(s, unique);
  } else {
    for (const char* word : {"VIEW", "PROCEDURE", "PROC", "USER", "GROUP"}) {
      if (!unique && IsWordAt(word)) {
        throw Error(ErrorKind::kNotSupported, std::string("CREATE ") + word + " is not supported.");
      }
    }
    Fail();
  }
}

void Parser::ParseCreateTable(Statement* s) {
  s->kind = StatementKind::kCreateTable;
  s->table_offset = Peek().offset;
  s->table = TakeName();
  ExpectOp('(');
  do {
    if (!ParseConstraint(s, nullptr)) ParseColumnDefinition(s);
  } while (TakeOp(','));
  ExpectOp(')');
}

std::vector<std::pair<std::string, bool>> Parser::ParseIndexColumns() {
  std::vector<std::pair<std::string, bool>> columns;
  ExpectOp('(');
  do {
    std::string name = TakeName();
    const bool descending = TakeWord("DESC");
    if (!descending) TakeWord("ASC");
    columns.emplace_back(std::move(name), descending);
  } while (TakeOp(','));
  ExpectOp(')');
  return columns;
}

// [CONSTRAINT name] PRIMARY KEY | UNIQUE, of a column (then `column` names it) or of the table.
bool Parser::ParseConstraint(Statement* s, const std::string* column) {
  NewIndex index;
  const bool named = IsWordAt("CONSTRAINT") && IsName(1);
  if (named) {
    Take();
    index.name = TakeName();
  }
  const std::size_t offset = Peek().offset;
  if (IsWordAt("PRIMARY") && IsWordAt("KEY", 1)) {
    Take();
    Take();
    index.primary = index.unique = index.required = true;
    if (index.name.empty()) index.name = "PrimaryKey";
  } else if (IsWordAt("UNIQUE") && (column != nullptr || IsOp('(', 1) || named)) {
    Take();
    index.unique = true;
  } else if (IsWordAt("REFERENCES") || IsWordAt("CHECK") || (IsWordAt("FOREIGN") && IsWordAt("KEY", 1))) {
    throw Error(ErrorKind::kNotSupported, "Relationships and checks are not supported in table definitions.");
  } else {
    if (named) ThrowSyntax(text_, offset, Peek().length);
    return false;
  }
  if (column != nullptr) {
    index.columns.emplace_back(*column, false);
  } else {
    index.columns = ParseIndexColumns();
  }
  if (index.name.empty()) index.name = "Index_" + index.columns.front().first;
  s->new_indexes.push_back(std::move(index));
  return true;
}

int Parser::ParseSize() {
  const Token& t = Peek();
  if (t.kind != TokenKind::kNumber) Fail();
  const Value v = ConstantValue(text_, Take());
  if (v.kind() != ValueKind::kInteger || v.integer() < 0 || v.integer() > 65535) {
    ThrowSyntax(text_, t.offset, t.length);
  }
  return static_cast<int>(v.integer());
}

void Parser::ParseType(NewColumn* c) {
  struct TypeWord {
    const char* word;
    ColumnType type;
    int default_size = 0;
    bool fixed = false;
    bool auto_number = false;
  };
  static constexpr TypeWord kTypes[] = {
      {"LONG", ColumnType::kLong},
      {"INTEGER", ColumnType::kLong},
      {"INT", ColumnType::kLong},
      {"INTEGER4", ColumnType::kLong},
      {"COUNTER", ColumnType::kLong, 0, false, true},
      {"AUTOINCREMENT", ColumnType::kLong, 0, false, true},
      {"IDENTITY", ColumnType::kLong, 0, false, true},
      {"SHORT", ColumnType::kInteger},
      {"SMALLINT", ColumnType::kInteger},
      {"INTEGER2", ColumnType::kInteger},
      {"BYTE", ColumnType::kByte},
      {"TINYINT", ColumnType::kByte},
      {"INTEGER1", ColumnType::kByte},
      {"SINGLE", ColumnType::kSingle},
      {"REAL", ColumnType::kSingle},
      {"FLOAT4", ColumnType::kSingle},
      {"IEEESINGLE", ColumnType::kSingle},
      {"DOUBLE", ColumnType::kDouble},
      {"FLOAT", ColumnType::kDouble},
      {"FLOAT8", ColumnType::kDouble},
      {"NUMBER", ColumnType::kDouble},
      {"IEEEDOUBLE", ColumnType::kDouble},
      {"CURRENCY", ColumnType::kCurrency},
      {"MONEY", ColumnType::kCurrency},
      {"DECIMAL", ColumnType::kDecimal},
      {"DEC", ColumnType::kDecimal},
      {"NUMERIC", ColumnType::kDecimal},
      {"BIT", ColumnType::kBoolean},
      {"YESNO", ColumnType::kBoolean},
      {"LOGICAL", ColumnType::kBoolean},
      {"LOGICAL1", ColumnType::kBoolean},
      {"BOOLEAN", ColumnType::kBoolean},
      {"DATETIME", ColumnType::kDateTime},
      {"DATE", ColumnType::kDateTime},
      {"TIME", ColumnType::kDateTime},
      {"TIMESTAMP", ColumnType::kDateTime},
      {"TEXT", ColumnType::kText, 255},
      {"VARCHAR", ColumnType::kText, 255},
      {"STRING", ColumnType::kText, 255},
      {"ALPHANUMERIC", ColumnType::kText, 255},
      {"NVARCHAR", ColumnType::kText, 255},
      {"CHAR", ColumnType::kText, 255, true},
      {"CHARACTER", ColumnType::kText, 255, true},
      {"NCHAR", ColumnType::kText, 255, true},
      {"MEMO", ColumnType::kMemo},
      {"LONGTEXT", ColumnType::kMemo},
      {"LONGCHAR", ColumnType::kMemo},
      {"NOTE", ColumnType::kMemo},
      {"NTEXT", ColumnType::kMemo},
      {"OLEOBJECT", ColumnType::kOle},
      {"LONGBINARY", ColumnType::kOle},
      {"GENERAL", ColumnType::kOle},
      {"IMAGE", ColumnType::kOle},
      {"BINARY", ColumnType::kBinary, 255, true},
      {"VARBINARY", ColumnType::kBinary, 255},
      {"GUID", ColumnType::kGuid},
      {"UNIQUEIDENTIFIER", ColumnType::kGuid},
      {"BIGINT", ColumnType::kBigInt},
  };
  const Token& t = Peek();
  const auto* found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                   [&](const TypeWord& w) { return IsWord(text_, t, w.word); });
  if (found == std::end(kTypes)) Fail();
  Take();
  c->type = found->type;
  c->auto_number = found->auto_number;
  c->fixed_length = found->fixed;
  c->characters = static_cast<std::uint16_t>(found->default_size);
  if (c->type == ColumnType::kDouble) TakeWord("PRECISION");
  const bool sized = c->type == ColumnType::kText || c->type == ColumnType::kBinary;
  if (!IsOp('(')) return;
  const std::size_t offset = Take().offset;
  const int first = ParseSize();
  const int second = TakeOp(',') ? ParseSize() : -1;
  ExpectOp(')');
  if (sized && second < 0) {
    if (c->type == ColumnType::kText && first > 255) {  // as Access does: too long for Text is Memo
      c->type = ColumnType::kMemo;
      c->fixed_length = false;
    } else if (first < 1 || first > 510) {
      ThrowSyntax(text_, offset, "The size must be between 1 and 255,");
    }
    c->characters = static_cast<std::uint16_t>(first);
  } else if (c->type == ColumnType::kDecimal) {
    if (first < 1 || first > 28 || second > first)
      ThrowSyntax(text_, offset, "A decimal has 1 to 28 digits,");
    c->precision = static_cast<std::uint8_t>(first);
    c->scale = static_cast<std::uint8_t>(std::max(second, 0));
  } else if (c->auto_number && first == 1 && (second < 0 || second == 1)) {
    // COUNTER(1, 1) is what COUNTER is.
  } else if (!(c->type == ColumnType::kMemo && second < 0)) {
    ThrowSyntax(text_, offset, "This type takes no such size");
  }
}

void Parser::ParseColumnDefinition(Statement* s) {
  NewColumn c;
  // A column may carry any word as its name; what follows must be a type.
  const Token& name = Peek();
  if (name.kind != TokenKind::kName && !IsName()) Fail();
  c.name = TextOf(Take());
  ParseType(&c);
  while (true) {
    if (IsWordAt("NOT") && IsWordAt("NULL", 1)) {
      Take();
      Take();
      c.required = true;
    } else if (TakeWord("DEFAULT")) {
      TakeOp('=');
      const std::size_t start = Peek().offset;
      ParseExpression();
      const Token& last = tokens_[position_ - 1];
      c.default_value = std::string(text_.substr(start, last.offset + last.length - start));
    } else if (TakeWord("NULL")) {
      c.required = false;
    } else if (IsWordAt("WITH") && (IsWordAt("COMPRESSION", 1) || IsWordAt("COMP", 1))) {
      Take();
      Take();
    } else if (!ParseConstraint(s, &c.name)) {
      break;
    }
  }
  s->new_columns.push_back(std::move(c));
}

void Parser::ParseCreateIndex(Statement* s, bool unique) {
  s->kind = StatementKind::kCreateIndex;
  NewIndex index;
  index.unique = unique;
  index.name = TakeName();
  ExpectWord("ON");
  s->table_offset = Peek().offset;
  s->table = TakeName();
  index.columns = ParseIndexColumns();
  if (TakeWord("WITH")) {
    do {
      if (TakeWord("PRIMARY")) {
        index.primary = index.unique = index.required = true;
      } else if (TakeWord("DISALLOW")) {
        ExpectWord("NULL");
        index.required = true;
      } else {
        ExpectWord("IGNORE");
        ExpectWord("NULL");
        index.ignore_nulls = true;
      }
    } while (TakeOp(','));
  }
  s->new_indexes.push_back(std::move(index));
}

void Parser::ParseDrop(Statement* s) {
  if (TakeWord("TABLE")) {
    s->kind = StatementKind::kDropTable;
    s->table_offset = Peek().offset;
    s->table = TakeName();
  } else if (TakeWord("INDEX")) {
    s->kind = StatementKind::kDropIndex;
    s->object = TakeName();
    ExpectWord("ON");
    s->table_offset = Peek().offset;
    s->table = TakeName();
  } else {
    for (const char* word : {"VIEW", "PROCEDURE", "USER", "GROUP"}) {
      if (IsWordAt(word))
        throw Error(ErrorKind::kNotSupported, std::string("DROP ") + word + " is not supported.");
    }
    Fail();
  }
}

void Parser::ParseAlter(Statement* s) {
  ExpectWord("TABLE");
  s->table_offset = Peek().offset;
  s->table = TakeName();
  if (TakeWord("ADD")) {
    if (ParseConstraint(s, nullptr)) {
      s->kind = StatementKind::kAddIndex;
      return;
    }
    s->kind = StatementKind::kAddColumn;
    TakeWord("COLUMN");
    ParseColumnDefinition(s);
  } else if (IsWordAt("DROP") && IsWordAt("CONSTRAINT", 1)) {
    Take();
    Take();
    s->kind = StatementKind::kDropIndex;
    s->object = TakeName();
  } else if (IsWordAt("ALTER") || IsWordAt("DROP")) {
    throw Error(ErrorKind::kNotSupported, "Columns can be added to a table, but not changed or dropped.");
  } else {
    Fail();
  }
}

}  // namespace jet::sql
