#include "run/run_record.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "access/base/error.h"
#include "access/base/text.h"
#include "platform/paths.h"
#include "run/run_report.h"

namespace vnt {
namespace {

using Json = nlohmann::ordered_json;
using Clock = std::chrono::system_clock;

constexpr int kSchemaVersion = 1;
constexpr std::array kKinds{"run", "dry run", "undo"};  // by RecordKind

std::string LocalTime(Clock::time_point time) {
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}", fmt::localtime(Clock::to_time_t(time)));
}

double Seconds(std::chrono::duration<double> time) { return time.count(); }

Json FixAsJson(const FixResult& fix) {
  Json json;
  if (fix.fix != nullptr) {
    json["index"] = fix.fix->index;
    json["caption"] = fix.fix->caption;
  }
  json["status"] = StatusWord(fix.status);
  json["statements"] = fix.statements;
  json["rows_written"] = fix.rows;
  json["rows_changed"] = fix.changed ? Json(*fix.changed) : Json(nullptr);
  json["seconds"] = Seconds(fix.time);
  json["errors"] = Json::array();
  for (const CountedError& error : Counted(fix.errors)) {
    json["errors"].push_back(
        {{"number", error.error->number()}, {"text", error.error->description()}, {"count", error.count}});
  }
  return json;
}

// Why the file is not up to date after the run; empty: it is.
std::string UnsavedText(const RunRecord& record) {
  const auto& fixes = record.result.fixes;
  return fixes.empty() || !fixes.back().unsaved ? std::string() : fixes.back().unsaved->description();
}

std::string AsJson(const RunRecord& record) {
  const auto text_or_null = [](const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); };
  Json json;
  json["schema_version"] = kSchemaVersion;
  json["kind"] = kKinds[static_cast<std::size_t>(record.kind)];
  json["program"] = {
      {"name", "VNTFixdb"},
      {"version", fmt::format("{}.{}.{}", VNT_VERSION_MAJOR, VNT_VERSION_MINOR, VNT_VERSION_REVISION)}};
  json["file"] = record.file;
  json["notices"] = record.notices.empty() ? Json(nullptr) : Json(record.notices);
  if (record.stage != RecordStage::kNotBegun) json["started"] = LocalTime(record.started);
  if (record.stage == RecordStage::kEnded) json["ended"] = LocalTime(record.ended);
  json["outcome"] = OutcomeOf(record);
  json["refusal"] = text_or_null(record.refusal);
  json["source_fault"] = text_or_null(record.source_fault);
  json["setting_fault"] = text_or_null(record.setting_fault);
  json["fixes"] = Json::array();
  json["history"] = nullptr;
  for (const FixResult& fix : record.result.fixes) {
    if (fix.fix != nullptr) {
      json["fixes"].push_back(FixAsJson(fix));
    } else {
      json["history"] = FixAsJson(fix);
    }
  }
  json["unsaved"] = text_or_null(UnsavedText(record));
  json["fingerprints"] = {{"before", text_or_null(record.before)}, {"after", text_or_null(record.after)}};
  json["backup"] = text_or_null(record.backup);
  // Names of files need not be UTF-8.
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string ScopeText(const std::vector<std::int32_t>& notices) {
  if (notices.empty()) return ", all notices";
  return fmt::format(", notice{} {}", notices.size() == 1 ? "" : "s", fmt::join(notices, ", "));
}

std::string AsText(const RunRecord& record) {
  std::string text = fmt::format("VNTFixdb {}.{}.{}, {} of {}{}\n", VNT_VERSION_MAJOR, VNT_VERSION_MINOR,
                                 VNT_VERSION_REVISION, kKinds[static_cast<std::size_t>(record.kind)],
                                 record.file, ScopeText(record.notices));
  if (record.stage != RecordStage::kNotBegun) text += "started " + LocalTime(record.started);
  if (record.stage == RecordStage::kEnded) text += ", ended " + LocalTime(record.ended);
  if (record.stage != RecordStage::kNotBegun) text += "\n";
  if (!record.source_fault.empty()) text += record.file + " cannot be reached: " + record.source_fault + "\n";
  for (const FixResult& fix : record.result.fixes) {
    text += ReportLine(fix) + "\n";
    for (const CountedError& error : Counted(fix.errors)) {
      text += fmt::format("      {} ({})", error.error->description(), error.error->number());
      text += error.count > 1 ? fmt::format(", {} times\n", error.count) : "\n";
    }
  }
  const std::string unsaved = UnsavedText(record);
  if (!unsaved.empty()) text += "not up to date: " + unsaved + "\n";
  text +=
      fmt::format("outcome: {}{}{}\n", OutcomeOf(record), record.refusal.empty() ? "" : ": ", record.refusal);
  if (!record.before.empty()) text += fmt::format("before: {}\n", record.before);
  if (!record.after.empty()) text += fmt::format("after:  {}\n", record.after);
  if (!record.backup.empty()) text += fmt::format("backup: {}\n", record.backup);
  return text;
}

}  // namespace

std::string_view StatusWord(FixStatus status) {
  switch (status) {
    case FixStatus::kNotRun:
      return "not run";
    case FixStatus::kDone:
      return "done";
    case FixStatus::kFailed:
      return "errors";
    case FixStatus::kUndone:
      return "undone";
    case FixStatus::kInDoubt:
      return "in doubt";
    case FixStatus::kStopped:
      break;
  }
  return "stopped";
}

std::vector<CountedError> Counted(const std::vector<db::DbError>& errors) {
  std::vector<CountedError> counted;
  std::map<std::pair<std::int32_t, std::string>, std::size_t> places;
  for (const db::DbError& error : errors) {
    const auto [place, is_new] = places.try_emplace({error.number(), error.description()}, counted.size());
    if (is_new) counted.push_back({&error, 0});
    ++counted[place->second].count;
  }
  return counted;
}

std::string OutcomeOf(const RunResult& result) {
  if (result.refused) return "refused";
  if (result.ended_early) return "ended early";
  return result.failed() ? "errors" : "done";
}

std::string OutcomeOf(const RunRecord& record) {
  switch (record.stage) {
    case RecordStage::kNotBegun:
      return "not begun";
    case RecordStage::kRunning:
      return "running";
    case RecordStage::kEnded:
      break;
  }
  return OutcomeOf(record.result);
}

std::string RecordText(const RunRecord& record, RecordFormat format) {
  return format == RecordFormat::kJson ? AsJson(record) : AsText(record);
}

RecordFormat FormatOfName(const std::string& path) {
  constexpr std::string_view kJson = ".json";
  const bool json = path.size() >= kJson.size() &&
                    jet::EqualWords(std::string_view(path).substr(path.size() - kJson.size()), kJson);
  return json ? RecordFormat::kJson : RecordFormat::kText;
}

namespace {

// The members of a record, or what is wrong with it.
class RecordReader {
 public:
  explicit RecordReader(const std::string& path) : path_(path) {
    // Whoever opens a pipe may wait for its other end.
    std::error_code ignored;
    const bool is_file = std::filesystem::is_regular_file(platform::PathOf(path), ignored);
    std::ifstream in;
    if (is_file) in.open(platform::PathOf(path), std::ios::binary);
    if (!in.is_open())
      throw jet::Error(jet::ErrorKind::kNotFound, fmt::format("There is no record {}.", path));
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    if (in.bad()) Fail("it cannot be read to its end");
    if (text.empty()) Fail("it is empty");
    try {
      record_ = Json::parse(text);
    } catch (const Json::parse_error& error) {
      Fail(error.byte > text.size() ? "it breaks off in the middle"
                                    : fmt::format("it is no JSON from byte {} on", error.byte));
    }
    if (!record_.is_object()) Fail("it is no record of a run");
  }

  const Json& Member(const Json& of, const char* name) const {
    const auto member = of.is_object() ? of.find(name) : of.end();
    if (member == of.end()) Fail(fmt::format("it has no \"{}\"", name));
    return *member;
  }
  const Json& Member(const char* name) const { return Member(record_, name); }
  std::string Text(const Json& of, const char* name) const {
    const Json& member = Member(of, name);
    if (!member.is_string()) Fail(fmt::format("its \"{}\" is no text", name));
    return member.get<std::string>();
  }
  std::string Text(const char* name) const { return Text(record_, name); }
  // Empty for null.
  std::string TextOrNull(const Json& of, const char* name) const {
    return Member(of, name).is_null() ? std::string() : Text(of, name);
  }
  [[noreturn]] void Fail(const std::string& what) const {
    throw jet::Error(jet::ErrorKind::kCorrupt, fmt::format("The record {} is damaged: {}.", path_, what));
  }

 private:
  const std::string& path_;
  Json record_;
};

}  // namespace

RecordedState ReadRecord(const std::string& path) {
  const RecordReader record(path);
  if (const Json& version = record.Member("schema_version"); version != kSchemaVersion) {
    throw jet::Error(jet::ErrorKind::kCorrupt,
                     fmt::format("The record {} is of another version of this program.", path));
  }
  const std::string kind = record.Text("kind");
  const auto known = std::ranges::find(kKinds, kind);
  if (known == kKinds.end()) record.Fail(fmt::format("its \"kind\" is \"{}\"", kind));
  RecordedState state;
  state.kind = static_cast<RecordKind>(known - kKinds.begin());
  state.file = record.Text("file");
  const Json& fingerprints = record.Member("fingerprints");
  state.before = record.TextOrNull(fingerprints, "before");
  state.after = record.TextOrNull(fingerprints, "after");
  state.outcome = record.Text("outcome");
  return state;
}

}  // namespace vnt
