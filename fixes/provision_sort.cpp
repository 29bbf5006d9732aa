// Numbers the coordination provisions 1, 2, 3 ... within each block of equal provision and agreement status,
// in the order of administration and network organisation.
//
// Tables: provn by group, tr_provn by notice (there a block also has one wic_no); grp is read.
//
// Each unit is numbered in two passes. The first one counts every block from 1001, so that a new number never
// meets one of a row not yet visited; a last statement takes 1000 off every row of the unit.
//
// Not to be tidied:
//   - The values that a first row is compared with are empty text (and wic_no 0). A first block with just
//     these values is taken for a continued one: it counts from 1, may hit a number that is still in use, and
//     ends at -999 and up.
//   - The group sort trims before it compares, the notice sort does not.
//   - A Null in a compared column is an error (94): the unit keeps the numbers above 1000 given so far.
//   - The notice sort is run once for each tr_provn row of a notice; each pass gives the same numbers. The
//     rows are listed before the first pass: read along the way, the list would follow an index that the
//     passes change, and leave rows out.

#include "fixes/provision_sort.h"

#include <string>

#include "fixes/statement_list.h"
#include "program/error_trap.h"

namespace vnt {
namespace {

constexpr std::int16_t kFirstNumber = 1001;
constexpr Restriction kOfNotice{" where ntc_id = ", ""};

}  // namespace

void SortProvnByAdm(std::int32_t grp_id) {
  Trapped([&] {
    const std::string group = std::to_string(grp_id);
    db::Recordset rows;
    rows.Open("Select * from provn where grp_id = " + group + " order by coord_prov, agree_st, adm, ntwk_org",
              MainCn(), db::CursorType::kKeyset, db::LockType::kOptimistic);
    std::int16_t counter = 0;
    std::string previous_prov;
    std::string previous_status;
    for (; !rows.Eof(); rows.MoveNext()) {
      const std::string coord_prov = db::Trim(rows.Get("coord_prov").ToText());
      const std::string agree_st = db::Trim(rows.Get("agree_st").ToText());
      if (coord_prov == previous_prov && agree_st == previous_status) {
        counter = NextNumber(counter);
      } else {
        previous_prov = coord_prov;
        previous_status = agree_st;
        counter = kFirstNumber;
      }
      rows.Set("seq_no", db::Value::Int16(counter));
      rows.Update();
    }
    rows.Close();
    MainCn().Execute("update provn set seq_no = seq_no - 1000 where grp_id = " + group);
  });
}

void SortProvnAllGroups() {
  Trapped([] {
    db::Recordset groups;
    groups.Open("SELECT grp_id from grp " + CurrentNotice(kOfNotice), MainCn(), db::CursorType::kForwardOnly,
                db::LockType::kReadOnly);
    for (; !groups.Eof(); groups.MoveNext()) SortProvnByAdm(groups.Get("grp_id").ToInt32());
    groups.Close();
  });
}

void SortTrProvnByAdm(std::int32_t ntc_id) {
  Trapped([&] {
    const std::string notice = std::to_string(ntc_id);
    db::Recordset rows;
    rows.Open("Select * from tr_provn where ntc_id = " + notice +
                  " order by wic_no, coord_prov, agree_st, adm, ntwk_org",
              MainCn(), db::CursorType::kKeyset, db::LockType::kOptimistic);
    std::int16_t counter = 0;
    std::int16_t previous_wic_no = 0;
    std::string previous_prov;
    std::string previous_status;
    for (; !rows.Eof(); rows.MoveNext()) {
      const std::int16_t wic_no = rows.Get("wic_no").ToInt16();
      const std::string coord_prov = rows.Get("coord_prov").ToText();
      const std::string agree_st = rows.Get("agree_st").ToText();
      if (wic_no == previous_wic_no && coord_prov == previous_prov && agree_st == previous_status) {
        counter = NextNumber(counter);
      } else {
        previous_wic_no = wic_no;
        previous_prov = coord_prov;
        previous_status = agree_st;
        counter = kFirstNumber;
      }
      rows.Set("seq_no", db::Value::Int16(counter));
      rows.Update();
    }
    rows.Close();
    MainCn().Execute("update tr_provn set seq_no = seq_no - 1000 where ntc_id = " + notice);
  });
}

void SortTrProvnAllNotices() {
  Trapped([] {
    db::Recordset notices;
    notices.Open("SELECT ntc_id from tr_provn" + CurrentNotice(kOfNotice), MainCn(), db::CursorType::kStatic,
                 db::LockType::kReadOnly);
    for (; !notices.Eof(); notices.MoveNext()) SortTrProvnByAdm(notices.Get("ntc_id").ToInt32());
    notices.Close();
  });
}

}  // namespace vnt
