#include "cli/output.h"

#include <algorithm>

#include <fmt/format.h>

#include "access/base/text.h"
#include "compare/json_output.h"

namespace vnt::cli {
namespace {

// Columns that a text takes on a terminal: one a code point is near enough for names and codes.
std::size_t Width(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

// The text in lines of that width, broken at blanks where there are any.
std::vector<std::string> Wrapped(std::string_view text, std::size_t width) {
  std::vector<std::string> lines(1);
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    const std::string word(text.substr(at, end - at));
    if (!lines.back().empty() && Width(lines.back()) + 1 + Width(word) > width) lines.emplace_back();
    if (!lines.back().empty()) lines.back() += ' ';
    lines.back() += word;
    at = end + 1;
  }
  return lines;
}

}  // namespace

void AppendCsv(const db::Value& value, std::string* out) {
  switch (value.type()) {
    case db::ValueType::kEmpty:
    case db::ValueType::kNull:
      break;
    case db::ValueType::kBoolean:
      out->push_back(value.ToBoolean() ? '1' : '0');
      break;
    case db::ValueType::kText:
      AppendQuoted(value.raw_bytes(), out);
      break;
    case db::ValueType::kBinary:
      compare::AppendBinary(value.raw_bytes(), out);
      break;
    default:
      out->append(Display(value));
  }
}

void AppendJson(const db::Value& value, std::string* out) {
  constexpr std::uint8_t kCurrencyScale = 4;
  const auto as_real = [&](jet::ColumnType type) {
    compare::AppendJson(jet::Value::Real(value.raw_double()), type, out);
  };
  switch (value.type()) {
    case db::ValueType::kEmpty:
    case db::ValueType::kNull:
      out->append("null");
      break;
    case db::ValueType::kBoolean:
      out->append(value.ToBoolean() ? "true" : "false");
      break;
    case db::ValueType::kSingle:
      as_real(jet::ColumnType::kSingle);
      break;
    case db::ValueType::kDouble:
      as_real(jet::ColumnType::kDouble);
      break;
    case db::ValueType::kDate:
      as_real(jet::ColumnType::kDateTime);
      break;
    case db::ValueType::kCurrency:
      out->append("\"").append(jet::Decimal::FromScaledInt64(value.raw_integer(), kCurrencyScale).ToText());
      out->push_back('"');
      break;
    case db::ValueType::kDecimal:
      out->append("\"").append(value.raw_bytes()).append("\"");
      break;
    case db::ValueType::kText:
      compare::AppendJsonText(value.raw_bytes(), out);
      break;
    case db::ValueType::kBinary:
      out->push_back('"');
      AppendHex(value.raw_bytes(), out);
      out->push_back('"');
      break;
    default:
      out->append(std::to_string(value.raw_integer()));
  }
}

std::string Display(const db::Value& value) {
  std::string out;
  switch (value.type()) {
    case db::ValueType::kEmpty:
    case db::ValueType::kNull:
      break;
    case db::ValueType::kDate:
      AppendDate(value.raw_double(), &out);
      break;
    case db::ValueType::kBinary:
      AppendHex(value.raw_bytes(), &out);
      break;
    case db::ValueType::kSingle:
      out = jet::NumberText(value.raw_double(), 7);
      break;
    case db::ValueType::kDouble:
      out = jet::NumberText(value.raw_double());
      break;
    default:
      out = value.ToText();
  }
  return out;
}

std::string ErrorText(const db::DbError& error) {
  if (error.number() == db::kErrInterrupted) return error.description();
  return fmt::format("{} ({})", error.description(), error.number());
}

std::string CountOf(std::int64_t number, std::string_view noun) {
  return fmt::format("{} {}{}", number, noun, number == 1 ? "" : "s");
}

void TellError(const db::DbError& error, std::string_view place, std::ostream& out) {
  out << fmt::format("vntfix: {}{}{}\n", place, place.empty() ? "" : ": ", ErrorText(error));
}

void PrintTable(const std::vector<std::string>& header, const std::vector<std::vector<std::string>>& rows,
                const std::vector<bool>& numeric, std::ostream& out, std::size_t width) {
  std::vector<std::size_t> widths;
  for (const std::string& name : header) widths.push_back(Width(name));
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
  }
  // What stands left of the last column.
  std::size_t start = 0;
  for (std::size_t i = 0; i + 1 < widths.size(); ++i) start += widths[i] + 2;
  constexpr std::size_t kLeast = 20;
  const bool wraps = width >= start + kLeast && start + widths.back() > width;
  if (wraps) widths.back() = width - start;
  const auto print = [&](const std::vector<std::string>& cells) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const std::string padding(widths[i] - std::min(widths[i], Width(cells[i])), ' ');
      if (i > 0) line += "  ";
      line += numeric[i] ? padding + cells[i] : cells[i] + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  };
  print(header);
  std::vector<std::string> rule;
  for (const std::size_t column : widths) rule.emplace_back(column, '-');
  print(rule);
  for (const auto& row : rows) {
    if (!wraps) {
      print(row);
      continue;
    }
    std::vector<std::string> cells = row;
    for (const std::string& line : Wrapped(row.back(), widths.back())) {
      cells.back() = line;
      print(cells);
      cells.assign(row.size(), "");
    }
  }
}

}  // namespace vnt::cli
