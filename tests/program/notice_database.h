// What the tests of fixes, history, guards and runner work on: a notice database, a pattern reference
// database and a template database in memory, with the program-wide state on them and the messages recorded.
//
// When the test ends, the databases are closed and the notice database is verified page by page.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "access/file/test_files.h"
#include "platform/messages.h"
#include "platform/settings.h"
#include "program/program_state.h"

namespace vnt::test {

class RecordedMessages : public platform::Messages {
 public:
  void Show(std::string_view text, platform::MessageStyle style) override { ShowExplained(text, style, {}); }
  void ShowExplained(std::string_view text, platform::MessageStyle style,
                     std::string_view explanation) override;
  // "plain: ...", "information: ...", "critical: ...", in order.
  std::vector<std::string> shown;
  std::vector<std::string> explanations;  // one for each; empty: none
};

class NoticeDatabase {
 public:
  NoticeDatabase();
  ~NoticeDatabase();
  NoticeDatabase(const NoticeDatabase&) = delete;
  NoticeDatabase& operator=(const NoticeDatabase&) = delete;

  static constexpr const char* kNotice = "notice.mdb";
  static constexpr const char* kReference = "reference.mdb";
  static constexpr const char* kTemplate = "template.mdb";

  ProgramState state;
  RecordedMessages messages;
  platform::SettingOverrides& settings;  // names the reference and the template database

  jet::MemoryFileSystem& files() { return files_; }

  // Statements separated by semicolons, on the main connection.
  void Run(std::string_view statements);
  // The same on another of the three files, which must not be open.
  void RunOn(const std::string& file, std::string_view statements);
  // Rows of a query: values joined by "|", Null as "-".
  std::vector<std::string> Rows(std::string_view query);
  // Texts of the statements that are sent while `work` runs.
  std::vector<std::string> SentBy(const std::function<void()>& work);

  // Opens the reference database as a run does.
  void OpenReference();
  // Opens the main connection anew as the data source "TLKP-ING". A stand-in serves it: it takes statements
  // that only Ingres would understand for done, and gives the rows of the Access file otherwise.
  void SpeakIngres();
  // The folder that drive C: stands for.
  const std::string& drive_c() const { return drive_c_; }
  void CloseAll();

 private:
  jet::MemoryFileSystem files_;
  ScopedProgramState scoped_state_;
  std::string drive_c_;
};

}  // namespace vnt::test
