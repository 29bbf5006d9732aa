// CREATE, DROP and ALTER.

#include <algorithm>

#include "access/base/error.h"
#include "access/sql/parser.h"

namespace jet::sql {
namespace {

struct TypeWord {
  const char* word;
  ColumnType type;
  int default_size = 0;
  bool fixed = false;
  bool auto_number = false;
};

constexpr TypeWord kTypes[] = {
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

}  // namespace

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
  ExpectOp(Op::kOpen);
  do {
    if (!ParseConstraint(s, nullptr)) ParseColumnDefinition(s);
  } while (TakeOp(Op::kComma));
  ExpectOp(Op::kClose);
}

std::vector<std::pair<std::string, bool>> Parser::ParseIndexColumns() {
  std::vector<std::pair<std::string, bool>> columns;
  ExpectOp(Op::kOpen);
  do {
    std::string name = TakeName();
    const bool descending = TakeWord("DESC");
    if (!descending) TakeWord("ASC");
    columns.emplace_back(std::move(name), descending);
  } while (TakeOp(Op::kComma));
  ExpectOp(Op::kClose);
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
  } else if (IsWordAt("UNIQUE") && (column != nullptr || IsOp(Op::kOpen, 1) || named)) {
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
  return v.integer();
}

void Parser::ParseType(NewColumn* c) {
  const Token& t = Peek();
  const auto* found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                   [&](const TypeWord& w) { return IsWord(text_, t, w.word); });
  if (found == std::end(kTypes)) Fail();
  Take();
  c->type = found->type;
  c->auto_number = found->auto_number;
  c->fixed_length = found->fixed;
  c->characters = found->default_size;
  if (c->type == ColumnType::kDouble) TakeWord("PRECISION");
  const bool sized = c->type == ColumnType::kText || c->type == ColumnType::kBinary;
  if (!IsOp(Op::kOpen)) return;
  const std::size_t offset = Take().offset;
  const int first = ParseSize();
  const int second = TakeOp(Op::kComma) ? ParseSize() : -1;
  ExpectOp(Op::kClose);
  if (sized && second < 0) {
    if (c->type == ColumnType::kText && first > 255) {  // as Access does: too long for Text is Memo
      c->type = ColumnType::kMemo;
      c->fixed_length = false;
    } else if (first < 1 || first > 510) {
      ThrowSyntax(text_, offset, "The size must be between 1 and 255,");
    }
    c->characters = first;
  } else if (c->type == ColumnType::kDecimal) {
    if (first < 1 || first > 28 || second > first)
      ThrowSyntax(text_, offset, "A decimal has 1 to 28 digits,");
    c->precision = first;
    c->scale = std::max(second, 0);
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
      TakeOp(Op::kEqual);
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
    } while (TakeOp(Op::kComma));
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
