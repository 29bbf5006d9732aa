#include "startup/file_to_show.h"

#include <filesystem>
#include <memory>
#include <system_error>

#include "access/base/error.h"
#include "access/file/overlay.h"
#include "access/store/database.h"
#include "db/services.h"
#include "platform/environment.h"
#include "platform/paths.h"
#include "program/program_state.h"
#include "run/databases.h"
#include "run/guards.h"

namespace vnt {
namespace {

// The journal that opening the file would bring into it; empty: none.
std::string WaitingJournal(const std::string& path) {
  jet::FileSystem& files = db::Files();
  try {
    const std::string journal = jet::JournalPath(files, path);
    const bool waits = files.Exists(journal) && !files.Open(path, jet::OpenMode::kRead)->HasWriter();
    return waits ? journal : std::string();
  } catch (const jet::Error&) {
    return {};
  }
}

// Looks at the version as opening does, on a file system that keeps what is written to itself.
bool IsRefreshedWhenOpened(const std::string& path) {
  const auto overlay = jet::MakeOverlay(db::Files());
  ProgramState state;
  state.db_services.files = overlay.get();
  state.current_database = path;
  const ScopedProgramState in_force(state);
  try {
    state.main_connection = std::make_unique<db::cadodb>();
    state.main_connection->DBName = db::Value::Text(path);
    state.main_connection->OpenADOConnection();
    ReadDatabaseVersion();
    state.main_connection->Cn().Drop();
  } catch (const db::DbError&) {
    return false;
  }
  return IsVersionRefreshedWhenOpened();
}

}  // namespace

std::string FileToShow() {
  const std::filesystem::path named = platform::EnvironmentPath("VNTFIX_OPEN");
  if (named.empty()) return {};
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(named, error);
  return platform::Utf8Of(error ? named : absolute);
}

std::string WhyNotShown(const std::string& path) {
  const std::string journal = WaitingJournal(path);
  if (!journal.empty()) {
    return "A run on " + path + " did not end. Opening the database brings what that run saved in " +
           journal + " into it; File, Open Database does so.";
  }
  return IsRefreshedWhenOpened(path) ? kOldVersionText : "";
}

}  // namespace vnt
