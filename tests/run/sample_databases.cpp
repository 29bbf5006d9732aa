#include "tests/run/sample_databases.h"

#include <algorithm>
#include <filesystem>

#include "access/check/check.h"
#include "access/store/database.h"
#include "db/access_provider/access_provider.h"
#include "run/databases.h"
#include "run/guards.h"
#include "samples/sample_database.h"
#include "tests/process.h"

namespace vnt::test {
namespace {

constexpr const char* kTables[] = {
    "ant_type", "ant_type_new", "assgn",        "c_pfd",     "com_el",   "diag_grp", "e_ant",
    "e_as_stn", "e_stn",        "e_as_stn_err", "emiss",     "fdg_ref",  "freq",     "geo",
    "gpub",     "grp",          "hor_elev",     "non_geo",   "notice",   "orbit",    "pub_ssn",
    "provn",    "s_beam",       "srv_area",     "strap",     "tr_provn", "vnt_ooak", "e_as_stn_err_pl",
    "ngma",     "srv_cls",      "s_as_stn",     "tr_aff_ntw"};

struct Contents {
  samples::SampleFiles names;
  std::map<std::string, std::string> content;
};

const Contents& Made() {
  static const Contents made = [] {
    jet::MemoryFileSystem files;
    Contents c;
    c.names = samples::MakeSample(files, "", {.notices = samples::kMinNotices});
    for (const std::string& name : {c.names.notice, c.names.reference, c.names.empty_template})
      c.content[name] = files.Content(name);
    return c;
  }();
  return made;
}

}  // namespace

std::string NoticeRows() {
  std::string text;
  for (const char* table : kTables) {
    text += std::string(table) + "\n";
    std::vector<std::string> lines;
    try {
      db::Recordset rows;
      rows.Open(std::string("select * from ") + table, MainCn());
      for (; !rows.Eof(); rows.MoveNext()) {
        std::string line;
        for (int i = 0; i < rows.FieldCount(); ++i) {
          const db::Value value = rows.Get(i);
          line += value.is_null() ? "|-" : "|" + value.ToText();
        }
        lines.push_back(std::move(line));
      }
    } catch (const db::DbError& error) {
      lines.push_back(error.description());
    }
    std::ranges::sort(lines);
    for (const std::string& line : lines) text += line + "\n";
  }
  return text;
}

SampleDatabases::SampleDatabases() : settings(state.platform_services.settings), scoped_state_(state) {
  state.platform_services.messages = &messages;
  const Contents& made = Made();
  for (const auto& [name, content] : made.content) files.SetContent(name, content);
  drive_c_ = Utf8Of(NewFolder("vnt-drive-c-"));
  SetVariable("VNTFIX_CDRIVE", drive_c_);
  // The settings of this machine decide nothing, such as the order of day and month.
  SetVariable("VNTFIX_WINDIR", drive_c_);
  sizes.cache_bytes = 256u << 10;
  sizes.undo_bytes = 32u << 10;
  state.db_services.files = &files;
  state.db_services.page_options = &sizes;
  settings.Set("GLOBAL", "VeltRefdb", made.names.reference);
  settings.Set("GLOBAL", "EmptyDBV6", made.names.empty_template);
  settings.Set("GLOBAL", "DataLevel", "-1");
  state.current_database = made.names.notice;
  state.persist_interval = std::chrono::milliseconds(0);
  OpenAccessDatabase();
}

SampleDatabases::~SampleDatabases() {
  CloseAll();
  std::error_code ignored;
  std::filesystem::remove_all(drive_c_, ignored);
}

void SampleDatabases::CloseAll() {
  state.main_connection.reset();
  state.second_connection.reset();
  state.reference_connection.reset();
}

SampleDatabases::Content SampleDatabases::Reopened() {
  CloseAll();
  state.current_database = Made().names.notice;
  OpenAccessDatabase();
  Content content;
  content.rows = NoticeRows();
  db::Recordset history;
  history.Open("select count(*) as n from history", MainCn());
  content.history = history.Get("n").ToInt32();
  history.Close();
  CloseAll();
  const auto database = jet::Database::Open(files, state.current_database, jet::OpenMode::kRead);
  for (const jet::Finding& finding : jet::CheckDatabase(*database)) {
    if (finding.fatal) content.faults += finding.text + "\n";
  }
  return content;
}

}  // namespace vnt::test
