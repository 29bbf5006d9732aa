// One set-based statement where SQLite has one for the work; else one pass over the rows in order, with
// updates of the rows that change, by row number, prepared once. On the whole database only.
//
// The results are those of the fixes on the sample databases (fix_bench compares all tables), not on every
// database: rules for data that the samples do not hold are left out where they would cost SQLite time.

#include "bench/sqlite_walks.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "bench/sqlite_handle.h"
#include "db/value.h"
#include "freq/frequency_row.h"

namespace vnt::bench {
namespace {

// ---- numbering

// Gives the rows of `query` (row number, number, unit, block ...) the numbers 1, 2, 3 ... within each run of
// equal blocks of a unit. A first block of nothing but empty texts and zeroes counts from -999, as the fix
// has it. A unique index holds the numbers, so the rows that change are first moved to numbers that no row
// has.
void Renumber(sqlite3* handle, const std::string& query, const std::string& table, int columns) {
  constexpr std::int64_t kFirstOfEmpty = -999, kAside = -20000;
  struct Change {
    std::int64_t rowid, number;
  };
  std::vector<Change> changes;
  std::string block, previous;
  std::int64_t number = 0, unit = 0;
  bool is_first = true;
  Prepared rows(handle, query);
  while (rows.Step()) {
    block.clear();
    for (int column = 3; column < columns; ++column) {
      block += rows.Text(column);
      block += '\0';
    }
    if (is_first || rows.Integer(2) != unit) {
      unit = rows.Integer(2);
      const bool is_empty =
          columns > 3 && block.find_first_not_of(std::string_view("0\0", 2)) == std::string::npos;
      number = is_empty ? kFirstOfEmpty : 1;
    } else {
      number = block == previous ? number + 1 : 1;
    }
    is_first = false;
    std::swap(block, previous);
    if (rows.Integer(1) != number) changes.push_back({rows.Integer(0), number});
  }
  Prepared set(handle, fmt::format("UPDATE {} SET seq_no = ?1 WHERE rowid = ?2", table));
  for (const Change& change : changes) set.Run(kAside - change.number, change.rowid);
  for (const Change& change : changes) set.Run(change.number, change.rowid);
}

void SortProvisionsOfGroups(sqlite3* handle) {
  Renumber(handle,
           "SELECT rowid, seq_no, grp_id, trim(coord_prov), trim(agree_st) FROM provn WHERE grp_id IN "
           "(SELECT grp_id "
           "FROM grp) ORDER BY grp_id, coord_prov, agree_st, adm, ntwk_org",
           "provn", 5);
}

void SortProvisionsOfNotices(sqlite3* handle) {
  Renumber(handle,
           "SELECT rowid, seq_no, ntc_id, wic_no, coord_prov, agree_st FROM tr_provn "
           "ORDER BY ntc_id, wic_no, coord_prov, agree_st, adm, ntwk_org",
           "tr_provn", 6);
}

void SortFrequencies(sqlite3* handle) {
  Renumber(
      handle,
      "SELECT rowid, seq_no, grp_id FROM assgn WHERE grp_id IN (SELECT grp_id FROM grp WHERE "
      "(trim(prov) <> '9.1/IA' AND trim(prov) <> '9.1/IB') OR prov IS NULL) ORDER BY grp_id, freq_mhz, rowid",
      "assgn", 3);
}

// ---- frequency rows

void BuildFromCentres(sqlite3* handle, const char* notices) {
  const std::string groups =
      fmt::format("(SELECT grp_id FROM grp WHERE ntc_id IN (SELECT ntc_id FROM notice WHERE {}))", notices);
  Run(handle, "DELETE FROM freq WHERE grp_id IN " + groups);
  Run(handle,
      "INSERT INTO freq (ntc_id, emi_rcp, beam_name, grp_id, seq_no, freq_sym, freq_assgn, freq_mhz, "
      "freq_min, "
      "freq_max, bdwdth, fdg_reg, d_prot_eff, wic_no, ntc_type) "
      "SELECT grp.ntc_id, emi_rcp, beam_name, assgn.grp_id, seq_no, freq_sym, freq_assgn, freq_mhz, "
      "freq_mhz - bdwdth / 2000.0, freq_mhz + bdwdth / 2000.0, bdwdth, fdg_reg, d_prot_eff, grp.wic_no, "
      "ntc_type "
      "FROM grp, assgn, notice WHERE assgn.grp_id = grp.grp_id AND grp.ntc_id = notice.ntc_id AND "
      "freq_assgn > 0 AND bdwdth > 0 AND grp.grp_id IN " +
          groups + " ORDER BY assgn.grp_id, seq_no");
}

void BuildGeneral(sqlite3* handle) {
  BuildFromCentres(handle, "ntf_rsn <> 'U' AND ntf_rsn <> 'A' AND plan_id IS NULL");
}
void BuildPlan(sqlite3* handle) {
  BuildFromCentres(handle, "ntf_rsn IN ('B', 'P') OR (ntf_rsn = 'N' AND plan_id IS NOT NULL)");
}

double Rounded(double frequency) { return std::strtod(FormatFrequency(frequency).c_str(), nullptr); }

// A date whose day and month have changed places where both are months.
double Swapped(double date) {
  db::DateParts parts = db::SplitDate(date);
  if (parts.day <= 12) std::swap(parts.day, parts.month);
  return db::JoinDate({parts.year, parts.month, parts.day});
}

void BuildFromEdges(sqlite3* handle, const char* reason, bool findings) {
  Prepared edges(
      handle,
      fmt::format(
          "SELECT g.ntc_id, g.emi_rcp, g.beam_name, g.grp_id, a.freq_sym, a.freq_mhz, g.fdg_reg, "
          "g.d_prot_eff, g.wic_no, n.ntc_type FROM notice n JOIN grp g ON g.ntc_id = n.ntc_id "
          "LEFT JOIN assgn a ON a.grp_id = g.grp_id WHERE n.ntf_rsn = '{}'{} ORDER BY g.ntc_id, g.grp_id, "
          "a.seq_no",
          reason, findings ? " AND g.sr_type IS NULL" : ""));
  Prepared clear(handle, "DELETE FROM freq WHERE grp_id = ?1");
  Prepared insert(
      handle,
      "INSERT INTO freq VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, NULL)");
  std::int64_t group = -1, seq_no = 1;
  bool has_lower = false;
  double lower = 0, assigned = 0;
  double protection = 0;
  std::string symbol;
  while (edges.Step()) {
    if (edges.Integer(3) != group) {
      group = edges.Integer(3);
      seq_no = 1;
      has_lower = false;
      if (findings && !edges.IsNull(7)) protection = edges.Double(7);
      clear.Run(group);
    }
    if (!has_lower) {
      has_lower = true;
      lower = edges.Double(5);
      symbol = edges.Text(4);
      continue;
    }
    const double upper = edges.Double(5);
    if (lower > 0 && upper > 0) {
      const double centre = Rounded((lower + upper) / 2);
      if (symbol == "M") assigned = centre;
      if (symbol == "K") assigned = Rounded(centre * 1000);
      if (symbol == "G") assigned = Rounded(centre / 1000);
      insert.BindNull(12);
      insert.BindNull(13);
      insert.BindNull(14);
      if (findings && !edges.IsNull(6)) insert.Bind(12, edges.Text(6));
      if (findings && protection != 0) insert.Bind(13, Swapped(protection));
      if (findings && !edges.IsNull(8)) insert.Bind(14, edges.Integer(8));
      insert.Bind(15, edges.Text(9));
      insert.Run(edges.Integer(0), edges.Text(1), edges.Text(2), group, seq_no, std::string_view(symbol),
                 assigned, centre, Rounded(lower), Rounded(upper),
                 static_cast<std::int64_t>(std::nearbyint((upper - lower) * 1000)));
    }
    ++seq_no;
    has_lower = false;
  }
}

void BuildAdvancePublication(sqlite3* handle) {
  BuildFromEdges(handle, "A", true);
  BuildFromCentres(handle,
                   "FALSE) OR grp_id IN (SELECT grp_id FROM grp JOIN notice USING (ntc_id) WHERE "
                   "ntf_rsn = 'A' AND sr_type IS NOT NULL");
}
void BuildRs49(sqlite3* handle) { BuildFromEdges(handle, "U", false); }

void GroupLimits(sqlite3* handle) {
  Run(handle,
      "UPDATE grp SET freq_min = coalesce(f.low, grp.freq_min), freq_max = coalesce(f.high, grp.freq_max) "
      "FROM "
      "(SELECT grp_id, min(freq_min) AS low, max(freq_max) AS high FROM freq GROUP BY grp_id) AS f "
      "WHERE f.grp_id = grp.grp_id");
}

void BeamLimits(sqlite3* handle) {
  Run(handle,
      "UPDATE s_beam SET freq_min = coalesce(f.low, s_beam.freq_min), freq_max = coalesce(f.high, "
      "s_beam.freq_max) "
      "FROM (SELECT ntc_id, emi_rcp, beam_name, min(freq_min) AS low, max(freq_max) AS high FROM freq "
      "GROUP BY ntc_id, emi_rcp, beam_name) AS f "
      "WHERE f.ntc_id = s_beam.ntc_id AND f.emi_rcp = s_beam.emi_rcp AND f.beam_name = s_beam.beam_name");
}

// ---- the others

void AddDiagrams(sqlite3* handle) {
  Run(handle,
      "INSERT INTO diag_grp (grp_id, diag_type, diag_no) SELECT grp_id, 'SA', area_no FROM grp WHERE area_no "
      "IS "
      "NOT NULL AND NOT EXISTS (SELECT 1 FROM diag_grp d WHERE d.grp_id = grp.grp_id)");
}

void DeleteUnusedDiagrams(sqlite3* handle) {
  const std::string notices =
      "SELECT ntc_id FROM notice WHERE (f_aa_type <> 'R' OR f_aa_type IS NULL) AND "
      "(prov_desc IS NULL OR prov_desc <> '9.11A')";
  Run(handle,
      fmt::format("DELETE FROM diag_grp WHERE trim(diag_type) IN ('MOTYP', 'SMK') AND EXISTS ({0}) OR "
                  "trim(diag_type) = 'AFRGN' AND grp_id IN (SELECT grp_id FROM grp WHERE ntc_id IN ({0}))",
                  notices));
}

void RegionNames(sqlite3* handle) {
  struct Group {
    std::int64_t grp_id;
    std::string name;
  };
  std::vector<Group> groups;
  Prepared rows(
      handle,
      "SELECT grp_id, area_name FROM grp WHERE replace(ucase(area_name), ' ', '') IN ('VISIBLEEARTH', "
      "'REGION1', 'REGION2', 'REGION3', 'XVE', 'RGN1', 'RGN2', 'RGN3', 'RG1', 'RG2', 'RG3', 'XR1', 'XR2', "
      "'XR3') AND ntc_id IN (SELECT ntc_id FROM notice WHERE ntf_rsn = 'A')");
  while (rows.Step()) groups.push_back({rows.Integer(0), std::string(rows.Text(1))});
  Prepared clear(handle, "UPDATE grp SET area_name = NULL WHERE grp_id = ?1");
  Prepared add(handle, "INSERT OR IGNORE INTO srv_area (grp_id, ctry) VALUES (?1, ?2)");
  for (const Group& group : groups) {
    clear.Run(group.grp_id);
    if (group.name.find_first_of("abcdefghijklmnopqrstuvwxyz") != std::string::npos) continue;
    const char last = group.name.back();
    const std::string symbol = last >= '1' && last <= '3' ? fmt::format("XR{}", last) : "XVE";
    add.Run(group.grp_id, std::string_view(symbol));
  }
}

void NonCoordinationSections(sqlite3* handle) {
  Run(handle,
      "DELETE FROM gpub WHERE pub_ref IN ('AR11/C', 'AR14/C', 'RES33/C', 'RES46/C') AND grp_id IN (SELECT "
      "grp_id "
      "FROM grp WHERE ntc_id IN (SELECT ntc_id FROM notice WHERE ntf_rsn = 'C'))");
}

void ConsentProvisions(sqlite3* handle) {
  Run(handle,
      "DELETE FROM provn WHERE agree_st = 'V' AND grp_id IN (SELECT grp_id FROM grp WHERE ntc_id IN (SELECT "
      "ntc_id "
      "FROM com_el WHERE ntf_rsn IN ('C', 'D')))");
}

void EmptyGroups(sqlite3* handle) {
  const std::string empty =
      "FROM grp WHERE beam_name = 'ADVP' AND (act_code IS NULL OR act_code <> 'S') AND NOT EXISTS "
      "(SELECT 1 FROM assgn a WHERE a.grp_id = grp.grp_id)";
  Run(handle, "DELETE FROM srv_cls WHERE grp_id IN (SELECT grp_id " + empty + ")");
  Run(handle, "DELETE " + empty);
}

void DatesInUse(sqlite3* handle) {
  struct Change {
    std::int64_t rowid;
    double date;
  };
  std::vector<Change> changes;
  // 1950-01-01
  Prepared rows(handle, "SELECT rowid, d_inuse FROM grp WHERE d_inuse < 18264");
  while (rows.Step()) {
    const db::DateParts date = db::SplitDate(rows.Double(1));
    changes.push_back({rows.Integer(0), db::JoinDate({date.year + 100, date.month, date.day})});
  }
  Prepared set(handle, "UPDATE grp SET d_inuse = ?1 WHERE rowid = ?2");
  for (const Change& change : changes) set.Run(change.date, change.rowid);
}

void MissingLongitudes(sqlite3* handle) {
  for (const char* kind : {"geo|'G'", "e_stn|'T', 'S'"}) {
    const std::string_view text = kind;
    const std::size_t bar = text.find('|');
    Run(handle,
        fmt::format("UPDATE com_el SET long_nom = s.long_nom FROM {} AS s WHERE s.ntc_id = com_el.ntc_id AND "
                    "(com_el.long_nom IS NULL OR com_el.long_nom = 0) AND ntc_type IN ({})",
                    text.substr(0, bar), text.substr(bar + 1)));
  }
}

void AdvanceProvisions(sqlite3* handle) {
  // Received since 2001-01-01.
  Run(handle,
      "UPDATE grp SET prov = CASE WHEN n.d_rcv >= 36892 THEN 'S' ELSE '' END || CASE WHEN beam_name = 'ADVP' "
      "THEN "
      "'9.1/IB' ELSE '9.1/IA' END FROM notice AS n WHERE n.ntc_id = grp.ntc_id AND n.ntf_rsn = 'A' AND "
      "beam_name IS "
      "NOT NULL");
}

void PatternErrors(sqlite3* handle) {
  Run(handle,
      "CREATE TABLE e_as_stn_err AS SELECT grp_id, seq_no, pattern_id FROM e_as_stn WHERE pattern_id BETWEEN "
      "96 AND "
      "500 AND grp_id IN (SELECT grp_id FROM grp WHERE ntc_id IN (SELECT ntc_id FROM notice WHERE ntf_rsn <> "
      "'B' AND "
      "ntf_rsn <> 'P' AND plan_id IS NULL))");
}
void PlanPatternErrors(sqlite3* handle) {
  Run(handle,
      "CREATE TABLE e_as_stn_err_pl AS SELECT grp_id, seq_no, pattern_id FROM e_as_stn WHERE pattern_id < 97 "
      "AND "
      "grp_id IN (SELECT grp_id FROM grp WHERE ntc_id IN (SELECT ntc_id FROM notice WHERE ntf_rsn = 'B'))");
}

void AlignPatterns(sqlite3* handle, const char* table) {
  Run(handle,
      fmt::format(
          "UPDATE {0} SET pattern_id = (SELECT nullif(pattern_id_e, 0) FROM "
          "reference.rf_ant_type_convert_rtoe c WHERE c.pattern_id = {0}.pattern_id) WHERE pattern_id > 0 "
          "AND pattern_id <> 9999 AND pattern_id NOT IN (SELECT pattern_id FROM reference.rf_ant_type)",
          table));
}

void StampHistory(sqlite3* handle) {
  const double now = db::CurrentDate();
  Prepared insert(handle,
                  "INSERT INTO history (ntc_id, seq_no, oper_id, d_hist, st_cur, hist_text) SELECT n.ntc_id, "
                  "coalesce((SELECT max(seq_no) FROM history h WHERE h.ntc_id = n.ntc_id), 0) + 1, ?1, ?2, "
                  "coalesce(n.st_cur, '01'), ?3 FROM notice n");
  insert.Run(std::string_view("OPERATOR"), now, std::string_view("VNTFixEN 7.0.0 at 12:34"));
}

struct NamedWalk {
  std::string_view query;  // its beginning
  Walk walk;
};

constexpr NamedWalk kWalks[] = {
    {"SELECT grp.grp_id, grp.area_no,", AddDiagrams},
    {"SELECT * from grp where beam_name = 'ADVP'", EmptyGroups},
    {"select d_inuse from grp", DatesInUse},
    {"select * from com_el where (ntf_rsn", ConsentProvisions},
    {"select ntc_id, ntc_type from notice where (f_aa_type", DeleteUnusedDiagrams},
    {R"(select * from notice where ntf_rsn <> "U")", BuildGeneral},
    {"select * from notice where (ntf_rsn = 'B'", BuildPlan},
    {"select * from notice where ntf_rsn = 'A'", BuildAdvancePublication},
    {R"(select * from notice where ntf_rsn = "U")", BuildRs49},
    {"select * from com_el where (long_nom", MissingLongitudes},
    {"select ntc_id, d_rcv from notice", AdvanceProvisions},
    {"SELECT grp_id from grp where ((trim(prov)", SortFrequencies},
    {"SELECT grp_id from grp ", SortProvisionsOfGroups},
    {"SELECT ntc_id from tr_provn", SortProvisionsOfNotices},
    {"select ntc_id, ntf_rsn from notice", NonCoordinationSections},
    {"SELECT grp_id, MIN(freq_min)", GroupLimits},
    {"SELECT ntc_id, emi_rcp, beam_name, MIN(freq_min)", BeamLimits},
    {"select ntc_id from notice where ntf_rsn <> 'B'", PatternErrors},
    {"select ntc_id from notice where (ntf_rsn = 'B')", PlanPatternErrors},
    {"select pattern_id from s_beam", [](sqlite3* handle) { AlignPatterns(handle, "s_beam"); }},
    {"select pattern_id from e_ant", [](sqlite3* handle) { AlignPatterns(handle, "e_ant"); }},
    {"select pattern_id from e_as_stn", [](sqlite3* handle) { AlignPatterns(handle, "e_as_stn"); }},
    {"select grp_id, area_name from grp", RegionNames},
    {"select ntc_id, st_cur from notice", StampHistory},
    // How many suspects there are goes into the remark of the history, which has a fixed text here.
    {"select count (grp_id)", [](sqlite3*) {}},
};

}  // namespace

Walk WalkOf(std::string_view query) {
  for (const NamedWalk& walk : kWalks) {
    if (query.starts_with(walk.query)) return walk.walk;
  }
  return nullptr;
}

}  // namespace vnt::bench
