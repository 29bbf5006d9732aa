#include "access/sql/plan.h"

#include <algorithm>
#include <new>
#include <utility>

#include "access/base/error.h"

namespace jet::sql {

sqlite3_stmt* Plan::Take() {
  idle.reserve(kMostIdle);  // coming back must not need memory
  if (idle.empty()) return connection->Prepare(sql);
  sqlite3_stmt* statement = idle.back();
  idle.pop_back();
  return statement;
}

void Plan::Release(sqlite3_stmt* statement) {
  sqlite3_reset(statement);
  // What the reset reports was reported by the step.
  connection->host.failure = nullptr;
  if (idle.size() >= kMostIdle || !keep) {
    sqlite3_finalize(statement);
    return;
  }
  sqlite3_clear_bindings(statement);
  idle.push_back(statement);
}

Plan::~Plan() {
  for (sqlite3_stmt* s : idle) sqlite3_finalize(s);
  for (const auto& table : other_tables) {
    if (connection->Drop(*table)) connection->host.tables.erase(table->id);
  }
}

namespace {

int TryBind(sqlite3_stmt* statement, int number, const Value& v) {
  switch (v.kind()) {
    case ValueKind::kNull:
      return sqlite3_bind_null(statement, number);
    case ValueKind::kInteger:
      return sqlite3_bind_int64(statement, number, v.integer());
    case ValueKind::kReal:
      return sqlite3_bind_double(statement, number, v.real());
    case ValueKind::kDecimal:
      return sqlite3_bind_double(statement, number, v.decimal().ToDouble());
    case ValueKind::kText:
      return sqlite3_bind_text64(statement, number, v.bytes().data(), v.bytes().size(), SQLITE_TRANSIENT,
                                 SQLITE_UTF8);
    case ValueKind::kBlob:
      return sqlite3_bind_blob64(statement, number, v.bytes().data(), v.bytes().size(), SQLITE_TRANSIENT);
  }
  return SQLITE_OK;
}

}  // namespace

Running::Running(std::shared_ptr<Plan> plan, const std::vector<Value>& parameters,
                 const std::vector<Value>& lifted)
    : plan_(std::move(plan)), statement_(plan_->Take()) {
  const auto bind = [this](int number, const Value& value) {
    const int rc = TryBind(statement_, number, value);
    // Where a statement is carried out in parts, a part does not mention every constant of it.
    if (rc == SQLITE_OK || rc == SQLITE_RANGE) return;
    // A value that is left out would be Null.
    plan_->Release(statement_);
    if (rc == SQLITE_NOMEM) throw std::bad_alloc();
    throw Error(ErrorKind::kTooLarge, "A value of the statement is too long.");
  };
  for (int i = 0; i < plan_->parameters; ++i) bind(i + 1, parameters[i]);
  const int count = lifted.size();
  for (int i = 0; i < count; ++i) bind(plan_->parameters + i + 1, lifted[i]);
  // Once more as exact numbers, where the plan uses them.
  const int used = sqlite3_bind_parameter_count(statement_) - plan_->parameters - count;
  for (int i = 0; i < std::min(used, count); ++i) {
    const Value& v = lifted[i];
    const bool decimal = v.kind() == ValueKind::kDecimal;
    bind(plan_->parameters + count + i + 1, decimal ? Value::Text(v.decimal().ToText()) : v);
  }
}

Running::~Running() { plan_->Release(statement_); }

bool Running::Step() { return plan_->connection->Step(statement_); }

Value Running::Get(int column) const {
  switch (sqlite3_column_type(statement_, column)) {
    case SQLITE_INTEGER:
      return Value::Integer(sqlite3_column_int64(statement_, column));
    case SQLITE_FLOAT:
      return Value::Real(sqlite3_column_double(statement_, column));
    case SQLITE_TEXT: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
      if (text == nullptr) throw std::bad_alloc();
      std::string s(text, sqlite3_column_bytes(statement_, column));
      // The exact text of a decimal column.
      Decimal d;
      if (column < std::ssize(plan_->columns) && plan_->columns[column].type == Type::kDecimal &&
          Decimal::FromText(s, &d)) {
        return Value::Dec(d);
      }
      return Value::Text(std::move(s));
    }
    case SQLITE_BLOB: {
      const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
      const std::size_t size = sqlite3_column_bytes(statement_, column);
      if (size != 0 && bytes == nullptr) throw std::bad_alloc();
      return Value::Blob(size == 0 ? std::string() : std::string(bytes, size));
    }
    default:
      return Value::Null();
  }
}

std::shared_ptr<Plan> PlanCache::Find(const std::string& key) {
  const auto found = by_key_.find(key);
  if (found == by_key_.end()) return {};
  plans_.splice(plans_.begin(), plans_, found->second);
  return found->second->second;
}

void PlanCache::Add(const std::string& key, std::shared_ptr<Plan> plan) {
  plans_.emplace_front(key, std::move(plan));
  by_key_[plans_.front().first] = plans_.begin();
  if (plans_.size() <= kMost) return;
  by_key_.erase(plans_.back().first);
  plans_.pop_back();
}

void PlanCache::Clear() {
  by_key_.clear();
  plans_.clear();
}

}  // namespace jet::sql
