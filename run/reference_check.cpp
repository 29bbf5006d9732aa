#include "run/reference_check.h"

#include <algorithm>

#include "db/cadodb.h"
#include "fixes/reference_tables.h"
#include "platform/settings.h"

namespace vnt {
namespace {

bool ReplacesTables(const FixEntry& fix) {
  return std::ranges::any_of(
      fix.routines, [](const FixRoutine& routine) { return routine.run == UpdateAntennaTypeReference; });
}

}  // namespace

std::string ReferenceFault(const FixSelection& selection) {
  const auto fix = std::ranges::find_if(FixCatalogue(), [&](const FixEntry& entry) {
    return selection.test(static_cast<std::size_t>(entry.index)) && ReplacesTables(entry);
  });
  if (fix == FixCatalogue().end()) return {};
  const std::string path = platform::GetSettingString("GLOBAL", "VeltRefdb");
  if (path.empty()) return {};
  const std::string refusal =
      "\"" + std::string(fix->caption) + "\" cannot use the reference database \"" + path + "\": ";
  // The statement names the file between single quotes.
  if (path.find('\'') != std::string::npos) return refusal + "its name holds a single quote.";
  db::cadodb reference;
  reference.DBName = db::Value::Text(path);
  reference.Mode = db::AccessMode::kRead;
  try {
    reference.OpenADOConnection();
  } catch (const db::DbError& error) {
    if (error.number() == db::kErrInterrupted) throw;
    return {};  // the run has its own words for that
  }
  try {
    db::Recordset rows;
    rows.Open("select top 1 * from rf_ant_type", reference.Cn());
  } catch (const db::DbError& error) {
    if (error.number() == db::kErrInterrupted) throw;
    return refusal + error.description();
  }
  return {};
}

}  // namespace vnt
