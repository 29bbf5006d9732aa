// The antenna types, the power flux-density limits and the version table are copies of reference data. They
// are replaced whole, through a work table each; the reference files are named in the statement (IN '...').
// The current notice narrows nothing here.
//
// Tables: ant_type (work table ant_type_new, left behind), c_pfd (c_pfd_new), vnt_ooak (vnt_ooak_new).
//
// Not to be tidied:
//   - UpdateAntennaTypeReference goes on after every error and shows nothing: ant_type goes even when the
//     reference file is missing. On Access the run counts that a table could not be made; on a server none
//     can. The new table has the reference table's columns and no key.
//   - Geostationary notices get no 15350-15400 MHz correction, and their statements stand in another order.
//   - Nothing asks whether the two further 42500-43500 MHz limits are there already: each correction adds
//     them again. A Null pfd leaves a hole in the statement, which the database refuses.

#include "fixes/reference_tables.h"

#include <string>

#include "fixes/statement_list.h"
#include "platform/settings.h"
#include "program/error_trap.h"
#include "program/rows.h"

namespace vnt {
namespace {

constexpr std::string_view kDefaultReference = R"(c:\KV_SOFT\refdata\veltrefdb.MDB)";
constexpr std::string_view kDefaultTemplate = R"(c:\KV_SOFT\refdata\ap4_v6.MDB)";

constexpr Statement kBandwidths[] = {
    {R"( update c_pfd set bdwdth = 150, ra_stn_type = null where  freq_min = 5030 and freq_max = 5150 and  ntc_id in (select ntc_id from notice where ntc_type = 'N'))"},
    {R"( update c_pfd set bdwdth = 10000, ra_stn_type = null where  freq_min = 4990 and freq_max = 5000 and  ntc_id in (select ntc_id from notice where ntc_type = 'N'))"},
    {R"( update c_pfd set bdwdth = 50000, ra_stn_type = null where  freq_min = 15350 and freq_max = 15400 and  ntc_id in (select ntc_id from notice where ntc_type = 'N'))"},
    {R"( update c_pfd set bdwdth = 1000000, ra_stn_type = 'S' where  freq_min = 42500 and freq_max = 43500 and  ntc_id in (select ntc_id from notice where ntc_type = 'N'))"},
    {R"( update c_pfd set bdwdth = 10000, ra_stn_type = null where  freq_min = 4990 and freq_max = 5000 and  ntc_id in (select ntc_id from notice where ntc_type = 'G'))"},
    {R"( update c_pfd set bdwdth = 150, ra_stn_type = null where  freq_min = 5030 and freq_max = 5150 and  ntc_id in (select ntc_id from notice where ntc_type = 'G'))"},
    {R"( update c_pfd set bdwdth = 1000000, ra_stn_type = 'S' where  freq_min = 42500 and freq_max = 43500 and  ntc_id in (select ntc_id from notice where ntc_type = 'G'))"},
};

std::string Quoted(std::string_view path) { return "'" + std::string(path) + "'"; }

// As the statements name it.
std::string TemplateSetting() {
  std::string path = platform::GetSettingString("GLOBAL", "EmptyDBV6");
  return path.empty() ? std::string(kDefaultTemplate) : path;
}

void AddLimit(const std::string& ntc_id, int seq_no, const std::string& pfd, std::string_view ra_stn_type) {
  MainCn().Execute(
      "INSERT INTO c_pfd (ntc_id, seq_no, freq_min, freq_max, pfd, bdwdth, ra_stn_type) Values ( " + ntc_id +
      "," + std::to_string(seq_no) + ", 42500, 43500, " + pfd + ", 500, '" + std::string(ra_stn_type) + "')");
}

}  // namespace

void UpdateAntennaTypeReference() {
  const auto execute = [](const std::string& sql) { MainCn().Execute(sql); };
  const auto drop = [&](const char* sql) { Resumed([&] { execute(sql); }); };
  const auto make = [&](const std::string& sql) {
    Resumed([&] { IsIngres() ? execute(sql) : Counted([&] { execute(sql); }); });
  };
  drop("drop table ant_type_new ");
  if (State().reference_database.empty()) State().reference_database = kDefaultReference;
  make(" SELECT * Into ant_type_new From rf_ant_type in " + Quoted(State().reference_database));
  drop("drop table ant_type ");
  make(" SELECT * Into ant_type From ant_type_new ");
}

std::string TemplateDatabase() { return platform::ResolvePath(TemplateSetting()); }

void RefreshPfdAndVersionTables() {
  const std::string path = TemplateSetting();
  db::Connection& cn = MainCn();
  cn.Execute(" SELECT * Into c_pfd_new From c_pfd in " + Quoted(path));
  cn.Execute(
      R"(INSERT INTO c_pfd_new (ntc_id, seq_no, freq_min, freq_max, pfd)  select ntc_id, seq_no, freq_min, freq_max, pfd from c_pfd)");
  cn.Execute("drop table c_pfd ");
  cn.Execute(" SELECT * Into c_pfd From c_pfd_new ");
  cn.Execute("drop table c_pfd_new ");
  cn.Execute(" SELECT * Into vnt_ooak_new From vnt_ooak in " + Quoted(path));
  cn.Execute("drop table vnt_ooak ");
  cn.Execute(" SELECT * Into vnt_ooak From vnt_ooak_new ");
  cn.Execute("drop table vnt_ooak_new ");
}

void CorrectPfdBandwidths() {
  Send(kBandwidths);
  // A snapshot: the rows inserted below are not met.
  ForEachRow(R"(SELECT * FROM c_pfd WHERE freq_min = 42500 and freq_max = 43500)", db::CursorType::kStatic,
             [](const db::Recordset& row) {
               const std::string ntc_id = std::to_string(row.Get("ntc_id").ToInt32());
               const std::string pfd = row.Get("pfd").TextOr("");
               const std::int16_t seq_no = row.Get("seq_no").ToInt16();
               AddLimit(ntc_id, NextNumber(seq_no, 1), pfd, "S");
               AddLimit(ntc_id, NextNumber(seq_no, 2), pfd, "V");
             });
}

}  // namespace vnt
