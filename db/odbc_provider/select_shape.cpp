#include "db/odbc_provider/select_shape.h"

#include <algorithm>
#include <initializer_list>

#include "access/base/text.h"
#include "db/connection_string.h"
#include "db/value.h"

namespace vnt::db {
namespace {

struct Token {
  enum Kind { kName, kQuotedName, kText, kNumber, kMark } kind;
  std::string_view text;
  std::size_t start;
  int depth;  // of parentheses around it
};

bool IsNameChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '$' ||
         !jet::IsAscii(c);
}

std::vector<Token> Tokenize(std::string_view sql) {
  std::vector<Token> tokens;
  int depth = 0;
  for (std::size_t i = 0; i < sql.size();) {
    const char c = sql[i];
    const std::size_t start = i;
    Token::Kind kind = Token::kMark;
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
      ++i;
      continue;
    }
    if (c == '\'' || c == '"' || c == '[' || c == '`') {
      const std::size_t end = sql.find(c == '[' ? ']' : c, i + 1);
      i = end == std::string_view::npos ? sql.size() : end + 1;
      kind = c == '\'' ? Token::kText : Token::kQuotedName;
    } else if (IsNameChar(c)) {
      while (i < sql.size() && IsNameChar(sql[i])) ++i;
      kind = c >= '0' && c <= '9' ? Token::kNumber : Token::kName;
    } else {
      ++i;
      if (c == ')') --depth;
    }
    tokens.push_back({kind, sql.substr(start, i - start), start, depth});
    if (c == '(' && kind == Token::kMark) ++depth;
  }
  while (!tokens.empty() && tokens.back().text == ";") tokens.pop_back();
  return tokens;
}

bool IsWord(const Token& token, std::string_view word) {
  return token.kind == Token::kName && jet::EqualWords(token.text, word);
}

bool IsAnyWord(const Token& token, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(), [&](std::string_view word) { return IsWord(token, word); });
}

bool IsName(const Token& token) { return token.kind == Token::kName || token.kind == Token::kQuotedName; }

// Reads "name", "t.name", "*" or "t.*" with an optional alias from tokens [first, last).
bool ParseItem(const std::vector<Token>& tokens, std::size_t first, std::size_t last, SelectShape* shape) {
  if (first == last) return false;
  if (last - first >= 2 && tokens[first + 1].text == ".") first += 2;
  if (first >= last) return false;
  if (tokens[first].text == "*") {
    shape->all_columns = true;
    shape->columns.push_back("*");
    return first + 1 == last;
  }
  if (!IsName(tokens[first])) return false;
  shape->columns.push_back(std::string(tokens[first].text));
  ++first;
  if (first < last && IsWord(tokens[first], "as")) ++first;
  if (first < last && IsName(tokens[first])) ++first;
  return first == last;
}

}  // namespace

bool IsTableName(std::string_view sql) {
  const auto tokens = Tokenize(sql);
  return tokens.size() == 1 && IsName(tokens[0]);
}

bool ParseSingleTableSelect(std::string_view sql, SelectShape* shape) {
  const auto tokens = Tokenize(sql);
  if (tokens.size() < 4 || !IsWord(tokens[0], "select") ||
      IsAnyWord(tokens[1], {"distinct", "distinctrow", "all", "top"}))
    return false;
  std::size_t from = 1;
  std::size_t item = 1;
  for (; from < tokens.size(); ++from) {
    if (tokens[from].depth != 0) continue;
    const bool ends_list = IsWord(tokens[from], "from");
    if (tokens[from].text != "," && !ends_list) continue;
    if (!ParseItem(tokens, item, from, shape)) return false;
    item = from + 1;
    if (ends_list) break;
  }
  if (from + 1 >= tokens.size() || !IsName(tokens[from + 1])) return false;
  const std::size_t list_start = tokens[0].start + tokens[0].text.size();
  shape->list = Trim(sql.substr(list_start, tokens[from].start - list_start));
  shape->list_end = tokens[from - 1].start + tokens[from - 1].text.size();

  std::size_t next = from + 1;
  shape->table = tokens[next++].text;
  while (next + 1 < tokens.size() && tokens[next].text == "." && IsName(tokens[next + 1])) {
    shape->table += "." + std::string(tokens[next + 1].text);
    next += 2;
  }
  if (next < tokens.size() && IsWord(tokens[next], "as")) ++next;
  if (next < tokens.size() && IsName(tokens[next]) && !IsAnyWord(tokens[next], {"where", "order", "for"}))
    ++next;
  if (next < tokens.size() && !IsAnyWord(tokens[next], {"where", "order", "for"})) return false;
  return std::none_of(tokens.begin(), tokens.end(), [](const Token& token) {
    return token.depth == 0 && IsAnyWord(token, {"group", "having", "union", "intersect", "except", "join"});
  });
}

}  // namespace vnt::db
