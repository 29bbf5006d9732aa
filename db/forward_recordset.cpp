#include "db/forward_recordset.h"

namespace vnt::db {

void ThrowNotUpdatable(const char* source) {
  throw DbError(kErrReadOnlyRecordset, source, "The recordset does not allow changes.");
}

void ForwardRecordset::MoveNext() {
  RequireOpen();
  if (!has_row_) {
    throw DbError(kErrNoCurrentRecord, source_, "No current record: the recordset is at its end.");
  }
  has_row_ = Step();
  first_ = false;
}

void ForwardRecordset::MoveFirst() {
  RequireOpen();
  if (!first_) {
    has_row_ = Restart();
    first_ = true;
  }
  if (!has_row_) throw DbError(kErrNoCurrentRecord, source_, "No current record: the recordset is empty.");
}

void ForwardRecordset::MovePrevious() {
  throw DbError(kErrWrongMove, source_, "A forward-only recordset cannot be moved backward.");
}

void ForwardRecordset::MoveLast() { MovePrevious(); }

void ForwardRecordset::RequireRow() const {
  RequireOpen();
  if (!has_row_) throw DbError(kErrNoCurrentRecord, source_, "No current record.");
}

void ForwardRecordset::Set(int, const Value&) { ThrowNotUpdatable(source_); }
void ForwardRecordset::AddNew() { ThrowNotUpdatable(source_); }
std::int64_t ForwardRecordset::Update() { ThrowNotUpdatable(source_); }
void ForwardRecordset::Delete() { ThrowNotUpdatable(source_); }

}  // namespace vnt::db
