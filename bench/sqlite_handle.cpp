#include "bench/sqlite_handle.h"

#include <stdexcept>

#include <fmt/format.h>

namespace vnt::bench {

void ThrowError(sqlite3* handle, std::string_view sql) {
  throw std::runtime_error(fmt::format("{}: {}", sqlite3_errmsg(handle), sql));
}

Handle OpenHandle(const std::string& path) {
  sqlite3* handle = nullptr;
  const int result = sqlite3_open(path.c_str(), &handle);
  Handle owner(handle);
  if (result != SQLITE_OK) throw std::runtime_error("cannot open " + path);
  return owner;
}

void Run(sqlite3* handle, const std::string& sql) {
  if (sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) ThrowError(handle, sql);
}

Prepared::Prepared(sqlite3* handle, const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) ThrowError(handle, sql);
  statement_.reset(statement);
}

void Prepared::Bind(int position, std::string_view value) {
  sqlite3_bind_text(statement_.get(), position, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
}

bool Prepared::Step() {
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW) return true;
  sqlite3_reset(statement_.get());
  if (result != SQLITE_DONE) ThrowError(sqlite3_db_handle(statement_.get()), sqlite3_sql(statement_.get()));
  return false;
}

std::string_view Prepared::Text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  if (text == nullptr) return {};
  return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

}  // namespace vnt::bench
