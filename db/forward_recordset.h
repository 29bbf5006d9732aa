// What the forward-only recordsets of the providers share: one row at a time, as the source gives them; none
// can be changed.
#pragma once

#include "db/provider.h"

namespace vnt::db {

class ForwardRecordset : public ProviderRecordset {
 public:
  bool Eof() const override { return !has_row_; }
  bool Bof() const override { return first_ && !has_row_; }
  void MoveNext() override;
  void MoveFirst() override;
  void MovePrevious() override;
  void MoveLast() override;
  std::int64_t RecordCount() const override { return -1; }
  void Set(int field, const Value& value) override;
  void AddNew() override;
  std::int64_t Update() override;
  void CancelUpdate() override {}
  void Delete() override;

 protected:
  explicit ForwardRecordset(const char* source) : source_(source) {}

  // Runs the query and goes to its first row, when the recordset is opened.
  void Start() { has_row_ = Restart(); }
  // DbError kErrObjectClosed when the connection has been closed, 3021 when there is no current row.
  void RequireRow() const;

  // Runs the query, again if need be, and goes to its first row, or to the next one; false when there is
  // none.
  virtual bool Restart() = 0;
  virtual bool Step() = 0;
  // DbError kErrObjectClosed when the connection has been closed.
  virtual void RequireOpen() const = 0;

 private:
  const char* source_;
  bool has_row_ = false;
  bool first_ = true;
};

[[noreturn]] void ThrowNotUpdatable(const char* source);

}  // namespace vnt::db
