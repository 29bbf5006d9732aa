// Tokens of Access SQL.
//
// The lexer runs for every statement sent, so that statements which differ only in their constants share one
// plan: constants right after a comparison operator and constants in a VALUES list are "lifted", that is, the
// cache key holds a mark in their place and the plan takes them as parameters. Texts of UPDATE and DELETE
// stay: such statements are sent again for other numbers, and what they say of texts is known to the plan
// (row_filter.h). Tokens point into the statement.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "access/base/value.h"
#include "access/sql/operators.h"

namespace jet::sql {

enum class TokenKind : std::uint8_t {
  kEnd,
  kName,         // a word
  kBracketName,  // [name]
  kNumber,
  kText,  // 'text' or "text"
  kDate,  // #date#
  kParameter,
  kOperator
};

struct Token {
  TokenKind kind = TokenKind::kEnd;
  Op op = Op::kNone;         // kOperator
  std::int16_t lifted = -1;  // position among the lifted constants
  std::uint32_t offset = 0;
  std::uint32_t length = 0;
};

// Statement split into tokens, the last of which is kEnd. Error(kInvalid) for text that is not closed and
// characters that mean nothing.
void Lex(std::string_view statement, std::vector<Token>* tokens);

// The cache key: the statement with marks for lifted constants and without blanks around tokens.
void MakeKey(std::string_view statement, const std::vector<Token>& tokens, std::string* key);

// The value of a kNumber, kText or kDate token. Error(kInvalid) for a date that is none.
Value ConstantValue(std::string_view statement, const Token& token);

bool IsWord(std::string_view statement, const Token& token, std::string_view upper_case_word);

// Raises kInvalid: "Syntax error near 'FORM' at character 15."
[[noreturn]] void ThrowSyntax(std::string_view statement, std::size_t offset, std::size_t length);
// Raises kInvalid with another sentence; " at character 15." is appended.
[[noreturn]] void ThrowSyntax(std::string_view statement, std::size_t offset, const std::string& sentence);

}  // namespace jet::sql
