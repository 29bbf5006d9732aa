#include "cli/server.h"

#include <algorithm>
#include <fstream>
#include <ostream>
#include <random>

#include <fmt/format.h>

#include "access/base/text.h"
#include "cli/interruptible.h"
#include "cli/output.h"
#include "db/connection.h"
#include "db/services.h"
#include "platform/in_force.h"
#include "platform/paths.h"

namespace vnt::cli {
namespace {

constexpr int kHistoryRows = 5;

std::string OpeningString(const std::string& name) {
  const db::Services& services = platform::InForce<db::Services>();
  return db::ServerSource(name, services.server_user, services.server_password);
}

void Print(std::string_view name, const std::string& text, std::ostream& out) {
  out << fmt::format("{:<16}{}\n", std::string(name) + ":", text);
}

// The first value of a query as it is shown; empty when there is none.
std::string FirstValue(db::Connection& connection, const std::string& query) {
  db::Recordset rows;
  rows.Open(query, connection);
  return rows.Eof() ? std::string() : Display(rows.Get(0));
}

}  // namespace

void UseLogin(const ServerLogin& login) {
  db::Services& services = platform::InForce<db::Services>();
  services.server_user = login.user;
  services.server_password.clear();
  if (login.password_file.empty()) return;
  std::ifstream file(platform::PathOf(login.password_file));
  if (!std::getline(file, services.server_password)) {
    throw db::DbError(db::kErrFailed, "vntfix",
                      fmt::format("The password file {} cannot be read.", login.password_file));
  }
  if (services.server_password.ends_with('\r')) services.server_password.pop_back();
}

std::shared_ptr<db::ServerSession> OpenServerSession(const std::string& name) {
  return std::make_shared<db::ServerSession>(db::ConnectionSettings(OpeningString(name)));
}

ReadableDatabase::ReadableDatabase(const std::string& name, const std::vector<std::string>& tables) {
  if (!IsServerName(name)) {
    database_ = OpenToCompare(jet::PlatformFileSystem(), name);
    return;
  }
  std::random_device random;
  temporary_ =
      std::filesystem::temp_directory_path() / fmt::format("vntfix-{:08x}{:08x}.accdb", random(), random());
  const std::string path = platform::Utf8Of(temporary_);
  jet::Database::Create(jet::PlatformFileSystem(), path, jet::Format::kAce14);
  try {
    const auto from = db::CopyOfServer(OpenServerSession(name), /*to_read=*/true);
    const auto file = std::shared_ptr<jet::Database>(
        jet::Database::Open(jet::PlatformFileSystem(), path, jet::OpenMode::kReadWrite));
    const auto to = db::CopyOfFile(file);
    for (const db::ServerTablePtr& table : from->Tables()) {
      const bool wanted = tables.empty() || std::ranges::any_of(tables, [&](const std::string& one) {
                            return jet::EqualNames(one, table->name);
                          });
      if (wanted) to->Write(*table, *from->Read(*table, 0), [](std::uint64_t) {});
    }
    file->Checkpoint();
  } catch (...) {
    std::error_code ignored;
    std::filesystem::remove(temporary_, ignored);
    std::filesystem::remove(platform::PathOf(path + jet::kJournalSuffix), ignored);
    throw;
  }
  database_ = OpenToCompare(jet::PlatformFileSystem(), path);
}

ReadableDatabase::~ReadableDatabase() {
  database_.reset();
  std::error_code ignored;
  if (!temporary_.empty()) std::filesystem::remove(temporary_, ignored);
}

int ServerTables(const std::string& name, Streams& streams) {
  const Interruptible interruptible;
  const auto from = db::CopyOfServer(OpenServerSession(name), /*to_read=*/true);
  std::vector<std::vector<std::string>> rows;
  for (const db::ServerTablePtr& table : from->Tables())
    rows.push_back({table->name, std::to_string(from->CountRows(*table))});
  PrintTable({"table", "rows"}, rows, {false, true}, streams.out);
  return kOk;
}

int ServerInfo(const std::string& name, Streams& streams) {
  const Interruptible interruptible;
  const auto session = OpenServerSession(name);
  const auto from = db::CopyOfServer(session, /*to_read=*/true);
  Print("data source", name.substr(db::kServerPrefix.size()), streams.out);
  Print("server", session->odbc().ServerName(), streams.out);
  std::uint64_t rows = 0;
  const auto tables = from->Tables();
  const auto has = [&](const char* table) { return session->Find(table) != nullptr; };
  for (const db::ServerTablePtr& table : tables) rows += from->CountRows(*table);
  Print("tables", fmt::format("{}, {} rows", tables.size(), rows), streams.out);
  db::Connection connection;
  connection.Mode = db::AccessMode::kRead;
  connection.Open(OpeningString(name));
  std::string version = "none: no table vnt_ooak, so no notice database";
  if (has("vnt_ooak")) {
    version = FirstValue(connection, "select version_no from vnt_ooak");
    const std::string sub = FirstValue(connection, "select version_no_sub from vnt_ooak");
    if (!sub.empty()) version += "." + sub;
    if (version.empty()) version = "none: table vnt_ooak is empty";
  }
  Print("schema version", version, streams.out);
  Print("notices",
        has("notice") ? FirstValue(connection, "select count(*) from notice") : "none: no table notice",
        streams.out);
  if (!has("history")) return kOk;
  db::Recordset newest;
  newest.Open(fmt::format("select top {} d_hist, ntc_id, oper_id, hist_text from history where d_hist is not "
                          "null order by d_hist desc, ntc_id, seq_no",
                          kHistoryRows),
              connection);
  if (newest.Eof()) Print("last history", "none", streams.out);
  for (bool first = true; !newest.Eof(); newest.MoveNext(), first = false) {
    std::string date;
    AppendDate(newest.Get(0).ToDate(), &date);
    streams.out << fmt::format("{:<16}{}  notice {}  {}  {}\n", first ? "last history:" : "", date,
                               Display(newest.Get(1)), Display(newest.Get(2)), Display(newest.Get(3)));
  }
  return kOk;
}

}  // namespace vnt::cli
