#include "db/positioned_recordset.h"

#include <algorithm>

namespace vnt::db {

void PositionedRecordset::Start() {
  position_ = -1;
  if (SeekForward(0)) {
    bof_ = eof_ = false;
  } else {
    bof_ = eof_ = true;
  }
}

bool PositionedRecordset::SeekForward(std::int64_t from) {
  for (std::int64_t p = from; p < Size(); ++p) {
    if (Load(p)) {
      position_ = p;
      row_ = RowState::kCurrent;
      bof_ = eof_ = false;
      return true;
    }
  }
  position_ = Size();
  row_ = RowState::kNone;
  eof_ = true;
  return false;
}

bool PositionedRecordset::SeekBackward(std::int64_t from) {
  for (std::int64_t p = from; p >= 0; --p) {
    if (Load(p)) {
      position_ = p;
      row_ = RowState::kCurrent;
      bof_ = eof_ = false;
      return true;
    }
  }
  position_ = -1;
  row_ = RowState::kNone;
  bof_ = true;
  return false;
}

// A move takes a started change of the row with it.
void PositionedRecordset::FinishEdit() {
  RequireOpen();
  if (edit_ != EditMode::kNone) Update();
}

bool PositionedRecordset::Eof() const { return eof_; }
bool PositionedRecordset::Bof() const { return bof_; }

void PositionedRecordset::MoveNext() {
  FinishEdit();
  if (eof_) throw DbError(kErrNoCurrentRecord, source_, "No current record: the recordset is at its end.");
  bof_ = false;
  SeekForward(position_ + 1);
}

void PositionedRecordset::MovePrevious() {
  RequireScrolling();
  FinishEdit();
  if (bof_)
    throw DbError(kErrNoCurrentRecord, source_, "No current record: the recordset is at its beginning.");
  eof_ = false;
  SeekBackward(position_ - 1);
}

void PositionedRecordset::MoveFirst() {
  FinishEdit();
  if (!SeekForward(0)) {
    bof_ = true;
    throw DbError(kErrNoCurrentRecord, source_, "No current record: the recordset is empty.");
  }
}

void PositionedRecordset::MoveLast() {
  RequireScrolling();
  FinishEdit();
  if (!SeekBackward(Size() - 1)) {
    eof_ = true;
    throw DbError(kErrNoCurrentRecord, source_, "No current record: the recordset is empty.");
  }
}

void PositionedRecordset::RequireScrolling() const {
  if (forward_only_) {
    throw DbError(kErrWrongMove, source_, "A forward-only recordset cannot be moved backward.");
  }
}

std::int64_t PositionedRecordset::RecordCount() const { return forward_only_ ? -1 : Size() - deleted_; }

const std::string& PositionedRecordset::FieldName(int index) const { return fields_[index].name; }

void PositionedRecordset::RequireCurrent() const {
  if (row_ == RowState::kCurrent) return;
  throw DbError(
      kErrNoCurrentRecord, source_,
      row_ == RowState::kDeleted ? "No current record: the record has been deleted." : "No current record.");
}

Value PositionedRecordset::Get(int index) const {
  const std::size_t i = index;
  if (edit_ != EditMode::kNone && edited_[i]) return edits_[i];
  if (edit_ == EditMode::kAdding) return Value::Null();
  RequireCurrent();
  if (values_[i].is_empty()) {
    RequireOpen();
    return LoadField(index);
  }
  return values_[i];
}

Value PositionedRecordset::LoadField(int) const { return Value::Null(); }

void PositionedRecordset::Set(int index, const Value& value) {
  RequireOpen();
  RequireUpdatable();
  if (edit_ != EditMode::kAdding) RequireCurrent();
  const std::size_t i = index;
  if (!fields_[i].updatable) {
    throw DbError(kErrReadOnlyRecordset, source_, "The field \"" + fields_[i].name + "\" cannot be changed.");
  }
  if (edit_ == EditMode::kNone) {
    edits_.resize(fields_.size());
    edited_.assign(fields_.size(), 0);
    edit_ = EditMode::kEditing;
  }
  edits_[i] = value;
  edited_[i] = 1;
}

void PositionedRecordset::AddNew() {
  FinishEdit();
  RequireUpdatable();
  edits_.resize(fields_.size());
  edited_.assign(fields_.size(), 0);
  edit_ = EditMode::kAdding;
}

std::int64_t PositionedRecordset::Update() {
  RequireOpen();
  RequireUpdatable();
  if (edit_ == EditMode::kNone) {
    RequireCurrent();
    return 0;
  }
  changes_.clear();
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    if (edited_[i]) changes_.emplace_back(i, &edits_[i]);
  }
  // A failing write leaves the edit open, to be corrected or cancelled.
  if (edit_ == EditMode::kAdding) {
    InsertRow(changes_);
    edit_ = EditMode::kNone;
    SeekForward(Size() - 1);
  } else {
    UpdateRow(position_, changes_);
    edit_ = EditMode::kNone;
    // Reading it again shows the values as the column holds them.
    if (!Load(position_)) row_ = RowState::kDeleted;
  }
  return 1;
}

void PositionedRecordset::CancelUpdate() { edit_ = EditMode::kNone; }

void PositionedRecordset::Delete() {
  RequireOpen();
  RequireUpdatable();
  if (edit_ == EditMode::kAdding) {
    throw DbError(kErrNoCurrentRecord, source_, "No current record: the new record has not been saved.");
  }
  RequireCurrent();
  DeleteRow(position_);
  edit_ = EditMode::kNone;
  row_ = RowState::kDeleted;
  ++deleted_;
}

}  // namespace vnt::db
