#include "cli/output.h"

#include <algorithm>

#include <fmt/format.h>

#include "access/base/text.h"

namespace vnt::cli {
namespace {

// Columns that a text takes on a terminal: one a code point is near enough for names and codes.
std::size_t Width(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
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

void TellError(const db::DbError& error, std::string_view place, std::ostream& out) {
  out << fmt::format("vntfix: {}{}{}\n", place, place.empty() ? "" : ": ", ErrorText(error));
}

void PrintTable(const std::vector<std::string>& header, const std::vector<std::vector<std::string>>& rows,
                const std::vector<bool>& numeric, std::ostream& out) {
  std::vector<std::size_t> widths;
  for (const std::string& name : header) widths.push_back(Width(name));
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
  }
  const auto print = [&](const std::vector<std::string>& cells) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const std::string padding(widths[i] - Width(cells[i]), ' ');
      if (i > 0) line += "  ";
      line += numeric[i] ? padding + cells[i] : cells[i] + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  };
  print(header);
  std::vector<std::string> rule;
  for (const std::size_t width : widths) rule.emplace_back(width, '-');
  print(rule);
  for (const auto& row : rows) print(row);
}

}  // namespace vnt::cli
