// Upper-case station names, beam names without blanks around them, active flags, dates in use in the right
// century, and common elements that agree with the station or satellite they belong to.
//
// Tables: e_as_stn (stn_name), grp (beam_name, d_inuse), s_beam, e_ant (beam_name), geo, non_geo, e_stn
// (f_active), com_el (sat_name, stn_name, long_nom).
//
// Not to be tidied:
//   - A date in use is rebuilt from a text that is always written day first and then read by the regional
//     order of dates. Where that order is month first, days up to 12 swap with the month.
//   - The date selection is sent once for nothing before it is opened.
//   - The longitude of a geostationary notice is copied with the satellite's name where the names differ, and
//     otherwise only filled in where it is missing or 0.
//   - A missing geo row leaves the longitude alone, a missing e_stn row is an error (no current record).
//   - The join updates go to both dialects in their Access form, and so does trim().

#include "fixes/identity.h"

#include <string>

#include "fixes/statement_list.h"
#include "platform/settings.h"
#include "program/error_trap.h"
#include "program/rows.h"

namespace vnt {
namespace {

constexpr Statement kStationNames[] = {
    {.text = R"(UPDATE e_as_stn SET stn_name = ucase(stn_name))",
     .restriction = kWhereGroups,
     .ingres = R"(UPDATE e_as_stn SET stn_name = uppercase(stn_name))"},
};

constexpr Statement kBeamNames[] = {
    {R"(UPDATE  grp set beam_name = trim(beam_name))", kWhereNotice},
    {R"(UPDATE  s_beam set beam_name = trim(beam_name))", kWhereNotice},
    {R"(UPDATE  e_ant set beam_name = trim(beam_name))", kWhereNotice},
};

constexpr Statement kActiveFlags[] = {
    {R"(UPDATE  geo SET f_active = 'A')", kWhereNotice},
    {R"(UPDATE  non_geo SET f_active = 'A')", kWhereNotice},
    {R"(UPDATE  e_stn SET f_active = 'A')", kWhereNotice},
};

constexpr Statement kOldDatesInUse = {.text = R"(select d_inuse from grp where d_inuse < #01/01/1950#)",
                                      .restriction = kAndGroupsWide,
                                      .ingres = R"(select d_inuse from grp where d_inuse < '01/01/1950')"};

constexpr Restriction kOfComEl{" and (com_el.ntc_id = ", ")"};

constexpr Statement kComElNames[] = {
    {R"(UPDATE com_el INNER JOIN geo ON com_el.ntc_id = geo.ntc_id SET com_el.sat_name = geo.sat_name,   com_el.long_nom = geo.long_nom  Where com_el.sat_name <> geo.sat_name)",
     kOfComEl},
    {R"(UPDATE com_el INNER JOIN non_geo ON com_el.ntc_id = non_geo.ntc_id SET com_el.sat_name = non_geo.sat_name  Where com_el.sat_name <> non_geo.sat_name)",
     kOfComEl},
    {R"(UPDATE com_el INNER JOIN e_stn ON com_el.ntc_id = e_stn.ntc_id SET com_el.stn_name = e_stn.stn_name  Where com_el.stn_name <> e_stn.stn_name)",
     kOfComEl},
};

// Reads a text of day, month and year, in that order, as the region's date conversion does: by the regional
// order, and by the other one when that gives no date. DbError 13 when neither does.
double ReadDayMonthYear(int day, int month, int year) {
  int read_day = day;
  int read_month = month;
  if (platform::RegionalDateOrder() == platform::DateOrder::kMonthFirst) std::swap(read_day, read_month);
  if (!db::IsValidDate(year, read_month, read_day)) std::swap(read_day, read_month);
  if (!db::IsValidDate(year, read_month, read_day)) {
    throw db::DbError(db::kErrTypeMismatch, "VNTFixdb",
                      "Type mismatch: '" + std::to_string(day) + "/" + std::to_string(month) + "/" +
                          std::to_string(year) + "' is no date for column d_inuse of table grp.");
  }
  return db::JoinDate(
      {.year = year, .month = read_month, .day = read_day, .hour = 0, .minute = 0, .second = 0});
}

// The long_nom of the notice's row in `table`, by the notice number.
void OpenLongitude(db::Recordset& row, const std::string& table, const std::string& ntc_id) {
  row.Open("select long_nom from " + table + " where ntc_id = " + ntc_id, MainCn());
}

}  // namespace

void UppercaseEarthStationNames() { SendTrapped(kStationNames); }
void TrimBeamNames() { SendTrapped(kBeamNames); }
void SetActiveFlags() { SendTrapped(kActiveFlags); }

void FixDateInUse() {
  Trapped([] {
    const std::string selection = TextOf(kOldDatesInUse);
    MainCn().Execute(selection);
    ForEachRow(selection, db::CursorType::kKeyset, [](db::Recordset& row) {
      const db::DateParts date = db::SplitDate(row.Get("d_inuse").ToDate());
      row.Set("d_inuse", db::Value::Date(ReadDayMonthYear(date.day, date.month, date.year + 100)));
      row.Update();
    });
  });
}

void SyncComElNames() { Send(kComElNames); }

void FillMissingComElData() {
  Trapped([] {
    SyncComElNames();
    ForEachRow(R"(select * from com_el where (long_nom is null or long_nom = 0))" + CurrentNotice(kAndNotice),
               db::CursorType::kKeyset, [](db::Recordset& row) {
                 const std::string ntc_id = std::to_string(row.Get("ntc_id").ToInt32());
                 const std::string ntc_type = row.Get("ntc_type").TextOr("");
                 db::Recordset source;
                 if (ntc_type == "G") {
                   OpenLongitude(source, "geo", ntc_id);
                   if (source.Eof()) return;
                 } else if (ntc_type == "T" || ntc_type == "S") {
                   OpenLongitude(source, "e_stn", ntc_id);
                 } else {
                   return;
                 }
                 row.Set("long_nom", source.Get("long_nom"));
                 source.Close();
                 row.Update();
               });
  });
}

}  // namespace vnt
