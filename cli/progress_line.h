// The line on a terminal that tells how far a run is.
#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>

#include "run/fix_runner.h"

namespace vnt::cli {

// "12/36 Sort Frequencies: 57389 rows, about 12 s left", written over itself. It appears when a run has taken
// a tenth of a second, and is gone when anything else is to be printed.
class ProgressLine {
 public:
  // Nothing is shown unless `shown`.
  ProgressLine(std::ostream& err, bool shown) : err_(err), shown_(shown) {}

  // Before the run: bytes of the backup.
  void Backup(std::uint64_t done, std::uint64_t all);
  // A run of these fixes begins.
  void Start(const FixSelection& selection);
  void Fix(const FixEntry& fix, int number, int count);
  void Advance(std::int64_t rows);
  void FixDone();
  // Wipes the line.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;

  void Print(const std::string& text, Clock::time_point now);
  void Show(Clock::time_point now);
  std::string TimeLeft(Clock::time_point now) const;

  std::ostream& err_;
  const bool shown_;
  Clock::time_point start_{}, printed_{};
  std::size_t width_ = 0;  // of what stands on the terminal
  const FixEntry* fix_ = nullptr;
  int number_ = 0, count_ = 0;
  std::int64_t rows_ = 0;      // of the running fix
  double all_ = 0, done_ = 0;  // shares of the time
};

}  // namespace vnt::cli
