// Opening of an Access database: two connections, read-only test, version, refresh of version 5.0.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "run/guards.h"
#include "tests/program/notice_database.h"

namespace vnt::test {
namespace {

using Lines = std::vector<std::string>;

TEST(Guards, VersionIsThatOfTheNewestRow) {
  NoticeDatabase database;
  database.Run(R"(insert into vnt_ooak (version_no, version_no_sub) values (6, 9);
                  insert into vnt_ooak (version_no, version_no_sub) values (7, 2))");
  database.CloseAll();
  OpenAccessDatabase();
  EXPECT_EQ(database.state.version_no, 7);
  EXPECT_EQ(database.state.version_no_sub, 2);
  EXPECT_FALSE(database.state.read_only);
  EXPECT_TRUE(database.state.second_connection->has_connection());
  database.Run("update vnt_ooak set version_no_sub = null, version_no = 8 where version_no = 7");
  ReadDatabaseVersion();
  EXPECT_EQ(database.state.version_no, 8);
  EXPECT_EQ(database.state.version_no_sub, 2);  // Null leaves the old one
  database.Run("drop table vnt_ooak");
  ReadDatabaseVersion();
  EXPECT_EQ(database.state.version_no, 8);
  EXPECT_TRUE(database.messages.shown.empty());
}

TEST(Guards, ANoticeLacksOnlyWhereTheDatabaseSaysSo) {
  NoticeDatabase database;
  database.Run("insert into notice (ntc_id) values (5)");
  EXPECT_FALSE(LacksNotice(5));
  EXPECT_TRUE(LacksNotice(6));
  database.Run("drop table notice");
  EXPECT_FALSE(LacksNotice(6)) << "nobody can tell";
}

TEST(Guards, BothConnectionsSeeTheSameRows) {
  NoticeDatabase database;
  database.Run("insert into notice (ntc_id) values (5)");
  db::Recordset rows;
  rows.Open("select ntc_id from notice", database.state.second_connection->Cn());
  ASSERT_FALSE(rows.Eof());
  EXPECT_EQ(rows.Get("ntc_id").ToInt32(), 5);
}

TEST(Guards, ReadOnlyIsToldAndEndsAnActiveStart) {
  NoticeDatabase database;
  database.Run("insert into vnt_ooak (version_no, version_no_sub) values (7, 0)");
  database.CloseAll();
  database.files().SetReadOnly(NoticeDatabase::kNotice, true);
  const Lines kMessage{"critical: Database is readonly.  VNTFixdb cannot update a readonly database."};
  OpenAccessDatabase();
  EXPECT_TRUE(database.state.read_only);
  EXPECT_EQ(database.state.version_no, 7);
  EXPECT_EQ(database.messages.shown, kMessage);
  EXPECT_FALSE(database.state.read_only_reason.empty());
  EXPECT_EQ(database.messages.explanations, Lines{database.state.read_only_reason});
  database.messages.shown.clear();
  database.state.active = true;
  EXPECT_THROW(OpenAccessDatabase(), EndProgram);
  EXPECT_EQ(database.messages.shown, kMessage);
}

// What cannot be read is not what cannot be written: the failure is told as it is, and nothing is opened.
TEST(Guards, AFailingReadIsNotReadOnly) {
  NoticeDatabase database;
  database.Run("insert into vnt_ooak (version_no, version_no_sub) values (7, 0)");
  database.CloseAll();
  int failed = 0;
  for (std::uint64_t n = 1; n < 200; ++n) {
    SCOPED_TRACE(n);
    database.files().FailReadAt(database.files().reads() + n);
    const std::uint64_t before = database.files().reads();
    try {
      OpenAccessDatabase();
      if (database.files().reads() < before + n) break;
    } catch (const db::DbError& error) {
      ++failed;
      EXPECT_TRUE(error.is_environment()) << error.description();
    }
    EXPECT_FALSE(database.state.read_only);
    EXPECT_TRUE(database.messages.shown.empty());
    database.CloseAll();
  }
  database.files().FailReadAt(0);
  EXPECT_GT(failed, 5);
}

TEST(Guards, WhyADatabaseIsReadOnlyIsKnownUntilAnotherIsOpened) {
  NoticeDatabase database;
  database.Run("insert into vnt_ooak (version_no, version_no_sub) values (7, 0)");
  database.CloseAll();
  database.files().SetReadOnly(NoticeDatabase::kNotice, true);
  OpenAccessDatabase();
  EXPECT_THAT(database.state.read_only_reason, ::testing::HasSubstr("is marked as read-only"));
  database.CloseAll();
  database.files().SetReadOnly(NoticeDatabase::kNotice, false);
  OpenAccessDatabase();
  EXPECT_EQ(database.state.read_only_reason, "");
}

TEST(Guards, AnEmptyVersionTablePassesAsWritable) {
  NoticeDatabase database;
  database.CloseAll();
  OpenAccessDatabase();
  EXPECT_FALSE(database.state.read_only);
  EXPECT_EQ(database.state.version_no, 0);
}

TEST(Guards, AFailedOpenLeavesTheDatabaseBefore) {
  NoticeDatabase database;
  database.state.version_no = 7;
  const db::cadodb* main = database.state.main_connection.get();
  database.state.current_database = "missing.mdb";
  EXPECT_THROW(OpenAccessDatabase(), db::DbError);
  EXPECT_EQ(database.state.main_connection.get(), main);
  EXPECT_EQ(database.state.version_no, 7);
  EXPECT_NO_THROW(database.Run("insert into notice (ntc_id) values (1)"));
}

TEST(Guards, Version50IsRefreshedAtEachOpening) {
  for (const int sub : {0, 1}) {
    NoticeDatabase database;
    database.RunOn(NoticeDatabase::kTemplate,
                   R"(insert into vnt_ooak (version_no, version_no_sub) values (7, 3);
                      insert into c_pfd (ntc_id, seq_no, bdwdth) values (0, 1, 4))");
    database.Run("insert into vnt_ooak (version_no, version_no_sub) values (5, " + std::to_string(sub) + ")");
    database.Run(R"(insert into notice (ntc_id, ntc_type) values (1, 'N');
                    insert into c_pfd (ntc_id, seq_no, freq_min, freq_max, pfd, bdwdth)
                      values (1, 2, 4990, 5000, -170, 9))");
    database.CloseAll();
    OpenAccessDatabase();
    const Lines version = database.Rows("select version_no, version_no_sub from vnt_ooak");
    const Lines limits = database.Rows("select ntc_id, seq_no, pfd, bdwdth from c_pfd order by ntc_id");
    if (sub == 0) {
      EXPECT_EQ(version, Lines{"7|3"});
      EXPECT_EQ(limits, (Lines{"0|1|-|4", "1|2|-170|10000"}));
      EXPECT_EQ(database.state.version_no, 5);  // as it was read
    } else {
      EXPECT_EQ(version, Lines{"5|1"});
      EXPECT_EQ(limits, Lines{"1|2|-170|9"});
    }
  }
}

TEST(Guards, AFailedRefreshLeavesTheDatabaseBefore) {
  NoticeDatabase database;
  database.Run("insert into vnt_ooak (version_no, version_no_sub) values (5, 0)");
  database.settings.Set("GLOBAL", "EmptyDBV6", "missing.mdb");
  const db::cadodb* main = database.state.main_connection.get();
  try {
    OpenAccessDatabase();
    ADD_FAILURE() << "opened without its template";
  } catch (const db::DbError& error) {
    EXPECT_NE(error.description().find("the setting EmptyDBV6 in section GLOBAL of KV_SOFT.ini names: "
                                       "missing.mdb"),
              std::string::npos)
        << error.description();
  }
  EXPECT_EQ(database.state.main_connection.get(), main);
  EXPECT_EQ(database.state.version_no, 0);
}

}  // namespace
}  // namespace vnt::test
