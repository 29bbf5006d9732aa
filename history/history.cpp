#include "history/history.h"

#include "platform/settings.h"
#include "program/program_state.h"

namespace vnt {

void cHISTORYset::Init(std::int32_t ntc_id, const db::Value& seq_no) {
  ntc_id_ = ntc_id;
  no_match_ = false;
  std::string sql = "SELECT * from history  Where ntc_id = " + std::to_string(ntc_id);
  if (!seq_no.is_empty_or_null()) {
    sql += " and seq_no = " + seq_no.ToText();
  } else if (order == "desc") {
    sql += " ORDER BY seq_no desc";
  } else {
    sql += " ORDER BY seq_no";
  }
  if (records_.is_open()) records_.Close();
  records_.Open(sql, MainCn(), db::CursorType::kKeyset, db::LockType::kOptimistic);
  if (records_.Eof()) return;
  records_.MoveLast();
  records_.MoveFirst();
  Load();
}

void cHISTORYset::AddNew(std::int32_t ntc_id) {
  const std::string oper_id = platform::GetOperatorName();
  const double now = db::CurrentDate();

  db::Recordset highest;
  highest.Open("Select max (seq_no) as newseq_no from history where ntc_id = " + std::to_string(ntc_id),
               MainCn());
  const db::Value newseq_no = highest.Get("newseq_no");
  highest.Close();
  const std::int32_t seq_no = newseq_no.is_null() ? 1 : newseq_no.ToInt32() + 1;

  if (!records_.is_open()) Init(ntc_id);
  records_.AddNew();
  current_ = cHISTORY{.ntc_id = db::Value::Int32(ntc_id),
                      .seq_no = db::Value::Int32(seq_no),
                      .oper_id = db::Value::Text(oper_id),
                      .d_hist = db::Value::Date(now),
                      .st_cur = db::Value::Null(),
                      .hist_text = db::Value::Null()};
  records_.Set("ntc_id", current_.ntc_id);
  records_.Set("seq_no", current_.seq_no);
  records_.Set("d_hist", current_.d_hist);
  records_.Set("oper_id", current_.oper_id);
  saved_ = cHISTORY{};  // the row is not in the table yet
  marked_dirty_ = false;
}

void cHISTORYset::Save() {
  if (current_.d_hist.type() != db::ValueType::kDate) current_.d_hist = db::Value::Date(db::CurrentDate());
  if (current_.st_cur.is_empty_or_null() || current_.st_cur.ToText().empty()) {
    current_.st_cur = db::Value::Text(StatusOfNotice());
  }
  records_.Set("ntc_id", current_.ntc_id);
  records_.Set("seq_no", current_.seq_no);
  records_.Set("oper_id", current_.oper_id);
  records_.Set("d_hist", current_.d_hist);
  records_.Set("st_cur", current_.st_cur);
  records_.Set("hist_text", current_.hist_text);
  records_.Update();
  Dirty(false);
}

std::string cHISTORYset::StatusOfNotice() const {
  db::Recordset notice;
  notice.Open(
      "select ntc_id, st_cur from notice"
      " where ntc_id = " +
          current_.ntc_id.ToText(),
      MainCn());
  if (notice.Eof()) return {};
  const db::Value st_cur = notice.Get("st_cur");
  return st_cur.is_null() ? std::string() : st_cur.ToText();
}

void cHISTORYset::Reposition(std::string_view where) {
  no_match_ = false;
  if (records_.Eof() && records_.Bof()) {  // no rows at all
    no_match_ = true;
    return;
  }
  if (where == "FIRST") {
    records_.MoveFirst();
  } else if (where == "LAST") {
    records_.MoveLast();
  } else if (where == "NEXT") {
    records_.MoveNext();
  } else if (where == "PREVIOUS") {
    records_.MovePrevious();
  } else {
    const std::int32_t wanted = db::Value::Text(std::string(where)).ToInt32();
    records_.MoveFirst();
    while (!records_.Eof() && records_.Get("seq_no").ToInt32() != wanted) records_.MoveNext();
    no_match_ = records_.Eof();
  }
  if (!records_.Eof() && !records_.Bof()) Load();
}

void cHISTORYset::Remove() {
  records_.Delete();
  records_.MoveNext();
  if (!records_.Eof()) Load();
}

void cHISTORYset::RemoveALL() {
  MainCn().Execute("Delete from history where ntc_id = " + std::to_string(ntc_id_));
  current_ = cHISTORY{};
  Dirty(false);
  Init(ntc_id_);
}

void cHISTORYset::Dirty(bool dirty) {
  marked_dirty_ = dirty;
  if (!dirty) saved_ = current_;
}

std::int32_t cHISTORYset::count() const {
  return records_.is_open() ? static_cast<std::int32_t>(records_.RecordCount()) : 0;
}

void cHISTORYset::Load() {
  current_ = cHISTORY{.ntc_id = records_.Get("ntc_id"),
                      .seq_no = records_.Get("seq_no"),
                      .oper_id = records_.Get("oper_id"),
                      .d_hist = records_.Get("d_hist"),
                      .st_cur = records_.Get("st_cur"),
                      .hist_text = records_.Get("hist_text")};
  Dirty(false);
}

void WriteHistoryStamp(std::int32_t ntc_id, const std::string& st_cur) {
  cHISTORYset history;
  history.AddNew(ntc_id);
  const db::DateParts now = db::SplitDate(db::CurrentDate());
  cHISTORY& row = history.CurrentObject();
  row.st_cur = db::Value::Text(st_cur);
  // Hour and minute are plain numbers: five past nine is "9:5".
  row.hist_text = db::Value::Text("VNTFixEN " + std::to_string(VNT_VERSION_MAJOR) + "." +
                                  std::to_string(VNT_VERSION_MINOR) + "." +
                                  std::to_string(VNT_VERSION_REVISION) + State().run_remark + " at " +
                                  std::to_string(now.hour) + ":" + std::to_string(now.minute));
  history.Save();
}

}  // namespace vnt
