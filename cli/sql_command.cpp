// vntfix sql: statements from the command line or standard input; results as an aligned table, CSV or JSON.
#include <algorithm>
#include <ios>
#include <istream>
#include <iterator>
#include <ostream>
#include <string_view>

#include <fmt/format.h>

#include "access/base/error.h"
#include "access/sql/session.h"
#include "cli/commands.h"
#include "cli/interruptible.h"
#include "cli/output.h"
#include "cli/server.h"
#include "compare/json_output.h"
#include "db/connection.h"
#include "db/connection_string.h"
#include "db/error.h"
#include "db/services.h"
#include "platform/in_force.h"

namespace vnt::cli {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// Splits a script at semicolons outside of literals and brackets, and takes lines out that begin with "--".
// In the middle of a line that is arithmetic: 5--3 is 8.
std::vector<std::string> SplitScript(std::string_view script) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (script.starts_with(kByteOrderMark)) script.remove_prefix(kByteOrderMark.size());
  std::vector<std::string> statements;
  std::string current;
  char closing = 0;  // what ends the literal or bracketed name we are in
  const auto finish = [&] {
    if (current.find_first_not_of(" \t\r\n") != std::string::npos) statements.push_back(current);
    current.clear();
  };
  bool line_begins = true;
  for (std::size_t i = 0; i < script.size(); ++i) {
    const char c = script[i];
    if (closing != 0) {
      current += c;
      if (c == closing) closing = 0;
    } else if (line_begins && script.substr(i).starts_with("--")) {
      i = script.find('\n', i);
      if (i == std::string_view::npos) break;
      current += '\n';
    } else if (c == ';') {
      finish();
    } else {
      current += c;
      if (c == '\'' || c == '"' || c == '#') closing = c;
      if (c == '[') closing = ']';
    }
    line_begins = i < script.size() && (script[i] == '\n' || (line_begins && IsBlank(script[i])));
  }
  finish();
  return statements;
}

std::string ReadAll(std::istream& in) {
  try {
    std::string text(std::istreambuf_iterator<char>(in), {});
    if (!in.bad()) return text;
  } catch (const std::ios_base::failure&) {
  }
  throw jet::Error(jet::ErrorKind::kIo, "The statements cannot be read from standard input.");
}

bool IsNumeric(const db::Value& value) {
  switch (value.type()) {
    case db::ValueType::kEmpty:
    case db::ValueType::kNull:
    case db::ValueType::kText:
    case db::ValueType::kBinary:
    case db::ValueType::kDate:
      return false;
    default:
      return true;
  }
}

void PrintCsv(db::Recordset& rows, std::ostream& out) {
  std::string line;
  const int fields = rows.FieldCount();
  for (int i = 0; i < fields; ++i) {
    if (i > 0) line += ',';
    AppendQuoted(rows.FieldName(i), &line);
  }
  out << line << '\n';
  for (; !rows.Eof(); rows.MoveNext()) {
    line.clear();
    for (int i = 0; i < fields; ++i) {
      if (i > 0) line += ',';
      AppendCsv(rows.Get(i), &line);
    }
    out << line << '\n';
  }
}

// One array with an object for each row.
void PrintJson(db::Recordset& rows, std::ostream& out) {
  const int fields = rows.FieldCount();
  std::vector<std::string> names;
  for (int i = 0; i < fields; ++i) {
    std::string name = i == 0 ? "{" : ", ";
    compare::AppendJsonText(rows.FieldName(i), &name);
    names.push_back(name + ": ");
  }
  out << '[';
  std::string line;
  for (bool first = true; !rows.Eof(); rows.MoveNext(), first = false) {
    line = first ? "\n" : ",\n";
    for (int i = 0; i < fields; ++i) {
      line += names[static_cast<std::size_t>(i)];
      AppendJson(rows.Get(i), &line);
    }
    out << line << '}';
  }
  out << "\n]\n";
}

// Line breaks and tabs as blanks, so that a row stays one.
std::string OnOneLine(std::string text) {
  std::ranges::replace_if(
      text, [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
  return text;
}

void PrintAligned(db::Recordset& rows, std::ostream& out) {
  const int fields = rows.FieldCount();
  std::vector<std::string> header;
  for (int i = 0; i < fields; ++i) header.push_back(rows.FieldName(i));
  std::vector<bool> numeric(static_cast<std::size_t>(fields), true);
  std::vector<std::vector<std::string>> cells;
  for (; !rows.Eof(); rows.MoveNext()) {
    auto& row = cells.emplace_back();
    for (int i = 0; i < fields; ++i) {
      const db::Value value = rows.Get(i);
      if (!value.is_empty_or_null() && !IsNumeric(value)) numeric[static_cast<std::size_t>(i)] = false;
      row.push_back(OnOneLine(Display(value)));
    }
  }
  PrintTable(header, cells, numeric, out);
  out << fmt::format("({})\n", CountOf(std::ssize(cells), "row"));
}

// In which statement it was, unless that is plain.
class Place {
 public:
  Place(const std::string& file, std::size_t statements) : file_(file), several_(statements > 1) {}
  void Next() { ++number_; }
  std::string Text() const {
    return several_ && number_ > 0 ? fmt::format("{}: statement {}", file_, number_) : file_;
  }

 private:
  const std::string& file_;
  bool several_;
  int number_ = 0;
};

std::vector<std::string> StatementsOf(const SqlOptions& options, std::istream& in) {
  if (options.statements.empty()) return SplitScript(ReadAll(in));
  std::vector<std::string> statements;
  for (const std::string& text : options.statements) {
    for (std::string& statement : SplitScript(text)) statements.push_back(std::move(statement));
  }
  return statements;
}

int StatusOf(const db::DbError& error, bool changed_something) {
  if (error.number() == db::kErrInterrupted) return InterruptedStatus();
  // The file cannot serve, and is as it was.
  const bool is_of_file = error.is_environment() || error.number() == db::kErrReadOnly;
  return is_of_file && !changed_something ? kRefused : kFailed;
}

// Takes everything back, or keeps what the statements before the failed one did.
void EndFailed(db::Connection& connection, const SqlOptions& options, Streams& streams) {
  if (options.transaction) {
    connection.RevertToMark();
    streams.err << fmt::format("vntfix: {}: nothing was changed.\n", options.file);
  }
  connection.Close();
}

}  // namespace

int Sql(const SqlOptions& options, Streams& streams) {
  const std::vector<std::string> statements = StatementsOf(options, streams.in);
  const bool only_queries = std::ranges::all_of(statements, jet::sql::Session::IsQuery);
  // From here on: who is asked for statements can still be ended as ever.
  const Interruptible interruptible;
  db::Connection connection;
  // Looking at a database that somebody else reads, or that cannot be written, is fine as long as nothing
  // changes.
  connection.Mode = only_queries || options.read_only ? db::AccessMode::kRead : db::AccessMode::kReadWrite;
  Place place(options.file, statements.size());
  try {
    const db::Services& services = platform::InForce<db::Services>();
    connection.Open(IsServerName(options.file)
                        ? db::ServerSource(options.file, services.server_user, services.server_password)
                        : "Provider=Microsoft.ACE.OLEDB.12.0;" + db::DataSource(options.file) + ";");
    if (options.transaction) connection.Mark();
  } catch (const db::DbError& error) {
    TellError(error, place.Text(), streams.err);
    return error.number() == db::kErrInterrupted ? InterruptedStatus() : kRefused;
  }
  bool changed_something = false;
  try {
    for (const std::string& statement : statements) {
      place.Next();
      if (jet::sql::Session::IsQuery(statement)) {
        db::Recordset rows;
        rows.Open(statement, connection);
        if (options.json) {
          PrintJson(rows, streams.out);
        } else if (options.csv) {
          PrintCsv(rows, streams.out);
        } else {
          PrintAligned(rows, streams.out);
        }
      } else {
        const std::int64_t changed = connection.Execute(statement);
        changed_something = !options.transaction;
        streams.err << fmt::format("vntfix: {}: {} changed\n", place.Text(), CountOf(changed, "row"));
      }
    }
  } catch (const db::DbError& error) {
    TellError(error, place.Text(), streams.err);
    EndFailed(connection, options, streams);
    return StatusOf(error, changed_something);
  }
  connection.Close();
  return kOk;
}

}  // namespace vnt::cli
