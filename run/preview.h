// What a run would do, without a byte of the database being written.
#pragma once

#include <memory>

#include "access/file/file.h"
#include "compare/compare.h"
#include "run/fix_runner.h"
#include "run/run_record.h"

namespace vnt {

// A dry run on the current database, in the notice scope in force, and the differences that it leaves. While
// this lives the file is held for reading, which keeps others from changing it.
class Preview {
 public:
  // The current database must be an Access file, and released (run/databases.h). Messages go where those of a
  // real run go. DbError when the file cannot be opened.
  Preview(const FixSelection& selection, RunObserver& observer);

  const RunRecord& record() const { return record_; }
  // The database as it is and as it would be.
  jet::Database& before();
  jet::Database& after();

 private:
  std::unique_ptr<jet::FileSystem> overlay_;  // outlives what is open through it
  RunRecord record_;
  std::unique_ptr<jet::Database> before_, after_;
};

}  // namespace vnt
