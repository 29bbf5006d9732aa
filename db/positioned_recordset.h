// A recordset over a list of rows that is fixed when it is opened (and grows by the rows it adds): the moves,
// the current row and the edits that keysets and snapshots of all providers share.
//
//   position   -1 before the first row, 0 .. Size()-1, Size() after the last
//
// The current row's values are those it had when the position arrived at it, or that Update() wrote.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "db/provider.h"

namespace vnt::db {

struct RecordsetField {
  std::string name;
  bool updatable = false;
};

// Field positions and the values they are to get.
using FieldChanges = std::vector<std::pair<int, const Value*>>;

class PositionedRecordset : public ProviderRecordset {
 public:
  bool Eof() const override;
  bool Bof() const override;
  void MoveNext() override;
  void MovePrevious() override;
  void MoveFirst() override;
  void MoveLast() override;
  std::int64_t RecordCount() const override;
  int FieldCount() const override { return fields_.size(); }
  const std::string& FieldName(int index) const override;
  Value Get(int index) const override;
  void Set(int index, const Value& value) override;
  void AddNew() override;
  std::int64_t Update() override;
  void CancelUpdate() override;
  void Delete() override;

 protected:
  PositionedRecordset(const char* source, bool forward_only) : source_(source), forward_only_(forward_only) {}

  // Goes to the first row; called when the list is complete.
  void Start();

  virtual std::int64_t Size() const = 0;
  // Reads the row at a position into values_; false when it is not there any more.
  virtual bool Load(std::int64_t position) = 0;
  // The value of a field that Load() left Empty, to be read when it is asked for.
  virtual Value LoadField(int field) const;
  virtual void UpdateRow(std::int64_t position, const FieldChanges& changes) = 0;
  // Adds the row and, to the list, its position at the end.
  virtual void InsertRow(const FieldChanges& changes) = 0;
  virtual void DeleteRow(std::int64_t position) = 0;
  // DbError kErrReadOnlyRecordset when rows cannot be changed.
  virtual void RequireUpdatable() const = 0;
  // DbError kErrObjectClosed when the connection has been closed.
  virtual void RequireOpen() const {}

  std::vector<RecordsetField> fields_;
  std::vector<Value> values_;

 private:
  enum class RowState { kNone, kCurrent, kDeleted };
  enum class EditMode { kNone, kEditing, kAdding };

  bool SeekForward(std::int64_t from);
  bool SeekBackward(std::int64_t from);
  void FinishEdit();
  void RequireCurrent() const;
  void RequireScrolling() const;

  const char* source_;
  bool forward_only_;
  bool bof_ = true, eof_ = true;
  RowState row_ = RowState::kNone;
  EditMode edit_ = EditMode::kNone;
  std::int64_t position_ = -1;
  std::int64_t deleted_ = 0;
  std::vector<Value> edits_;          // per field; empty until the first Set
  std::vector<std::uint8_t> edited_;  // per field
  FieldChanges changes_;              // of the row that is being written
};

}  // namespace vnt::db
