#include "run/databases.h"

#include <memory>
#include <utility>

#include "platform/messages.h"
#include "platform/settings.h"
#include "program/program_state.h"

namespace vnt {
namespace {

constexpr std::int16_t kOldestRefusedVersion = 4;
constexpr std::int16_t kNewestRefusedVersion = 6;
constexpr std::int16_t kOwnVersion = 7;

void OpenIngres(std::unique_ptr<db::cadodb>& slot, const std::string& user_name) {
  slot = std::make_unique<db::cadodb>();
  slot->DsName = db::Value::Text(State().current_database);
  slot->username = db::Value::Text(user_name);
  slot->OpenIngresAdoConnection();
}

bool Close(std::unique_ptr<db::cadodb>& slot) {
  const std::unique_ptr<db::cadodb> connection = std::move(slot);
  if (!connection || !connection->has_connection()) return true;
  try {
    connection->Cn().Close();
  } catch (const db::DbError& error) {
    ShowError(error);
    return false;
  }
  return true;
}

}  // namespace

std::string OpenIngresDatabase() {
  const std::string user_name = platform::GetOperatorName();
  try {
    OpenIngres(State().main_connection, user_name);
    OpenIngres(State().second_connection, user_name);
  } catch (const db::DbError& error) {
    // No message on purpose: the operator learns of it from the first fix, as from any lost connection.
    return error.description();
  }
  return {};
}

namespace {

// False when an error was reported.
bool OnOpenConnections(void (db::Connection::*action)()) {
  for (const auto* slot : {&State().second_connection, &State().main_connection}) {
    const std::unique_ptr<db::cadodb>& connection = *slot;
    if (!connection || !connection->has_connection() || !connection->Cn().is_open()) continue;
    try {
      (connection->Cn().*action)();
    } catch (const db::DbError& error) {
      ShowError(error);
      return false;
    }
  }
  return true;
}

}  // namespace

bool ReleaseDatabases() { return OnOpenConnections(&db::Connection::Release); }

bool ResumeDatabases() { return OnOpenConnections(&db::Connection::Resume); }

bool CloseDatabases() {
  const bool reference = Close(State().reference_connection);
  const bool second = Close(State().second_connection);
  const bool main = Close(State().main_connection);
  return reference && second && main;
}

void ShowOpeningError(const db::DbError& error, const std::string& path) {
  std::string explanation;
  if (error.description().find(path) == std::string::npos) explanation = path + " was not opened.";
  if (error.is_damage()) {
    explanation += explanation.empty() ? "" : " ";
    explanation +=
        "Keep a copy of it, look what vntfix check says, and let Access repair it or take a backup.";
  }
  ShowError(error, explanation);
}

void OpenChosenDatabase(const std::string& path, const std::function<void()>& open,
                        const std::function<void(const std::string&)>& set_panel) {
  const std::string former = std::exchange(State().current_database, path);
  try {
    open();
  } catch (const db::DbError& error) {
    State().current_database = former;
    ShowOpeningError(error, path);
    return;
  }
  const std::int16_t version = State().version_no;
  if (version >= kOldestRefusedVersion && version <= kNewestRefusedVersion) {
    State().current_database.clear();
    // Nothing will be asked of the refused file any more; it must not stay locked.
    CloseDatabases();
    set_panel(kNoDatabaseText);
    platform::ShowMessage(kOldVersionText, platform::MessageStyle::kCritical);
    return;
  }
  // Any other version is let through without a word, and the panel keeps its text. This is wanted: databases
  // under construction have no version row yet and must be repairable.
  if (version == kOwnVersion) set_panel(path);
}

}  // namespace vnt
