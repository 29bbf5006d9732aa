// The lowest lower edge and the highest upper edge of a group's (a beam's) freq rows become its freq_min and
// freq_max.
//
// Tables: freq (read), grp, s_beam (freq_min, freq_max).
//
// Not to be tidied:
//   - Limits are written whether they changed or not; those of groups and beams without freq rows stay.
//   - A failing group or beam is told in a message of its own, not the common report, and the next one goes
//     on. A failure of the selection itself is told with the group not yet read, which is 0.

#include "freq/frequency_limits.h"

#include <functional>
#include <string>

#include "platform/messages.h"
#include "program/error_trap.h"
#include "program/notice_scope.h"
#include "program/program_state.h"

namespace vnt {
namespace {

void Report(const std::string& what, const db::DbError& error) {
  CountError(error);
  platform::ShowMessage("Error building Freq Min Max for " + what + " " + error.description(),
                        platform::MessageStyle::kPlain, State().error_context);
}

// Writes the limits of one result row into the row that `selection` finds, when there is one. A Null limit
// leaves the column alone.
void WriteLimits(const db::Recordset& limits, const std::string& selection) {
  const db::Value freq_min = limits.Get("freqMin");
  const db::Value freq_max = limits.Get("freqMax");
  db::Recordset target;
  target.Open(selection, MainCn(), db::CursorType::kKeyset, db::LockType::kOptimistic);
  if (target.Eof()) return;
  if (!freq_min.is_null()) target.Set("freq_min", freq_min);
  if (!freq_max.is_null()) target.Set("freq_max", freq_max);
  target.Update();
  target.Close();
}

// Walks the result of `query`; `select` gives the text that finds a row's target and notes in `name` what a
// message is to call it.
void WriteAll(const std::string& query, std::string name,
              const std::function<std::string(const db::Recordset&, std::string& name)>& select) {
  try {
    db::Recordset limits;
    limits.Open(query, MainCn());
    for (; !limits.Eof(); limits.MoveNext()) {
      try {
        const std::string selection = select(limits, name);
        WriteLimits(limits, selection);
      } catch (const db::DbError& error) {
        PassOnEnvironment(error);
        Report(name, error);
      }
    }
    limits.Close();
  } catch (const db::DbError& error) {
    PassOnEnvironment(error);
    Report(name, error);
  }
}

}  // namespace

void SetGroupFreqMinMax() {
  WriteAll(
      "SELECT grp_id, MIN(freq_min) as freqMin, MAX(freq_max) as freqMax "
      " From freq " +
          CurrentNotice(kWhereNotice) + " GROUP BY grp_id ORDER BY grp_id ",
      "group 0", [](const db::Recordset& row, std::string& name) {
        const std::string grp_id = row.Get("grp_id").ToText();
        name = "group " + grp_id;
        return "select freq_min, freq_max from grp "
               " where grp_id = " +
               grp_id;
      });
}

void SetBeamFreqMinMax() {
  WriteAll(
      "SELECT ntc_id, emi_rcp, beam_name, MIN(freq_min) as freqMin,"
      " MAX(freq_max) As freqMax  "
      " FROM freq " +
          CurrentNotice(kWhereNotice) +
          " GROUP BY ntc_id, emi_rcp, beam_name "
          " ORDER BY ntc_id, emi_rcp, beam_name ",
      "beam ", [](const db::Recordset& row, std::string& name) {
        const auto text = [&](const char* column) {
          const db::Value value = row.Get(column);
          return value.is_null() ? std::string() : value.ToText();
        };
        const std::string beam_name = text("beam_name");
        name = "beam " + beam_name;
        return "select freq_min, freq_max from s_beam "
               " Where ntc_id = " +
               text("ntc_id") + " AND emi_rcp = '" + text("emi_rcp") + "' AND beam_name =  '" + beam_name +
               "'";
      });
}

}  // namespace vnt
