// Antenna patterns are stored as numbers. One fix renumbers a fixed list of obsolete ones and lists the earth
// stations whose pattern still looks wrong; the other checks every pattern against the reference database,
// converts the numbers that it does not know, and clears those that cannot be converted.
//
// Tables: e_ant, e_as_stn, s_beam (pattern_id); notice and grp are read; e_as_stn_err and e_as_stn_err_pl are
// made anew by each run and left for the user to look into. Reference database: rf_ant_type,
// rf_ant_type_convert_rtoe.
//
// Not to be tidied:
//   - The restriction of the first four renumberings stands without parentheses and so binds to the second
//     number only: the first one is renumbered in every notice.
//   - By the time of the fifth and sixth renumbering no row is left for them. They stay in the sequence.
//   - The two suspect ranges overlap at 96.
//   - Whether a work table is made or added to is decided by a flag, not by whether it exists.
//   - The second list does not clear the run remark, so that of the first one survives.
//   - FindCounterpartPattern looks up a number that AlignTablePatternIds has just found missing in the same
//     table, so from there it finds nothing. The search stays, with its table of names.

#include "fixes/antenna_patterns.h"

#include <string>

#include "fixes/statement_list.h"
#include "program/error_trap.h"
#include "program/rows.h"

namespace vnt {
namespace {

constexpr Statement kRenumberings[] = {
    {R"(UPDATE e_ant SET pattern_id = 33 where pattern_id=506 or pattern_id = 507)", kAndNotice},
    {R"(UPDATE e_ant SET pattern_id = 76 where pattern_id=519 or pattern_id = 520)", kAndNotice},
    {R"(UPDATE e_as_stn SET pattern_id = 33 where pattern_id=506 or pattern_id = 507)", kAndGroups},
    {R"(UPDATE e_as_stn SET pattern_id = 76 where pattern_id=519 or pattern_id = 520)", kAndGroups},
    {R"(UPDATE e_as_stn SET pattern_id = 75 where pattern_id=519 and stn_type <> 'P')", kAndGroups},
    {R"(UPDATE e_as_stn SET pattern_id = 32 where pattern_id=506 and stn_type <> 'P')", kAndGroups},
    {R"(UPDATE e_as_stn SET pattern_id = 33 where pattern_id=365 and stn_type <> 'P')", kAndGroups},
    {R"(UPDATE e_as_stn SET pattern_id = 46 where pattern_id=380 and stn_type <> 'P')", kAndGroups},
    {R"(UPDATE e_as_stn SET pattern_id = 76 where pattern_id=383 and stn_type <> 'P')", kAndGroups},
    {R"(UPDATE e_as_stn SET pattern_id = 92 where pattern_id=400 and stn_type <> 'P')", kAndGroups},
};

constexpr std::string_view kPatternErrorRemark = " Potential Pattern Errors ";

// The texts of one list of suspect patterns.
struct ErrorList {
  std::string_view drop;
  std::string_view notices;
  std::string_view first;  // makes the table
  std::string_view later;  // adds to it
  std::string_view range;
  std::string_view count;
};

constexpr ErrorList kErrors = {
    .drop = R"(drop table e_as_stn_err )",
    .notices = R"(select ntc_id from notice where ntf_rsn <> 'B' and ntf_rsn <> 'P' and plan_id is null)",
    .first = R"(select grp_id, seq_no, pattern_id into e_as_stn_err from e_as_stn)",
    .later = R"(insert into e_as_stn_err  select grp_id, seq_no, pattern_id from e_as_stn)",
    .range = R"( where pattern_id between 96 and 500  )",
    .count = R"(select count (grp_id) as reccount from e_as_stn_err)"};

constexpr ErrorList kPlanErrors = {
    .drop = R"(drop table e_as_stn_err_pl )",
    .notices = R"(select ntc_id from notice where (ntf_rsn = 'B'))",
    .first = R"(select grp_id, seq_no, pattern_id into e_as_stn_err_pl from e_as_stn)",
    .later = R"(insert into e_as_stn_err_pl  select grp_id, seq_no, pattern_id from e_as_stn)",
    .range = R"( where pattern_id < 97  )",
    .count = R"(select count (grp_id) as reccount from e_as_stn_err_pl)"};

void Drop(const ErrorList& list) {
  Resumed([&] { MainCn().Execute(list.drop); });
}

// Every step goes on after an error: a table that cannot be made has nothing to be counted.
void Fill(const ErrorList& list) {
  Resumed([&] {
    bool made = false;
    ForEachRow(std::string(list.notices) + CurrentNotice(kAndNotice), db::CursorType::kStatic,
               [&](const db::Recordset& notice) {
                 Resumed([&] {
                   std::string sql(made ? list.later : list.first);
                   sql += list.range;
                   sql += " and grp_id in (select grp_id from grp where ntc_id = ";
                   sql += std::to_string(notice.Get("ntc_id").ToInt32()) + ")";
                   MainCn().Execute(sql);
                 });
                 made = true;
               });
  });
  Resumed([&] {
    db::Recordset count;
    count.Open(list.count, MainCn());
    if (count.Get("reccount").ToInt32() > 0) State().run_remark = kPatternErrorRemark;
    count.Close();
  });
}

db::Connection& ReferenceCn() {
  if (!State().reference_connection) {
    throw db::DbError(db::kErrObjectClosed, "VNTFixdb", "The reference database is not open.");
  }
  return State().reference_connection->Cn();
}

// Three numbered transmitting patterns share one receiving pattern, which leads back to the first of them.
struct Counterpart {
  std::string_view name, counterpart;
};
constexpr Counterpart kCounterparts[] = {
    {"MODTES", "MODRES"},
    {"MODRES", "MODTES"},
    {"R13TES", "R13RES"},
    {"R13RES", "R13TES"},
    {"R2TES", "R2RES"},
    {"R2RES", "R2TES"},
    {"BIFROST-TES1", "BIFROST-RES"},
    {"BIFROST-TES2", "BIFROST-RES"},
    {"BIFROST-TES3", "BIFROST-RES"},
    {"BIFROST-RES", "BIFROST-TES1"},
};

std::string_view CounterpartName(std::string_view name) {
  for (const Counterpart& entry : kCounterparts) {
    if (entry.name == name) return entry.counterpart;
  }
  return {};
}

// " and <column> is null" or " and <column> = <value>", the value as it stands.
std::string SameValue(const db::Recordset& row, const std::string& column) {
  const db::Value value = row.Get(column);
  if (value.is_null()) return " and " + column + " is null";
  return " and " + column + " = " + value.ToText();
}

// The number that a pattern is to have; 0: it has none.
std::int16_t PresentPatternId(std::int16_t old) {
  if (old <= 0) return old;
  db::Recordset known;
  known.Open("select emi_rcp from rf_ant_type where pattern_id = " + std::to_string(old), ReferenceCn());
  return known.Eof() ? ConvertPatternId(old) : old;
}

}  // namespace

void RemapObsoletePatternIds() {
  Trapped([] {
    Send(kRenumberings);
    ListEarthStationPatternErrors();
    ListPlanEarthStationPatternErrors();
  });
}

void ListEarthStationPatternErrors() {
  Drop(kErrors);
  State().run_remark.clear();
  Fill(kErrors);
}

void ListPlanEarthStationPatternErrors() {
  Drop(kPlanErrors);
  Fill(kPlanErrors);
}

void AlignPatternIds() {
  AlignTablePatternIds("s_beam");
  AlignTablePatternIds("e_ant");
  AlignTablePatternIds("e_as_stn");
}

void AlignTablePatternIds(std::string_view table) {
  const Restriction& restriction = table == "e_as_stn" ? kAndGroups : kAndNotice;
  const std::string query = "select pattern_id from " + std::string(table) +
                            " where pattern_id is not null and pattern_id <> 9999" +
                            CurrentNotice(restriction, NoticeTest::kNotZero);
  ForEachRow(query, db::CursorType::kKeyset, [table](db::Recordset& row) {
    const std::int16_t old = row.Get("pattern_id").Int16Or(0);
    std::int16_t present = PresentPatternId(old);
    if (present == old) return;
    if (present == 0 && table == "e_ant") present = FindCounterpartPattern(old);
    row.Set("pattern_id", present != 0 ? db::Value::Int16(present) : db::Value::Null());
    row.Update();
  });
}

std::int16_t ConvertPatternId(std::int16_t pattern_id) {
  db::Recordset row;
  row.Open(
      "select pattern_id_e from rf_ant_type_convert_rtoe where pattern_id = " + std::to_string(pattern_id),
      ReferenceCn(), db::CursorType::kKeyset, db::LockType::kOptimistic);
  return row.Eof() ? std::int16_t{0} : row.Get("pattern_id_e").ToInt16();
}

std::int16_t FindCounterpartPattern(std::int16_t pattern_id) {
  db::Recordset row;
  row.Open("select * from rf_ant_type where pattern_id = " + std::to_string(pattern_id), ReferenceCn());
  if (row.Eof() || row.Get("pattern").is_null()) return 0;
  const std::string_view name = CounterpartName(db::Trim(row.Get("pattern").ToText()));
  if (name.empty()) return 0;

  db::Recordset counterpart;
  counterpart.Open("select pattern_id from rf_ant_type where pattern = '" + std::string(name) + "'" +
                       SameValue(row, "f_ant_type") + SameValue(row, "f_sub_type") +
                       SameValue(row, "f_ant_new"),
                   ReferenceCn());
  return counterpart.Eof() ? std::int16_t{0} : counterpart.Get("pattern_id").ToInt16();
}

}  // namespace vnt
