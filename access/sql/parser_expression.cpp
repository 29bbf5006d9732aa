// Expressions of Access SQL, by precedence climbing. From weak to strong: IMP, EQV, XOR, OR, AND, NOT,
// comparisons (with LIKE, IN, BETWEEN, IS), &, + and -, MOD, \, * and /, sign, ^.

#include "access/sql/parser.h"

namespace jet::sql {
namespace {

enum Level {
  kImpLevel = 1,
  kEqvLevel,
  kXorLevel,
  kOrLevel,
  kAndLevel,
  kNotLevel,
  kCompareLevel,
  kConcatLevel,
  kAddLevel,
  kModLevel,
  kIntegerDivideLevel,
  kMultiplyLevel,
  kSignLevel,
  kPowerLevel
};

struct BinaryOperator {
  int level = 0;
  char op = 0;
  ExprKind kind = ExprKind::kArithmetic;
};

BinaryOperator OperatorOf(char op) {
  switch (op) {
    case '&':
      return {kConcatLevel, op};
    case '+':
    case '-':
      return {kAddLevel, op};
    case '\\':
      return {kIntegerDivideLevel, op};
    case '*':
    case '/':
      return {kMultiplyLevel, op};
    case '^':
      return {kPowerLevel, op};
    case '=':
    case '<':
    case '>':
    case kLessEqual:
    case kGreaterEqual:
    case kNotEqual:
      return {kCompareLevel, op, ExprKind::kCompare};
    default:
      return {};
  }
}

// Left-deep chains this long would exhaust SQLite's own limit later.
constexpr int kMaxChain = 400;

}  // namespace

ExprPtr Parser::Make(ExprKind kind, std::size_t offset) const {
  auto e = std::make_unique<Expr>();
  e->kind = kind;
  e->offset = offset;
  return e;
}

ExprPtr Parser::ParseWholeExpression() {
  ExprPtr e = ParseExpression();
  if (Peek().kind != TokenKind::kEnd) Fail();
  return e;
}

ExprPtr Parser::ParseExpression(int minimum) {
  Depth depth(*this);
  ExprPtr left;
  const std::size_t start = Peek().offset;
  if (IsWordAt("NOT")) {
    Take();
    left = Make(ExprKind::kNot, start);
    left->args.push_back(ParseExpression(kNotLevel));
  } else if (IsOp('-') || IsOp('+')) {
    const bool minus = Take().op == '-';
    ExprPtr operand = ParseExpression(kSignLevel);
    if (minus) {
      left = Make(ExprKind::kNegate, start);
      left->args.push_back(std::move(operand));
    } else {
      left = std::move(operand);
    }
  } else {
    left = ParsePrimary();
  }

  for (int chain = 0;; ++chain) {
    if (chain > kMaxChain) TooComplex();
    const Token& t = Peek();
    BinaryOperator o;
    if (t.kind == TokenKind::kOperator) {
      o = OperatorOf(t.op);
    } else if (t.kind == TokenKind::kName) {
      if (IsWordAt("AND")) o = {kAndLevel, 'A', ExprKind::kLogic};
      if (IsWordAt("OR")) o = {kOrLevel, 'O', ExprKind::kLogic};
      if (IsWordAt("XOR")) o = {kXorLevel, 'X', ExprKind::kLogic};
      if (IsWordAt("EQV")) o = {kEqvLevel, 'E', ExprKind::kLogic};
      if (IsWordAt("IMP")) o = {kImpLevel, 'I', ExprKind::kLogic};
      if (IsWordAt("MOD")) o = {kModLevel, '%'};
      const bool negated = IsWordAt("NOT");
      const int ahead = negated ? 1 : 0;
      if (IsWordAt("IS", ahead) || IsWordAt("IN", ahead) || IsWordAt("BETWEEN", ahead) ||
          IsWordAt("LIKE", ahead)) {
        if (kCompareLevel < minimum || (kCompareLevel == minimum && minimum != 0)) return left;
        if (negated) Take();
        left = ParseSuffix(std::move(left), negated);
        continue;
      }
    }
    if (o.level == 0 || o.level <= minimum) return left;
    Take();
    ExprPtr e = Make(o.kind, t.offset);
    e->op = o.op;
    e->args.push_back(std::move(left));
    // A sign binds less tightly than ^ on its left but may stand on its right: 2 ^ -1.
    e->args.push_back(ParseExpression(o.level));
    left = std::move(e);
  }
}

// What follows a value: IS [NOT] NULL, IN (...), BETWEEN a AND b, LIKE p.
ExprPtr Parser::ParseSuffix(ExprPtr left, bool negated) {
  const std::size_t offset = Peek().offset;
  ExprPtr e;
  if (TakeWord("IS")) {
    if (negated) Fail();
    const bool not_null = TakeWord("NOT");
    ExpectWord("NULL");
    e = Make(ExprKind::kIsNull, offset);
    negated = not_null;
    e->args.push_back(std::move(left));
  } else if (TakeWord("IN")) {
    ExpectOp('(');
    e = Make(ExprKind::kInList, offset);
    e->args.push_back(std::move(left));
    if (IsWordAt("SELECT") || IsOp('(')) {
      const std::size_t mark = position_;
      const int parameters = parameters_;
      int ahead = 0;
      while (IsOp('(', ahead)) ++ahead;
      if (IsWordAt("SELECT", ahead)) {
        e->kind = ExprKind::kInSelect;
        e->select = ParseQuery();
      } else {
        position_ = mark;
        parameters_ = parameters;
      }
    }
    if (e->kind == ExprKind::kInList) {
      do {
        e->args.push_back(ParseExpression());
      } while (TakeOp(','));
    }
    ExpectOp(')');
  } else if (TakeWord("BETWEEN")) {
    e = Make(ExprKind::kBetween, offset);
    e->args.push_back(std::move(left));
    e->args.push_back(ParseExpression(kCompareLevel));
    ExpectWord("AND");
    e->args.push_back(ParseExpression(kCompareLevel));
  } else {
    ExpectWord("LIKE");
    e = Make(ExprKind::kLike, offset);
    e->args.push_back(std::move(left));
    e->args.push_back(ParseExpression(kCompareLevel));
  }
  e->negated = negated;
  return e;
}

ExprPtr Parser::ParseConstant() {
  const Token& t = Take();
  ExprPtr e = Make(ExprKind::kConstant, t.offset);
  e->value = ConstantValue(text_, t);
  e->is_date = t.kind == TokenKind::kDate;
  e->lifted = t.lifted;
  return e;
}

ExprPtr Parser::ParsePrimary() {
  const Token& t = Peek();
  switch (t.kind) {
    case TokenKind::kNumber:
    case TokenKind::kText:
    case TokenKind::kDate:
      return ParseConstant();
    case TokenKind::kParameter: {
      Take();
      ExprPtr e = Make(ExprKind::kParameter, t.offset);
      e->number = parameters_++;
      return e;
    }
    case TokenKind::kOperator: {
      if (t.op != '(') Fail();
      int ahead = 1;
      while (IsOp('(', ahead)) ++ahead;
      if (IsWordAt("SELECT", ahead) && ahead == 1) {
        Take();
        ExprPtr e = Make(ExprKind::kScalar, t.offset);
        e->select = ParseQuery();
        ExpectOp(')');
        return e;
      }
      Take();
      ExprPtr e = ParseExpression();
      ExpectOp(')');
      return e;
    }
    case TokenKind::kName:
    case TokenKind::kBracketName:
      return ParseNamed();
    case TokenKind::kEnd:
      break;
  }
  Fail();
}

ExprPtr Parser::ParseNamed() {
  const Token& t = Peek();
  if (t.kind == TokenKind::kName) {
    if (IsOp('(', 1)) {
      if (IsWordAt("EXISTS")) {
        Take();
        Take();
        ExprPtr e = Make(ExprKind::kExists, t.offset);
        e->select = ParseQuery();
        ExpectOp(')');
        return e;
      }
      if (IsWordAt("ANY") || IsWordAt("ALL") || IsWordAt("SOME")) {
        throw Error(ErrorKind::kNotSupported, "Comparisons with ANY, ALL or SOME are not supported.");
      }
      // LEFT and RIGHT are words of joins and functions, ASC one of orders and a function.
      if (!IsReserved(t) || IsWordAt("LEFT") || IsWordAt("RIGHT") || IsWordAt("ASC")) {
        Take();
        return ParseFunction(TextOf(t), t.offset);
      }
    }
    const bool yes = IsWordAt("TRUE") || IsWordAt("YES"), no = IsWordAt("FALSE") || IsWordAt("NO");
    if ((yes || no) && !IsOp('.', 1) && !IsOp('!', 1)) {
      Take();
      ExprPtr e = Make(ExprKind::kBoolean, t.offset);
      e->number = yes ? -1 : 0;
      return e;
    }
    if (TakeWord("NULL")) return Make(ExprKind::kNull, t.offset);
  }
  ExprPtr e = Make(ExprKind::kColumn, t.offset);
  e->name = TakeName();
  if (TakeOp('.') || TakeOp('!')) {
    e->table = std::move(e->name);
    // Behind the dot any word is a name.
    const Token& column = Take();
    if (column.kind != TokenKind::kName && column.kind != TokenKind::kBracketName) {
      --position_;
      Fail();
    }
    e->name = TextOf(column);
  }
  return e;
}

ExprPtr Parser::ParseFunction(std::string name, std::size_t offset) {
  ExprPtr e = Make(ExprKind::kFunction, offset);
  e->name = std::move(name);
  ExpectOp('(');
  if (TakeOp('*')) {
    e->star = true;
  } else if (!IsOp(')')) {
    do {
      e->args.push_back(ParseExpression());
    } while (TakeOp(','));
  }
  ExpectOp(')');
  return e;
}

}  // namespace jet::sql
