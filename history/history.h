// The history of a notice: one row for each time it was worked on, numbered from 1.
//
//   ntc_id     the notice
//   seq_no     running number within the notice
//   oper_id    who made the row: the upper-cased user name
//   d_hist     when
//   st_cur     the notice's status then ("01")
//   hist_text  free text
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "db/connection.h"

namespace vnt {

// One history row in memory.
class cHISTORY {
 public:
  db::Value ntc_id = db::Value::Null();
  db::Value seq_no = db::Value::Null();
  db::Value oper_id = db::Value::Null();
  db::Value d_hist = db::Value::Null();
  db::Value st_cur = db::Value::Null();
  db::Value hist_text = db::Value::Null();

  bool operator==(const cHISTORY&) const = default;
};

// A cursor over the history rows of one notice, on the main connection. Every failure is a DbError for the
// caller. The run only appends; what goes through rows and removes them is here by design.
class cHISTORYset {
 public:
  cHISTORYset() = default;
  cHISTORYset(const cHISTORYset&) = delete;
  cHISTORYset& operator=(const cHISTORYset&) = delete;

  // Appends a row for the notice, numbered one above the highest, and makes it current; Save writes it.
  void AddNew(std::int32_t ntc_id);
  std::int32_t count() const;
  // Callers change its properties and call Save.
  cHISTORY& CurrentObject() { return current_; }
  // Whether the current object differs from its row. Set to false, the object as it is counts as saved; set
  // to true, as changed.
  bool Dirty() const { return marked_dirty_ || current_ != saved_; }
  void Dirty(bool dirty);
  bool Eof() const { return !records_.is_open() || records_.Eof(); }
  bool bof() const { return !records_.is_open() || records_.Bof(); }
  // Selects the rows of a notice, or the one with that number.
  void Init(std::int32_t ntc_id, const db::Value& seq_no = db::Value::Null());
  // Deletes the current row and goes to the next one.
  void Remove();
  // "FIRST", "LAST", "NEXT", "PREVIOUS", or the number of a row; NoMatch when there is no row of that number.
  void Reposition(std::string_view where);
  // Writes the current object into the current row. A missing date becomes now; a missing status that of the
  // notice.
  void Save();
  // Deletes all rows of the notice.
  void RemoveALL();
  bool NoMatch() const { return no_match_; }

  // "desc": newest first; any other text: oldest first.
  std::string order = "desc";

 private:
  void Load();
  std::string StatusOfNotice() const;

  db::Recordset records_;
  std::int32_t ntc_id_ = 0;
  bool no_match_ = false;
  bool marked_dirty_ = false;
  cHISTORY current_;
  cHISTORY saved_;
};

// Appends the row that says that a run of the fixes went over the notice: program version, run remark, hour
// and minute. Costs the same whatever the size of the table.
void WriteHistoryStamp(std::int32_t ntc_id, const std::string& st_cur);

}  // namespace vnt
