#include "freq/frequency_log.h"

#include <filesystem>

#include "db/value.h"
#include "platform/settings.h"
#include "program/program_state.h"

namespace vnt {
namespace {

constexpr std::int32_t kErrPathAccess = 75;
constexpr std::string_view kHeading = "Tidyworks Log for Freq errors ";

std::string TwoDigits(int number) { return (number < 10 ? "0" : "") + std::to_string(number); }

std::string Now() {
  const db::DateParts now = db::SplitDate(db::CurrentDate());
  return std::to_string(now.year) + "-" + TwoDigits(now.month) + "-" + TwoDigits(now.day) + " " +
         TwoDigits(now.hour) + ":" + TwoDigits(now.minute);
}

}  // namespace

FrequencyLog::FrequencyLog(std::string_view path) {
  if (State().dry_run) return;
  const std::string resolved = platform::ResolvePath(path, true);
  file_.open(std::filesystem::path(std::u8string(resolved.begin(), resolved.end())), std::ios::trunc);
  file_ << kHeading << Now() << std::endl;
  if (!file_)
    throw db::DbError(kErrPathAccess, "VNTFixdb", "The log file " + resolved + " cannot be written.");
}

void FrequencyLog::Write(std::optional<std::int32_t> ntc_id, std::optional<std::int32_t> grp_id,
                         const db::DbError& error) {
  if (!file_.is_open()) return;
  if (ntc_id) file_ << "notice " << *ntc_id;
  if (grp_id) file_ << " group " << *grp_id;
  if (ntc_id) file_ << ": ";
  // At once, so that a run that is ended leaves its log.
  file_ << error.number() << " " << error.description() << std::endl;
}

}  // namespace vnt
