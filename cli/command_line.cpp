#include "cli/command_line.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <ostream>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "access/base/text.h"
#include "cli/help_text.h"
#include "cli/nearest.h"
#include "platform/paths.h"

namespace vnt::cli {
namespace {

template <class T>
using Choices = std::vector<std::pair<std::string, T>>;

const Choices<jet::Format> kFormats{
    {"jet4", jet::Format::kJet4}, {"ace12", jet::Format::kAce12}, {"ace14", jet::Format::kAce14}};
const Choices<platform::DateOrder> kDateOrders{{"dmy", platform::DateOrder::kDayFirst},
                                               {"mdy", platform::DateOrder::kMonthFirst}};
const Choices<ExportFormat> kExportFormats{
    {"csv", ExportFormat::kCsv}, {"json", ExportFormat::kJson}, {"sqlite", ExportFormat::kSqlite}};
const Choices<DiffFormat> kDiffFormats{
    {"text", DiffFormat::kText}, {"csv", DiffFormat::kCsv}, {"json", DiffFormat::kJson}};

constexpr char kFormatHelp[] = "Of the databases: jet4 is .mdb, ace12 and ace14 are .accdb";

// An option that takes one of a few words.
template <class T, class Target>
CLI::Option* AddChoice(CLI::App& app, const std::string& name, Target& target, const Choices<T>& choices,
                       const std::string& help) {
  std::string words;
  for (const auto& [word, value] : choices) words += (words.empty() ? "" : "|") + word;
  const auto take = [&target, &choices, name, words](const std::string& text) {
    for (const auto& [word, value] : choices) {
      if (!jet::EqualWords(word, text)) continue;
      target = value;
      return;
    }
    throw CLI::ValidationError(name, fmt::format("\"{}\" is none of {}", text, words));
  };
  return app.add_option_function<std::string>(name, take, help)->type_name(words);
}

// An option with a value. An empty one, such as that of a variable which a script has not set, must not pass
// for none.
CLI::Option* Named(CLI::Option* option, const char* value) {
  return option->type_name(value)->check(CLI::Validator(
      [](const std::string& text) { return text.empty() ? "its value is empty" : std::string(); }, ""));
}

void AddFile(CLI::App& app, std::string& file, const char* help = "Access database") {
  app.add_option("FILE", file, help)->required();
}

// What says which numbers are allowed stands in the text of the option.
CLI::Validator Between(int lowest, int highest) {
  CLI::Range range(lowest, highest);
  range.description("");
  return range;
}

// For the commands that take a data source in place of a file.
void AddLogin(CLI::App& app, ServerLogin& login) {
  Named(app.add_option("--user", login.user, "For a data source (dsn:NAME): the user (default: as it says)"),
        "NAME");
  Named(app.add_option("--password-file", login.password_file,
                       "For a data source: a file with the password (default: as it says)"),
        "FILE");
}

void AddFixChoice(CLI::App& fix, FixOptions& options) {
  auto* only = Named(fix.add_option("--only", options.only,
                                    "Only these fixes: numbers (7), ranges (7-9) or words of a caption "
                                    "(\"sort freq\"), several with commas"),
                     "FIXES");
  auto* except =
      Named(fix.add_option("--except", options.except, "The default fixes without these"), "FIXES");
  auto* all = fix.add_flag("--all", options.all, "All fixes, also those that are not on by default");
  only->excludes(except)->excludes(all);
  except->excludes(all);
  auto* notice =
      Named(fix.add_option("--notice", options.notices, "Only these notices, such as 7 or 5,7-9"), "NUMBERS");
  fix.add_flag("--strict-notice", options.strict_notice,
               "With --notice, leave out the fixes that reach beyond the notice (list names them)")
      ->needs(notice);
}

void AddFix(CLI::App& app, Request& r) {
  CLI::App* fix = app.add_subcommand("fix", "Run fixes on notice databases");
  FixOptions& options = r.fix;
  fix->add_option("FILE", options.files,
                  "Notice databases (.mdb, .accdb, or dsn:NAME for a data source), one after the other")
      ->required();
  Named(fix->add_option("--reference", options.reference,
                        "Pattern reference database (default: VeltRefdb of KV_SOFT.ini)"),
        "FILE");
  Named(fix->add_option("--template", options.empty_template,
                        "Empty template database (default: EmptyDBV6 of KV_SOFT.ini)"),
        "FILE");
  AddFixChoice(*fix, options);
  auto* dry_run = fix->add_flag("--dry-run", options.dry_run, "Show what a run would do; no file is written");
  fix->add_flag("--diff", options.diff,
                "With --dry-run, also show what would change, as \"diff\" does (--format text, csv, json)")
      ->needs(dry_run);
  fix->add_flag("--backup", r.backup, "First copy each file to NAME.YYYYMMDD-HHMMSS.bak, for \"undo\"")
      ->excludes(dry_run);
  Named(fix->add_option("--backup-folder", r.backup_folder, "The same, into this folder"), "FOLDER")
      ->excludes(dry_run);
  fix->add_flag("--discard-journal", options.discard_journal,
                "First drop what a run that did not end has saved beside the file, and lose it")
      ->excludes(dry_run);
  Named(fix->add_option("--report", options.report, "Write what was done to this file; - is standard output"),
        "FILE");
  AddChoice(*fix, "--format", options.format, kDiffFormats,
            "Of the report (text or json; default: json where its name ends in .json) and of what --diff "
            "prints (default: text). With --diff and csv or json the lines of the run go to standard error");
  AddChoice(*fix, "--date-order", options.date_order, kDateOrders,
            "Order in which dates are read (default: that of the regional settings)");
  Named(fix->add_option("--data-level", options.data_level, "Data level (default: DataLevel of KV_SOFT.ini)"),
        "N");
  auto* all_notices =
      fix->add_flag("--all-notices", options.all_notices,
                    "Of a data source: every notice by itself; fixes that reach beyond a notice once")
          ->excludes("--notice");
  Named(fix->add_option("--jobs", options.jobs, "How many connections --all-notices works on (default 1)"),
        "N")
      ->check(Between(1, 64))
      ->needs(all_notices);
  AddLogin(*fix, r.login);
  auto* quiet = fix->add_flag("--quiet", options.quiet, "Print errors only");
  fix->add_flag("--verbose", options.verbose, "Print every error that differs in a word")->excludes(quiet);
  fix->footer(R"(Each line has the rows that a fix wrote and, with --backup, --report or
--dry-run, how many changed: rows that came, went or hold another value
afterwards. A row whose key changes counts twice, as one that went and one that
came.

Examples:
  vntfix fix nightly.mdb --reference ref.mdb --dry-run --diff
  vntfix fix nightly.mdb --reference ref.mdb --dry-run --diff --format json
  vntfix fix nightly.mdb --reference ref.mdb --backup --report nightly.json
  vntfix fix nightly.mdb --reference ref.mdb --only 7-9,"sort freq" --notice 5,7-9
)");

  CLI::App* undo = app.add_subcommand("undo", "Put back what a file was before its last run with --backup");
  AddFile(*undo, r.undo.file, "Notice database");
  Named(
      undo->add_option("--backup-folder", r.undo.folder, "Where the backups are (default: beside the file)"),
      "FOLDER");
  auto* listed = undo->add_flag("--list", r.undo.list,
                                "Only list the backups that there are, newest first, and test each");
  Named(undo->add_option("--from", r.undo.from, "Put this backup back (--list shows them)"), "BACKUP")
      ->excludes(listed);
  undo->add_flag(
      "--force", r.undo.force,
      "Even when the file was changed since that run, is damaged or missing: the newest sound backup. "
      "With --from also one that is damaged");
  undo->footer(R"(Examples:
  vntfix undo nightly.mdb --list
  vntfix undo nightly.mdb
  vntfix undo nightly.mdb --from nightly.mdb.20261122-023000.bak
)");

  CLI::App* list = app.add_subcommand("list", "List the fixes: index, default tick, caption, what it does");
  list->add_option("FIX", r.list.fixes,
                   "Only these fixes: numbers (7), ranges (7-9) or words, for all whose caption has them");
  list->add_flag("--sql", r.list.sql, "The statements of each, on Access and on Ingres");
  list->footer("Examples:\n  vntfix list\n  vntfix list 22 --sql\n");
}

// The commands that look into a file.
void AddReading(CLI::App& app, Request& r) {
  const auto add = [&](const char* name, const char* help) {
    CLI::App* command = app.add_subcommand(name, help);
    AddFile(*command, r.file);
    return command;
  };
  AddLogin(*add("info", "Show what kind of file it is, what is in it, and who has it open"), r.login);
  CLI::App* tables = add("tables", "List the tables and their numbers of rows");
  tables->add_flag("--all", r.all_tables, "System tables and other objects too");
  AddLogin(*tables, r.login);
  add("schema", "Print the tables as CREATE statements")->add_option("TABLE", r.table, "Only this table");

  CLI::App* exported = app.add_subcommand("export", "Print a table, or write all tables to files");
  AddFile(*exported, r.exported.file);
  exported->add_option("TABLE", r.exported.table, "Table to print");
  Named(exported->add_option("--all", r.exported.folder, "All tables, each into a new file of this folder"),
        "FOLDER");
  AddChoice(*exported, "--format", r.exported.format, kExportFormats, "Of what is written (default: csv)");
  Named(exported->add_option("--output", r.exported.output,
                             "With --format sqlite: the new file, for all tables"),
        "FILE");
  exported->add_flag("--order-by-key", r.exported.order_by_key,
                     "Rows by primary key, not as the table holds them");
  AddLogin(*exported, r.login);
  exported->footer(R"(Examples:
  vntfix export nightly.mdb notice
  vntfix export nightly.mdb --all csv-files --order-by-key
  vntfix export nightly.mdb --format sqlite --output nightly.sqlite
)");

  CLI::App* sql = app.add_subcommand("sql", "Run Access SQL");
  AddFile(*sql, r.sql.file);
  sql->add_option("STATEMENT", r.sql.statements,
                  "Statements (default: from standard input, each ended by ';')");
  auto* csv = sql->add_flag("--csv", r.sql.csv, "Results as CSV");
  sql->add_flag("--json", r.sql.json, "Results as JSON: for each query an array with an object for each row")
      ->excludes(csv);
  auto* read_only =
      sql->add_flag("--read-only", r.sql.read_only, "Refuse every statement that would change something");
  sql->add_flag("--transaction", r.sql.transaction, "All statements or, when one fails, none")
      ->excludes(read_only);
  AddLogin(*sql, r.login);
  sql->footer(R"(Examples:
  vntfix sql nightly.mdb "select ntc_id, st_cur from notice where st_cur <> '01'"
  vntfix sql nightly.mdb --transaction < corrections.sql
)");

  CLI::App* diff = app.add_subcommand("diff", "Show what two databases differ in: exit status 1 if anything");
  diff->add_option("OLD", r.diff.old_file, "Access database (.mdb, .accdb), or dsn:NAME for a data source")
      ->required();
  diff->add_option("NEW", r.diff.new_file, "Access database to compare it with")->required();
  Named(diff->add_option("--notice", r.diff.compare.notice, "Only rows that belong to this notice"), "NUMBER")
      ->check(Between(1, std::numeric_limits<std::int32_t>::max()));
  Named(diff->add_option("--table", r.diff.compare.tables, "Only these tables, several with commas"),
        "TABLES")
      ->delimiter(',');
  diff->add_flag("--only-counts", r.diff.compare.only_counts, "How many rows differ, not which");
  AddChoice(*diff, "--format", r.diff.format, kDiffFormats, "Of what is printed (default: text)");
  AddLogin(*diff, r.login);
  diff->footer(R"(Examples:
  vntfix diff before.mdb after.mdb --only-counts
  vntfix diff before.mdb after.accdb --notice 7 --format json
)");

  add("check", "Verify every invariant of the file");
}

void AddMaking(CLI::App& app, Request& r) {
  CLI::App* compact = app.add_subcommand("compact", "Give back the space that the file does not need");
  AddFile(*compact, r.file);
  CLI::App* made = app.add_subcommand("new", "Create an empty database");
  AddFile(*made, r.file, "The new file");
  AddChoice(*made, "--format", r.format, kFormats,
            std::string(kFormatHelp) + " (default: by the name: ace14 for .accdb, else jet4)");
  CLI::App* copy = app.add_subcommand("copy", "Copy the tables of a file or data source into another one");
  copy->add_option("FROM", r.copy.from, "Access database (.mdb, .accdb), or dsn:NAME for a data source")
      ->required();
  copy->add_option("TO", r.copy.to, "The same; a file is made when it is missing")->required();
  Named(copy->add_option("--notice", r.copy.notice,
                         "Only rows that belong to this notice, also into tables "
                         "that are there"),
        "NUMBER")
      ->check(Between(1, std::numeric_limits<std::int32_t>::max()));
  AddLogin(*copy, r.login);
  copy->footer("Examples:\n  vntfix copy nightly.mdb dsn:NOTICES\n  vntfix copy dsn:NOTICES nightly.accdb\n");
  CLI::App* sample = app.add_subcommand("sample", "Make a sample notice, reference and template database");
  sample->add_option("FOLDER", r.sample.folder, "Folder, made when missing")->required();
  Named(sample->add_option("--notices", r.sample.notices, "Number of notices, 10 to 100000 (default 100)"),
        "N")
      ->check(Between(10, 100000));
  Named(sample->add_option("--seed", r.sample.seed, "The same seed gives the same rows (default 1)"), "N");
  AddChoice(*sample, "--format", r.sample.format, kFormats, std::string(kFormatHelp) + " (default: jet4)");
  sample->footer("Examples:\n  vntfix sample practice --notices 30\n");
}

void AddHelp(CLI::App& app, Request& r) {
  CLI::App* help = app.add_subcommand("help", "Tell more of a command");
  help->add_option("COMMAND", r.topic, "Which one (default: what commands there are)");
}

// "--backup FOLDER" is understood too: a folder among the files can be nothing else.
void TakeBackupFolder(Request& r) {
  FixOptions& options = r.fix;
  if (r.backup || !r.backup_folder.empty()) options.backup = r.backup_folder;
  // A folder alone stands where a file should.
  if (!r.backup || !r.backup_folder.empty() || options.files.size() < 2) return;
  const auto folder = std::ranges::find_if(options.files, [](const std::string& file) {
    std::error_code error;
    return std::filesystem::is_directory(platform::PathOf(file), error);
  });
  if (folder == options.files.end()) return;
  options.backup = *folder;
  options.files.erase(folder);
}

// Names of the options of a command, or of its commands.
std::vector<std::string> OptionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
  }
  return names;
}
std::vector<std::string> CommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(command->get_name());
  }
  return names;
}

// No number that is less than nothing.
bool LooksLikeOption(const std::string& word) {
  constexpr std::string_view kNumber = ".0123456789";
  return word.size() > 1 && word[0] == '-' && kNumber.find(word[1]) == std::string_view::npos;
}

std::string Meant(const std::string& nearest) {
  return nearest.empty() ? "." : fmt::format("; did you mean '{}'?", nearest);
}

// A sentence about the first word that means nothing; empty when there is none such.
std::string UnknownWord(const CLI::App& app, const CLI::App* command,
                        const std::vector<std::string>& arguments) {
  if (command == nullptr) {
    if (arguments.empty()) return "name a command.";
    const std::string& word = arguments.front();
    if (!word.starts_with('-')) {
      return fmt::format("there is no command '{}'{}", word, Meant(Nearest(word, CommandNames(app))));
    }
  }
  const std::vector<std::string> names = OptionNames(command == nullptr ? app : *command);
  for (const std::string& argument : arguments) {
    if (argument == "--") break;
    const std::string name = argument.substr(0, argument.find('='));
    if (!LooksLikeOption(name) || std::ranges::find(names, name) != names.end()) continue;
    const std::string nearest = name.starts_with("--") ? Nearest(name, names) : "";
    return fmt::format("there is no option '{}'{}", name, Meant(nearest));
  }
  return {};
}

// What `help` prints; empty for a command that there is not.
std::string HelpOn(const CLI::App& app, const std::string& topic) {
  if (topic.empty()) return HelpText(app);
  const std::vector<std::string> names = CommandNames(app);
  return std::ranges::find(names, topic) == names.end() ? "" : HelpText(*app.get_subcommand(topic));
}

constexpr char kProgram[] = "vntfix";
constexpr char kPurpose[] = "Repairs and normalises databases of satellite network notices.";

void Build(CLI::App& app, Request& request) {
  app.set_version_flag(
      "-V,--version",
      fmt::format("vntfix {}.{}.{}", VNT_VERSION_MAJOR, VNT_VERSION_MINOR, VNT_VERSION_REVISION),
      "Print the version");
  // A word that starts with a slash is a path, also where other programs take it for an option.
  app.allow_windows_style_options(false);
  app.require_subcommand(1);
  app.set_help_flag("-h,--help", "Print this");
  AddFix(app, request);
  AddReading(app, request);
  AddMaking(app, request);
  AddHelp(app, request);
  app.footer("vntfix COMMAND --help tells more of each.\n");
}

}  // namespace

std::vector<std::string> Request::Files() const {
  if (command == "fix") return fix.files;
  if (command == "undo") return {undo.file};
  if (command == "export") return {exported.file};
  if (command == "sql") return {sql.file};
  if (command == "diff") return {diff.old_file, diff.new_file};
  if (command == "copy") return {copy.from, copy.to};
  if (command == "list" || command == "new" || command == "sample") return {};
  return {file};
}

std::optional<Request> ParseCommandLine(const std::vector<std::string>& arguments, Streams& streams,
                                        int* status) {
  std::optional<Request> request(std::in_place);
  CLI::App app(kPurpose, kProgram);
  Build(app, *request);
  const auto command = [&]() -> const CLI::App* {
    return app.get_subcommands().empty() ? nullptr : app.get_subcommands().front();
  };
  try {
    // The parser takes the arguments from the back.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::CallForHelp&) {
    if (command() == nullptr && !arguments.front().starts_with('-')) {
      streams.err << "vntfix: " << UnknownWord(app, nullptr, arguments) << '\n';
      *status = kUsage;
      return {};
    }
    streams.out << HelpText(command() == nullptr ? app : *command());
    *status = kOk;
    return {};
  } catch (const CLI::CallForVersion& version) {
    streams.out << version.what() << '\n';
    *status = kOk;
    return {};
  } catch (const CLI::ParseError& error) {
    const std::string program = "vntfix" + (command() == nullptr ? "" : " " + command()->get_name());
    const std::string unknown = UnknownWord(app, command(), arguments);
    streams.err << program << ": " << (unknown.empty() ? error.what() : unknown) << '\n'
                << program << " --help tells more.\n";
    *status = kUsage;
    return {};
  }
  request->command = command()->get_name();
  if (request->command == "help") {
    const std::string help = HelpOn(app, request->topic);
    if (help.empty()) streams.err << "vntfix: " << UnknownWord(app, nullptr, {request->topic}) << '\n';
    streams.out << help;
    *status = help.empty() ? kUsage : kOk;
    return {};
  }
  TakeBackupFolder(*request);
  return request;
}

void WithCommandLine(const std::function<void(const CLI::App&)>& use) {
  Request request;
  CLI::App app(kPurpose, kProgram);
  Build(app, request);
  use(app);
}

}  // namespace vnt::cli
