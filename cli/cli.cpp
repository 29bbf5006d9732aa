#include "cli/cli.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <new>
#include <ostream>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "access/base/error.h"
#include "cli/commands.h"
#include "cli/interruptible.h"
#include "cli/output.h"
#include "db/engine_errors.h"
#include "db/error.h"
#include "platform/paths.h"

namespace vnt::cli {
namespace {

const std::map<std::string, jet::Format> kFormats{
    {"jet4", jet::Format::kJet4}, {"ace12", jet::Format::kAce12}, {"ace14", jet::Format::kAce14}};

const std::map<std::string, platform::DateOrder> kDateOrders{{"dmy", platform::DateOrder::kDayFirst},
                                                             {"mdy", platform::DateOrder::kMonthFirst}};

const std::map<std::string, RecordFormat> kReportFormats{{"text", RecordFormat::kText},
                                                         {"json", RecordFormat::kJson}};

// The options of all subcommands, filled by the parser.
struct Parsed {
  FixOptions fix;
  bool backup = false;
  std::string backup_folder;
  UndoOptions undo;
  std::string file, table;
  bool all_tables = false;
  jet::Format format = jet::Format::kJet4;
  DiffOptions diff;
  ListOptions list;
  ExportOptions exported;
  SqlOptions sql;
  SampleCommandOptions sample;
};

void AddFix(CLI::App& app, Parsed& p) {
  CLI::App* fix = app.add_subcommand("fix", "Run fixes on notice databases");
  fix->add_option("FILE", p.fix.files, "Notice databases (.mdb or .accdb), one after the other")->required();
  fix->add_option("--reference", p.fix.reference,
                  "Pattern reference database (default: VeltRefdb of KV_SOFT.ini)");
  fix->add_option("--template", p.fix.empty_template,
                  "Empty template database (default: EmptyDBV6 of KV_SOFT.ini)");
  fix->add_option("--notice", p.fix.notices, "Only these notices, such as 7 or 5,7-9");
  fix->add_flag("--strict-notice", p.fix.strict_notice,
                "With --notice, leave out the fixes that reach beyond the notice (see list)");
  auto* only = fix->add_option("--only", p.fix.only,
                               "Only these fixes: a number from 0 to 39, a range such as 7-9, or words of a "
                               "caption such as \"sort freq\"; several with commas");
  auto* except = fix->add_option("--except", p.fix.except, "The default fixes without these");
  auto* all = fix->add_flag("--all", p.fix.all, "All forty fixes");
  only->excludes(except)->excludes(all);
  except->excludes(all);
  auto* dry_run = fix->add_flag("--dry-run", p.fix.dry_run, "Show what a run would do; no file is written");
  fix->add_flag("--diff", p.fix.diff, "With --dry-run, also show what would change, as \"diff\" does")
      ->needs(dry_run);
  auto* backup =
      fix->add_flag("--backup", p.backup, "First copy each file to NAME.YYYYMMDD-HHMMSS.bak, for \"undo\"");
  fix->add_option("--backup-folder", p.backup_folder, "The same, into this folder")->excludes(dry_run);
  backup->excludes(dry_run);
  fix->add_option("--report", p.fix.report, "Write what was done to this file");
  fix->add_option("--format", p.fix.report_format,
                  "Format of the report, text or json (default: by its name)")
      ->transform(CLI::CheckedTransformer(kReportFormats).description(""));
  fix->add_option("--date-order", p.fix.date_order,
                  "Order in which dates are read, dmy or mdy (default: that of the regional settings)")
      ->transform(CLI::CheckedTransformer(kDateOrders).description(""));
  fix->add_option("--data-level", p.fix.data_level, "Data level (default: DataLevel of KV_SOFT.ini)");
  auto* quiet = fix->add_flag("--quiet", p.fix.quiet, "Print errors only");
  fix->add_flag("--verbose", p.fix.verbose, "Print every error that differs in a word")->excludes(quiet);

  CLI::App* undo = app.add_subcommand("undo", "Put back what a file was before its last run with --backup");
  undo->add_option("FILE", p.undo.file, "Notice database")->required();
  undo->add_option("--backup-folder", p.undo.folder, "Where the backups are (default: beside the file)");
  undo->add_flag("--list", p.undo.list, "Only list the backups that there are, newest first");
  undo->add_flag("--force", p.undo.force, "Even when the file was changed since that run");
}

void AddFileCommands(CLI::App& app, Parsed& p) {
  const auto add = [&](const char* name, const char* help) {
    CLI::App* command = app.add_subcommand(name, help);
    command->add_option("FILE", p.file, "Access database")->required();
    return command;
  };
  add("new", "Create an empty database")
      ->add_option("--format", p.format, "jet4 (.mdb, default), ace12 or ace14 (.accdb)")
      ->transform(CLI::CheckedTransformer(kFormats).description(""));
  add("tables", "List the tables and their numbers of rows")
      ->add_flag("--all", p.all_tables, "System tables and other objects too");
  add("schema", "Print the tables as CREATE statements")->add_option("TABLE", p.table, "Only this table");
  add("info", "Show what kind of file it is, what is in it, and who has it open");
  add("check", "Verify every invariant of the file");
  add("compact", "Give back the space that the file does not need");
}

void AddOthers(CLI::App& app, Parsed& p) {
  CLI::App* sql = app.add_subcommand("sql", "Run Access SQL");
  sql->add_option("FILE", p.sql.file, "Access database")->required();
  sql->add_option("STATEMENT", p.sql.statements,
                  "Statements (default: from standard input, each ended by ';')");
  sql->add_flag("--csv", p.sql.csv, "Results as CSV");

  CLI::App* sample = app.add_subcommand("sample", "Make a sample notice, reference and template database");
  sample->add_option("FOLDER", p.sample.folder, "Folder, made when missing")->required();
  sample->add_option("--notices", p.sample.notices, "Number of notices (default 100)")
      ->check(CLI::Range(10, 100000));
  sample->add_option("--seed", p.sample.seed, "Seed; the same seed gives the same rows (default 1)");
  sample->add_option("--format", p.sample.format, "jet4 (.mdb, default), ace12 or ace14 (.accdb)")
      ->transform(CLI::CheckedTransformer(kFormats).description(""));

  CLI::App* list = app.add_subcommand("list", "List the fixes: index, default tick, caption, what it does");
  list->add_option("FIX", p.list.fixes, "Only these fixes, by index")->check(CLI::Range(0, 39));
  list->add_flag("--sql", p.list.sql, "The statements of each, on Access and on Ingres");
}

const std::map<std::string, ExportFormat> kExportFormats{
    {"csv", ExportFormat::kCsv}, {"json", ExportFormat::kJson}, {"sqlite", ExportFormat::kSqlite}};

void AddExport(CLI::App& app, Parsed& p) {
  CLI::App* command = app.add_subcommand("export", "Print a table, or write all tables to files");
  command->add_option("FILE", p.exported.file, "Access database")->required();
  command->add_option("TABLE", p.exported.table, "Table to print");
  command->add_option("--all", p.exported.folder, "All tables, each into a new file of this folder");
  command->add_option("--format", p.exported.format, "csv (default), json or sqlite")
      ->transform(CLI::CheckedTransformer(kExportFormats).description(""));
  command->add_option("--output", p.exported.output, "With --format sqlite: the new file, for all tables");
  command->add_flag("--order-by-key", p.exported.order_by_key,
                    "Rows by primary key, not as the table holds them");
}

const std::map<std::string, DiffFormat> kDiffFormats{
    {"text", DiffFormat::kText}, {"csv", DiffFormat::kCsv}, {"json", DiffFormat::kJson}};

void AddDiff(CLI::App& app, Parsed& p) {
  CLI::App* diff = app.add_subcommand("diff", "Show what two databases differ in: exit status 1 if anything");
  diff->add_option("OLD", p.diff.old_file, "Access database (.mdb or .accdb)")->required();
  diff->add_option("NEW", p.diff.new_file, "Access database to compare it with")->required();
  diff->add_option("--notice", p.diff.compare.notice, "Only rows that belong to this notice")
      ->check(CLI::Range(1, std::numeric_limits<std::int32_t>::max()));
  diff->add_option("--table", p.diff.compare.tables, "Only these tables")->delimiter(',');
  diff->add_flag("--only-counts", p.diff.compare.only_counts, "How many rows differ, not which");
  diff->add_option("--format", p.diff.format, "text (default), csv or json")
      ->transform(CLI::CheckedTransformer(kDiffFormats).description(""));
}

// "--backup FOLDER" is understood too: a folder among the files can be nothing else.
FixOptions FixOptionsOf(const Parsed& p) {
  FixOptions options = p.fix;
  if (p.backup || !p.backup_folder.empty()) options.backup = p.backup_folder;
  if (p.backup && p.backup_folder.empty()) {
    const auto folder = std::ranges::find_if(options.files, [](const std::string& file) {
      std::error_code error;
      return std::filesystem::is_directory(platform::PathOf(file), error);
    });
    if (folder != options.files.end()) {
      options.backup = *folder;
      options.files.erase(folder);
    }
  }
  return options;
}

int Dispatch(const std::string& command, const Parsed& p, Streams& streams) {
  if (command == "fix") return Fix(FixOptionsOf(p), streams);
  if (command == "undo") return Undo(p.undo, streams);
  if (command == "list") return List(p.list, streams);
  if (command == "new") return New(p.file, p.format, streams);
  if (command == "tables") return Tables(p.file, p.all_tables, streams);
  if (command == "schema") return Schema(p.file, p.table, streams);
  if (command == "export") return Export(p.exported, streams);
  if (command == "info") return Info(p.file, streams);
  if (command == "check") return Check(p.file, streams);
  if (command == "compact") return Compact(p.file, streams);
  if (command == "diff") return Diff(p.diff, streams);
  if (command == "sql") return Sql(p.sql, streams);
  return Sample(p.sample, streams);
}

int RunCommand(const std::vector<std::string>& arguments, Streams& streams) {
  Parsed parsed;
  CLI::App app("Repairs and normalises databases of satellite network notices.", "vntfix");
  app.set_version_flag("--version", fmt::format("vntfix {}.{}.{}", VNT_VERSION_MAJOR, VNT_VERSION_MINOR,
                                                VNT_VERSION_REVISION));
  // A word that starts with a slash is a path, also where other programs take it for an option.
  app.allow_windows_style_options(false);
  app.require_subcommand(1);
  AddFix(app, parsed);
  AddFileCommands(app, parsed);
  AddExport(app, parsed);
  AddDiff(app, parsed);
  AddOthers(app, parsed);
  try {
    // The parser takes the arguments from the back.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::RequiredError& e) {
    // The parser complains of a missing command before it looks at words that it does not know.
    if (app.get_subcommands().empty() && !arguments.empty() && !arguments.front().starts_with('-')) {
      streams.err << "There is no command '" << arguments.front()
                  << "'.\nRun with --help for more information.\n";
      return kUsage;
    }
    app.exit(e, streams.out, streams.err);
    return kUsage;
  } catch (const CLI::ParseError& e) {
    return app.exit(e, streams.out, streams.err) == 0 ? kOk : kUsage;
  }
  const std::string command = app.get_subcommands().front()->get_name();
  try {
    return Dispatch(command, parsed, streams);
  } catch (const jet::Error& e) {
    TellError(db::ToDbError(e), streams.err);
    if (e.kind() == jet::ErrorKind::kInterrupted) return InterruptedStatus();
    return e.is_refusal() ? kRefused : kFailed;
  } catch (const db::DbError& e) {
    TellError(e, streams.err);
    if (e.number() == db::kErrInterrupted) return InterruptedStatus();
    return e.number() == db::kErrReadOnly ? kRefused : kFailed;
  } catch (const std::bad_alloc&) {
    streams.err << db::kOutOfMemory << '\n';
    // Statements before the one that failed may have been done.
    return command == "sql" ? kFailed : kRefused;
  } catch (const std::exception& e) {
    streams.err << e.what() << '\n';
    return kFailed;
  }
}

}  // namespace

int Run(const std::vector<std::string>& arguments, Streams streams) {
  const int code = RunCommand(arguments, streams);
  // What is still buffered fails here at the latest.
  streams.out.flush();
  streams.err.flush();
  if (streams.out && streams.err) return code;
  if (streams.err) streams.err << "The output could not be written.\n" << std::flush;
  return code == kOk ? kUnwritten : code;
}

}  // namespace vnt::cli
