// The rows of one notice after another, with the defects that the fixes repair.
//
// There are ten kinds of notice, taken in turn, so that ten notices hold one of each. In every table about
// one row in four carries a defect; the defects of a table are taken in turn as well, so that a small
// database holds all of them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "access/store/database.h"

namespace vnt::samples {

// What the rows below a notice need to know of it.
struct NoticeKind {
  const char* reason = "N";  // ntf_rsn
  const char* type = "G";    // ntc_type
  const char* action = nullptr;
  const char* plan = nullptr;
  bool earth_station() const { return *type == 'S' || *type == 'T'; }
};

class NoticeWriter {
 public:
  NoticeWriter(jet::Database& database, std::uint64_t seed);

  void WriteDatabaseRows();  // vnt_ooak, ant_type
  void WriteNotice(int number);
  std::int64_t rows() const { return rows_; }

 private:
  using Values = std::vector<jet::Value>;

  // A table with the turn of its defects.
  struct Target {
    std::shared_ptr<jet::Table> table;
    std::uint64_t written = 0;
    std::uint64_t turn = 0;
  };

  std::uint64_t Random();
  int Random(int low, int high);  // both included
  double RandomReal(double low, double high);
  // The number of the defect that the next row of the table carries (0 .. count - 1), or -1 for a sound row.
  static int NextDefect(Target& target, int count);
  void Insert(Target& target, const Values& values);

  int OldPattern(int pattern) const;
  void WriteHead(int number, const NoticeKind& kind);
  void WriteIdentity(const NoticeKind& kind);
  void WriteOrbits();
  void WriteBeams(const NoticeKind& kind);
  void WriteNoticeTables(const NoticeKind& kind);
  void WriteGroup(const NoticeKind& kind, int position);
  void WriteAssignments(const NoticeKind& kind, const std::string& beam, bool band_edges,
                        double bandwidth_khz);
  void WriteEmissions();
  void WriteGroupLists(const NoticeKind& kind, int position);
  void WriteProvisions();
  void WriteStations(const NoticeKind& kind);

  Target notice_, com_el_, geo_, non_geo_, e_stn_, orbit_, hor_elev_, s_beam_, e_ant_, grp_, assgn_, freq_,
      strap_, ngma_, emiss_, srv_cls_, srv_area_, diag_grp_, fdg_ref_, e_as_stn_, s_as_stn_, provn_,
      tr_provn_, tr_aff_ntw_, gpub_, pub_ssn_, ant_type_, c_pfd_, history_, vnt_ooak_;
  jet::Database& database_;
  std::uint64_t seed_;
  std::uint64_t state_ = 0;
  std::int64_t rows_ = 0;
  std::int32_t ntc_id_ = 0;
  std::int32_t grp_id_ = 0;
  bool old_capture_ = false;  // captured when patterns 506 to 520 were in use
  char direction_ = 'E';      // emi_rcp of the current group
};

}  // namespace vnt::samples
