// Shows the course of a run in the status bar of the main window: the hourglass, which fix is running, and a
// gauge. Between statements the windows are painted; Escape asks whether to stop, and other input is thrown
// away. Before the run the same for its backup, which Escape ends without a question: nothing has been done.
#pragma once

#include <wx/string.h>

#include <chrono>
#include <functional>
#include <memory>

#include "run/fix_runner.h"

class wxBusyCursor;
class wxGauge;
class wxStatusBar;

namespace vnt::ui {

class RunProgress : public RunObserver {
 public:
  struct Parts {
    wxStatusBar* bar = nullptr;
    int panel = 0;              // of the text
    wxGauge* gauge = nullptr;   // shown while a run goes on
    std::string verb;           // before "12 of 36: ..."
    std::function<bool()> ask;  // whether to stop
    std::function<void()> run_ends;
  };
  explicit RunProgress(Parts parts);
  ~RunProgress() override;

  void BackupAdvances(std::uint64_t done, std::uint64_t all) override;
  void RunStarts() override;
  void FixStarts(const FixEntry& fix, int number, int count) override;
  void FixAdvances(std::int64_t steps, std::int64_t rows) override;
  void RunEnds() override;

  // Throws away what was typed, before a message is shown.
  void Discard();

 private:
  void Begin();
  void Serve();
  void Finish();

  const Parts parts_;
  const wxString former_text_;
  std::unique_ptr<wxBusyCursor> hourglass_;
  std::chrono::steady_clock::time_point served_{};
  std::int64_t expected_ = 1;  // statements of the running fix, about
  int finished_ = 0;           // fixes
  bool escape_ = false;        // was pressed, and nobody has asked why yet
};

}  // namespace vnt::ui
