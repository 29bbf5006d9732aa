#include "startup/run_modes.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "platform/desktop.h"
#include "platform/messages.h"
#include "platform/settings.h"
#include "program/program_state.h"
#include "run/databases.h"
#include "run/guards.h"
#include "run/run_report.h"
#include "startup/file_to_show.h"
#include "startup/unshown_window.h"
#include "startup/usage.h"

namespace vnt {
namespace {

constexpr std::string_view kActive = "Active";
constexpr std::string_view kOwnSection = "VNTFIXV7";
constexpr std::string_view kSharedSection = "GLOBAL";
constexpr std::string_view kCurrentDatabase = "CurDatabase";

constexpr int kEnded = 0;
constexpr int kFailed = 1;

// The value is kept when the settings file names no database.
void ReadCurrentDatabase() {
  const std::string name = platform::GetSettingString(kOwnSection, kCurrentDatabase);
  if (!name.empty()) State().current_database = name;
}

std::int16_t ReadDataLevel() {
  const std::int32_t level = platform::GetSettingInt(kSharedSection, "DataLevel");
  return static_cast<std::int16_t>(std::clamp<std::int32_t>(level, std::numeric_limits<std::int16_t>::min(),
                                                            std::numeric_limits<std::int16_t>::max()));
}

// How a notice number was read that is none; empty: it is one, or none is set.
std::string NoticeFault(std::int32_t read_as) {
  const std::string text = platform::GetSettingString(kOwnSection, "Ntc_id");
  std::int32_t number = 0;
  const char* const begin = text.data() + (text.starts_with('+') ? 1 : 0);
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(begin, end, number);
  if (text.empty() || (error == std::errc() && stop == end && number >= 0)) return {};
  return "The Ntc_id \"" + text + "\" of KV_SOFT.ini is no number of a notice; it is read as " +
         std::to_string(read_as) + (read_as > 0 ? "." : ", which stands for all notices.");
}

bool Refuse(std::string_view message, std::string_view explanation = {}) {
  platform::ShowMessage(message, platform::MessageStyle::kInformation, explanation);
  if (!State().active) ReportUnattendedRefusal(message);
  return false;
}

void TellAndReport(StartUpHost& host, const std::string& line) {
  host.Tell(line);
  ReportMessage(line);
}

// In the window its scope is seen.
void NoteSettingFault(StartUpHost& host, const std::string& fault) {
  if (State().active || fault.empty()) return;
  if (!State().setting_fault.empty()) State().setting_fault += " ";
  State().setting_fault += fault;
  TellAndReport(host, fault);
}

std::string MissingNotice() {
  if (State().ntc_id < 1 || !LacksNotice(State().ntc_id)) return {};
  return "There is no notice " + std::to_string(State().ntc_id) + ", which Ntc_id of KV_SOFT.ini asks for.";
}

// Opens the database that the settings file names; false when the program ends instead.
bool OpenPreparedDatabase(StartUpHost& host) {
  State().setting_fault.clear();
  NoteSettingFault(host, NoticeFault(State().ntc_id));
  if (IsIngresSource(State().current_database)) {
    if (State().ntc_id < 1) {
      return Refuse("VNTFixdb cannot be run on the Ingres database without specifying a ntc_id");
    }
    State().source_fault = host.OpenIngresDatabase();
    if (!State().source_fault.empty()) {
      TellAndReport(host, State().current_database + " cannot be reached: " + State().source_fault);
    } else {
      NoteSettingFault(host, MissingNotice());
    }
    return true;
  }
  if (State().current_database.empty()) {
    return Refuse("No database specified.", platform::WhereSettingIs(kOwnSection, kCurrentDatabase));
  }
  try {
    host.OpenAccessDatabase();
  } catch (const db::DbError& error) {
    ShowOpeningError(error, State().current_database);
    if (!State().active) ReportUnattendedRefusal(error.description());
    return false;
  }
  NoteSettingFault(host, MissingNotice());
  return true;
}

std::string DatabasePanelText() {
  std::string text = State().current_database;
  if (State().ntc_id > 0) text += " - Ntc_id: " + std::to_string(State().ntc_id);
  return text;
}

int RunUnattended(StartUpHost& host) {
  const std::string scope = State().ntc_id > 0 ? "notice " + std::to_string(State().ntc_id) : "all notices";
  host.Tell("fixing " + State().current_database + ", " + scope + ".");
  const bool succeeded = host.LoadUnshownWindow()->Automatic_Fix();
  // A run for other notices than were meant is none to rely on.
  const bool as_meant = State().setting_fault.empty();
  return CloseDatabases() && succeeded && as_meant ? kEnded : kFailed;
}

MainWindow& ShowMainWindow(StartUpHost& host) {
  State().data_level = ReadDataLevel();
  State().date_separator = platform::GetRegionalSetting("sDate");
  MainWindow& window = host.LoadWindow();
  window.SetDatabasePanel(DatabasePanelText());
  if (IsIngresSource(State().current_database)) window.ClearDefaultselection();
  ReleaseDatabases();
  window.ShowWindow();
  return window;
}

void ShowNamedFile(MainWindow& window) {
  const std::string path = FileToShow();
  if (path.empty()) return;
  const std::string reason = WhyNotShown(path);
  if (reason.empty()) {
    window.OpenFile(path);
  } else {
    platform::ShowMessage(reason, platform::MessageStyle::kInformation);
  }
}

}  // namespace

RunMode RunModeOf(std::string_view command_line) {
  if (command_line.empty()) return RunMode::kInteractive;
  if (command_line.find(kActive) != std::string_view::npos) return RunMode::kPreparedInteractive;
  return RunMode::kUnattended;
}

std::optional<std::string> ConventionalAnswer(std::string_view command_line) {
  if (command_line == "--version") {
    return "VNTFixdb " + std::to_string(VNT_VERSION_MAJOR) + "." + std::to_string(VNT_VERSION_MINOR) + "." +
           std::to_string(VNT_VERSION_REVISION);
  }
  if (command_line == "--help" || command_line == "-h") return UsageText();
  return std::nullopt;
}

bool BoxesMayShow() { return platform::HasDisplay() && platform::GetSettingInt(kOwnSection, "Quiet") <= 0; }

void StartUpHost::OpenAccessDatabase() { vnt::OpenAccessDatabase(); }

std::string StartUpHost::OpenIngresDatabase() { return vnt::OpenIngresDatabase(); }

std::unique_ptr<MainWindow> StartUpHost::LoadUnshownWindow() { return std::make_unique<UnshownWindow>(); }

namespace {

std::optional<int> StartUpIn(RunMode mode, StartUpHost& host) {
  try {
    if (mode != RunMode::kInteractive && !OpenPreparedDatabase(host)) {
      CloseDatabases();
      return kFailed;
    }
    if (mode == RunMode::kUnattended) return RunUnattended(host);
    MainWindow& window = ShowMainWindow(host);
    if (mode == RunMode::kInteractive) ShowNamedFile(window);
  } catch (const EndProgram& end) {
    CloseDatabases();
    return end.exit_code;
  }
  return std::nullopt;
}

}  // namespace

std::optional<int> StartUp(std::string_view command_line, StartUpHost& host) {
  const RunMode mode = RunModeOf(command_line);
  State().ntc_id = 0;
  State().active = mode == RunMode::kPreparedInteractive;
  if (mode != RunMode::kInteractive) {
    ReadCurrentDatabase();
    State().ntc_id = platform::GetSettingInt(kOwnSection, "Ntc_id");
  }
  if (mode != RunMode::kUnattended) return StartUpIn(mode, host);
  const std::string fault = StartUnattendedReport();
  if (!fault.empty()) host.Tell(fault);
  const std::optional<int> status = StartUpIn(mode, host);
  const std::string last_fault = FinishUnattendedReport();
  if (!last_fault.empty() && last_fault != fault) host.Tell(last_fault);
  // Whoever waits for the report must not take an old one for that of this run.
  return last_fault.empty() ? status : kFailed;
}

}  // namespace vnt
