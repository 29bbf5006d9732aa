// One connection to a data source, shared by the statements that run on it, and the one place where a
// driver's diagnosis becomes a DbError.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "db/connection_string.h"
#include "db/error.h"
#include "db/odbc_provider/odbc_api.h"

namespace vnt::db {

inline constexpr char kOdbcSource[] = "VNTFixdb ODBC";

class OdbcSession {
 public:
  // Connects, in autocommit mode. Waits 15 seconds at most for the server to answer.
  explicit OdbcSession(const ConnectionSettings& settings);
  ~OdbcSession();
  OdbcSession(const OdbcSession&) = delete;
  OdbcSession& operator=(const OdbcSession&) = delete;

  SQLHDBC handle() const { return connection_; }

  // Called by the connection object when it closes; recordsets may still hold the session.
  void MarkClosed() { closed_ = true; }
  // DbError kErrObjectClosed when closed; the error of a lost connection, without asking the driver again,
  // when it is lost.
  void RequireUsable() const;

  // What a driver's diagnosis becomes, in place of the driver's native number; a lost connection is always a
  // failure of the surroundings then.
  using ErrorMaker = std::function<DbError(std::string_view state, const std::string& text)>;
  void SetErrorMaker(ErrorMaker maker) { make_error_ = std::move(maker); }
  // The product that serves the data source, as its driver calls it.
  std::string ServerName() const { return InfoText(SQL_DBMS_NAME); }
  bool is_lost() const { return lost_; }

  // Raises what the driver says about a call on `handle`, unless the call went well or found no data.
  void Check(SQLRETURN result, SQLSMALLINT handle_type, SQLHANDLE handle);

  // True when only one statement can hold a result at a time.
  bool one_result_at_a_time() const { return one_result_; }
  // A name as the catalog spells it, between the data source's quotes.
  std::string Quoted(const std::string& name) const;
  // A name of a statement (quoted or not) as the catalog spells it.
  std::string CatalogName(std::string_view name) const;

  // Columns of the table's primary key in key order; empty when there is none or the driver cannot tell.
  // `table` may be qualified.
  const std::vector<std::string>& PrimaryKey(const std::string& table);
  void ForgetPrimaryKeys() { primary_keys_.clear(); }

  // Statements in between take effect together or, without Commit(), not at all.
  void BeginTransaction();
  void EndTransaction(bool commit);

 private:
  std::string InfoText(SQLUSMALLINT what) const;
  SQLUSMALLINT InfoNumber(SQLUSMALLINT what) const;
  bool IsDead(std::string_view state) const;

  SQLHDBC connection_ = SQL_NULL_HDBC;
  std::string name_;
  std::string quote_;
  SQLUSMALLINT identifier_case_ = SQL_IC_MIXED;
  bool one_result_ = false;
  bool closed_ = false;
  bool lost_ = false;
  ErrorMaker make_error_;
  std::map<std::string, std::vector<std::string>, std::less<>> primary_keys_;
};

}  // namespace vnt::db
