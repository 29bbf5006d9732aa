// A run's databases with sample content, in memory: made once, opened anew for each run.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "access/file/page_store.h"
#include "access/file/test_files.h"
#include "platform/settings.h"
#include "program/program_state.h"
#include "tests/program/notice_database.h"

namespace vnt::test {

// The rows of every table that a run may change, as text. Not the history: its rows tell the time.
std::string NoticeRows();

class SampleDatabases {
 public:
  // Small caches, so that statements write to the journal before they end.
  SampleDatabases();
  ~SampleDatabases();
  SampleDatabases(const SampleDatabases&) = delete;
  SampleDatabases& operator=(const SampleDatabases&) = delete;

  // What the file holds once it is opened again, in words: the rows, how many history rows, and the faults
  // that a check finds.
  struct Content {
    std::string rows;
    std::int32_t history = 0;
    std::string faults;
  };
  Content Reopened();
  void CloseAll();

  jet::MemoryFileSystem files;
  jet::PageStoreOptions sizes;
  ProgramState state;
  RecordedMessages messages;
  platform::SettingOverrides& settings;

 private:
  ScopedProgramState scoped_state_;
  std::string drive_c_;
};

}  // namespace vnt::test
