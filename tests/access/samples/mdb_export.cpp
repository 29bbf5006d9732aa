#include "tests/access/samples/mdb_export.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#ifdef _WIN32
#define popen _popen
#define pclose _pclose
#endif

namespace jet {
namespace {

// Characters that occur in no sample.
constexpr char kField = '\x1F';
constexpr char kRow = '\x1E';
constexpr char kNull[] = "\x1D";

std::string Quote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

bool Run(const std::string& command, std::string* output) {
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return false;
  char buffer[1 << 14];
  for (std::size_t got = 0; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
    output->append(buffer, got);
  return pclose(pipe) == 0;
}

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

// Without trailing zeros of the fraction.
std::string Plain(std::string number) {
  if (number.find('.') == std::string::npos) return number;
  while (number.back() == '0') number.pop_back();
  if (number.back() == '.') number.pop_back();
  return number == "-0" ? "0" : number;
}

std::string Hex(const std::string& bytes) {
  std::string out;
  char digits[3];
  for (unsigned char c : bytes) {
    std::snprintf(digits, sizeof digits, "%02X", c);
    out += digits;
  }
  return out;
}

// Seconds since 1899-12-30; the fraction of a negative date counts upwards, too.
long long Seconds(double date) {
  const double days = std::trunc(date);
  return static_cast<long long>(days) * 86400 + std::llround(std::fabs(date - days) * 86400);
}

// Days since 1899-12-30 of a date of the Gregorian calendar.
long long DaysOf(int year, int month, int day) {
  year -= month <= 2;
  const long long era = (year >= 0 ? year : year - 399) / 400;
  const auto in_era = static_cast<long long>(year) - era * 400;
  const long long in_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + in_era * 365 + in_era / 4 - in_era / 100 + in_year - 719468 + 25569;
}

bool SameDate(double date, const std::string& exported) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (std::sscanf(exported.c_str(), "%d-%d-%d %d:%d:%d", &year, &month, &day, &hour, &minute, &second) != 6) {
    return false;
  }
  return Seconds(date) == DaysOf(year, month, day) * 86400 + hour * 3600LL + minute * 60LL + second;
}

}  // namespace

bool HaveMdbExport() {
  std::string ignored;
  return Run("mdb-export --version 2>&1", &ignored);
}

bool RunMdbExport(const std::string& file, const std::string& table, ExportedTable* out) {
  std::string text;
  const std::string command = std::string("mdb-export -Q -d '") + kField + "' -R '" + kRow + "' -0 '" +
                              kNull + "' -b hex -D '%Y-%m-%d %H:%M:%S' -T '%Y-%m-%d %H:%M:%S' " +
                              Quote(file) + " " + Quote(table) + " 2>/dev/null";
  if (!Run(command, &text)) return false;
  std::size_t at = 0;
  bool first = true;
  while (at < text.size()) {
    std::size_t end = text.find(kRow, at);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(at, end - at);
    at = end + 1;
    std::vector<std::optional<std::string>> fields;
    for (std::size_t from = 0;;) {
      const std::size_t to = line.find(kField, from);
      const std::string field = line.substr(from, to == std::string::npos ? to : to - from);
      fields.push_back(field == kNull ? std::nullopt : std::optional(field));
      if (to == std::string::npos) break;
      from = to + 1;
    }
    if (!first) {
      out->rows.push_back(std::move(fields));
      continue;
    }
    first = false;
    for (const auto& field : fields) out->columns.push_back(field.value_or(""));
  }
  return !first;
}

bool SaysTheSame(const ColumnDef& column, const Value& value, const std::optional<std::string>& exported) {
  if (value.is_null() || !exported) return value.is_null() && !exported;
  const std::string& text = *exported;
  switch (column.type) {
    case ColumnType::kBoolean:
      return text == (value.integer() != 0 ? "1" : "0");
    case ColumnType::kSingle:
    case ColumnType::kDouble: {
      const double other = std::strtod(text.c_str(), nullptr);
      const double tolerance = column.type == ColumnType::kSingle ? 1e-6 : 1e-14;
      return std::fabs(value.real() - other) <= tolerance * std::fabs(value.real());
    }
    case ColumnType::kDateTime:
      return SameDate(value.real(), text);
    case ColumnType::kCurrency:
    case ColumnType::kDecimal:
      return Plain(value.decimal().ToText()) == Plain(text);
    case ColumnType::kGuid:
      return Upper(value.bytes()) == Upper(text);
    case ColumnType::kBinary:
    case ColumnType::kOle:
      return Hex(value.bytes()) == Upper(text);
    case ColumnType::kText:
    case ColumnType::kMemo:
      return value.bytes() == text;
    default:
      return value.kind() == ValueKind::kInteger && std::to_string(value.integer()) == text;
  }
}

}  // namespace jet
