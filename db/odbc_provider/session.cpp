#include "db/odbc_provider/session.h"

#include <utf8.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "access/base/text.h"
#include "db/odbc_provider/statement.h"

namespace vnt::db {
namespace {

constexpr SQLULEN kLoginSeconds = 15;

// The environment of the process; freed by its end.
SQLHENV Environment() {
  static const SQLHENV environment = [] {
    SQLHENV handle = SQL_NULL_HENV;
    if (SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &handle) == SQL_ERROR) return SQLHENV{SQL_NULL_HENV};
    SQLSetEnvAttr(handle, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    return handle;
  }();
  return environment;
}

SQLPOINTER AsPointer(SQLULEN number) { return reinterpret_cast<SQLPOINTER>(number); }

// What is kept of a driver's diagnosis: the first record.
struct Diagnosis {
  std::string state;
  SQLINTEGER native = 0;
  std::string text;
};

Diagnosis Diagnose(SQLSMALLINT handle_type, SQLHANDLE handle) {
  Diagnosis d;
  std::array<SQLWCHAR, 6> state{};
  std::vector<SQLWCHAR> text(2048);
  SQLSMALLINT length = 0;
  const SQLRETURN result =
      SQLGetDiagRecW(handle_type, handle, 1, state.data(), &d.native, text.data(), text.size(), &length);
  if (!SQL_SUCCEEDED(result)) {
    d.text = "The driver reported a failure without a reason.";
    return d;
  }
  d.state = ToUtf8(state.data(), 5);
  d.text = ToUtf8(text.data(), std::min<std::size_t>(length, text.size() - 1));
  for (char& c : d.text) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return d;
}

bool IsPlain(std::string_view value) { return value.find_first_of(";{}") == std::string_view::npos; }

}  // namespace

WideText ToWide(std::string_view utf8) {
  std::string valid;
  if (!utf8::is_valid(utf8.begin(), utf8.end())) {
    utf8::replace_invalid(utf8.begin(), utf8.end(), std::back_inserter(valid));
    utf8 = valid;
  }
  WideText wide;
  wide.reserve(utf8.size());
  utf8::utf8to16(utf8.begin(), utf8.end(), std::back_inserter(wide));
  return wide;
}

std::string ToUtf8(const SQLWCHAR* text, std::size_t units) {
  std::string utf8;
  utf8.reserve(units);
  for (std::size_t i = 0; i < units; ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00 && i + 1 < units && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00u);
    } else if (c >= 0xD800 && c < 0xE000) {
      c = 0xFFFD;
    }
    utf8::append(c, std::back_inserter(utf8));
  }
  return utf8;
}

OdbcSession::OdbcSession(const ConnectionSettings& settings) {
  std::string request;
  for (const auto& [key, value] : settings.all()) {
    if (jet::EqualWords(key, "provider")) continue;
    if (jet::EqualWords(key, "dsn")) name_ = value;
    request += key + "=" + (IsPlain(value) ? value : "{" + value + "}") + ";";
  }
  if (SQLAllocHandle(SQL_HANDLE_DBC, Environment(), &connection_) == SQL_ERROR) {
    throw DbError(kErrFailed, kOdbcSource, "The ODBC manager of this computer cannot be used.");
  }
  try {
    SQLSetConnectAttrW(connection_, SQL_ATTR_LOGIN_TIMEOUT, AsPointer(kLoginSeconds), 0);
    WideText wide = ToWide(request);
    Check(SQLDriverConnectW(connection_, nullptr, wide.data(), wide.size(), nullptr, 0, nullptr,
                            SQL_DRIVER_NOPROMPT),
          SQL_HANDLE_DBC, connection_);
  } catch (...) {
    SQLFreeHandle(SQL_HANDLE_DBC, connection_);
    throw;
  }
  SQLSetConnectAttrW(connection_, SQL_ATTR_AUTOCOMMIT, AsPointer(SQL_AUTOCOMMIT_ON), 0);
  quote_ = InfoText(SQL_IDENTIFIER_QUOTE_CHAR);
  if (quote_ == " ") quote_.clear();
  identifier_case_ = InfoNumber(SQL_IDENTIFIER_CASE);
  one_result_ = InfoNumber(SQL_MAX_CONCURRENT_ACTIVITIES) == 1;
}

OdbcSession::~OdbcSession() {
  SQLDisconnect(connection_);
  SQLFreeHandle(SQL_HANDLE_DBC, connection_);
}

void OdbcSession::RequireUsable() const {
  if (closed_) throw DbError(kErrObjectClosed, kOdbcSource, "The connection has been closed.");
  if (lost_) {
    throw DbError(kErrFailed, kOdbcSource, "The connection to the data source \"" + name_ + "\" is lost.",
                  make_error_ != nullptr);
  }
}

bool OdbcSession::IsDead(std::string_view state) const {
  if (state.starts_with("08") || state.starts_with("57P0")) return true;
  SQLUINTEGER dead = SQL_CD_FALSE;
  const SQLRETURN result = SQLGetConnectAttrW(connection_, SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr);
  return SQL_SUCCEEDED(result) && dead == SQL_CD_TRUE;
}

void OdbcSession::Check(SQLRETURN result, SQLSMALLINT handle_type, SQLHANDLE handle) {
  if (SQL_SUCCEEDED(result) || result == SQL_NO_DATA) return;
  Diagnosis d = Diagnose(handle_type, handle);
  if ((handle_type == SQL_HANDLE_STMT || make_error_) && IsDead(d.state)) {
    lost_ = true;
    d.text = "The connection to the data source \"" + name_ + "\" is lost: " + d.text;
    if (make_error_) throw DbError(kErrFailed, kOdbcSource, std::move(d.text), true);
  }
  if (make_error_) throw make_error_(d.state, d.text);
  throw DbError(d.native != 0 ? d.native : kErrFailed, kOdbcSource, std::move(d.text));
}

std::string OdbcSession::InfoText(SQLUSMALLINT what) const {
  std::array<SQLWCHAR, 64> text{};
  SQLSMALLINT bytes = 0;
  const SQLRETURN result = SQLGetInfoW(connection_, what, text.data(), sizeof text, &bytes);
  if (!SQL_SUCCEEDED(result) || bytes < 0) return {};
  return ToUtf8(text.data(), std::min<std::size_t>(bytes / 2, text.size() - 1));
}

SQLUSMALLINT OdbcSession::InfoNumber(SQLUSMALLINT what) const {
  SQLUSMALLINT number = 0;
  SQLGetInfoW(connection_, what, &number, sizeof number, nullptr);
  return number;
}

std::string OdbcSession::Quoted(const std::string& name) const { return quote_ + name + quote_; }

std::string OdbcSession::CatalogName(std::string_view name) const {
  if (name.size() >= 2 && (name.front() == '"' || name.front() == '[' || name.front() == '`'))
    return std::string(name.substr(1, name.size() - 2));
  std::string folded(name);
  for (char& c : folded) {
    if (identifier_case_ == SQL_IC_LOWER && c >= 'A' && c <= 'Z') c = c + 32;
    if (identifier_case_ == SQL_IC_UPPER && c >= 'a' && c <= 'z') c = c - 32;
  }
  return folded;
}

const std::vector<std::string>& OdbcSession::PrimaryKey(const std::string& table) {
  if (const auto known = primary_keys_.find(table); known != primary_keys_.end()) return known->second;
  std::vector<std::string> columns;
  const std::size_t dot = table.rfind('.');
  WideText schema = dot == std::string::npos ? WideText() : ToWide(CatalogName(table.substr(0, dot)));
  WideText name = ToWide(CatalogName(dot == std::string::npos ? table : table.substr(dot + 1)));
  OdbcStatement statement(*this);
  const SQLRETURN result =
      SQLPrimaryKeysW(statement.handle(), nullptr, 0, schema.empty() ? nullptr : schema.data(), schema.size(),
                      name.data(), name.size());
  if (SQL_SUCCEEDED(result)) {
    statement.DescribeColumns();
    // COLUMN_NAME is column 4 and KEY_SEQ column 5 of this result, which is ordered by KEY_SEQ.
    std::vector<Value> row;
    while (statement.Fetch(&row)) {
      // A second table of that name in another schema begins again at 1; the first one is meant.
      if (row[4].ToInt32() != std::ssize(columns) + 1) break;
      columns.push_back(row[3].ToText());
    }
  }
  return primary_keys_.emplace(table, std::move(columns)).first->second;
}

void OdbcSession::BeginTransaction() {
  Check(SQLSetConnectAttrW(connection_, SQL_ATTR_AUTOCOMMIT, AsPointer(SQL_AUTOCOMMIT_OFF), 0),
        SQL_HANDLE_DBC, connection_);
}

void OdbcSession::EndTransaction(bool commit) {
  const SQLRETURN result = SQLEndTran(SQL_HANDLE_DBC, connection_, commit ? SQL_COMMIT : SQL_ROLLBACK);
  SQLSetConnectAttrW(connection_, SQL_ATTR_AUTOCOMMIT, AsPointer(SQL_AUTOCOMMIT_ON), 0);
  if (commit) Check(result, SQL_HANDLE_DBC, connection_);
}

}  // namespace vnt::db
