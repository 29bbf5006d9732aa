// History rows: numbering, cursor, completion on Save, and the stamp.

#include <gtest/gtest.h>

#include <regex>

#include "history/history.h"
#include "platform/settings.h"
#include "tests/program/notice_database.h"

namespace vnt::test {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kThreeRows = R"(
  insert into notice (ntc_id, st_cur) values (7, '05');
  insert into history (ntc_id, seq_no, st_cur, hist_text) values (7, 1, '01', 'one');
  insert into history (ntc_id, seq_no, st_cur, hist_text) values (7, 3, '01', 'three');
  insert into history (ntc_id, seq_no, st_cur, hist_text) values (7, 8, '01', 'eight');
  insert into history (ntc_id, seq_no, st_cur, hist_text) values (9, 99, '01', 'other notice'))";

TEST(History, StampsAreNumberedAfterTheHighest) {
  NoticeDatabase database;
  database.Run(kThreeRows);
  database.state.run_remark = " Potential Pattern Errors ";
  WriteHistoryStamp(7, "02");
  WriteHistoryStamp(8, "01");
  WriteHistoryStamp(7, "02");
  EXPECT_EQ(
      database.Rows("select ntc_id, seq_no, st_cur, oper_id from history where seq_no > 8 or ntc_id = 8 "
                    "order by ntc_id, seq_no"),
      (Lines{"7|9|02|" + platform::GetOperatorName(), "7|10|02|" + platform::GetOperatorName(),
             "8|1|01|" + platform::GetOperatorName(), "9|99|01|-"}));
  const Lines text = database.Rows("select hist_text from history where ntc_id = 8");
  ASSERT_EQ(text.size(), 1U);
  EXPECT_TRUE(std::regex_match(
      text[0], std::regex(R"(VNTFixEN 7\.0\.0 Potential Pattern Errors  at \d{1,2}:\d{1,2})")))
      << text[0];
}

TEST(History, SaveCompletesDateAndStatus) {
  NoticeDatabase database;
  database.Run(kThreeRows);
  database.Run(
      "insert into notice (ntc_id) values (6); insert into notice (ntc_id, st_cur) values (9, '07')");
  for (const std::int32_t ntc_id : {6, 7, 9}) {
    cHISTORYset history;
    history.AddNew(ntc_id);
    if (ntc_id == 9) history.CurrentObject().st_cur = db::Value::Text("");
    history.CurrentObject().d_hist = db::Value::Text("soon");
    history.CurrentObject().hist_text = db::Value::Text("mine");
    EXPECT_TRUE(history.Dirty());
    history.Save();
    EXPECT_FALSE(history.Dirty());
    EXPECT_EQ(history.CurrentObject().d_hist.type(), db::ValueType::kDate);
  }
  EXPECT_EQ(
      database.Rows("select ntc_id, seq_no, st_cur from history where hist_text = 'mine' order by ntc_id"),
      (Lines{"6|1|", "7|9|05", "9|100|07"}));
}

TEST(History, CursorGoesEitherWay) {
  NoticeDatabase database;
  database.Run(kThreeRows);
  cHISTORYset history;
  const auto text = [&] { return history.CurrentObject().hist_text.ToText(); };
  history.Init(7);
  EXPECT_EQ(history.count(), 3);
  EXPECT_EQ(text(), "eight");
  history.Reposition("NEXT");
  EXPECT_EQ(text(), "three");
  history.Reposition("LAST");
  EXPECT_EQ(text(), "one");
  history.Reposition("PREVIOUS");
  EXPECT_EQ(text(), "three");
  history.Reposition("8");
  EXPECT_EQ(text(), "eight");
  EXPECT_FALSE(history.NoMatch());
  history.Reposition("2");
  EXPECT_TRUE(history.NoMatch());
  EXPECT_TRUE(history.Eof());
  EXPECT_EQ(text(), "eight");  // no row, so the object stays

  history.order = "asc";
  history.Init(7);
  EXPECT_EQ(text(), "one");
  history.Init(7, db::Value::Int32(3));
  EXPECT_EQ(history.count(), 1);
  EXPECT_EQ(text(), "three");
  history.CurrentObject().hist_text = db::Value::Text("changed");
  EXPECT_TRUE(history.Dirty());
  history.Save();
  EXPECT_EQ(database.Rows("select hist_text from history where ntc_id = 7 and seq_no = 3"),
            (Lines{"changed"}));
}

TEST(History, RemovesOneRowOrAll) {
  NoticeDatabase database;
  database.Run(kThreeRows);
  cHISTORYset history;
  history.Init(7);
  history.Remove();
  EXPECT_EQ(history.CurrentObject().seq_no.ToInt32(), 3);
  EXPECT_EQ(database.Rows("select seq_no from history order by seq_no"), (Lines{"1", "3", "99"}));
  history.RemoveALL();
  EXPECT_TRUE(history.Eof());
  EXPECT_EQ(database.Rows("select seq_no from history"), (Lines{"99"}));
}

}  // namespace
}  // namespace vnt::test
