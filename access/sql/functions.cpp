#include "access/sql/functions.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <new>

#include "access/base/text.h"
#include "access/sql/function_support.h"

namespace jet::sql {
namespace {

// Registering fails for want of memory alone.
void Register(sqlite3* db, const Function& f, FailureSlot* failures) {
  const bool sums_up = f.end != nullptr;
  const int flags = SQLITE_UTF8 | SQLITE_INNOCUOUS | (sums_up || f.Is(kVaries) ? 0 : SQLITE_DETERMINISTIC);
  const int rc =
      sqlite3_create_function_v2(db, f.SqlName().c_str(), -1, flags, failures, sums_up ? nullptr : f.call,
                                 sums_up ? f.call : nullptr, f.end, nullptr);
  if (rc != SQLITE_OK) throw std::bad_alloc();
}

const auto kTables = {TextFunctions, NumberFunctions, DateFunctions, DecimalFunctions};

}  // namespace

const Function* FindFunction(std::string_view name) {
  if (!name.empty() && name.back() == '$') name.remove_suffix(1);
  for (const auto table : kTables) {
    for (const Function& f : table()) {
      if (!f.Is(kInternal) && EqualNames(f.name, name)) return &f;
    }
  }
  return nullptr;
}

void RegisterFunctions(sqlite3* db, FailureSlot* failures) {
  for (const auto table : kTables) {
    for (const Function& f : table()) Register(db, f, failures);
  }
}

std::string_view TextOf(sqlite3_value* v, std::string* storage) {
  if (sqlite3_value_type(v) == SQLITE_FLOAT) {
    *storage = NumberText(sqlite3_value_double(v));
    return *storage;
  }
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(v));
  if (text == nullptr) {
    const int type = sqlite3_value_type(v);
    if (type == SQLITE_TEXT || type == SQLITE_INTEGER) throw std::bad_alloc();
    return {};
  }
  return {text, static_cast<std::size_t>(sqlite3_value_bytes(v))};
}

double NumberOf(sqlite3_value* v) {
  const int type = sqlite3_value_type(v);
  if (type == SQLITE_FLOAT || type == SQLITE_INTEGER) return sqlite3_value_double(v);
  if (type == SQLITE_TEXT) {
    std::string storage;
    std::string_view t = TrimBlanks(TextOf(v, &storage));
    if (!t.empty() && t.front() == '+') t.remove_prefix(1);
    double d = 0;
    const auto r = std::from_chars(t.data(), t.data() + t.size(), d);
    if (!t.empty() && r.ec == std::errc() && r.ptr == t.data() + t.size()) return d;
    throw Error(ErrorKind::kType, fmt::format("Data type mismatch: '{}' is no number.", t));
  }
  throw Error(ErrorKind::kType, "Data type mismatch: binary data is no number.");
}

long long WholeNumberOf(sqlite3_value* v) {
  if (sqlite3_value_type(v) == SQLITE_INTEGER) return sqlite3_value_int64(v);
  const double d = std::nearbyint(NumberOf(v));
  if (!(std::fabs(d) < 9.2e18))
    throw Error(ErrorKind::kTooLarge, fmt::format("The number {} is too large.", d));
  return static_cast<long long>(d);
}

}  // namespace jet::sql
