// A group's service area stands in grp.area_no, in its diagram rows ('SA') and in the list of service-area
// codes. Older data writes whole regions as free text in grp.area_name. Here the area number follows the
// diagram, a diagram row is made for a number without one, and region names of added notices become codes.
//
// Tables: grp (area_no, area_name), diag_grp, srv_area; notice is read.
//
// Not to be tidied:
//   - A group with a diagram of any other type gets no 'SA' row.
//   - Names are selected in any letter case but mapped only in capitals: a mixed-case name is cleared and
//     leaves no code.
//   - The restriction of DeleteUnusedDiagramGroups stands without parentheses and binds to 'AFRGN' only:
//     every 'MOTYP' and 'SMK' row of the database goes with the first notice.
//   - ucase() and the join update go to both dialects.

#include "fixes/service_areas.h"

#include <string>

#include "fixes/statement_list.h"
#include "program/error_trap.h"
#include "program/rows.h"

namespace vnt {
namespace {

constexpr Restriction kAndGroupNotice{" and (grp.ntc_id = ", ")"};

constexpr Statement kNumberFollowsDiagram = {
    R"(UPDATE grp INNER JOIN diag_grp ON grp.grp_id = diag_grp.grp_id SET grp.area_no = diag_grp.diag_no   Where diag_grp.diag_type = 'SA' and diag_grp.diag_no is not null)",
    kAndGroupNotice};

constexpr Statement kNumberedGroups = {
    R"(SELECT grp.grp_id, grp.area_no, diag_grp.grp_id as diag_grp_id, diag_grp.diag_type   FROM grp LEFT JOIN diag_grp ON grp.grp_id = diag_grp.grp_id  WHERE area_no is not null )",
    kAndGroupNotice};

constexpr std::string_view kRegionNames =
    R"(select grp_id, area_name from grp where (ucase(area_name) = 'VISIBLE EARTH'  or ucase(area_name) = 'VISIBLEEARTH')"
    R"( or ucase(area_name) = 'REGION1' or ucase(area_name) = 'REGION2' or ucase(area_name) = 'REGION3')"
    R"( or ucase(area_name) = 'REGION 1' or ucase(area_name) = 'REGION 2' or ucase(area_name) = 'REGION 3')"
    R"( or ucase(area_name) = 'XVE' or ucase(area_name) = 'RGN1' or ucase(area_name) = 'RGN 1' or ucase(area_name) = 'RG1' )"
    R"( or ucase(area_name) = 'RG 1' or ucase(area_name) = 'XR1' or ucase(area_name) = 'XR 1')"
    R"( or ucase(area_name) = 'RGN2' or ucase(area_name) = 'RGN 2' or ucase(area_name) = 'RG2' or ucase(area_name) = 'RG 2')"
    R"( or ucase(area_name) = 'XR2' or ucase(area_name) = 'XR 2')"
    R"( or ucase(area_name) = 'RGN3' or ucase(area_name) = 'RGN 3' or ucase(area_name) = 'RG3' or ucase(area_name) = 'RG 3')"
    R"( or ucase(area_name) = 'XR3' or ucase(area_name) = 'XR 3'))"
    R"( and ntc_id in (select ntc_id from notice where ntf_rsn = 'A')";

struct AreaName {
  std::string_view name, symbol;
};
constexpr AreaName kAreaNames[] = {
    {"VISIBLE EARTH", "XVE"}, {"VISIBLEEARTH", "XVE"}, {"XVE", "XVE"},   {"REGION 1", "XR1"},
    {"REGION1", "XR1"},       {"RGN1", "XR1"},         {"RGN 1", "XR1"}, {"RG1", "XR1"},
    {"RG 1", "XR1"},          {"XR1", "XR1"},          {"XR 1", "XR1"},  {"REGION 2", "XR2"},
    {"REGION2", "XR2"},       {"RGN2", "XR2"},         {"RGN 2", "XR2"}, {"RG2", "XR2"},
    {"RG 2", "XR2"},          {"XR2", "XR2"},          {"XR 2", "XR2"},  {"REGION 3", "XR3"},
    {"REGION3", "XR3"},       {"RGN3", "XR3"},         {"RGN 3", "XR3"}, {"RG3", "XR3"},
    {"RG 3", "XR3"},          {"XR3", "XR3"},          {"XR 3", "XR3"},
};

}  // namespace

void AlignAreaNumbers() {
  Send(kNumberFollowsDiagram);
  // A snapshot: the rows inserted below must not join in.
  ForEachRow(TextOf(kNumberedGroups), db::CursorType::kStatic, [](const db::Recordset& row) {
    if (!row.Get("diag_grp_id").is_null()) return;
    MainCn().Execute("insert into diag_grp (grp_id, diag_type, diag_no) values (" +
                     row.Get("grp_id").ToText() + ", 'SA', " + row.Get("area_no").ToText() + ")");
  });
}

void SetVisibleEarthSymbol() {
  Trapped([] {
    // A snapshot: the statements below take rows out of the selection.
    ForEachRow(std::string(kRegionNames) + CurrentNotice({" and  ntc_id = ", ""}) + ")",
               db::CursorType::kStatic, [](const db::Recordset& row) {
                 const std::int32_t grp_id = row.Get("grp_id").ToInt32();
                 const std::string area_name = row.Get("area_name").ToText();
                 MainCn().Execute("update grp set area_name = null where grp_id = " + std::to_string(grp_id));
                 AddRegionServiceArea(grp_id, area_name);
               });
  });
}

void AddRegionServiceArea(std::int32_t grp_id, std::string_view area_name) {
  std::string symbol;
  for (const AreaName& entry : kAreaNames) {
    if (entry.name == area_name) symbol = entry.symbol;
  }
  if (symbol.empty()) return;

  const std::string group = std::to_string(grp_id);
  db::Recordset present;
  present.Open("select ctry from srv_area where grp_id = " + group + " and ctry = '" + symbol + "'",
               MainCn());
  if (present.Eof()) {
    MainCn().Execute("insert into srv_area (grp_id, ctry) values (" + group + ", '" + symbol + "')");
  }
  present.Close();
}

void DeleteUnusedDiagramGroups() {
  const std::string query =
      R"(select ntc_id, ntc_type from notice where (f_aa_type <> 'R' or f_aa_type is null) and (prov_desc is null or prov_desc <> '9.11A'))" +
      CurrentNotice(kAndNotice);
  ForEachRow(query, [](const db::Recordset& notice) {
    MainCn().Execute(
        R"(delete from diag_grp where trim(diag_type) = 'MOTYP' or  trim(diag_type) = 'SMK' or trim(diag_type) = 'AFRGN' and grp_id in (select grp_id from grp where ntc_id = )" +
        std::to_string(notice.Get("ntc_id").ToInt32()) + ")");
  });
}

}  // namespace vnt
