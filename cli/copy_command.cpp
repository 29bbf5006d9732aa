// copy: tables from one database to another, be they files or data sources on servers.
#include <chrono>
#include <ostream>

#include <fmt/format.h>

#include "access/base/error.h"
#include "access/base/text.h"
#include "cli/commands.h"
#include "cli/interruptible.h"
#include "cli/output.h"
#include "cli/server.h"
#include "db/engine_errors.h"

namespace vnt::cli {
namespace {

struct Opened {
  std::shared_ptr<jet::Database> file;  // null: a data source
  std::unique_ptr<db::CopiedDatabase> tables;
};

Opened OpenFrom(const std::string& name) {
  if (IsServerName(name)) return {nullptr, db::CopyOfServer(OpenServerSession(name), /*to_read=*/true)};
  Opened opened;
  opened.file = jet::Database::Open(jet::PlatformFileSystem(), name, jet::OpenMode::kRead);
  opened.tables = db::CopyOfFile(opened.file);
  return opened;
}

// A file that was made for the copy, and goes again unless that is complete.
class NewFile {
 public:
  NewFile() = default;
  ~NewFile() {
    if (path_.empty()) return;
    try {
      jet::PlatformFileSystem().Remove(path_);
    } catch (const jet::Error&) {
      // It stays, empty; the failure that led here is the one to tell.
    }
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void Make(const std::string& path) {
    const bool is_ace = path.size() >= 6 && jet::EqualWords(path.substr(path.size() - 6), ".accdb");
    jet::Database::Create(jet::PlatformFileSystem(), path, is_ace ? jet::Format::kAce14 : jet::Format::kJet4);
    path_ = path;
  }
  void Keep() { path_.clear(); }

 private:
  std::string path_;
};

Opened OpenTo(const std::string& name, NewFile* made) {
  if (IsServerName(name)) return {nullptr, db::CopyOfServer(OpenServerSession(name), /*to_read=*/false)};
  if (!jet::PlatformFileSystem().Exists(name)) made->Make(name);
  Opened opened;
  opened.file = jet::Database::Open(jet::PlatformFileSystem(), name, jet::OpenMode::kReadWrite);
  opened.tables = db::CopyOfFile(opened.file);
  return opened;
}

bool Has(db::CopiedDatabase& database, const std::string& table) {
  for (const db::ServerTablePtr& known : database.Tables()) {
    if (jet::EqualNames(known->name, table)) return true;
  }
  return false;
}

// Thrown, and told already, when another number of rows arrived than was sent.
struct RowsAreMissing {};

class Copying {
 public:
  Copying(db::CopiedDatabase& from, db::CopiedDatabase& to, std::int32_t notice, Streams& streams)
      : from_(from), to_(to), notice_(notice), streams_(streams) {}

  void CopyTable(const db::ServerTable& table) {
    // Tables that a notice has no rows in come along where they are missing, so that fixes find them.
    const bool of_notices = table.FindColumn("ntc_id") >= 0 || table.FindColumn("grp_id") >= 0;
    const bool is_there = notice_ > 0 && Has(to_, table.name);
    if (is_there && !of_notices) return;
    const std::uint64_t before = is_there ? to_.CountRows(table) : 0;
    const auto reader = from_.Read(table, notice_);
    const std::uint64_t count = to_.Write(table, *reader, [&](std::uint64_t so_far) {
      if (streams_.progress)
        streams_.err << fmt::format("\r\x1b[K{}: {} rows", table.name, so_far) << std::flush;
    });
    WipeProgress();
    const std::uint64_t expected = notice_ > 0 && of_notices ? count : from_.CountRows(table);
    const std::uint64_t there = to_.CountRows(table) - before;
    if (there != expected || there != count) {
      streams_.err << fmt::format("vntfix copy: table {}: {} rows were read and {} arrived.\n", table.name,
                                  expected, there);
      throw RowsAreMissing();
    }
    rows_ += count;
    ++tables_;
  }

  void WipeProgress() {
    if (streams_.progress) streams_.err << "\r\x1b[K" << std::flush;
  }
  std::uint64_t tables() const { return tables_; }
  std::uint64_t rows() const { return rows_; }

 private:
  db::CopiedDatabase& from_;
  db::CopiedDatabase& to_;
  std::int32_t notice_;
  Streams& streams_;
  std::uint64_t tables_ = 0, rows_ = 0;
};

}  // namespace

// Into a file everything is copied or nothing; into a data source table by table.
int Copy(const CopyOptions& options, Streams& streams) {
  const Interruptible interruptible;
  const auto began = std::chrono::steady_clock::now();
  const Opened from = OpenFrom(options.from);
  NewFile made;
  const Opened to = OpenTo(options.to, &made);
  const auto tables = from.tables->Tables();
  if (options.notice == 0) {
    for (const db::ServerTablePtr& table : tables) {
      if (!Has(*to.tables, table->name)) continue;
      streams.err << fmt::format("vntfix copy: {} has a table {} already. Nothing was copied.\n", options.to,
                                 table->name);
      return kRefused;
    }
  }
  Copying copying(*from.tables, *to.tables, options.notice, streams);
  const auto fail = [&](const db::DbError& error, const std::string& table) -> int {
    copying.WipeProgress();
    TellError(error, options.to, streams.err);
    streams.err << (to.file ? "vntfix copy: Nothing was copied.\n"
                            : fmt::format("vntfix copy: {} tables are copied; nothing of table {} is.\n",
                                          copying.tables(), table));
    if (error.number() == db::kErrInterrupted) return InterruptedStatus();
    return to.file || copying.tables() == 0 ? kRefused : kFailed;
  };
  for (const db::ServerTablePtr& table : tables) {
    try {
      copying.CopyTable(*table);
    } catch (const RowsAreMissing&) {
      return kFailed;
    } catch (const jet::Error& error) {
      return fail(db::ToDbError(error), table->name);
    } catch (const db::DbError& error) {
      return fail(error, table->name);
    }
  }
  if (to.file) {
    try {
      to.file->Checkpoint();
    } catch (const jet::Error& error) {
      // It may stand in the journal by then.
      const jet::Durability now = to.file->durability();
      if (now != jet::Durability::kAll && now != jet::Durability::kUnknown) {
        return fail(db::ToDbError(error), tables.back()->name);
      }
      made.Keep();
      TellError(db::ToDbError(error), options.to, streams.err);
      return kFailed;
    }
  }
  made.Keep();
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - began;
  streams.out << fmt::format("{} tables, {} rows copied in {:.1f} s\n", copying.tables(), copying.rows(),
                             seconds.count());
  return kOk;
}

}  // namespace vnt::cli
