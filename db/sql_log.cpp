#include "db/sql_log.h"

#include "access/store/file_kind.h"
#include "db/error.h"
#include "platform/environment.h"

namespace vnt::db {
namespace {

std::string Utf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

}  // namespace

void SqlLog::Refresh() {
  const std::filesystem::path path = platform::EnvironmentPath("VNTFIX_SQL_LOG");
  if (path_ == path) return;
  path_.clear();
  file_.close();
  if (path.empty()) return;
  std::error_code ignored;
  if (std::filesystem::is_fifo(path, ignored)) {
    throw DbError(
        kErrFailed, "VNTFixdb",
        "The SQL log \"" + Utf8(path) + "\" is a pipe, which could keep the program waiting for ever.");
  }
  if (jet::IsDatabaseOrJournal(path)) {
    throw DbError(kErrFailed, "VNTFixdb",
                  "The SQL log \"" + Utf8(path) + "\" is a database, which is not written to.");
  }
  file_.open(path, std::ios::binary | std::ios::app);
  if (!file_) {
    throw DbError(kErrFailed, "VNTFixdb", "The SQL log \"" + Utf8(path) + "\" cannot be opened for writing.");
  }
  path_ = path;
}

void SqlLog::Write(std::string_view sql) {
  if (path_.empty()) return;
  line_.clear();
  for (const char c : sql) {
    switch (c) {
      case '\\':
        line_ += "\\\\";
        break;
      case '\r':
        line_ += "\\r";
        break;
      case '\n':
        line_ += "\\n";
        break;
      default:
        line_ += c;
    }
  }
  line_ += '\n';
  file_.write(line_.data(), line_.size());
  file_.flush();
}

}  // namespace vnt::db
