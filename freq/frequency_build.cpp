// Four routines rebuild freq, each for the notices of its kind: the groups of the selected notices are handed
// to the builder one by one. Advance-publication and RS49 notices give their assignments as band edges, the
// others as centre frequencies.
//
// Tables: notice, grp, assgn (read), freq.
//
// Not to be tidied:
//   - Some codes stand in double quotes, which the Access engine takes as text.
//   - The restriction of the plan selection stands without parentheses and binds to its last alternative: all
//     'B' and 'P' notices are rebuilt whatever the current notice.
//   - The two log paths differ in letter case. They name one file.
//   - A group without date of protection takes over that of the group before it, also of another notice; only
//     the advance-publication build sets it at all.
//   - A failing group never stops the others. The band-edge builds tell the log, the others one message.

#include "freq/frequency_build.h"

#include <optional>
#include <string>

#include "freq/frequency_log.h"
#include "freq/frequency_row.h"
#include "program/error_trap.h"
#include "program/notice_scope.h"

namespace vnt {
namespace {

// What the two band-edge builds differ in.
struct EdgeBuild {
  std::string_view log;
  std::string_view delete_beam;
  std::string_view notices;
  std::string_view groups;
  bool advance_publication;  // reads the group's findings columns, and builds some groups from centres
};

constexpr EdgeBuild kAdvp = {
    .log = R"(c:\kv_soft\VNTfixV7\tidyworks.log)",
    .delete_beam = R"(Delete from freq where beam_name = 'ADVP')",
    .notices = R"(select * from notice where ntf_rsn = 'A')",
    .groups =
        R"(Select grp_id, sr_type, beam_name, emi_rcp, d_prot_eff, fdg_reg, wic_no from grp where ntc_id = )",
    .advance_publication = true};

constexpr EdgeBuild kRs49 = {.log = R"(c:\kv_soft\vntfixv7\tidyworks.log)",
                             .delete_beam = R"(Delete from freq where beam_name = 'RS49')",
                             .notices = R"(select * from notice where ntf_rsn = "U")",
                             .groups = R"(Select grp_id, beam_name, emi_rcp from grp where ntc_id = )",
                             .advance_publication = false};

void BuildEdgeGroup(const EdgeBuild& build, cFREQset& builder, const db::Recordset& group) {
  const std::int32_t grp_id = group.Get("grp_id").ToInt32();
  MainCn().Execute("Delete from freq where Grp_id = " + std::to_string(grp_id));
  cFREQ& row = builder.CurrentObject();
  row.seq_no = db::Value::Int16(1);
  row.grp_id = group.Get("grp_id");
  row.beam_name = group.Get("beam_name");
  row.emi_rcp = group.Get("emi_rcp");
  if (!build.advance_publication) {
    builder.BuildAPIFreqRow();
    return;
  }
  const db::Value d_prot_eff = group.Get("d_prot_eff");
  if (!d_prot_eff.is_null()) row.d_prot_eff = d_prot_eff.ToDate();
  row.fdg_reg = group.Get("fdg_reg");
  row.wic_no = group.Get("wic_no");
  if (group.Get("sr_type").is_null()) {
    builder.BuildAPIFreqRow();
  } else {
    builder.BuildFreq(grp_id);
  }
}

void BuildFromEdges(const EdgeBuild& build) {
  FrequencyLog log(build.log);
  std::optional<std::int32_t> ntc_id;
  try {
    MainCn().Execute(std::string(build.delete_beam) + CurrentNotice(kAndNotice));
    db::Recordset notices;
    notices.Open(std::string(build.notices) + CurrentNotice(kAndNotice), MainCn());
    cFREQset builder;
    builder.InitBuildFreqOverlap();
    for (; !notices.Eof(); notices.MoveNext()) {
      ntc_id = notices.Get("ntc_id").ToInt32();
      builder.CurrentObject().ntc_id = notices.Get("ntc_id");
      builder.CurrentObject().ntc_type = notices.Get("ntc_type");
      db::Recordset groups;
      groups.Open(std::string(build.groups) + std::to_string(*ntc_id), MainCn());
      for (; !groups.Eof(); groups.MoveNext()) {
        try {
          BuildEdgeGroup(build, builder, groups);
        } catch (const db::DbError& error) {
          PassOnEnvironment(error);
          log.Write(ntc_id, groups.Get("grp_id").ToInt32(), error);
          CountError(error);
        }
      }
      groups.Close();
    }
    notices.Close();
  } catch (const db::DbError& error) {
    PassOnEnvironment(error);
    log.Write(ntc_id, std::nullopt, error);
    CountError(error);
  }
}

void BuildFromCentres(const std::string& selection) {
  db::Recordset notices;
  notices.Open(selection, MainCn());
  cFREQset builder;
  builder.InitBuildFreqOverlap();
  bool reported = false;
  for (; !notices.Eof(); notices.MoveNext()) {
    db::Recordset groups;
    groups.Open("Select grp_id, beam_name, emi_rcp from grp where ntc_id = " + notices.Get("ntc_id").ToText(),
                MainCn());
    for (; !groups.Eof(); groups.MoveNext()) {
      try {
        builder.BuildFreq(groups.Get("grp_id").ToInt32());
      } catch (const db::DbError& error) {
        PassOnEnvironment(error);
        if (reported) {
          CountError(error);
        } else {
          ShowError(error);
        }
        reported = true;
      }
    }
    groups.Close();
  }
  notices.Close();
}

}  // namespace

// The trap around the band-edge builds is for a log that cannot be written; all else goes into the log.
void BuildFreqForADVP() {
  Trapped([] { BuildFromEdges(kAdvp); });
}

void BuildFreqForRS49() {
  Trapped([] { BuildFromEdges(kRs49); });
}

void BuildFreqGeneral() {
  Trapped([] {
    const std::string notice = CurrentNotice({"ntc_id = ", " and "});
    BuildFromCentres("select * from notice where " + notice +
                     R"(ntf_rsn <> "U" and ntf_rsn <> "A" and plan_id is null)");
  });
}

void BuildFreqForPlanNotices() {
  Trapped([] {
    BuildFromCentres(
        R"(select * from notice where (ntf_rsn = 'B'  or ntf_rsn = 'P') or (ntf_rsn = 'N' and plan_id is not null))" +
        CurrentNotice(kAndNotice));
  });
}

}  // namespace vnt
