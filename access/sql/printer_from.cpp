// The FROM list: tables and saved queries get their names, and joins their order.
#include <fmt/format.h>

#include <utility>

#include "access/base/error.h"
#include "access/sql/lexer.h"
#include "access/sql/parser.h"
#include "access/sql/printer.h"

namespace jet::sql {

std::optional<std::string> Printer::QueryText(const std::string&, const std::string&) { return {}; }

void Printer::Declare(const TableRef& ref, const std::string& file, const Scope* outer, Scope* scope) {
  if (ref.kind == TableRef::kJoin) {
    Declare(*ref.left, file, outer, scope);
    Declare(*ref.right, file, outer, scope);
    return;
  }
  Source source;
  source.alias = ref.alias;
  source.table_name = ref.name;
  source.sql_alias = fmt::format("a{}", next_alias_++);
  std::optional<std::string> query;
  if (ref.kind == TableRef::kTable) query = QueryText(ref.name, file);
  if (query) {
    source.from_sql = "(" + PrintQuery(*query, ref.name, &source.columns) + ")";
  } else if (ref.kind == TableRef::kTable) {
    source.from_sql = TableSql(ref.name, file, &source);
    source.table_name = source.table->TableName();
  } else {
    source.from_sql = "(" + PrintSelect(*ref.select, outer, Use::kSource, &source.columns) + ")";
  }
  source.from_sql += " AS " + source.sql_alias;
  AddSource(std::move(source), scope);
}

// A saved query stands for its text; errors in that speak of the query.
std::string Printer::PrintQuery(const std::string& sql, const std::string& name,
                                std::vector<OutputColumn>* columns) {
  constexpr int kMaxDepth = 20;
  if (query_depth_ == kMaxDepth) {
    throw Error(
        ErrorKind::kNotSupported,
        fmt::format("The query '{}' cannot be read: queries that use each other are nested too deeply.",
                    name));
  }
  const std::string_view outer_text = std::exchange(text_, sql);
  ++query_depth_;
  std::string printed;
  try {
    std::vector<Token> tokens;
    Lex(sql, &tokens);
    for (Token& t : tokens) t.lifted = -1;
    const std::unique_ptr<Statement> s = Parse(sql, tokens);
    if (s->kind != StatementKind::kSelect || s->parameters > 0)
      throw Error(ErrorKind::kNotSupported, "only select queries without parameters can be.");
    printed = PrintSelect(*s->select, nullptr, Use::kSource, columns);
  } catch (const Error& e) {
    const std::string start = fmt::format("The query '{}' cannot be read: ", name);
    const std::string text = e.what();
    throw Error(e.kind(), text.starts_with("The query '") ? text : start + text);
  }
  --query_depth_;
  text_ = outer_text;
  return printed;
}

// `tables`: the positions of the tables among the sources, in the order in which they are joined.
std::string Printer::PrintRef(const TableRef& ref, Scope* scope, std::size_t* next,
                              std::vector<std::size_t>* tables) {
  if (ref.kind != TableRef::kJoin) {
    const Source& source = scope->sources[*next];
    if (source.table) tables->push_back(*next);
    ++*next;
    return source.from_sql;
  }
  std::vector<std::size_t> left_tables, right_tables;
  std::string left = PrintRef(*ref.left, scope, next, &left_tables);
  std::string right = PrintRef(*ref.right, scope, next, &right_tables);
  const TableRef* right_ref = ref.right.get();
  const char* word = ref.join == TableRef::kInner ? " JOIN " : " LEFT JOIN ";
  if (ref.join == TableRef::kRight) {
    std::swap(left, right);
    std::swap(left_tables, right_tables);
    right_ref = ref.left.get();
  }
  if (right_ref->kind == TableRef::kJoin) {
    right = "(" + right + ")";
    for (const std::size_t i : right_tables) scope->sources[i].nested = true;
  }
  tables->insert(tables->end(), left_tables.begin(), left_tables.end());
  tables->insert(tables->end(), right_tables.begin(), right_tables.end());
  return left + word + right + " ON " + Condition(*ref.on, scope);
}

std::string Printer::PrintFrom(const Select& select, const Scope* outer, Scope* scope) {
  scope->outer = outer;
  for (const TableRefPtr& ref : select.from) Declare(*ref, select.in_file, outer, scope);
  std::string sql;
  std::size_t next = 0;
  std::vector<std::size_t> tables;
  for (const TableRefPtr& ref : select.from)
    sql += (sql.empty() ? " FROM " : ", ") + PrintRef(*ref, scope, &next, &tables);
  for (const std::size_t i : tables) {
    for (std::string& term : RowOrder(scope->sources[i])) scope->row_order.push_back(std::move(term));
  }
  return sql;
}

}  // namespace jet::sql
