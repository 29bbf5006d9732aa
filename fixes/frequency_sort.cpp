// Numbers the assignments of a group 1, 2, 3 ... by ascending frequency in MHz. A group's rows are read in
// that order, deleted and inserted again, since seq_no is part of the key and renumbering in place would
// collide.
//
// Tables: grp (read), assgn.
//
// Not to be tidied:
//   - Advance-publication groups ("9.1/IA", "9.1/IB") stay unsorted: their assignments are band edges in
//     pairs. The groups with an "S" before that code are sorted all the same.
//   - The new rows carry the six columns below and nothing else that assgn may hold.
//   - A failure while rows are inserted again leaves the group with those inserted so far.

#include "fixes/frequency_sort.h"

#include <string>
#include <vector>

#include "fixes/statement_list.h"
#include "program/error_trap.h"
#include "program/rows.h"

namespace vnt {
namespace {

struct Assignment {
  db::Value freq_assgn, freq_mhz, freq_sym, f_cmp_rec;
};

// The assignments in the database's order of frequency: Null first, equal ones as the table holds them.
std::vector<Assignment> ReadAssignments(const std::string& group) {
  std::vector<Assignment> assignments;
  std::int16_t counter = 0;
  const std::string query =
      R"(SELECT freq_assgn, assgn.freq_mhz, freq_sym, f_cmp_rec  FROM assgn  where assgn.grp_id = )" + group +
      " order by assgn.freq_mhz";
  ForEachRow(query, [&](const db::Recordset& row) {
    assignments.push_back(
        {row.Get("freq_assgn"), row.Get("freq_mhz"), row.Get("freq_sym"), row.Get("f_cmp_rec")});
    // More than 32767 would not fit seq_no: refused before anything is deleted.
    counter = NextNumber(counter);
  });
  return assignments;
}

}  // namespace

void SortFrequenciesOfGroup(std::int32_t grp_id) {
  Trapped([&] {
    const std::string group = std::to_string(grp_id);
    const std::vector<Assignment> assignments = ReadAssignments(group);
    if (assignments.empty()) return;

    MainCn().Execute("delete from Assgn where grp_id = " + group);

    db::Recordset rows;
    rows.Open("SELECT * from Assgn where grp_id = " + group, MainCn(), db::CursorType::kKeyset,
              db::LockType::kOptimistic);
    std::int16_t seq_no = 0;
    for (const Assignment& assignment : assignments) {
      rows.AddNew();
      rows.Set("grp_id", db::Value::Int32(grp_id));
      rows.Set("freq_assgn", assignment.freq_assgn);
      rows.Set("freq_mhz", assignment.freq_mhz);
      rows.Set("freq_sym", assignment.freq_sym);
      rows.Set("f_cmp_rec", assignment.f_cmp_rec);
      seq_no = NextNumber(seq_no);
      rows.Set("seq_no", db::Value::Int16(seq_no));
      rows.Update();
    }
    rows.Close();
  });
}

void SortFrequenciesAllGroups() {
  Trapped([] {
    const std::string query =
        R"(SELECT grp_id from grp where ((trim(prov) <> '9.1/IA' and trim(prov) <> '9.1/IB') or prov is null))" +
        CurrentNotice(kAndNotice);
    ForEachRow(query,
               [](const db::Recordset& group) { SortFrequenciesOfGroup(group.Get("grp_id").ToInt32()); });
  });
}

}  // namespace vnt
