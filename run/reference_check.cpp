#include "run/reference_check.h"

#include <algorithm>
#include <filesystem>
#include <vector>

#include <fmt/format.h>

#include "db/cadodb.h"
#include "db/connection_string.h"
#include "fixes/antenna_patterns.h"
#include "fixes/reference_tables.h"
#include "platform/paths.h"
#include "platform/settings.h"
#include "program/program_state.h"

namespace vnt {
namespace {

// What a routine reads there.
struct Need {
  void (*routine)();
  std::vector<const char*> queries;
};

const std::vector<Need>& Needs() {
  static const std::vector<Need> kNeeds = {{UpdateAntennaTypeReference, {"select top 1 * from rf_ant_type"}},
                                           {AlignPatternIds,
                                            {"select top 1 pattern_id, emi_rcp from rf_ant_type",
                                             "select top 1 pattern_id_e from rf_ant_type_convert_rtoe"}}};
  return kNeeds;
}

const Need* NeedOf(const FixEntry& fix) {
  const auto need = std::ranges::find_if(Needs(), [&](const Need& of) {
    return std::ranges::any_of(fix.routines,
                               [&](const FixRoutine& routine) { return routine.run == of.routine; });
  });
  return need == Needs().end() ? nullptr : &*need;
}

bool IsCurrentDatabase(const std::string& path) {
  if (db::IsServerName(State().current_database)) return false;
  std::error_code error;
  return std::filesystem::equivalent(platform::PathOf(path), platform::PathOf(State().current_database),
                                     error);
}

// Why the file cannot serve; empty when it can.
std::string FaultOf(const std::string& path, const Need& need) {
  // The statement that reads it names the file between single quotes.
  if (path.find('\'') != std::string::npos) return "its name holds a single quote.";
  if (IsCurrentDatabase(path)) return "it is the database that is to be fixed.";
  try {
    db::cadodb reference;
    reference.DBName = db::Value::Text(path);
    reference.Mode = db::AccessMode::kRead;
    reference.OpenADOConnection();
    for (const char* query : need.queries) {
      db::Recordset rows;
      rows.Open(query, reference.Cn());
    }
  } catch (const db::DbError& error) {
    if (error.number() == db::kErrInterrupted) throw;
    return error.description();
  }
  return {};
}

}  // namespace

bool NeedsReference(const FixSelection& selection) {
  return std::ranges::any_of(FixCatalogue(), [&](const FixEntry& fix) {
    return selection.test(static_cast<std::size_t>(fix.index)) && NeedOf(fix) != nullptr;
  });
}

std::string ReferenceFault(const FixSelection& selection, std::string_view named_by) {
  const std::string path = platform::GetSettingString("GLOBAL", "VeltRefdb");
  for (const FixEntry& fix : FixCatalogue()) {
    const Need* need = selection.test(static_cast<std::size_t>(fix.index)) ? NeedOf(fix) : nullptr;
    if (need == nullptr) continue;
    if (path.empty()) {
      return fmt::format("fix {} \"{}\" needs the reference database, and nothing names it: {}.", fix.index,
                         fix.caption, named_by);
    }
    if (const std::string fault = FaultOf(path, *need); !fault.empty()) {
      return fmt::format("fix {} \"{}\" cannot use the reference database \"{}\" ({}): {}", fix.index,
                         fix.caption, path, named_by, fault);
    }
  }
  return {};
}

}  // namespace vnt
