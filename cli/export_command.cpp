// export: tables as CSV or JSON, or the whole database as one SQLite file.
#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <ostream>

#include <fmt/format.h>

#include "access/base/error.h"
#include "access/store/file_kind.h"
#include "cli/commands.h"
#include "cli/interruptible.h"
#include "cli/output.h"
#include "cli/server.h"
#include "cli/sqlite_export.h"
#include "cli/tables.h"
#include "compare/json_output.h"

namespace vnt::cli {
namespace {

using compare::AppendJson;
using compare::AppendJsonText;

namespace fs = std::filesystem;

constexpr std::size_t kFlushAt = 256 * 1024;

// Each row gets a line.
class TableExport {
 public:
  TableExport(jet::Table& table, bool order_by_key)
      : table_(table), columns_(table.def().columns), order_by_key_(order_by_key) {}

  void WriteCsv(std::ostream& out) {
    std::string buffer, text;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (i > 0) buffer += ',';
      AppendQuoted(columns_[i].name, &buffer);
    }
    buffer += '\n';
    ForEachRow(table_, order_by_key_, [&](const jet::Row& row) {
      for (std::size_t i = 0; i < columns_.size(); ++i) {
        if (i > 0) buffer += ',';
        const int column = static_cast<int>(i);
        if (columns_[i].type == jet::ColumnType::kText) {
          if (row.IsNull(column)) continue;
          row.GetText(column, &text);
          AppendQuoted(text, &buffer);
        } else {
          AppendCsv(row.Get(column), columns_[i].type, &buffer);
        }
      }
      buffer += '\n';
      Flush(&buffer, kFlushAt, out);
    });
    Flush(&buffer, 0, out);
  }

  // One array with an object for each row.
  void WriteJson(std::ostream& out) {
    std::vector<std::string> names;
    for (const jet::ColumnDef& column : columns_) {
      std::string name = names.empty() ? "{" : ", ";
      AppendJsonText(column.name, &name);
      names.push_back(name + ": ");
    }
    std::string buffer = "[";
    bool first = true;
    ForEachRow(table_, order_by_key_, [&](const jet::Row& row) {
      buffer += first ? "\n" : ",\n";
      first = false;
      for (std::size_t i = 0; i < columns_.size(); ++i) {
        buffer += names[i];
        AppendJson(row.Get(static_cast<int>(i)), columns_[i].type, &buffer);
      }
      buffer += '}';
      Flush(&buffer, kFlushAt, out);
    });
    buffer += "\n]\n";
    Flush(&buffer, 0, out);
  }

 private:
  static void Flush(std::string* buffer, std::size_t at_least, std::ostream& out) {
    if (buffer->size() < at_least) return;
    out.write(buffer->data(), static_cast<std::streamsize>(buffer->size()));
    buffer->clear();
  }

  jet::Table& table_;
  const std::vector<jet::ColumnDef>& columns_;
  bool order_by_key_;
};

fs::path PathOf(const std::string& utf8) { return {std::u8string(utf8.begin(), utf8.end())}; }

// New files of an export; unless all of them were written, none stays.
class NewFiles {
 public:
  ~NewFiles() {
    std::error_code ignored;
    for (const fs::path& path : paths_) fs::remove(path, ignored);
  }
  NewFiles() = default;
  NewFiles(const NewFiles&) = delete;
  NewFiles& operator=(const NewFiles&) = delete;

  template <typename Body>
  void Write(const fs::path& path, const std::string& name, Body&& body) {
    std::ofstream out(path, std::ios::binary);
    if (!out) throw jet::Error(jet::ErrorKind::kIo, fmt::format("The file {} cannot be made.", name));
    paths_.push_back(path);
    body(out);
    out.close();
    if (!out) throw jet::Error(jet::ErrorKind::kIo, fmt::format("The file {} cannot be written.", name));
  }
  void Keep() { paths_.clear(); }

 private:
  std::vector<fs::path> paths_;
};

void Write(TableExport& table, ExportFormat format, std::ostream& out) {
  format == ExportFormat::kJson ? table.WriteJson(out) : table.WriteCsv(out);
}

void ExportAll(jet::Database& database, const ExportOptions& options) {
  jet::RequireNoJournalName(options.folder);
  std::error_code error;
  fs::create_directories(PathOf(options.folder), error);
  if (error) {
    throw jet::Error(jet::ErrorKind::kIo,
                     fmt::format("The folder '{}' cannot be made: {}.", options.folder, error.message()));
  }
  std::vector<std::pair<std::shared_ptr<jet::Table>, std::string>> files;
  for (const auto& table : UserTables(database)) {
    const std::string name = options.folder + "/" + SafeFileName(table->def().name) +
                             (options.format == ExportFormat::kJson ? ".json" : ".csv");
    // Nothing is written when something is in the way.
    if (fs::exists(PathOf(name), error)) {
      throw jet::Error(jet::ErrorKind::kExists, fmt::format("The file \"{}\" exists already.", name));
    }
    files.emplace_back(table, name);
  }
  NewFiles made;
  for (const auto& [table, name] : files) {
    made.Write(PathOf(name), name, [&, from = table.get()](std::ostream& out) {
      TableExport rows(*from, options.order_by_key);
      Write(rows, options.format, out);
    });
  }
  made.Keep();
}

}  // namespace

std::string SafeFileName(const std::string& table) {
  constexpr std::string_view kNotInNames = "<>:\"/\\|?*%";
  constexpr std::array<std::string_view, 4> kDevices = {"CON", "PRN", "AUX", "NUL"};
  std::string name;
  for (const char c : table) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F || kNotInNames.find(c) != std::string_view::npos) {
      name += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    } else {
      name += c;
    }
  }
  if (name.ends_with(' ') || name.ends_with('.')) {
    const auto last = static_cast<unsigned char>(name.back());
    name.pop_back();
    name += fmt::format("%{:02X}", last);
  }
  std::string upper = name.substr(0, name.find('.'));
  std::ranges::transform(upper, upper.begin(),
                         [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
  const bool is_port = upper.size() == 4 && (upper.starts_with("COM") || upper.starts_with("LPT")) &&
                       upper[3] >= '0' && upper[3] <= '9';
  if (is_port || std::ranges::find(kDevices, upper) != kDevices.end()) name.insert(0, "%");
  return name;
}

int Export(const ExportOptions& options, Streams& streams) {
  const bool is_sqlite = options.format == ExportFormat::kSqlite;
  const int targets =
      (options.table.empty() ? 0 : 1) + (options.folder.empty() ? 0 : 1) + (options.output.empty() ? 0 : 1);
  if (targets != 1 || is_sqlite == options.output.empty()) {
    streams.err << (is_sqlite
                        ? "vntfix export: --format sqlite needs --output FILE, and neither TABLE nor --all.\n"
                        : "vntfix export: name a TABLE, or a folder with --all. --output goes with --format "
                          "sqlite.\n");
    return kUsage;
  }
  const Interruptible interruptible;
  const ReadableDatabase database(options.file, options.table.empty()
                                                    ? std::vector<std::string>()
                                                    : std::vector<std::string>{options.table});
  if (is_sqlite) {
    ExportToSqlite(*database, options.output, options.order_by_key);
  } else if (!options.folder.empty()) {
    ExportAll(*database, options);
  } else {
    TableExport table(*RequireTable(*database, options.table), options.order_by_key);
    Write(table, options.format, streams.out);
  }
  return kOk;
}

}  // namespace vnt::cli
