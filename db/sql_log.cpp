#include "db/sql_log.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "db/error.h"
#include "platform/environment.h"

namespace vnt::db {
namespace {

struct SqlLog {
  std::filesystem::path path;
  std::ofstream file;
  std::string line;
};

std::unique_ptr<SqlLog>& TheLog() {
  static std::unique_ptr<SqlLog> log;
  return log;
}

std::string Utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

}  // namespace

void RefreshSqlLog() {
  auto& log = TheLog();
  const std::filesystem::path path = platform::EnvironmentPath("VNTFIX_SQL_LOG");
  if (log ? log->path == path : path.empty()) return;
  log.reset();
  if (path.empty()) return;
  auto opened = std::make_unique<SqlLog>();
  opened->path = path;
  opened->file.open(path, std::ios::binary | std::ios::app);
  if (!opened->file) {
    throw DbError(kErrNotFound, "VNTFixdb",
                  "The SQL log \"" + Utf8(path) + "\" cannot be opened for writing.");
  }
  log = std::move(opened);
}

void LogSql(std::string_view sql) {
  SqlLog* log = TheLog().get();
  if (log == nullptr) return;
  log->line.clear();
  for (const char c : sql) {
    switch (c) {
      case '\\':
        log->line += "\\\\";
        break;
      case '\r':
        log->line += "\\r";
        break;
      case '\n':
        log->line += "\\n";
        break;
      default:
        log->line += c;
    }
  }
  log->line += '\n';
  log->file.write(log->line.data(), static_cast<std::streamsize>(log->line.size()));
  log->file.flush();
}

}  // namespace vnt::db
