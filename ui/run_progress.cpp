#include "ui/run_progress.h"

#include <wx/gauge.h>
#include <wx/statusbr.h>
#include <wx/utils.h>

#include <algorithm>
#include <span>
#include <utility>

#include "access/base/interruption.h"
#include "platform/messages.h"
#include "run/fix_statements.h"
#include "ui/report_rows.h"
#include "ui/status_text.h"
#include "ui/text_wx.h"
#include "ui/typed_ahead.h"

namespace vnt::ui {
namespace {

constexpr int kGaugeOfFix = 100;
constexpr int kGaugeOfBackup = 1000;
// Often enough for the eye, and for a key that is pressed and let go.
constexpr std::chrono::milliseconds kBetweenServings{40};

std::int64_t StatementsOf(const FixEntry& fix) {
  std::size_t statements = 0;
  for (const FixRoutine& routine :
       std::span(fix.routines).first(static_cast<std::size_t>(fix.routine_count))) {
    const auto sections = vnt::StatementsOf(routine.name);
    if (!sections.empty()) statements += sections.front().lines.size();
  }
  return static_cast<std::int64_t>(std::max<std::size_t>(statements, 1));
}

}  // namespace

RunProgress::RunProgress(Parts parts)
    : parts_(std::move(parts)), former_text_(parts_.bar->GetStatusText(parts_.panel)) {}

RunProgress::~RunProgress() { Finish(); }

void RunProgress::Begin() {
  if (hourglass_) return;
  hourglass_ = std::make_unique<wxBusyCursor>();
  wxRect place;
  parts_.bar->GetFieldRect(parts_.panel, place);
  // The right third of the panel, beside the text.
  const int width = place.width / 3;
  const int height = std::min(parts_.gauge->GetBestSize().GetHeight(), place.height);
  parts_.gauge->SetSize(place.GetRight() - width, place.y + (place.height - height) / 2, width, height);
  parts_.gauge->SetValue(0);
  parts_.gauge->Show();
}

void RunProgress::BackupAdvances(std::uint64_t done, std::uint64_t all) {
  if (!hourglass_) {
    Begin();
    parts_.gauge->SetRange(kGaugeOfBackup);
    ShowStatus(*parts_.bar, "Backing up ...", parts_.panel);
    parts_.bar->Update();
  } else if (std::chrono::steady_clock::now() - served_ < kBetweenServings) {
    return;
  }
  parts_.gauge->SetValue(static_cast<int>(done * kGaugeOfBackup / std::max<std::uint64_t>(all, 1)));
  Serve();
  if (std::exchange(escape_, false)) jet::interruption = jet::kStopThis;
}

void RunProgress::RunStarts() {
  Begin();
  parts_.gauge->SetValue(0);
  Serve();
}

void RunProgress::FixStarts(const FixEntry& fix, int number, int count) {
  finished_ = number - 1;
  expected_ = StatementsOf(fix);
  parts_.gauge->SetRange(count * kGaugeOfFix);
  parts_.gauge->SetValue(finished_ * kGaugeOfFix);
  ShowStatus(*parts_.bar,
             wxString::Format("%s %d of %d: %s", ToWx(parts_.verb), number, count, ToWx(NumberedName(&fix))),
             parts_.panel);
  // Painted at once, however short the fix.
  parts_.bar->Update();
  Serve();
}

// How many rows a fix will walk is not known. The gauge comes nearer to the end of its share with every step
// and never reaches it; the number of statements sets the pace.
void RunProgress::FixAdvances(std::int64_t steps, std::int64_t) {
  if (std::chrono::steady_clock::now() - served_ < kBetweenServings) return;
  parts_.gauge->SetValue(finished_ * kGaugeOfFix +
                         static_cast<int>(kGaugeOfFix * steps / (steps + expected_)));
  Serve();
  if (!std::exchange(escape_, false)) return;
  // The runner meets it with the next statement, as it meets a signal.
  const platform::WaitForUser waiting;
  if (parts_.ask()) jet::interruption = jet::kStopThis;
  Discard();
}

void RunProgress::RunEnds() {
  Finish();
  if (parts_.run_ends) parts_.run_ends();
}

void RunProgress::Finish() {
  // A signal is for the whole program.
  int stopped = jet::kStopThis;
  jet::interruption.compare_exchange_strong(stopped, 0);
  Discard();
  hourglass_.reset();
  parts_.gauge->Hide();
  ShowStatus(*parts_.bar, former_text_, parts_.panel);
}

void RunProgress::Discard() {
  // Input that is being delivered by the display may come in two goes.
  for (int round = 0; round < 2; ++round) Serve();
}

void RunProgress::Serve() {
  if (ServePaintingOnly()) escape_ = true;
  served_ = std::chrono::steady_clock::now();
}

}  // namespace vnt::ui
