#include "run/preview.h"

#include "access/base/error.h"
#include "access/file/overlay.h"
#include "db/engine_errors.h"
#include "db/services.h"
#include "program/program_state.h"
#include "run/databases.h"
#include "run/guards.h"
#include "run/recorded_run.h"

namespace vnt {
namespace {

std::unique_ptr<jet::Database> Open(jet::FileSystem& files, const std::string& file) {
  try {
    return compare::OpenToCompare(files, file);
  } catch (const jet::Error& error) {
    throw db::ToDbError(error);
  }
}

}  // namespace

Preview::Preview(const FixSelection& selection, RunObserver& observer)
    : overlay_(jet::MakeOverlay(db::Files())) {
  ProgramState state;
  state.platform_services = State().platform_services;
  state.db_services.files = overlay_.get();
  state.db_services.page_options = State().db_services.page_options;
  state.current_database = State().current_database;
  state.ntc_id = State().ntc_id;
  state.date_separator = State().date_separator;
  state.data_level = State().data_level;
  state.dry_run = true;
  const ScopedProgramState in_force(state);
  if (!state.current_database.empty()) OpenAccessDatabase();
  Recording recording;
  recording.dry_run = true;
  record_ = RunRecorded(selection, {}, recording, observer);
  CloseDatabases();
}

jet::Database& Preview::before() {
  if (!before_) before_ = Open(db::Files(), record_.file);
  return *before_;
}

jet::Database& Preview::after() {
  if (!after_) after_ = Open(*overlay_, record_.file);
  return *after_;
}

}  // namespace vnt
