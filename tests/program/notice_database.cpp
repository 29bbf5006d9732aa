#include "tests/program/notice_database.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "access/check/check.h"
#include "access/store/database.h"
#include "db/access_provider/access_provider.h"
#include "db/provider.h"
#include "db/services.h"
#include "platform/in_force.h"
#include "samples/schema.h"
#include "tests/process.h"

namespace vnt::test {
namespace {

std::unique_ptr<db::cadodb> OpenFile(const std::string& file) {
  auto connection = std::make_unique<db::cadodb>();
  connection->DBName = db::Value::Text(file);
  connection->OpenADOConnection();
  return connection;
}

void Create(jet::FileSystem& files, const std::string& file, samples::Schema schema) {
  jet::Database::Create(files, file, jet::Format::kJet4);
  const auto connection = OpenFile(file);
  for (const std::string_view statement : samples::SchemaStatements(schema))
    connection->Cn().Execute(statement);
  connection->Cn().Close();
}

void RunAll(db::Connection& connection, std::string_view statements) {
  while (!statements.empty()) {
    const std::size_t end = statements.find(';');
    const std::string_view statement = statements.substr(0, end);
    if (statement.find_first_not_of(" \n") != std::string_view::npos) connection.Execute(statement);
    if (end == std::string_view::npos) return;
    statements.remove_prefix(end + 1);
  }
}

class IngresStandIn : public db::ProviderConnection {
 public:
  IngresStandIn()
      : access_(
            db::OpenAccess(NoticeDatabase::kNotice, db::AccessMode::kReadWrite, db::AccessFormats::kJet)) {}

  std::int64_t Execute(std::string_view sql, const std::vector<db::Value>& parameters) override {
    try {
      return access_->Execute(sql, parameters);
    } catch (const db::DbError&) {
      return 0;
    }
  }
  std::unique_ptr<db::ProviderRecordset> OpenRecordset(std::string_view sql, db::CursorType cursor,
                                                       db::LockType lock) override {
    try {
      return access_->OpenRecordset(sql, cursor, lock);
    } catch (const db::DbError&) {
      return access_->OpenRecordset("select * from vnt_ooak where version_no = -1", cursor, lock);
    }
  }
  void Checkpoint() override { access_->Checkpoint(); }

 private:
  std::shared_ptr<db::ProviderConnection> access_;
};

}  // namespace

void RecordedMessages::ShowExplained(std::string_view text, platform::MessageStyle style,
                                     std::string_view explanation) {
  const char* name = style == platform::MessageStyle::kPlain         ? "plain: "
                     : style == platform::MessageStyle::kInformation ? "information: "
                                                                     : "critical: ";
  shown.push_back(name + std::string(text));
  explanations.emplace_back(explanation);
}

NoticeDatabase::NoticeDatabase()
    : settings(state.platform_services.settings),
      scoped_state_(state),
      drive_c_(Utf8Of(NewFolder("vnt-drive-c-"))) {
  SetVariable("VNTFIX_CDRIVE", drive_c_);
  // The settings of this machine decide nothing, such as the order of day and month.
  SetVariable("VNTFIX_WINDIR", drive_c_);
  state.platform_services.messages = &messages;
  state.db_services.files = &files_;
  Create(files_, kNotice, samples::Schema::kNotice);
  Create(files_, kReference, samples::Schema::kReference);
  Create(files_, kTemplate, samples::Schema::kTemplate);
  settings.Set("GLOBAL", "VeltRefdb", kReference);
  settings.Set("GLOBAL", "EmptyDBV6", kTemplate);
  state.current_database = kNotice;
  state.reference_database = kReference;
  state.main_connection = OpenFile(kNotice);
  state.second_connection = OpenFile(kNotice);
}

NoticeDatabase::~NoticeDatabase() {
  CloseAll();
  try {
    const auto database = jet::Database::Open(files_, kNotice, jet::OpenMode::kRead);
    for (const jet::Finding& finding : jet::CheckDatabase(*database)) {
      if (finding.fatal) ADD_FAILURE() << "page " << finding.page << ": " << finding.text;
    }
  } catch (const jet::Error& error) {
    ADD_FAILURE() << "The notice database cannot be opened any more: " << error.what();
  }
  std::error_code ignored;
  std::filesystem::remove_all(PathOf(drive_c_), ignored);
}

void NoticeDatabase::CloseAll() {
  state.main_connection.reset();
  state.second_connection.reset();
  state.reference_connection.reset();
}

void NoticeDatabase::Run(std::string_view statements) { RunAll(MainCn(), statements); }

void NoticeDatabase::RunOn(const std::string& file, std::string_view statements) {
  const auto connection = OpenFile(file);
  RunAll(connection->Cn(), statements);
  connection->Cn().Close();
}

std::vector<std::string> NoticeDatabase::Rows(std::string_view query) {
  db::Recordset records;
  records.Open(query, MainCn());
  std::vector<std::string> rows;
  for (; !records.Eof(); records.MoveNext()) {
    std::string row;
    for (int i = 0; i < records.FieldCount(); ++i) {
      const db::Value value = records.Get(i);
      row += (i == 0 ? "" : "|") + (value.is_null() ? std::string("-") : value.ToText());
    }
    rows.push_back(row);
  }
  return rows;
}

std::vector<std::string> NoticeDatabase::SentBy(const std::function<void()>& work) {
  std::vector<std::string> sent;
  auto& observer = platform::InForce<db::Services>().observer;
  observer = [&](const db::StatementEvent& event) {
    if (!event.text.empty()) sent.emplace_back(event.text);
  };
  work();
  observer = {};
  return sent;
}

void NoticeDatabase::SpeakIngres() {
  state.db_services.provider = [](const std::string&) { return std::make_shared<IngresStandIn>(); };
  state.main_connection = std::make_unique<db::cadodb>();
  state.main_connection->DsName = db::Value::Text("TLKP-ING");
  state.main_connection->username = db::Value::Text("TEST");
  state.main_connection->OpenIngresAdoConnection();
  state.db_services.provider = {};
}

void NoticeDatabase::OpenReference() {
  state.reference_connection = std::make_unique<db::cadodb>();
  state.reference_connection->DBName = db::Value::Text(kReference);
  state.reference_connection->Mode = db::AccessMode::kRead;
  state.reference_connection->OpenADOConnection();
}

}  // namespace vnt::test
