#include "cli/progress_line.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

namespace vnt::cli {
namespace {

constexpr std::chrono::milliseconds kBetweenPrints{100};
// Not to be believed before.
constexpr double kLeastDone = 0.03;

// About the percentage of the time of a run over all fixes that each takes, as measured; the others take less
// than one.
struct Share {
  int index;
  double percent;
};
constexpr Share kShares[] = {{13, 16}, {22, 15}, {16, 10}, {20, 10}, {23, 8}, {24, 8}, {19, 8}, {11, 5},
                             {25, 3},  {27, 3},  {0, 3},   {14, 2},  {7, 2},  {35, 2}, {30, 1}, {29, 1}};
constexpr double kOtherShare = 0.4;

double ShareOf(int index) {
  const auto share = std::ranges::find(kShares, index, &Share::index);
  return share == std::end(kShares) ? kOtherShare : share->percent;
}

}  // namespace

void ProgressLine::Backup(std::uint64_t done, std::uint64_t all) {
  const Clock::time_point now = Clock::now();
  if (!shown_ || now - printed_ < kBetweenPrints) return;
  Print(fmt::format("backing up: {} %", 100 * done / std::max<std::uint64_t>(all, 1)), now);
}

void ProgressLine::Start(const FixSelection& selection) {
  Clear();
  start_ = printed_ = Clock::now();
  all_ = done_ = 0;
  for (const FixEntry& fix : FixCatalogue()) {
    if (selection.test(static_cast<std::size_t>(fix.index))) all_ += ShareOf(fix.index);
  }
}

void ProgressLine::Fix(const FixEntry& fix, int number, int count) {
  fix_ = &fix;
  number_ = number;
  count_ = count;
  rows_ = 0;
  Advance(0);
}

void ProgressLine::Advance(std::int64_t rows) {
  rows_ = rows;
  if (!shown_ || fix_ == nullptr) return;
  const Clock::time_point now = Clock::now();
  if (now - printed_ >= kBetweenPrints) Show(now);
}

void ProgressLine::FixDone() {
  if (fix_ != nullptr) done_ += ShareOf(fix_->index);
  fix_ = nullptr;
  Clear();
}

void ProgressLine::Clear() {
  if (width_ == 0) return;
  err_ << '\r' << std::string(width_, ' ') << '\r' << std::flush;
  width_ = 0;
  printed_ = {};  // may come back at once
}

void ProgressLine::Show(Clock::time_point now) {
  Print(fmt::format("{}/{} {}: {} rows{}", number_, count_, fix_->caption, rows_, TimeLeft(now)), now);
}

void ProgressLine::Print(const std::string& text, Clock::time_point now) {
  // What is longer than the line before covers it.
  const std::size_t blanks = width_ > text.size() ? width_ - text.size() : 0;
  err_ << '\r' << text << std::string(blanks, ' ') << std::flush;
  width_ = text.size();
  printed_ = now;
}

std::string ProgressLine::TimeLeft(Clock::time_point now) const {
  if (all_ == 0 || done_ / all_ < kLeastDone) return {};
  const double passed = std::chrono::duration<double>(now - start_).count();
  const double left = passed / done_ * (all_ - done_);
  return left < 90 ? fmt::format(", about {:.0f} s left", std::max(left, 1.0))
                   : fmt::format(", about {:.0f} min left", std::ceil(left / 60));
}

}  // namespace vnt::cli
