// What stands between the words and values of a statement: tokens, nodes of expressions and planned searches
// name it by these.
#pragma once

#include <cstdint>

namespace jet::sql {

enum class Op : std::uint8_t {
  kNone,
  // Punctuation: tokens only.
  kOpen,
  kClose,
  kComma,
  kDot,
  kBang,
  kSemicolon,
  // Arithmetic. kPlus joins texts, too; the star of SELECT * is kTimes.
  kPlus,
  kMinus,
  kTimes,
  kDivide,
  kIntDivide,  // a backslash
  kMod,
  kPower,
  kConcat,  // &
  // Comparisons.
  kEqual,
  kNotEqual,
  kLess,
  kLessEqual,
  kGreater,
  kGreaterEqual,
  // Logic.
  kAnd,
  kOr,
  kXor,
  kEqv,
  kImp,
  // Searches only.
  kIsNull,
  kIsNotNull,
  kPassesAll,  // tested already
};

inline bool IsComparison(Op op) { return op >= Op::kEqual && op <= Op::kGreaterEqual; }
// > and >=.
inline bool IsGreater(Op op) { return op == Op::kGreater || op == Op::kGreaterEqual; }
// < and <=.
inline bool IsLess(Op op) { return op == Op::kLess || op == Op::kLessEqual; }

}  // namespace jet::sql
