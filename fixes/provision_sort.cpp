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
#include "program/rows.h"

namespace vnt {
namespace {

constexpr std::int16_t kFirstNumber = 1001;

// What the two sorts differ in. Rows with the same `block` columns are numbered together.
struct ProvisionSort {
  std::string_view rows;  // of one unit, whose number follows
  std::string_view order;
  std::string_view lower;  // takes the 1000 off
  bool by_wic_no;
  std::string (*compared)(const db::Value& code);
};

constexpr ProvisionSort kOfGroup = {
    .rows = R"(Select * from provn where grp_id = )",
    .order = R"( order by coord_prov, agree_st, adm, ntwk_org)",
    .lower = R"(update provn set seq_no = seq_no - 1000 where grp_id = )",
    .by_wic_no = false,
    .compared = [](const db::Value& code) { return db::Trim(code.ToText()); }};

constexpr ProvisionSort kOfNotice = {.rows = R"(Select * from tr_provn where ntc_id = )",
                                     .order = R"( order by wic_no, coord_prov, agree_st, adm, ntwk_org)",
                                     .lower = R"(update tr_provn set seq_no = seq_no - 1000 where ntc_id = )",
                                     .by_wic_no = true,
                                     .compared = [](const db::Value& code) { return code.ToText(); }};

struct Block {
  std::int16_t wic_no = 0;
  std::string coord_prov, agree_st;
  bool operator==(const Block&) const = default;
};

void Number(const ProvisionSort& sort, std::int32_t unit_id) {
  Trapped([&] {
    const std::string unit = std::to_string(unit_id);
    std::int16_t counter = 0;
    Block previous;
    ForEachRow(std::string(sort.rows) + unit + std::string(sort.order), db::CursorType::kKeyset,
               [&](db::Recordset& row) {
                 const Block block{.wic_no = sort.by_wic_no ? row.Get("wic_no").ToInt16() : std::int16_t{0},
                                   .coord_prov = sort.compared(row.Get("coord_prov")),
                                   .agree_st = sort.compared(row.Get("agree_st"))};
                 counter = block == previous ? NextNumber(counter) : kFirstNumber;
                 previous = block;
                 row.Set("seq_no", db::Value::Int16(counter));
                 row.Update();
               });
    MainCn().Execute(std::string(sort.lower) + unit);
  });
}

}  // namespace

void SortProvnByAdm(std::int32_t grp_id) { Number(kOfGroup, grp_id); }

void SortProvnAllGroups() {
  Trapped([] {
    ForEachRow("SELECT grp_id from grp " + CurrentNotice(kWhereNotice),
               [](const db::Recordset& group) { SortProvnByAdm(group.Get("grp_id").ToInt32()); });
  });
}

void SortTrProvnByAdm(std::int32_t ntc_id) { Number(kOfNotice, ntc_id); }

void SortTrProvnAllNotices() {
  Trapped([] {
    ForEachRow("SELECT ntc_id from tr_provn" + CurrentNotice(kWhereNotice), db::CursorType::kStatic,
               [](const db::Recordset& notice) { SortTrProvnByAdm(notice.Get("ntc_id").ToInt32()); });
  });
}

}  // namespace vnt
