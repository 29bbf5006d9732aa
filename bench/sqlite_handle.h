// SQLite's C interface with its errors as exceptions.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace vnt::bench {

struct CloseHandle {
  void operator()(sqlite3* handle) const { sqlite3_close(handle); }
};
using Handle = std::unique_ptr<sqlite3, CloseHandle>;

// Throws std::runtime_error, as all below.
Handle OpenHandle(const std::string& path);
void Run(sqlite3* handle, const std::string& sql);
[[noreturn]] void ThrowError(sqlite3* handle, std::string_view sql);

// A statement prepared once.
class Prepared {
 public:
  Prepared(sqlite3* handle, const std::string& sql);

  void Bind(int position, std::int64_t value) { sqlite3_bind_int64(statement_.get(), position, value); }
  void Bind(int position, double value) { sqlite3_bind_double(statement_.get(), position, value); }
  // Kept by the caller until Run has ended.
  void Bind(int position, std::string_view value);
  void BindNull(int position) { sqlite3_bind_null(statement_.get(), position); }

  // The next row; false when there is none, after which the statement can be run anew.
  bool Step();
  // Binds, and runs a statement without rows.
  template <class... Values>
  void Run(const Values&... values) {
    int position = 0;
    (Bind(++position, values), ...);
    while (Step()) {
    }
  }

  std::int64_t Integer(int column) const { return sqlite3_column_int64(statement_.get(), column); }
  double Double(int column) const { return sqlite3_column_double(statement_.get(), column); }
  bool IsNull(int column) const { return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL; }
  // Good until the next step.
  std::string_view Text(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

}  // namespace vnt::bench
