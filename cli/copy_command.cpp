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

Opened OpenTo(const std::string& name) {
  if (IsServerName(name)) return {nullptr, db::CopyOfServer(OpenServerSession(name), /*to_read=*/false)};
  jet::FileSystem& files = jet::PlatformFileSystem();
  if (!files.Exists(name)) {
    const bool is_ace = name.size() >= 6 && jet::EqualWords(name.substr(name.size() - 6), ".accdb");
    jet::Database::Create(files, name, is_ace ? jet::Format::kAce14 : jet::Format::kJet4);
  }
  Opened opened;
  opened.file = jet::Database::Open(files, name, jet::OpenMode::kReadWrite);
  opened.tables = db::CopyOfFile(opened.file);
  return opened;
}

bool Has(db::CopiedDatabase& database, const std::string& table) {
  for (const db::ServerTablePtr& known : database.Tables()) {
    if (jet::EqualNames(known->name, table)) return true;
  }
  return false;
}

}  // namespace

int Copy(const CopyOptions& options, Streams& streams) {
  const Interruptible interruptible;
  const Opened from = OpenFrom(options.from);
  const Opened to = OpenTo(options.to);
  const auto tables = from.tables->Tables();
  if (options.notice == 0) {
    for (const db::ServerTablePtr& table : tables) {
      if (!Has(*to.tables, table->name)) continue;
      streams.err << fmt::format("vntfix copy: {} has a table {} already. Nothing was copied.\n", options.to,
                                 table->name);
      return kRefused;
    }
  }
  std::uint64_t rows = 0, done = 0;
  const auto began = std::chrono::steady_clock::now();
  for (const db::ServerTablePtr& table : tables) {
    const auto tell = [&](std::uint64_t count) {
      if (streams.progress)
        streams.err << fmt::format("\r\x1b[K{}: {} rows", table->name, count) << std::flush;
    };
    const auto wipe = [&] {
      if (streams.progress) streams.err << "\r\x1b[K" << std::flush;
    };
    // Tables that a notice has no rows in come along where they are missing, so that fixes find them.
    const bool of_notices = table->FindColumn("ntc_id") >= 0 || table->FindColumn("grp_id") >= 0;
    const bool is_there = options.notice > 0 && Has(*to.tables, table->name);
    if (is_there && !of_notices) continue;
    const std::uint64_t before = is_there ? to.tables->CountRows(*table) : 0;
    try {
      const auto reader = from.tables->Read(*table, options.notice);
      const std::uint64_t count = to.tables->Write(*table, *reader, tell);
      wipe();
      const std::uint64_t expected =
          options.notice > 0 && of_notices ? count : from.tables->CountRows(*table);
      const std::uint64_t there = to.tables->CountRows(*table) - before;
      if (there != expected || there != count) {
        streams.err << fmt::format("vntfix copy: table {}: {} rows were read and {} arrived.\n", table->name,
                                   expected, there);
        return kFailed;
      }
      rows += count;
      ++done;
    } catch (const jet::Error& error) {
      wipe();
      streams.err << fmt::format("vntfix copy: {} tables are copied; nothing of table {} is.\n", done,
                                 table->name);
      throw;
    } catch (const db::DbError& error) {
      wipe();
      streams.err << fmt::format("vntfix copy: {} tables are copied; nothing of table {} is.\n", done,
                                 table->name);
      throw;
    }
  }
  if (to.file) to.file->Checkpoint();
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - began;
  streams.out << fmt::format("{} tables, {} rows copied in {:.1f} s\n", done, rows, seconds.count());
  return kOk;
}

}  // namespace vnt::cli
