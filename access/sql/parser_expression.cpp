// Expressions of Access SQL, by precedence climbing. From weak to strong: IMP, EQV, XOR, OR, AND, NOT,
// comparisons (with LIKE, IN, BETWEEN, IS), &, + and -, MOD, \, * and /, sign, ^.

#include <utility>

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
  ExprKind kind = ExprKind::kArithmetic;
};

BinaryOperator OperatorOf(Op op) {
  switch (op) {
    case Op::kConcat:
      return {kConcatLevel};
    case Op::kPlus:
    case Op::kMinus:
      return {kAddLevel};
    case Op::kMod:
      return {kModLevel};
    case Op::kIntDivide:
      return {kIntegerDivideLevel};
    case Op::kTimes:
    case Op::kDivide:
      return {kMultiplyLevel};
    case Op::kPower:
      return {kPowerLevel};
    case Op::kAnd:
      return {kAndLevel, ExprKind::kLogic};
    case Op::kOr:
      return {kOrLevel, ExprKind::kLogic};
    case Op::kXor:
      return {kXorLevel, ExprKind::kLogic};
    case Op::kEqv:
      return {kEqvLevel, ExprKind::kLogic};
    case Op::kImp:
      return {kImpLevel, ExprKind::kLogic};
    default:
      return {IsComparison(op) ? kCompareLevel : 0, ExprKind::kCompare};
  }
}

constexpr std::pair<const char*, Op> kWordOperators[] = {{"AND", Op::kAnd}, {"OR", Op::kOr},
                                                         {"XOR", Op::kXor}, {"EQV", Op::kEqv},
                                                         {"IMP", Op::kImp}, {"MOD", Op::kMod}};

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
  } else if (IsOp(Op::kMinus) || IsOp(Op::kPlus)) {
    const bool minus = Take().op == Op::kMinus;
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
    Op op = t.op;
    if (t.kind == TokenKind::kName) {
      for (const auto& [word, named] : kWordOperators) {
        if (IsWordAt(word)) op = named;
      }
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
    const BinaryOperator o = OperatorOf(op);
    if (o.level == 0 || o.level <= minimum) return left;
    Take();
    ExprPtr e = Make(o.kind, t.offset);
    e->op = op;
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
    ExpectOp(Op::kOpen);
    e = Make(ExprKind::kInList, offset);
    e->args.push_back(std::move(left));
    if (IsWordAt("SELECT") || IsOp(Op::kOpen)) {
      const std::size_t mark = position_;
      const int parameters = parameters_;
      int ahead = 0;
      while (IsOp(Op::kOpen, ahead)) ++ahead;
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
      } while (TakeOp(Op::kComma));
    }
    ExpectOp(Op::kClose);
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
      if (t.op != Op::kOpen) Fail();
      int ahead = 1;
      while (IsOp(Op::kOpen, ahead)) ++ahead;
      if (IsWordAt("SELECT", ahead) && ahead == 1) {
        Take();
        ExprPtr e = Make(ExprKind::kScalar, t.offset);
        e->select = ParseQuery();
        ExpectOp(Op::kClose);
        return e;
      }
      Take();
      ExprPtr e = ParseExpression();
      ExpectOp(Op::kClose);
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
    if (IsOp(Op::kOpen, 1)) {
      if (IsWordAt("EXISTS")) {
        Take();
        Take();
        ExprPtr e = Make(ExprKind::kExists, t.offset);
        e->select = ParseQuery();
        ExpectOp(Op::kClose);
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
    if ((yes || no) && !IsOp(Op::kDot, 1) && !IsOp(Op::kBang, 1)) {
      Take();
      ExprPtr e = Make(ExprKind::kBoolean, t.offset);
      e->number = yes ? -1 : 0;
      return e;
    }
    if (TakeWord("NULL")) return Make(ExprKind::kNull, t.offset);
  }
  ExprPtr e = Make(ExprKind::kColumn, t.offset);
  e->name = TakeName();
  if (TakeOp(Op::kDot) || TakeOp(Op::kBang)) {
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
  ExpectOp(Op::kOpen);
  if (TakeOp(Op::kTimes)) {
    e->star = true;
  } else if (!IsOp(Op::kClose)) {
    do {
      e->args.push_back(ParseExpression());
    } while (TakeOp(Op::kComma));
  }
  ExpectOp(Op::kClose);
  return e;
}

}  // namespace jet::sql
