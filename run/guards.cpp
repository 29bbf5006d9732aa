#include "run/guards.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "access/file/file.h"
#include "db/connection_string.h"
#include "db/services.h"
#include "fixes/reference_tables.h"
#include "platform/messages.h"
#include "program/program_state.h"

namespace vnt {
namespace {

constexpr std::string_view kNewestVersion = R"(select * from vnt_ooak order by version_no desc)";
// The version whose reference tables are refreshed at each opening, without asking.
constexpr std::int16_t kRefreshedVersion = 5;
constexpr std::int16_t kRefreshedSubVersion = 0;

std::unique_ptr<db::cadodb> OpenCurrentDatabase() {
  auto connection = std::make_unique<db::cadodb>();
  connection->DBName = db::Value::Text(State().current_database);
  connection->OpenADOConnection();
  return connection;
}

// Any failure counts here, of a statement or of the surroundings: no run has begun that it would end.
template <class Body>
bool Succeeds(Body&& body) {
  try {
    body();
    return true;
  } catch (const db::DbError& error) {
    if (error.number() == db::kErrInterrupted) throw;
    return false;
  }
}

// Puts back what opening a database replaces, unless Keep() was called.
class FormerDatabase {
 public:
  FormerDatabase(std::unique_ptr<db::cadodb> main, std::unique_ptr<db::cadodb> second)
      : main_(std::exchange(State().main_connection, std::move(main))),
        second_(std::exchange(State().second_connection, std::move(second))),
        read_only_(State().read_only),
        read_only_reason_(State().read_only_reason),
        version_no_(State().version_no),
        version_no_sub_(State().version_no_sub) {}
  ~FormerDatabase() {
    if (kept_) return;
    State().main_connection = std::move(main_);
    State().second_connection = std::move(second_);
    State().read_only = read_only_;
    State().read_only_reason = read_only_reason_;
    State().version_no = version_no_;
    State().version_no_sub = version_no_sub_;
  }
  FormerDatabase(const FormerDatabase&) = delete;
  FormerDatabase& operator=(const FormerDatabase&) = delete;

  void Keep() { kept_ = true; }

 private:
  bool kept_ = false;
  std::unique_ptr<db::cadodb> main_, second_;
  bool read_only_;
  std::string read_only_reason_;
  std::int16_t version_no_, version_no_sub_;
};

// Closes the connections on the current database, and leaves what is not durable behind.
void DropConnections() {
  for (auto* slot : {&State().main_connection, &State().second_connection}) {
    if (*slot && (*slot)->has_connection()) (*slot)->Cn().Drop();
    slot->reset();
  }
}

// A refresh that finds no template says which setting names it.
db::DbError WithTemplate(const db::DbError& error) {
  const std::string path = TemplateDatabase();
  bool exists = true;
  try {
    exists = db::Files().Exists(path);
  } catch (const std::exception&) {
    // the error itself says what cannot be read
  }
  if (exists) return error;
  return {
      error.number(), error.source(),
      error.description() + " The reference tables of this version 5.0 database are taken from the empty " +
          "template database, which the setting EmptyDBV6 in section GLOBAL of KV_SOFT.ini names: " + path,
      error.is_environment()};
}

// Errors of statements leave what was done before them; a failure of the surroundings, which could strike
// between the dropping of a table and its making anew, leaves nothing.
void RefreshWhole() {
  const auto take_back = [] {
    try {
      MainCn().RevertToMark();
    } catch (const std::exception&) {
      DropConnections();
    }
  };
  MainCn().Mark();
  try {
    RefreshReferenceForVersion5();
  } catch (const db::DbError& error) {
    if (error.is_environment()) take_back();
    throw WithTemplate(error);
  } catch (const std::bad_alloc&) {
    take_back();
    throw;
  }
}

}  // namespace

void OpenAccessDatabase() {
  const bool on_server = db::IsServerName(State().current_database);
  auto main = OpenCurrentDatabase();
  // No fix asks it; on a server it would cost a connection.
  auto second = on_server ? nullptr : OpenCurrentDatabase();
  FormerDatabase former(std::move(main), std::move(second));

  State().read_only = IsDatabaseReadOnly();
  if (State().read_only) {
    platform::ShowMessage("Database is readonly.  VNTFixdb cannot update a readonly database.",
                          platform::MessageStyle::kCritical, State().read_only_reason);
    if (State().active) throw EndProgram{1};  // refused
  }
  if (on_server) {
    // The row that was written back is not to keep others waiting, and every fix is a transaction.
    MainCn().Checkpoint();
    State().persist_interval = std::chrono::milliseconds(0);
  }
  ReadDatabaseVersion();
  if (IsVersionRefreshedWhenOpened()) RefreshWhole();
  former.Keep();
}

void ReopenAccessDatabase() {
  DropConnections();
  try {
    State().main_connection = OpenCurrentDatabase();
    if (!db::IsServerName(State().current_database)) State().second_connection = OpenCurrentDatabase();
  } catch (const std::exception&) {
    DropConnections();
    State().current_database.clear();
  }
}

// A failure of the surroundings says nothing about that, and goes to whoever opens.
bool IsDatabaseReadOnly() {
  const auto rewrite_version = [] {
    db::Recordset versions;
    versions.Open(kNewestVersion, MainCn(), db::CursorType::kKeyset, db::LockType::kOptimistic);
    if (!versions.Eof()) {
      versions.Set("version_no", versions.Get("version_no"));
      versions.Update();
    }
    versions.Close();
  };
  try {
    rewrite_version();
    State().read_only_reason.clear();
    return false;
  } catch (const db::DbError& error) {
    if (error.is_environment()) throw;
    State().read_only_reason = error.description();
    return true;
  }
}

void ReadDatabaseVersion() {
  Succeeds([] {
    db::Recordset versions;
    versions.Open(kNewestVersion, MainCn());
    if (versions.Eof()) return;
    Succeeds([&] { State().version_no = versions.Get("version_no").ToInt16(); });
    Succeeds([&] { State().version_no_sub = versions.Get("version_no_sub").ToInt16(); });
    versions.Close();
  });
}

bool LacksNotice(std::int32_t notice) {
  try {
    db::Recordset rows;
    rows.Open("select ntc_id from notice where ntc_id = " + std::to_string(notice), MainCn());
    return rows.Eof();
  } catch (const db::DbError&) {
    return false;
  }
}

bool IsVersionRefreshedWhenOpened() {
  return State().version_no == kRefreshedVersion && State().version_no_sub == kRefreshedSubVersion;
}

void RefreshReferenceForVersion5() {
  if (IsIngres()) return;
  RefreshPfdAndVersionTables();
  CorrectPfdBandwidths();
}

}  // namespace vnt
