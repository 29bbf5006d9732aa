#include "cli/fix_printer.h"

#include <algorithm>
#include <new>
#include <ostream>
#include <utility>

#include <fmt/format.h>

#include "cli/output.h"
#include "program/program_state.h"

namespace vnt::cli {
namespace {

// As a box shows an error.
std::string BoxText(const db::DbError& error) {
  return std::to_string(error.number()) + " " + error.description();
}

}  // namespace

void Speaker::Show(std::string_view text, platform::MessageStyle) {
  if (where_.empty()) {
    Say(text);
    return;
  }
  // Without memory it is told all the same.
  try {
    ++waiting_[std::string(text)];
  } catch (const std::bad_alloc&) {
    Say(text);
  }
}

void Speaker::Begin(std::string where) { where_ = std::move(where); }

void Speaker::Flush(const std::vector<db::DbError>& errors) {
  for (const auto& waiting : waiting_) {
    const auto& [text, times] = waiting;
    if (std::ranges::any_of(errors, [&](const auto& error) { return BoxText(error) == waiting.first; }))
      continue;
    Say(where_ + text + (times > 1 ? fmt::format(" ({} times)", times) : ""));
  }
  waiting_.clear();
  where_.clear();
}

void FixPrinter::FixStarts(const FixEntry& fix, int number, int count) {
  speaker_.Begin(fmt::format("fix {}: ", fix.index));
  progress_.Fix(fix, number, count);
}

// Errors of one number are told once, with the first text; the report has them all.
void FixPrinter::SayErrors(const FixResult& result) {
  struct Group {
    const db::DbError* first;
    std::size_t count;
  };
  std::vector<Group> groups;
  for (const db::DbError& error : result.errors) {
    const auto same = std::ranges::find_if(groups, [&](const Group& group) {
      return options_.verbose ? BoxText(*group.first) == BoxText(error)
                              : group.first->number() == error.number();
    });
    if (same == groups.end()) {
      groups.push_back({&error, 1});
    } else {
      ++same->count;
    }
  }
  const std::string notice = by_notice_ ? fmt::format("notice {}: ", State().ntc_id) : "";
  const std::string fix = result.fix == nullptr ? "history: " : fmt::format("fix {}: ", result.fix->index);
  for (const Group& group : groups) {
    speaker_.Say(notice + fix + ErrorText(*group.first));
    if (group.count > 1) speaker_.Say(fmt::format("{}{}and {} like it", notice, fix, group.count - 1));
  }
}

void FixPrinter::FixEnds(const FixResult& result) {
  progress_.FixDone();
  speaker_.Flush(result.errors);
  SayErrors(result);
  rows_of_notice_ += result.rows;
  errors_of_notice_ += result.errors.size();
  if (!by_notice_ && !options_.quiet) lines_.FixEnds(result);
}

void FixPrinter::RunEnds() {
  if (by_notice_ && !options_.quiet) {
    streams_.out << fmt::format("notice {}: {} written, {}", State().ntc_id, CountOf(rows_of_notice_, "row"),
                                CountOf(static_cast<std::int64_t>(errors_of_notice_), "error"))
                 << std::endl;
  }
  rows_of_notice_ = 0;
  errors_of_notice_ = 0;
}

void FixPrinter::Total(const RunRecord& record) {
  if (options_.quiet) return;
  std::int64_t rows = 0;
  int run = 0, failed = 0;
  for (const FixResult& fix : record.result.fixes) {
    if (fix.status != FixStatus::kDone && fix.status != FixStatus::kFailed) continue;
    rows += fix.rows;
    if (fix.fix != nullptr) ++run;
    if (fix.status == FixStatus::kFailed) ++failed;
  }
  const double seconds = std::chrono::duration<double>(record.ended - record.started).count();
  streams_.out << fmt::format("{}{}: {}{} fix{} run, {} with errors, {} written, {:.3f} s\n",
                              record.kind == RecordKind::kDryRun ? "dry run of " : "", record.file,
                              record.result.ended_early ? "ended early, " : "", run, run == 1 ? "" : "es",
                              failed, CountOf(rows, "row"), seconds);
  if (!record.backup.empty()) streams_.out << "backup: " << record.backup << '\n';
  streams_.out << std::flush;
}

}  // namespace vnt::cli
