#include "db/odbc_provider/statement.h"

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

namespace vnt::db {
namespace {

bool IsBinary(SQLSMALLINT type) {
  return type == SQL_BINARY || type == SQL_VARBINARY || type == SQL_LONGVARBINARY;
}

bool IsDate(SQLSMALLINT type) {
  return type == SQL_TYPE_DATE || type == SQL_TYPE_TIMESTAMP || type == SQL_TYPE_TIME || type == SQL_DATETIME;
}

Value WholeNumber(const Value& value, const OdbcColumn& column, double low, double high) {
  const double number = std::nearbyint(value.ToDouble());
  if (!(number >= low && number <= high)) {
    throw DbError(kErrTruncated, kOdbcSource,
                  "The number " + value.ToText() + " is out of the range of column \"" + column.name + "\".");
  }
  // Larger integers than a double holds exactly go through unchanged.
  const bool exact = value.type() == ValueType::kInt16 || value.type() == ValueType::kInt32 ||
                     value.type() == ValueType::kInt64 || value.type() == ValueType::kBoolean;
  return Value::Int64(exact ? value.raw_integer() : static_cast<std::int64_t>(number));
}

SQL_TIMESTAMP_STRUCT TimestampOf(double days) {
  const DateParts p = SplitDate(days);
  SQL_TIMESTAMP_STRUCT t{};
  t.year = p.year;
  t.month = p.month;
  t.day = p.day;
  t.hour = p.hour;
  t.minute = p.minute;
  t.second = p.second;
  return t;
}

double DateOf(const SQL_TIMESTAMP_STRUCT& t) {
  DateParts p;
  p.year = t.year;
  p.month = t.month;
  p.day = t.day;
  p.hour = t.hour;
  p.minute = t.minute;
  p.second = t.second;
  const double date = JoinDate(p);
  if (t.fraction == 0) return date;
  // The time of day counts forward from midnight before 1899-12-30, too.
  const double part = t.fraction / 1e9 / 86400;
  return date < 0 ? date - part : date + part;
}

SQLSMALLINT TypeOf(const Value& value) {
  switch (value.type()) {
    case ValueType::kInt16:
      return SQL_SMALLINT;
    case ValueType::kInt32:
      return SQL_INTEGER;
    case ValueType::kInt64:
      return SQL_BIGINT;
    case ValueType::kSingle:
      return SQL_REAL;
    case ValueType::kDouble:
      return SQL_DOUBLE;
    case ValueType::kCurrency:
    case ValueType::kDecimal:
      return SQL_NUMERIC;
    case ValueType::kBoolean:
      return SQL_BIT;
    case ValueType::kDate:
      return SQL_TYPE_TIMESTAMP;
    case ValueType::kBinary:
      return SQL_VARBINARY;
    default:
      return SQL_WVARCHAR;
  }
}

}  // namespace

Value ToColumn(const Value& value, const OdbcColumn& column) {
  if (value.is_null()) return value;
  switch (column.type) {
    case SQL_TINYINT:
    case SQL_SMALLINT:
      return Value::Int16(WholeNumber(value, column, -32768, 32767).raw_integer());
    case SQL_INTEGER:
      return Value::Int32(WholeNumber(value, column, -2147483648.0, 2147483647.0).raw_integer());
    case SQL_BIGINT:
      return WholeNumber(value, column, -9.2e18, 9.2e18);
    case SQL_REAL:
      return Value::Single(static_cast<float>(value.ToDouble()));
    case SQL_FLOAT:
    case SQL_DOUBLE:
      return Value::Double(value.ToDouble());
    case SQL_NUMERIC:
    case SQL_DECIMAL:
      value.ToDouble();  // refuses what is no number
      return Value::Decimal(value.is_empty() ? "0" : value.ToText());
    case SQL_BIT:
      return Value::Boolean(value.ToBoolean());
    case SQL_TYPE_DATE:
    case SQL_TYPE_TIME:
    case SQL_TYPE_TIMESTAMP:
    case SQL_DATETIME:
      return Value::Date(value.ToDate());
    default:
      return IsBinary(column.type) && value.type() == ValueType::kBinary ? value
                                                                         : Value::Text(value.ToText());
  }
}

// What a bound parameter points to until the statement has been executed.
struct OdbcStatement::Bound {
  SQLLEN length = 0;
  std::int64_t integer = 0;
  SQL_TIMESTAMP_STRUCT timestamp{};
  WideText wide;
  std::string bytes;
};

OdbcStatement::OdbcStatement(OdbcSession& session) : session_(session) {
  session_.RequireUsable();
  session_.Check(SQLAllocHandle(SQL_HANDLE_STMT, session_.handle(), &handle_), SQL_HANDLE_DBC,
                 session_.handle());
  SQLSetStmtAttrW(handle_, SQL_ATTR_QUERY_TIMEOUT, reinterpret_cast<SQLPOINTER>(SQLULEN{kSeconds}), 0);
}

OdbcStatement::~OdbcStatement() { SQLFreeHandle(SQL_HANDLE_STMT, handle_); }

void OdbcStatement::ExecuteDirect(std::string_view sql) {
  session_.RequireUsable();
  WideText wide = ToWide(sql);
  Check(SQLExecDirectW(handle_, wide.data(), wide.size()));
}

void OdbcStatement::Prepare(std::string_view sql) {
  session_.RequireUsable();
  WideText wide = ToWide(sql);
  Check(SQLPrepareW(handle_, wide.data(), wide.size()));
}

void OdbcStatement::Bind(SQLUSMALLINT number, const Value& value, SQLSMALLINT type, Bound* bound) {
  SQLSMALLINT c_type = SQL_C_CHAR;
  SQLPOINTER data = nullptr;
  SQLULEN size = 0;
  SQLSMALLINT digits = 0;
  switch (value.type()) {
    case ValueType::kEmpty:
    case ValueType::kNull:
      bound->length = SQL_NULL_DATA;
      size = 1;
      break;
    case ValueType::kInt16:
    case ValueType::kInt32:
    case ValueType::kInt64:
      c_type = SQL_C_SBIGINT;
      bound->integer = value.raw_integer();
      data = &bound->integer;
      break;
    case ValueType::kBoolean:
      c_type = SQL_C_BIT;
      bound->bytes.assign(1, value.raw_integer() != 0 ? 1 : 0);
      data = bound->bytes.data();
      break;
    case ValueType::kDate:
      c_type = SQL_C_TYPE_TIMESTAMP;
      bound->timestamp = TimestampOf(value.raw_double());
      data = &bound->timestamp;
      size = 19;
      break;
    case ValueType::kText:
      c_type = SQL_C_WCHAR;
      bound->wide = ToWide(value.raw_bytes());
      data = bound->wide.data();
      bound->length = bound->wide.size() * sizeof(SQLWCHAR);
      size = std::max<SQLULEN>(1, bound->wide.size());
      break;
    case ValueType::kBinary:
      c_type = SQL_C_BINARY;
      bound->bytes = value.raw_bytes();
      data = bound->bytes.data();
      bound->length = bound->bytes.size();
      size = std::max<SQLULEN>(1, bound->bytes.size());
      break;
    default: {
      // Fractions travel as text: drivers print a double with 15 digits, which is not always the same number.
      bound->bytes = value.ToText();
      data = bound->bytes.data();
      bound->length = bound->bytes.size();
      const std::size_t point = bound->bytes.find('.');
      if (type == SQL_NUMERIC || type == SQL_DECIMAL) {
        digits = point == std::string::npos ? 0 : bound->bytes.size() - point - 1;
      }
      size = bound->bytes.size();
    }
  }
  Check(SQLBindParameter(handle_, number, SQL_PARAM_INPUT, c_type, type, size, digits, data, 0,
                         &bound->length));
}

void OdbcStatement::Execute(const std::vector<Value>& parameters, const std::vector<SQLSMALLINT>& types) {
  session_.RequireUsable();
  std::vector<Bound> bound(parameters.size());
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const SQLSMALLINT type = i < types.size() ? types[i] : TypeOf(parameters[i]);
    Bind(i + 1, parameters[i], type, &bound[i]);
  }
  const SQLRETURN result = SQLExecute(handle_);
  try {
    Check(result);
  } catch (...) {
    SQLFreeStmt(handle_, SQL_RESET_PARAMS);
    throw;
  }
  SQLFreeStmt(handle_, SQL_RESET_PARAMS);
}

void OdbcStatement::CloseResult() { SQLFreeStmt(handle_, SQL_CLOSE); }

std::int64_t OdbcStatement::RowCount() {
  SQLSMALLINT columns = 0;
  SQLNumResultCols(handle_, &columns);
  if (columns > 0) return 0;
  SQLLEN rows = 0;
  SQLRowCount(handle_, &rows);
  return rows > 0 ? rows : 0;
}

bool OdbcStatement::NextResult() {
  const SQLRETURN result = SQLMoreResults(handle_);
  Check(result);
  return result != SQL_NO_DATA;
}

void OdbcStatement::DescribeColumns() {
  SQLSMALLINT count = 0;
  Check(SQLNumResultCols(handle_, &count));
  columns_.resize(count);
  for (SQLSMALLINT i = 0; i < count; ++i) {
    OdbcColumn& column = columns_[i];
    std::array<SQLWCHAR, 256> name{};
    SQLSMALLINT length = 0, digits = 0, nullable = 0;
    SQLULEN size = 0;
    Check(SQLDescribeColW(handle_, i + 1, name.data(), name.size(), &length, &column.type, &size, &digits,
                          &nullable));
    column.name = ToUtf8(name.data(), std::min<std::size_t>(length, name.size() - 1));
  }
}

bool OdbcStatement::Fetch(std::vector<Value>* row) {
  session_.RequireUsable();
  const SQLRETURN result = SQLFetch(handle_);
  if (result == SQL_NO_DATA) return false;
  Check(result);
  row->resize(columns_.size());
  // In column order: many drivers give each column once, from left to right.
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    (*row)[i] = GetValue(i + 1, columns_[i].type);
  }
  return true;
}

template <typename T>
bool OdbcStatement::GetFixed(SQLUSMALLINT number, SQLSMALLINT c_type, T* out) {
  SQLLEN length = 0;
  Check(SQLGetData(handle_, number, c_type, out, sizeof *out, &length));
  return length != SQL_NULL_DATA;
}

bool OdbcStatement::GetBytes(SQLUSMALLINT number, SQLSMALLINT c_type, std::size_t terminator,
                             std::string* out) {
  std::array<char, 4096> buffer;
  for (;;) {
    SQLLEN length = 0;
    const SQLRETURN result = SQLGetData(handle_, number, c_type, buffer.data(), buffer.size(), &length);
    if (result == SQL_NO_DATA) return true;
    Check(result);
    if (length == SQL_NULL_DATA) return false;
    const std::size_t room = buffer.size() - terminator;
    // More is to come when the length, that of the rest, does not fit or is not known.
    const bool more = length == SQL_NO_TOTAL || static_cast<std::size_t>(length) > room;
    out->append(buffer.data(), more ? room : length);
    if (!more) return true;
  }
}

Value OdbcStatement::GetValue(SQLUSMALLINT number, SQLSMALLINT type) {
  switch (type) {
    case SQL_TINYINT:
    case SQL_SMALLINT: {
      SQLSMALLINT v = 0;
      return GetFixed(number, SQL_C_SSHORT, &v) ? Value::Int16(v) : Value::Null();
    }
    case SQL_INTEGER: {
      SQLINTEGER v = 0;
      return GetFixed(number, SQL_C_SLONG, &v) ? Value::Int32(v) : Value::Null();
    }
    case SQL_BIGINT: {
      std::int64_t v = 0;
      return GetFixed(number, SQL_C_SBIGINT, &v) ? Value::Int64(v) : Value::Null();
    }
    case SQL_REAL: {
      float v = 0;
      return GetFixed(number, SQL_C_FLOAT, &v) ? Value::Single(v) : Value::Null();
    }
    case SQL_FLOAT:
    case SQL_DOUBLE: {
      double v = 0;
      return GetFixed(number, SQL_C_DOUBLE, &v) ? Value::Double(v) : Value::Null();
    }
    case SQL_BIT: {
      unsigned char v = 0;
      return GetFixed(number, SQL_C_BIT, &v) ? Value::Boolean(v != 0) : Value::Null();
    }
    default:
      break;
  }
  if (IsDate(type)) {
    SQL_TIMESTAMP_STRUCT v{};
    return GetFixed(number, SQL_C_TYPE_TIMESTAMP, &v) ? Value::Date(DateOf(v)) : Value::Null();
  }
  std::string bytes;
  if (IsBinary(type)) {
    return GetBytes(number, SQL_C_BINARY, 0, &bytes) ? Value::Binary(std::move(bytes)) : Value::Null();
  }
  if (!GetBytes(number, SQL_C_WCHAR, sizeof(SQLWCHAR), &bytes)) return Value::Null();
  WideText wide(bytes.size() / sizeof(SQLWCHAR), 0);
  std::memcpy(wide.data(), bytes.data(), wide.size() * sizeof(SQLWCHAR));
  std::string text = ToUtf8(wide.data(), wide.size());
  if (type == SQL_NUMERIC || type == SQL_DECIMAL) return Value::Decimal(std::move(text));
  return Value::Text(std::move(text));
}

}  // namespace vnt::db
