// info: what a file is, what is in it, and who has it open. Nothing of it is needed to be a notice database.
#include <algorithm>
#include <optional>
#include <ostream>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/interruptible.h"
#include "cli/output.h"
#include "cli/server.h"
#include "cli/tables.h"
#include "cli/waiting_journal.h"

namespace vnt::cli {
namespace {

constexpr std::size_t kHistoryRows = 5;

void Print(std::string_view name, const std::string& text, std::ostream& out) {
  out << fmt::format("{:<16}{}\n", std::string(name) + ":", text);
}

std::string DateTime(double days) {
  std::string text;
  AppendDate(days, &text);
  return text;
}

std::string SortOrder(const jet::FileFacts& facts) {
  if (facts.lcid != 1033 && facts.lcid != 0)
    return fmt::format("LCID {}, version {}", facts.lcid, facts.sort_version);
  return fmt::format("General{} (LCID {}, version {})", facts.sort_version == 0 ? " Legacy" : "", facts.lcid,
                     facts.sort_version);
}

// A column of a row as text; empty where the table has none of that name, or Null.
std::string Cell(const jet::Table& table, const jet::Row& row, const char* column) {
  const int at = table.def().FindColumn(column);
  if (at < 0) return {};
  const jet::Value value = row.Get(at);
  if (value.kind() == jet::ValueKind::kText) return value.bytes();
  std::string text;
  AppendCsv(value, table.def().columns[static_cast<std::size_t>(at)].type, &text);
  return text;
}

std::string SchemaVersion(jet::Database& database) {
  const auto table = database.FindTable("vnt_ooak");
  if (table == nullptr) return "none: no table vnt_ooak, so no notice database";
  jet::Row row;
  jet::RowId id;
  if (!jet::TableCursor(*table).Next(&row, &id)) return "none: table vnt_ooak is empty";
  const std::string sub = Cell(*table, row, "version_no_sub");
  return Cell(*table, row, "version_no") + (sub.empty() ? "" : "." + sub);
}

// The newest rows of the table history.
void PrintHistory(jet::Database& database, std::ostream& out) {
  const auto table = database.FindTable("history");
  const int date = table == nullptr ? -1 : table->def().FindColumn("d_hist");
  if (date < 0 || table->def().columns[static_cast<std::size_t>(date)].type != jet::ColumnType::kDateTime)
    return;
  struct Entry {
    double date;
    std::string text;
  };
  std::vector<Entry> newest;
  const auto later = [](const Entry& a, const Entry& b) { return a.date > b.date; };
  ForEachRow(*table, true, [&](const jet::Row& row) {
    if (row.IsNull(date)) return;
    const double when = row.GetReal(date);
    if (newest.size() == kHistoryRows && when <= newest.back().date) return;
    Entry entry{when, fmt::format("{}  notice {}  {}  {}", DateTime(when), Cell(*table, row, "ntc_id"),
                                  Cell(*table, row, "oper_id"), Cell(*table, row, "hist_text"))};
    newest.insert(std::ranges::upper_bound(newest, entry, later), std::move(entry));
    if (newest.size() > kHistoryRows) newest.pop_back();
  });
  if (newest.empty()) Print("last history", "none", out);
  for (std::size_t i = 0; i < newest.size(); ++i) {
    out << fmt::format("{:<16}{}\n", i == 0 ? "last history:" : "", newest[i].text);
  }
}

void PrintContent(jet::Database& database, std::ostream& out) {
  const jet::FileFacts facts = database.Facts();
  const bool is_access97 = database.format() == jet::Format::kJet3;
  Print("format", fmt::format("{}, pages of {} bytes", facts.version, facts.page_size), out);
  Print(
      "code page",
      is_access97 ? std::to_string(facts.code_page) : fmt::format("{} (texts are Unicode)", facts.code_page),
      out);
  Print("sort order", SortOrder(facts), out);
  if (facts.created != 0) Print("created", DateTime(facts.created), out);
  Print("free inside",
        fmt::format("{} bytes, {} of {} pages", std::uint64_t{facts.free_pages} * facts.page_size,
                    facts.free_pages, facts.pages),
        out);
  if (facts.unfinished_write) Print("state", "left by Access in the middle of a write", out);
  std::uint64_t rows = 0;
  const auto tables = UserTables(database);
  for (const auto& table : tables) rows += table->row_count();
  Print("tables", fmt::format("{}, {} rows", tables.size(), rows), out);
  Print("schema version", SchemaVersion(database), out);
  const auto notices = database.FindTable("notice");
  Print("notices", notices == nullptr ? "none: no table notice" : std::to_string(notices->row_count()), out);
  PrintHistory(database, out);
}

void PrintState(jet::FileSystem& files, const std::string& path, jet::File& file, std::ostream& out) {
  const std::string users = files.AccessUsers(files.ResolveLinks(path));
  std::string lock = "nobody has it open for writing";
  if (file.HasWriter()) {
    const std::string name = file.WriterName();
    lock = "open for writing" + (name.empty() ? " by another program" : " (" + name + ")");
  }
  if (!users.empty()) lock += "; open in Access, by " + users;
  Print("lock", lock, out);

  const auto journal = FindJournal(files, path, file);
  if (!journal) {
    Print("journal", "none", out);
    return;
  }
  const std::string what = journal->fault.empty()
                               ? fmt::format(", {} bytes, of {}", journal->size, journal->changed)
                               : fmt::format(" ({})", journal->fault);
  Print("journal",
        journal->path + what + (journal->in_use ? ", in use" : ", waiting to be brought into the file"), out);
}

}  // namespace

int Info(const std::string& path, Streams& streams) {
  if (IsServerName(path)) return ServerInfo(path, streams);
  const Interruptible interruptible;
  jet::FileSystem& files = jet::PlatformFileSystem();
  const auto file = files.Open(path, jet::OpenMode::kRead);
  const jet::FileStamp stamp = file->Stamp();
  Print("file", path, streams.out);
  Print("size", fmt::format("{} bytes", stamp.size), streams.out);
  Print("changed", FileTime(stamp.modified), streams.out);
  PrintState(files, path, *file, streams.out);
  // From here on it has to be an Access database that can be read.
  const auto database = jet::Database::Open(files, path, jet::OpenMode::kRead);
  PrintContent(*database, streams.out);
  return kOk;
}

}  // namespace vnt::cli
