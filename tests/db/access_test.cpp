// The provider contract on Access files of both formats and on databases in memory, and what is particular to
// them: sharing, reading only, checkpoints.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "access/base/error.h"
#include "access/file/test_files.h"
#include "access/store/database.h"
#include "db/access_provider/access_provider.h"
#include "db/services.h"
#include "platform/in_force.h"
#include "tests/db/provider_contract.h"
#include "tests/process.h"

namespace vnt::db {
namespace {

class AccessFileProvider : public TestProvider {
 public:
  explicit AccessFileProvider(jet::Format format) : format_(format) {}
  ~AccessFileProvider() override { std::filesystem::remove_all(folder_); }

  void SetUp() override {
    folder_ = test::NewFolder("vnt-db-");
    path_ = (folder_ / (format_ == jet::Format::kJet4 ? "test.mdb" : "test.accdb")).string();
    jet::Database::Create(jet::PlatformFileSystem(), path_, format_);
  }
  void Open(Connection& connection) override {
    connection.Open((format_ == jet::Format::kJet4 ? "Provider=Microsoft.Jet.OLEDB.4.0;Data Source="
                                                   : "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=") +
                    path_);
  }
  std::string Type(const std::string& name) const override {
    static const std::map<std::string, std::string> kTypes = {
        {"long", "LONG"}, {"short", "SHORT"},   {"single", "SINGLE"},       {"double", "DOUBLE"},
        {"memo", "MEMO"}, {"date", "DATETIME"}, {"bytes", "VARBINARY(50)"}, {"decimal", "DECIMAL(18,4)"}};
    const auto found = kTypes.find(name);
    return found == kTypes.end() ? "TEXT" + name.substr(4) : found->second;
  }
  bool native_numbers() const override { return false; }

 private:
  jet::Format format_;
  std::filesystem::path folder_;
  std::string path_;
};

class MemoryProvider : public AccessFileProvider {
 public:
  MemoryProvider() : AccessFileProvider(jet::Format::kAce14) {}
  ~MemoryProvider() override { platform::InForce<Services>().files = nullptr; }
  void SetUp() override {
    jet::Database::Create(files_, "/db/memory.accdb", jet::Format::kAce14);
    platform::InForce<Services>().files = &files_;
  }
  void Open(Connection& connection) override {
    connection.Open("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=/db/memory.accdb");
  }

 private:
  jet::MemoryFileSystem files_;
};

INSTANTIATE_TEST_SUITE_P(
    Access, ProviderContract,
    testing::Values(
        ProviderParam{"Jet4", [] { return std::make_unique<AccessFileProvider>(jet::Format::kJet4); }},
        ProviderParam{"Ace14", [] { return std::make_unique<AccessFileProvider>(jet::Format::kAce14); }},
        ProviderParam{"Memory", [] { return std::make_unique<MemoryProvider>(); }}),
    ParamName);

class AccessFiles : public testing::Test {
 protected:
  void SetUp() override {
    platform::InForce<Services>().files = &files_;
    for (const char* path : {"/main.mdb", "/template.mdb"}) {
      jet::Database::Create(files_, path, jet::Format::kJet4);
      Connection cn;
      Open(cn, path);
      cn.Execute("CREATE TABLE t (k LONG NOT NULL, s TEXT(50), CONSTRAINT pk_t PRIMARY KEY (k))");
      cn.Execute("INSERT INTO t VALUES (1, '" + std::string(path) + "')");
      cn.Close();
    }
  }
  void TearDown() override { platform::InForce<Services>().files = nullptr; }

  static void Open(Connection& cn, const std::string& path, AccessMode mode = AccessMode::kReadWrite) {
    cn.Mode = mode;
    cn.Open("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + path + ";");
  }
  static std::string First(Connection& cn, const std::string& sql) {
    Recordset rs;
    rs.Open(sql, cn);
    return rs.Eof() ? "nothing" : rs.Get(0).is_null() ? "Null" : rs.Get(0).ToText();
  }

  jet::MemoryFileSystem files_;
};

// Between runs a file belongs to whoever wants it, and the next use finds what has that name then.
TEST_F(AccessFiles, AReleasedConnectionHoldsNothing) {
  Connection cn, second;
  Open(cn, "/main.mdb");
  Open(second, "/main.mdb");
  cn.Execute("INSERT INTO t VALUES (2, 'kept')");
  Recordset rows;
  rows.Open("SELECT * FROM t", second, CursorType::kKeyset, LockType::kOptimistic);
  cn.Release();
  second.Release();
  EXPECT_TRUE(cn.is_open());
  EXPECT_THROW(rows.MoveNext(), DbError);
  EXPECT_FALSE(files_.Exists("/main.mdb-vntjournal"));
  {
    const auto other = jet::Database::Open(files_, "/main.mdb", jet::OpenMode::kReadWrite);
    EXPECT_EQ(other->FindTable("t")->row_count(), 2u);
  }
  files_.SetContent("/main.mdb", files_.Content("/template.mdb"));
  EXPECT_EQ(First(second, "SELECT s FROM t"), "/template.mdb");
  EXPECT_EQ(cn.Execute("INSERT INTO t VALUES (5, 'new')"), 1);
  cn.Release();
  second.Release();
  files_.SetReadOnly("/main.mdb", true);
  EXPECT_THROW(cn.Resume(), DbError);
  files_.SetReadOnly("/main.mdb", false);
  cn.Resume();
  EXPECT_EQ(First(cn, "SELECT COUNT(*) FROM t"), "2");
  cn.Release();
  files_.Remove("/main.mdb");
  EXPECT_THROW(cn.Resume(), DbError);
  EXPECT_THROW(second.Execute("DELETE FROM t"), DbError);
}

TEST_F(AccessFiles, WhatCannotBeSavedIsReadOnlyAndSaysWhy) {
  const auto refusal = [&](const std::string& path) -> std::string {
    Connection cn;
    Open(cn, path);
    try {
      cn.Execute("UPDATE t SET s = 'x'");
    } catch (const DbError& error) {
      EXPECT_EQ(error.number(), kErrReadOnly);
      return error.description();
    }
    return {};
  };
  EXPECT_EQ(refusal("/main.mdb"), "");
  files_.SetReadOnly("", true);  // the folder
  EXPECT_NE(refusal("/main.mdb").find("no journal can be made beside it"), std::string::npos);
  files_.SetReadOnly("", false);
  files_.Link("/main.mdb", "/linked.mdb");
  EXPECT_NE(refusal("/linked.mdb").find("another name (a hard link)"), std::string::npos);
  files_.Remove("/linked.mdb");
  EXPECT_EQ(refusal("/main.mdb"), "");
}

TEST_F(AccessFiles, RevertToMarkUndoesWhatEveryConnectionDid) {
  Connection first, second;
  Open(first, "/main.mdb");
  Open(second, "/main.mdb");
  first.Execute("INSERT INTO t VALUES (2, 'kept')");
  first.Mark();
  first.Execute("INSERT INTO t VALUES (3, 'undone')");
  second.Execute("UPDATE t SET s = 'undone' WHERE k = 1");
  second.Execute("CREATE TABLE undone (a LONG)");
  EXPECT_TRUE(first.RevertToMark());
  EXPECT_THROW(second.Execute("INSERT INTO undone VALUES (1)"), DbError);
  EXPECT_EQ(first.Execute("UPDATE t SET s = 'after' WHERE s = 'undone' OR k > 2"), 0);
  EXPECT_EQ(second.Execute("INSERT INTO t VALUES (3, 'again')"), 1);
  first.Close();
  second.Close();
  Connection again;
  Open(again, "/main.mdb", AccessMode::kRead);
  Recordset rows;
  rows.Open("SELECT k, s FROM t ORDER BY k", again, CursorType::kStatic);
  EXPECT_EQ(rows.RecordCount(), 3);
  rows.MoveLast();
  EXPECT_EQ(rows.Get("s").ToText(), "again");
}

TEST_F(AccessFiles, ConnectionsShareTheDatabase) {
  Connection first, second, reader;
  Open(first, "/main.mdb");
  Open(second, "/main.mdb");
  Open(reader, "/main.mdb", AccessMode::kRead);
  first.Execute("UPDATE t SET s = 'shared' WHERE k = 1");
  EXPECT_EQ(First(second, "SELECT s FROM t"), "shared");
  EXPECT_EQ(First(reader, "SELECT s FROM t"), "shared");

  // The reading one changes nothing, although the file is open for writing.
  for (const char* sql :
       {"DELETE FROM t", "SELECT * INTO u FROM t", "DROP TABLE t", "INSERT INTO t VALUES (2, NULL)"})
    EXPECT_EQ(ErrorNumber([&] { reader.Execute(sql); }), kErrReadOnly) << sql;
  Recordset rs;
  rs.Open("SELECT * FROM t", reader, CursorType::kKeyset, LockType::kOptimistic);
  EXPECT_EQ(ErrorNumber([&] { rs.Set("s", Value::Null()); }), kErrReadOnly);
  EXPECT_EQ(ErrorNumber([&] { rs.Delete(); }), kErrReadOnly);

  first.Close();
  EXPECT_EQ(First(second, "SELECT s FROM t"), "shared");
}

TEST_F(AccessFiles, ClosingMakesChangesDurable) {
  const std::string before = files_.Content("/main.mdb");
  Connection cn;
  Open(cn, "/main.mdb");
  cn.Execute("UPDATE t SET s = 'new' WHERE k = 1");
  EXPECT_TRUE(files_.Content("/main.mdb") == before);
  cn.Close();
  Open(cn, "/main.mdb");
  EXPECT_EQ(First(cn, "SELECT s FROM t"), "new");
  cn.Close();
  {
    Connection dropped;
    Open(dropped, "/main.mdb");
    dropped.Execute("UPDATE t SET s = 'by the destructor' WHERE k = 1");
  }
  Open(cn, "/main.mdb");
  EXPECT_EQ(First(cn, "SELECT s FROM t"), "by the destructor");
}

TEST_F(AccessFiles, FailingCheckpointIsReportedByClose) {
  Connection cn;
  Open(cn, "/main.mdb");
  cn.Execute("UPDATE t SET s = 'lost' WHERE k = 1");
  files_.FailAt(files_.operations() + 1, jet::MemoryFileSystem::Failure::kFull);
  EXPECT_NE(ErrorNumber([&] { cn.Close(); }), 0);
  files_.FailAt(0, jet::MemoryFileSystem::Failure::kFull);
  EXPECT_FALSE(cn.is_open());
  Open(cn, "/main.mdb");
  EXPECT_EQ(First(cn, "SELECT s FROM t"), "/main.mdb");
}

TEST_F(AccessFiles, FileThatCannotBeWrittenIsRead) {
  files_.SetReadOnly("/main.mdb", true);
  Connection cn, second;
  Open(cn, "/main.mdb");
  Open(second, "/main.mdb");
  EXPECT_EQ(First(second, "SELECT s FROM t"), "/main.mdb");
  EXPECT_EQ(ErrorNumber([&] { cn.Execute("UPDATE t SET s = NULL"); }), kErrReadOnly);
  Recordset rs;
  rs.Open("select * from t order by k desc", cn, CursorType::kKeyset, LockType::kOptimistic);
  EXPECT_EQ(ErrorNumber([&] {
              rs.Set("k", rs.Get("k"));
              rs.Update();
            }),
            kErrReadOnly);
}

TEST_F(AccessFiles, StatementsReadOtherFiles) {
  Connection cn;
  Open(cn, "/main.mdb");
  EXPECT_EQ(cn.Execute("SELECT * INTO copied FROM t IN '/template.mdb'"), 1);
  EXPECT_EQ(First(cn, "SELECT s FROM copied"), "/template.mdb");
  EXPECT_EQ(ErrorNumber([&] { cn.Execute("SELECT * INTO other FROM t IN '/missing.mdb'"); }), kErrFailed);
  // A file that a connection holds for writing is read through it.
  Connection other;
  Open(other, "/main.mdb");
  other.Execute("INSERT INTO t SELECT k + 1 AS k, s FROM copied");
  EXPECT_EQ(First(other, "SELECT COUNT(*) FROM t IN '/main.mdb'"), "2");
}

TEST_F(AccessFiles, NewRowsTakeDefaults) {
  Connection cn;
  Open(cn, "/main.mdb");
  cn.Execute("CREATE TABLE d (id COUNTER, n SHORT DEFAULT 7, s TEXT(10) DEFAULT \"x\", y YESNO, m MEMO)");
  Recordset rs;
  rs.Open("SELECT n, m, id, s, y, len(s) AS l FROM d", cn, CursorType::kKeyset, LockType::kOptimistic);
  rs.AddNew();
  rs.Set("m", Value::Text("first"));
  rs.Update();
  rs.AddNew();
  rs.Set("n", Value::Null());
  rs.Set("y", Value::Boolean(true));
  rs.Update();
  EXPECT_EQ(rs.Get("id").ToInt32(), 2);
  EXPECT_TRUE(rs.Get("n").is_null());
  EXPECT_TRUE(rs.Get("y") == Value::Boolean(true));
  EXPECT_EQ(ErrorNumber([&] { rs.Set("l", Value::Int32(1)); }), kErrReadOnlyRecordset);
  rs.MoveFirst();
  EXPECT_EQ(rs.Get("n").ToInt16(), 7);
  EXPECT_EQ(rs.Get("s").ToText(), "x");
  EXPECT_TRUE(rs.Get("y") == Value::Boolean(false));
  EXPECT_EQ(rs.Get("m").ToText(), "first");
}

TEST_F(AccessFiles, TheRowOfAKeysetStaysWhatItWasWhenItWasReached) {
  Connection cn;
  Open(cn, "/main.mdb");
  cn.Execute("CREATE TABLE u (k LONG, n SHORT, d DOUBLE, s TEXT(50))");
  for (int i = 1; i <= 3; ++i)
    cn.Execute("INSERT INTO u VALUES (" + std::to_string(i) + ", 7, 0.5, 'short')");
  Recordset rs;
  rs.Open("SELECT s, d, n FROM u ORDER BY k", cn, CursorType::kKeyset, LockType::kOptimistic);
  const auto row = [&] {
    return rs.Get("S").ToText() + " " + rs.Get("D").ToText() + " " + rs.Get("N").TextOr("null");
  };
  // Changed in place, moved to another page, taken off the page.
  cn.Execute("UPDATE u SET n = 8, d = 1.5");
  EXPECT_EQ(row(), "short 0.5 7");
  for (int i = 0; i < 200; ++i) cn.Execute("INSERT INTO u VALUES (9, 9, 9, '" + std::string(50, 'x') + "')");
  cn.Execute("UPDATE u SET s = 'a text that is longer than what was there before'");
  EXPECT_EQ(row(), "short 0.5 7");
  rs.Set("n", Value::Null());
  EXPECT_EQ(row(), "short 0.5 null");
  rs.Update();
  EXPECT_EQ(row(), "a text that is longer than what was there before 1.5 null");
  cn.Execute("DELETE FROM u WHERE k < 3");
  EXPECT_EQ(row(), "a text that is longer than what was there before 1.5 null");
  rs.MoveNext();
  EXPECT_EQ(row(), "a text that is longer than what was there before 1.5 8");
  cn.Close();
  EXPECT_EQ(ErrorNumber([&] { rs.Get("n"); }), kErrObjectClosed);
}

TEST_F(AccessFiles, DroppedTableLeavesItsKeysetHarmless) {
  Connection cn;
  Open(cn, "/main.mdb");
  cn.Execute("CREATE TABLE u (a LONG)");
  cn.Execute("INSERT INTO u VALUES (1)");
  Recordset rs;
  rs.Open("SELECT * FROM u", cn, CursorType::kKeyset, LockType::kOptimistic);
  const std::int32_t dropped = ErrorNumber([&] { cn.Execute("DROP TABLE u"); });
  if (dropped == 0) {
    cn.Execute("CREATE TABLE w (b TEXT(50))");
    for (int i = 0; i < 100; ++i) cn.Execute("INSERT INTO w VALUES ('something else')");
    ErrorNumber([&] { rs.Set("a", Value::Int32(5)), rs.Update(); });
  }
  rs.Close();
  EXPECT_EQ(First(cn, "SELECT COUNT(*) FROM t"), "1");
  if (dropped == 0) {
    EXPECT_EQ(First(cn, "SELECT COUNT(*) FROM w WHERE b = 'something else'"), "100");
  }
}

TEST_F(AccessFiles, SystemTablesAreNotChangedThroughAKeyset) {
  Connection cn;
  Open(cn, "/main.mdb");
  Recordset rs;
  rs.Open("SELECT * FROM MSysObjects WHERE Name = 't'", cn, CursorType::kKeyset, LockType::kOptimistic);
  ASSERT_FALSE(rs.Eof());
  EXPECT_NE(ErrorNumber([&] { rs.Set("Name", Value::Text("x")), rs.Update(); }), 0);
  rs.CancelUpdate();
  EXPECT_NE(ErrorNumber([&] { rs.Delete(); }), 0);
  EXPECT_NE(ErrorNumber([&] { rs.AddNew(), rs.Set("Name", Value::Text("y")), rs.Update(); }), 0);
  rs.Close();
  EXPECT_EQ(First(cn, "SELECT COUNT(*) FROM MSysObjects WHERE Name = 't'"), "1");
  EXPECT_EQ(First(cn, "SELECT COUNT(*) FROM MSysObjects WHERE Name = 'y'"), "0");
  EXPECT_EQ(First(cn, "SELECT COUNT(*) FROM t"), "1");
}

TEST_F(AccessFiles, FilesOfOtherKindsAreRefused) {
  files_.SetContent("/empty.mdb", "");
  files_.SetContent("/text.mdb", std::string(10000, 'x'));
  files_.SetContent("/cut.mdb", files_.Content("/main.mdb").substr(0, 5000));
  for (const char* path : {"/empty.mdb", "/text.mdb", "/cut.mdb", "/missing.mdb"}) {
    Connection cn;
    EXPECT_EQ(ErrorNumber([&] { Open(cn, path); }), kErrFailed) << path;
    EXPECT_FALSE(cn.is_open());
  }
  files_.SetAccessUsers("/main.mdb", "ADMIN on PC7");
  Connection cn;
  std::string description;
  EXPECT_EQ(ErrorNumber([&] { Open(cn, "/main.mdb"); }, &description), kErrFailed);
  EXPECT_NE(description.find("ADMIN on PC7"), std::string::npos) << description;
}

}  // namespace
}  // namespace vnt::db
