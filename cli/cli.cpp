#include "cli/cli.h"

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

namespace vnt::cli {
namespace {

const std::map<std::string, jet::Format> kFormats{
    {"jet4", jet::Format::kJet4}, {"ace12", jet::Format::kAce12}, {"ace14", jet::Format::kAce14}};

const std::map<std::string, platform::DateOrder> kDateOrders{{"dmy", platform::DateOrder::kDayFirst},
                                                             {"mdy", platform::DateOrder::kMonthFirst}};

// The options of all subcommands, filled by the parser.
struct Parsed {
  FixOptions fix;
  std::string file, table;
  bool all_tables = false;
  jet::Format format = jet::Format::kJet4;
  SqlOptions sql;
  SampleCommandOptions sample;
};

void AddFix(CLI::App& app, Parsed& p) {
  CLI::App* fix = app.add_subcommand("fix", "Run fixes on a notice database");
  fix->add_option("FILE", p.fix.file, "Notice database (.mdb or .accdb)")->required();
  fix->add_option("--reference", p.fix.reference,
                  "Pattern reference database (default: VeltRefdb of KV_SOFT.ini)");
  fix->add_option("--template", p.fix.empty_template,
                  "Empty template database (default: EmptyDBV6 of KV_SOFT.ini)");
  fix->add_option("--notice", p.fix.notice, "Only this notice")
      ->check(CLI::Range(1, std::numeric_limits<std::int32_t>::max()));
  // A list is one word: the file may stand after it.
  auto* only = fix->add_option("--only", p.fix.only, "Only these fixes, by index")
                   ->delimiter(',')
                   ->allow_extra_args(false)
                   ->check(CLI::Range(0, 39));
  auto* except = fix->add_option("--except", p.fix.except, "The default fixes without these")
                     ->delimiter(',')
                     ->allow_extra_args(false)
                     ->check(CLI::Range(0, 39));
  auto* all = fix->add_flag("--all", p.fix.all, "All forty fixes");
  only->excludes(except)->excludes(all);
  except->excludes(all);
  fix->add_option("--date-order", p.fix.date_order,
                  "Order in which dates are read, dmy or mdy (default: that of the regional settings)")
      ->transform(CLI::CheckedTransformer(kDateOrders).description(""));
  fix->add_option("--data-level", p.fix.data_level, "Data level (default: DataLevel of KV_SOFT.ini)");
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
  add("export", "Print a table as CSV")->add_option("TABLE", p.table, "Table")->required();
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

  app.add_subcommand("list", "List the fixes: index, default tick, caption, what it does");
}

int Dispatch(const std::string& command, const Parsed& p, Streams& streams) {
  if (command == "fix") return Fix(p.fix, streams);
  if (command == "list") return List(streams);
  if (command == "new") return New(p.file, p.format, streams);
  if (command == "tables") return Tables(p.file, p.all_tables, streams);
  if (command == "schema") return Schema(p.file, p.table, streams);
  if (command == "export") return Export(p.file, p.table, streams);
  if (command == "check") return Check(p.file, streams);
  if (command == "compact") return Compact(p.file, streams);
  if (command == "sql") return Sql(p.sql, streams);
  return Sample(p.sample, streams);
}

bool IsRefusal(jet::ErrorKind kind) {
  switch (kind) {
    case jet::ErrorKind::kNotFound:
    case jet::ErrorKind::kCorrupt:
    case jet::ErrorKind::kNotSupported:
    case jet::ErrorKind::kIo:
    case jet::ErrorKind::kLocked:
    case jet::ErrorKind::kReadOnly:
    case jet::ErrorKind::kFull:
    case jet::ErrorKind::kMemory:
    case jet::ErrorKind::kReplaced:
    case jet::ErrorKind::kInterrupted:
    case jet::ErrorKind::kExists:
      return true;
    default:
      return false;
  }
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
    return IsRefusal(e.kind()) ? kRefused : kFailed;
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
