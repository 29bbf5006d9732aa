// The subcommands; each returns an exit code and raises jet::Error or db::DbError for what Run() reports.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/base/types.h"
#include "cli/cli.h"
#include "compare/diff_writers.h"
#include "platform/settings.h"
#include "run/run_record.h"

namespace vnt::cli {

using compare::DiffFormat;
using compare::MakeDiffWriter;
using compare::OpenToCompare;
using compare::OutputFailed;

// Of data sources on servers; empty: as the data source says.
struct ServerLogin {
  std::string user;
  std::string password_file;
};

// In place of the name of a report.
inline constexpr std::string_view kStandardOutput = "-";

struct FixOptions {
  std::vector<std::string> files;
  std::optional<std::string> reference;
  std::optional<std::string> empty_template;
  std::string notices;  // as ParseNotices() reads them; empty: all
  bool strict_notice = false;
  std::string only, except;  // as ChooseFixes() reads them
  bool all = false;
  bool discard_journal = false;  // of a run that did not end, before anything else
  bool dry_run = false;
  bool diff = false;                  // of a dry run: what would change, row by row
  std::optional<std::string> backup;  // the folder; empty: that of the file
  std::string report;                 // path or kStandardOutput; empty: none
  std::optional<DiffFormat> format;   // of the report and of what `diff` prints; CSV: of the latter alone
  bool quiet = false, verbose = false;
  bool all_notices = false;  // each by itself, on `jobs` connections of a data source
  int jobs = 1;
  std::optional<int> data_level;
  std::optional<platform::DateOrder> date_order;
};
int Fix(const FixOptions& options, Streams& streams);
struct ListOptions {
  std::vector<std::string> fixes;  // each as ChooseFixes() reads it; none: all
  bool sql = false;
};
int List(const ListOptions& options, Streams& streams);

struct UndoOptions {
  std::string file;
  std::string folder;  // empty: that of the file
  std::string from;    // the backup to put back; empty: as the records say
  bool list = false;
  bool force = false;
};
int Undo(const UndoOptions& options, Streams& streams);

// Without a format, that of the file's extension.
int New(const std::string& file, std::optional<jet::Format> format, Streams& streams);
int Tables(const std::string& file, bool all, Streams& streams);
int Schema(const std::string& file, const std::string& table, Streams& streams);

enum class ExportFormat { kCsv, kJson, kSqlite };
struct ExportOptions {
  std::string file;
  std::string table;   // to standard output
  std::string folder;  // or all tables, each into a file of that folder
  std::string output;  // or all tables into one SQLite file
  ExportFormat format = ExportFormat::kCsv;
  bool order_by_key = false;
};
int Export(const ExportOptions& options, Streams& streams);
// The name of a table as that of a file, without extension: what cannot stand in one, on Linux or Windows, as
// "%2F" and the like.
std::string SafeFileName(const std::string& table);

int Info(const std::string& file, Streams& streams);

int Check(const std::string& file, Streams& streams);
int Compact(const std::string& file, Streams& streams);

struct DiffOptions {
  std::string old_file, new_file;
  compare::Options compare;
  DiffFormat format = DiffFormat::kText;
};
int Diff(const DiffOptions& options, Streams& streams);

struct SqlOptions {
  std::string file;
  std::vector<std::string> statements;  // empty: from standard input
  bool csv = false, json = false;
  bool read_only = false;
  bool transaction = false;  // all statements or none
};
int Sql(const SqlOptions& options, Streams& streams);

struct CopyOptions {
  std::string from, to;
  std::int32_t notice = 0;  // above 0: only this one
};
int Copy(const CopyOptions& options, Streams& streams);

struct SampleCommandOptions {
  std::string folder;
  int notices = 100;
  std::uint64_t seed = 1;
  jet::Format format = jet::Format::kJet4;
};
int Sample(const SampleCommandOptions& options, Streams& streams);

}  // namespace vnt::cli
