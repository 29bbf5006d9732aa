#include "tests/startup/ingres/notice_server.h"

#include <algorithm>
#include <memory>
#include <regex>

#include "db/access_provider/access_provider.h"
#include "db/services.h"
#include "platform/in_force.h"
#include "program/program_state.h"
#include "run/databases.h"
#include "samples/sample_database.h"
#include "samples/schema.h"
#include "tests/db/postgres_server.h"

namespace vnt::test {
namespace {

constexpr int kRowsPerInsert = 200;

// Access DDL in the words of the server.
std::string Translated(std::string_view statement) {
  static const std::pair<std::regex, const char*> kWords[] = {
      {std::regex(R"(\bLONG\b)"), "integer"},       {std::regex(R"(\bSHORT\b)"), "smallint"},
      {std::regex(R"(\bSINGLE\b)"), "real"},        {std::regex(R"(\bDOUBLE\b)"), "double precision"},
      {std::regex(R"(\bTEXT\()"), "varchar("},      {std::regex(R"(\bMEMO\b)"), "text"},
      {std::regex(R"(\bDATETIME\b)"), "timestamp"}, {std::regex(R"([\[\]])"), ""}};
  std::string text(statement);
  for (const auto& [word, meaning] : kWords) text = std::regex_replace(text, word, meaning);
  return text;
}

std::string Literal(const db::Value& value) {
  if (value.is_null()) return "NULL";
  if (value.type() == db::ValueType::kDate) {
    const db::DateParts p = db::SplitDate(value.ToDate());
    char text[32];
    std::snprintf(text, sizeof text, "'%04d-%02d-%02d %02d:%02d:%02d'", p.year, p.month, p.day, p.hour,
                  p.minute, p.second);
    return text;
  }
  if (value.type() != db::ValueType::kText) return value.ToText();
  std::string text = "'";
  for (const char c : value.ToText()) text += c == '\'' ? "''" : std::string(1, c);
  return text + "'";
}

std::unique_ptr<db::cadodb> Opened(const char* file) {
  auto connection = std::make_unique<db::cadodb>();
  connection->DBName = db::Value::Text(file);
  connection->OpenADOConnection();
  return connection;
}

std::string RowText(const db::Recordset& rows, const std::string& table) {
  std::string row;
  for (int i = 0; i < rows.FieldCount(); ++i) {
    const db::Value value = rows.Get(i);
    std::string text = value.is_null() ? "-" : value.ToText();
    if (table == "history" && rows.FieldName(i) == "d_hist") continue;
    if (table == "history" && rows.FieldName(i) == "hist_text") text = text.substr(0, text.rfind(" at "));
    row += (row.empty() ? "" : "|") + text;
  }
  return row;
}

}  // namespace

NoticeServer& NoticeServer::Get() {
  static NoticeServer server;
  return server;
}

NoticeServer::NoticeServer() {
  db::PostgresServer::Get().Reset(kDataSource, "CREATE SCHEMA seed");
  ReconnectAdmin();
  jet::MemoryFileSystem files;
  platform::InForce<db::Services>().files = &files;
  const samples::SampleFiles made = samples::MakeSample(files, "", {.notices = kNotices, .seed = 5});
  notice_file_ = files.Content(made.notice);
  reference_file_ = files.Content(made.reference);
  template_file_ = files.Content(made.empty_template);
  {
    const auto file = Opened(made.notice.c_str());
    const std::regex create(R"(\s*CREATE TABLE (\w+)[^]*)");
    for (const std::string_view statement : samples::SchemaStatements(samples::Schema::kNotice)) {
      const std::string ddl = Translated(statement);
      admin_.Execute(ddl);
      if (std::smatch match; std::regex_match(ddl, match, create)) tables_.push_back(match[1]);
    }
    for (const std::string& table : tables_) LoadTable(file->Cn(), table);
  }
  platform::InForce<db::Services>().files = nullptr;
  std::sort(one_of_each_kind_.begin(), one_of_each_kind_.end());
  one_of_each_kind_.resize(samples::kMinNotices);
  const std::string others = "ntc_id > " + std::to_string(one_of_each_kind_.back());
  for (auto& [table, condition] : others_) {
    if (condition == "ntc_id") {
      condition = " where " + others;
    } else if (condition == "grp_id") {
      condition = " where grp_id in (select grp_id from grp where " + others + ")";
    } else {
      condition.clear();
    }
  }
}

void NoticeServer::ReconnectAdmin() {
  if (admin_.is_open()) admin_.Close();
  admin_.Open(std::string("PROVIDER=MSDASQL; DSN=") + kDataSource + "; UID=postgres;PWD=;");
}

void NoticeServer::LoadTable(db::Connection& file, const std::string& table) {
  db::Recordset rows;
  rows.Open("select * from " + table, file);
  others_[table] = rows.FieldName(0);
  std::string values;
  for (int count = 1; !rows.Eof(); rows.MoveNext(), ++count) {
    values += values.empty() ? "(" : ", (";
    for (int i = 0; i < rows.FieldCount(); ++i) values += (i == 0 ? "" : ", ") + Literal(rows.Get(i));
    values += ")";
    if (table == "notice") one_of_each_kind_.push_back(rows.Get("ntc_id").ToInt32());
    if (count % kRowsPerInsert == 0) {
      admin_.Execute("INSERT INTO " + table + " VALUES " + values);
      values.clear();
    }
  }
  if (!values.empty()) admin_.Execute("INSERT INTO " + table + " VALUES " + values);
  admin_.Execute("ALTER TABLE " + table + " SET SCHEMA seed");
  restore_ += "DROP TABLE IF EXISTS public." + table + "; CREATE TABLE public." + table + " (LIKE seed." +
              table + " INCLUDING ALL); INSERT INTO public." + table + " SELECT * FROM seed." + table + "; ";
}

void NoticeServer::Restore() { admin_.Execute(restore_); }

void NoticeServer::CopyFilesTo(NoticeDatabase& database) const {
  database.CloseAll();
  database.files().SetContent(NoticeDatabase::kNotice, notice_file_);
  database.files().SetContent(NoticeDatabase::kReference, reference_file_);
  database.files().SetContent(NoticeDatabase::kTemplate, template_file_);
}

std::vector<std::string> NoticeServer::ReadTable(db::Connection& connection, const std::string& table,
                                                 const std::string& condition) const {
  std::vector<std::string> rows;
  try {
    db::Recordset records;
    records.Open("select * from " + table + condition, connection);
    for (; !records.Eof(); records.MoveNext()) rows.push_back(RowText(records, table));
  } catch (const db::DbError&) {
    rows = {"missing"};
  }
  std::sort(rows.begin(), rows.end());
  return rows;
}

Rows NoticeServer::Read(db::Connection& connection) const {
  Rows all;
  for (const std::string& table : tables_) all[table] = ReadTable(connection, table, "");
  return all;
}

Rows NoticeServer::ReadOthers(db::Connection& connection) const {
  Rows others;
  for (const auto& [table, condition] : others_) others[table] = ReadTable(connection, table, condition);
  return others;
}

void NoticeServer::OpenServer(NoticeDatabase& database) {
  CopyFilesTo(database);
  Restore();
  database.state.current_database = kDataSource;
  OpenIngresDatabase();
}

void NoticeServer::OpenFile(NoticeDatabase& database) const {
  CopyFilesTo(database);
  database.state.current_database = NoticeDatabase::kNotice;
  database.state.main_connection = Opened(NoticeDatabase::kNotice);
  database.state.second_connection = Opened(NoticeDatabase::kNotice);
}

}  // namespace vnt::test
