// The sample notices twice: as an Access file in memory, and on the PostgreSQL server of tests/db behind the
// data sources "TLKP-ING" and "TLKD-ING". Both start from the same rows, and both can be put back to them.
//
// Notices are numbered as MakeSample does; ten notices in turn hold one of each kind.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "db/connection.h"
#include "tests/program/notice_database.h"

namespace vnt::test {

// Rows as text, sorted, by table. Of history the time of day and the clock time in the text are left out.
using Rows = std::map<std::string, std::vector<std::string>>;

class NoticeServer {
 public:
  // Loaded once for the whole test program.
  static NoticeServer& Get();

  static constexpr int kNotices = 20;
  static constexpr const char* kDataSource = "TLKP-ING";

  // Numbers of the first ten notices. As many again are there to be left alone.
  const std::vector<std::int32_t>& one_of_each_kind() const { return one_of_each_kind_; }

  // Puts the server's tables back to the sample rows.
  void Restore();
  // Opens main and second connection of `database` anew, on the sample rows: on the server, as start-up does
  // it, or in the Access file. Reference and template database are the sample's in both cases.
  void OpenServer(NoticeDatabase& database);
  void OpenFile(NoticeDatabase& database) const;
  // The rows of all tables, over the connection. A table that is missing has the one row "missing".
  Rows Read(db::Connection& connection) const;
  // Those of them that belong to none of the first ten notices.
  Rows ReadOthers(db::Connection& connection) const;

  // A connection beside those of the program; made anew after the server was stopped.
  db::Connection& admin() { return admin_; }
  void ReconnectAdmin();

 private:
  NoticeServer();
  void LoadTable(db::Connection& file, const std::string& table);
  std::vector<std::string> ReadTable(db::Connection& connection, const std::string& table,
                                     const std::string& condition) const;
  void CopyFilesTo(NoticeDatabase& database) const;

  std::string notice_file_, reference_file_, template_file_;
  std::vector<std::string> tables_;
  std::map<std::string, std::string>
      others_;  // by table: condition on the rows of no notice of the first ten
  std::vector<std::int32_t> one_of_each_kind_;
  std::string restore_;
  db::Connection admin_;
};

}  // namespace vnt::test
