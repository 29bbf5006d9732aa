// What a run records of the file that it leaves.
#include <gtest/gtest.h>

#include "access/file/copy_file.h"
#include "access/store/database.h"
#include "run/recorded_run.h"
#include "tests/run/sample_databases.h"

namespace vnt::test {
namespace {

// So that an undoing recognises the file once somebody has brought it up to date.
TEST(RecordedRun, TellsWhatTheFileBecomesAlsoWhereAReaderHoldsThatOff) {
  for (const bool has_reader : {false, true}) {
    SCOPED_TRACE(has_reader);
    SampleDatabases databases;
    const std::string file = databases.state.current_database;
    auto reader = has_reader ? databases.files.Open(file, jet::OpenMode::kRead) : nullptr;
    Recording recording;
    recording.fingerprints = true;
    RunObserver observer;
    const RunRecord record = RunRecorded(FixSelection().set(7).set(22), {}, recording, observer);
    // It is told once, and is no error of a fix or of the history.
    EXPECT_EQ(record.result.failed(), has_reader);
    EXPECT_EQ(databases.messages.shown.size(), has_reader ? 1U : 0U);
    for (const FixResult& fix : record.result.fixes) EXPECT_TRUE(fix.errors.empty());
    EXPECT_EQ(record.result.fixes.back().unsaved.has_value(), has_reader);
    EXPECT_EQ(RecordText(record, RecordFormat::kJson).find("\"unsaved\": null") == std::string::npos,
              has_reader);
    EXPECT_NE(record.after, "");
    EXPECT_NE(record.after, record.before);
    if (has_reader) {
      EXPECT_EQ(jet::Fingerprint(*reader), record.before);
    }
    reader.reset();
    databases.CloseAll();
    jet::Database::Open(databases.files, file, jet::OpenMode::kReadWrite);
    EXPECT_EQ(jet::Fingerprint(*databases.files.Open(file, jet::OpenMode::kRead)), record.after);
  }
}

}  // namespace
}  // namespace vnt::test
