#include "access/sql/lexer.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "access/base/error.h"
#include "access/base/text.h"
#include "access/sql/dates.h"

namespace jet::sql {
namespace {

constexpr int kMaxLifted = 4000;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsNameStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || !IsAscii(c);
}
bool IsNamePart(char c) { return IsNameStart(c) || IsDigit(c) || c == '$'; }
bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }

std::size_t NumberEnd(std::string_view s, std::size_t i) {
  while (i < s.size() && IsDigit(s[i])) ++i;
  if (i < s.size() && s[i] == '.') {
    ++i;
    while (i < s.size() && IsDigit(s[i])) ++i;
  }
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    std::size_t k = i + 1;
    if (k < s.size() && (s[k] == '+' || s[k] == '-')) ++k;
    if (k < s.size() && IsDigit(s[k])) {
      while (k < s.size() && IsDigit(s[k])) ++k;
      i = k;
    }
  }
  return i;
}

// End of a text that begins at i with its quote; doubled quotes stand for themselves.
std::size_t TextEnd(std::string_view s, std::size_t i) {
  const char quote = s[i];
  for (std::size_t k = i + 1; k < s.size(); ++k) {
    if (s[k] != quote) continue;
    if (k + 1 < s.size() && s[k + 1] == quote) {
      ++k;
      continue;
    }
    return k + 1;
  }
  ThrowSyntax(s, i, "The text that is not closed begins");
}

// kNone for a character that means nothing.
Op OperatorAt(std::string_view s, std::size_t i, std::size_t* length) {
  const char next = i + 1 < s.size() ? s[i + 1] : '\0';
  const auto with_next = [&](Op op) {
    *length = 2;
    return op;
  };
  *length = 1;
  switch (s[i]) {
    case '<':
      return next == '=' ? with_next(Op::kLessEqual) : next == '>' ? with_next(Op::kNotEqual) : Op::kLess;
    case '>':
      return next == '=' ? with_next(Op::kGreaterEqual) : Op::kGreater;
    case '=':
      return Op::kEqual;
    case ',':
      return Op::kComma;
    case '.':
      return Op::kDot;
    case '(':
      return Op::kOpen;
    case ')':
      return Op::kClose;
    case ';':
      return Op::kSemicolon;
    case '+':
      return Op::kPlus;
    case '-':
      return Op::kMinus;
    case '*':
      return Op::kTimes;
    case '/':
      return Op::kDivide;
    case '\\':
      return Op::kIntDivide;
    case '^':
      return Op::kPower;
    case '&':
      return Op::kConcat;
    case '!':
      return Op::kBang;
    default:
      return Op::kNone;
  }
}

// Decides which constants are lifted while tokens come in.
class Lifter {
 public:
  Lifter(std::string_view statement, std::vector<Token>* tokens) : statement_(statement), tokens_(*tokens) {}

  void Added() {
    Token& t = tokens_.back();
    if (t.kind == TokenKind::kOperator) {
      if (values_ && t.op == Op::kOpen) ++depth_;
      if (values_ && t.op == Op::kClose && --depth_ == 0) values_ = false;
    } else if (t.kind == TokenKind::kName) {
      if (t.length == 6 && IsWord(statement_, t, "VALUES")) values_ = true, depth_ = 0;
      if (tokens_.size() == 1)
        keeps_texts_ = IsWord(statement_, t, "UPDATE") || IsWord(statement_, t, "DELETE");
    } else if ((t.kind == TokenKind::kNumber || t.kind == TokenKind::kText || t.kind == TokenKind::kDate) &&
               count_ < kMaxLifted && !(keeps_texts_ && t.kind == TokenKind::kText) && AtPlace()) {
      t.lifted = count_++;
    }
  }

 private:
  bool AtPlace() const {
    if (tokens_.size() < 2) return false;
    const Token* before = &tokens_[tokens_.size() - 2];
    if (before->op == Op::kMinus && tokens_.size() >= 3) --before;
    if (IsComparison(before->op)) return true;
    return values_ && depth_ == 1 && (before->op == Op::kOpen || before->op == Op::kComma);
  }

  std::string_view statement_;
  std::vector<Token>& tokens_;
  bool values_ = false;
  bool keeps_texts_ = false;
  int depth_ = 0;
  int count_ = 0;
};

}  // namespace

void Lex(std::string_view s, std::vector<Token>* tokens) {
  tokens->clear();
  if (s.size() > (1u << 20))
    throw Error(ErrorKind::kInvalid, "The statement is longer than 1 MB.", Error::kNoPlace, 0);
  Lifter lifter(s, tokens);
  std::size_t i = 0;
  while (true) {
    while (i < s.size() && IsBlank(s[i])) ++i;
    Token t;
    t.offset = i;
    if (i == s.size()) {
      tokens->push_back(t);
      return;
    }
    const char c = s[i];
    std::size_t end = i + 1;
    if (IsNameStart(c)) {
      t.kind = TokenKind::kName;
      while (end < s.size() && IsNamePart(s[end])) ++end;
    } else if (IsDigit(c) || (c == '.' && end < s.size() && IsDigit(s[end]))) {
      t.kind = TokenKind::kNumber;
      end = NumberEnd(s, i);
    } else if (c == '\'' || c == '"') {
      t.kind = TokenKind::kText;
      end = TextEnd(s, i);
    } else if (c == '[') {
      t.kind = TokenKind::kBracketName;
      end = s.find(']', i);
      if (end == std::string_view::npos) ThrowSyntax(s, i, "The name that is not closed begins");
      ++end;
    } else if (c == '#') {
      t.kind = TokenKind::kDate;
      end = s.find('#', i + 1);
      if (end == std::string_view::npos) ThrowSyntax(s, i, "The date that is not closed begins");
      ++end;
    } else if (c == '?') {
      t.kind = TokenKind::kParameter;
    } else {
      std::size_t length = 1;
      t.kind = TokenKind::kOperator;
      t.op = OperatorAt(s, i, &length);
      if (t.op == Op::kNone) ThrowSyntax(s, i, 1);
      end = i + length;
    }
    t.length = end - i;
    tokens->push_back(t);
    lifter.Added();
    i = end;
  }
}

void MakeKey(std::string_view statement, const std::vector<Token>& tokens, std::string* key) {
  key->clear();
  key->reserve(statement.size());
  for (const Token& t : tokens) {
    if (t.lifted >= 0) {
      // Text, dates and numbers get different marks: what a plan may assume differs.
      key->push_back(t.kind == TokenKind::kNumber ? '\x01' : t.kind == TokenKind::kText ? '\x02' : '\x03');
    } else {
      key->append(statement.substr(t.offset, t.length));
      key->push_back(' ');
    }
  }
}

Value ConstantValue(std::string_view statement, const Token& token) {
  const std::string_view text = statement.substr(token.offset, token.length);
  if (token.kind == TokenKind::kText) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 1; i + 1 < text.size(); ++i) {
      out.push_back(text[i]);
      if (text[i] == text[0]) ++i;
    }
    return Value::Text(std::move(out));
  }
  if (token.kind == TokenKind::kDate) {
    double date = 0;
    if (!ParseDate(text.substr(1, text.size() - 2), &date)) {
      ThrowSyntax(statement, token.offset, "'" + std::string(text) + "' is no date,");
    }
    return Value::Real(date);
  }
  std::int64_t integer = 0;
  const auto whole = std::from_chars(text.data(), text.data() + text.size(), integer);
  if (whole.ec == std::errc() && whole.ptr == text.data() + text.size()) return Value::Integer(integer);
  // More digits than a double holds: a decimal, as in Access.
  const auto digits = std::count_if(text.begin(), text.end(), IsDigit);
  Decimal decimal;
  if (digits > 15 && text.find_first_of("eE") == std::string_view::npos &&
      Decimal::FromText(text, &decimal)) {
    return Value::Dec(decimal);
  }
  double real = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), real);
  if (result.ec != std::errc()) {
    ThrowSyntax(statement, token.offset, "The number '" + std::string(text) + "' is out of range");
  }
  return Value::Real(real);
}

bool IsWord(std::string_view statement, const Token& token, std::string_view word) {
  if (token.kind != TokenKind::kName || token.length != word.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    char c = statement[token.offset + i];
    if (c >= 'a' && c <= 'z') c = c - 32;
    if (c != word[i]) return false;
  }
  return true;
}

namespace {
std::size_t CharacterNumber(std::string_view statement, std::size_t offset) {
  return Utf16Length(statement.substr(0, offset)) + 1;
}
}  // namespace

void ThrowSyntax(std::string_view statement, std::size_t offset, const std::string& sentence) {
  throw Error(ErrorKind::kInvalid,
              fmt::format("{} at character {}.", sentence, CharacterNumber(statement, offset)),
              Error::kNoPlace, offset);
}

void ThrowSyntax(std::string_view statement, std::size_t offset, std::size_t length) {
  if (offset >= statement.size())
    ThrowSyntax(statement, offset, "Syntax error: the statement ends too early,");
  // Whole characters only.
  std::size_t end = std::min(offset + std::min<std::size_t>(length, 60), statement.size());
  while (end < statement.size() && (statement[end] & 0xC0) == 0x80) ++end;
  ThrowSyntax(statement, offset,
              "Syntax error near '" + std::string(statement.substr(offset, end - offset)) + "'");
}

}  // namespace jet::sql
