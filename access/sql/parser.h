// Parses one statement of Access SQL.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "access/sql/ast.h"
#include "access/sql/lexer.h"

namespace jet::sql {

// Errors: kInvalid with the byte offset, kNotSupported for statements Access has and this engine has not.
std::unique_ptr<Statement> Parse(std::string_view statement, const std::vector<Token>& tokens);

class Parser {
 public:
  Parser(std::string_view text, const std::vector<Token>& tokens) : text_(text), tokens_(tokens) {}

  std::unique_ptr<Statement> ParseStatement();
  // A lone expression, up to the end.
  ExprPtr ParseWholeExpression();

 private:
  // Tokens.
  const Token& Peek(int ahead = 0) const;
  const Token& Take() { return tokens_[position_ < tokens_.size() - 1 ? position_++ : position_]; }
  bool IsWordAt(std::string_view word, int ahead = 0) const { return IsWord(text_, Peek(ahead), word); }
  bool IsOp(Op op, int ahead = 0) const {
    return Peek(ahead).kind == TokenKind::kOperator && Peek(ahead).op == op;
  }
  bool TakeWord(std::string_view word);
  bool TakeOp(Op op);
  void ExpectWord(std::string_view word);
  void ExpectOp(Op op);
  [[noreturn]] void Fail() const;
  std::string TextOf(const Token& token) const;
  bool IsName(int ahead = 0) const;
  bool IsReserved(const Token& token) const;
  std::string TakeName();
  std::string TakeAlias();

  // Queries.
  SelectPtr ParseQuery();
  SelectPtr ParseMember();
  SelectPtr ParseSelectCore();
  void ParseItems(Select* select);
  void ParseFrom(Select* select);
  TableRefPtr ParseJoin();
  TableRefPtr ParseTablePrimary();
  void ParseOrderBy(Select* select);

  // Statements.
  void ParseUpdate(Statement* s);
  void ParseDelete(Statement* s);
  void ParseInsert(Statement* s);
  void ParseCreate(Statement* s);
  void ParseCreateTable(Statement* s);
  void ParseCreateIndex(Statement* s, bool unique);
  void ParseDrop(Statement* s);
  void ParseAlter(Statement* s);
  void ParseColumnDefinition(Statement* s);
  void ParseType(NewColumn* column);
  bool ParseConstraint(Statement* s, const std::string* column);
  int ParseSize();
  std::vector<std::pair<std::string, bool>> ParseIndexColumns();

  // Expressions (parser_expression.cpp).
  ExprPtr ParseExpression(int minimum = 0);
  ExprPtr ParsePrimary();
  ExprPtr ParseConstant();
  ExprPtr ParseNamed();
  ExprPtr ParseFunction(std::string name, std::size_t offset);
  ExprPtr ParseSuffix(ExprPtr left, bool negated);
  ExprPtr Make(ExprKind kind, std::size_t offset) const;

  // Guards against statements nested so deeply that they would exhaust the stack.
  struct Depth {
    explicit Depth(Parser& parser) : p(parser) {
      if (++p.depth_ > 100) p.TooComplex();
    }
    ~Depth() { --p.depth_; }
    Parser& p;
  };
  [[noreturn]] void TooComplex() const;

  std::string_view text_;
  const std::vector<Token>& tokens_;
  std::size_t position_ = 0;
  int depth_ = 0;
  int parameters_ = 0;
};

}  // namespace jet::sql
