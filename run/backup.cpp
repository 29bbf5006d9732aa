#include "run/backup.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <regex>
#include <utility>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "access/base/error.h"
#include "access/check/check.h"
#include "access/file/copy_file.h"
#include "access/store/database.h"
#include "platform/file_rights.h"
#include "platform/paths.h"

namespace vnt {
namespace {

namespace fs = std::filesystem;
using platform::PathOf;
using platform::Utf8Of;

constexpr const char* kRecordExtension = ".json";

std::string FolderOf(const std::string& file, const std::string& folder) {
  if (!folder.empty()) return folder;
  const fs::path parent = PathOf(file).parent_path();
  return parent.empty() ? "." : Utf8Of(parent);
}

std::string AbsolutePath(jet::FileSystem& files, const std::string& path) {
  std::error_code error;
  const fs::path absolute = fs::absolute(PathOf(path), error);
  return files.ResolveLinks(error ? path : Utf8Of(absolute.lexically_normal()));
}

std::string NewBackupPath(jet::FileSystem& files, const std::string& file, const std::string& folder) {
  const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  const std::string name =
      fmt::format("{}.{:%Y%m%d-%H%M%S}", Utf8Of(PathOf(file).filename()), fmt::localtime(now));
  const fs::path place = PathOf(FolderOf(file, folder));
  std::string path = Utf8Of(place / PathOf(name + ".bak"));
  // A record may be left of a backup that was moved away.
  const auto is_taken = [&] {
    return files.Exists(path) || files.Exists(path + jet::kUnfinished) ||
           files.Exists(path + kRecordExtension);
  };
  for (int n = 2; is_taken(); ++n) path = Utf8Of(place / PathOf(fmt::format("{}-{}.bak", name, n)));
  return path;
}

// The digits of the time, and the number of a backup within its second, of a name such as
// "NAME.20261122-050407-2.bak"; empty when it is none of that file.
std::pair<std::string, int> TimeInName(const std::string& name, const std::string& file_name) {
  static const std::regex pattern(R"(\.(\d{8}-\d{6})(?:-(\d{1,6}))?\.bak)");
  std::smatch match;
  if (!name.starts_with(file_name)) return {};
  const std::string rest = name.substr(file_name.size());
  if (!std::regex_match(rest, match, pattern)) return {};
  return {match[1], match[2].matched ? std::stoi(match[2]) : 1};
}

std::string ReadableTime(const std::string& digits) {
  return fmt::format("{}-{}-{} {}:{}:{}", digits.substr(0, 4), digits.substr(4, 2), digits.substr(6, 2),
                     digits.substr(9, 2), digits.substr(11, 2), digits.substr(13, 2));
}

std::string SayingOf(const std::string& backup) {
  try {
    const RecordedState state = ReadRecord(backup + kRecordExtension);
    if (state.kind == RecordKind::kUndo) return "undone";
    return state.after.empty() ? state.outcome + ", what it left is not known" : state.outcome;
  } catch (const jet::Error& error) {
    return error.kind() == jet::ErrorKind::kNotFound ? "without a record: the run did not come to its end"
                                                     : "with a damaged record";
  }
}

// What the record of the backup says; with `force` nothing where there is none, or a damaged one.
RecordedState StateFor(const std::string& backup, bool force) {
  try {
    return ReadRecord(backup + kRecordExtension);
  } catch (const jet::Error& error) {
    if (force) return {};
    throw jet::Error(
        jet::ErrorKind::kCorrupt,
        fmt::format("Nothing tells what the run left for which the backup {} was made: {} "
                    "Nothing was changed. With vntfix undo --force it is put back all the same, and what is "
                    "there now becomes a backup.",
                    backup, error.what()));
  }
}

// Removes the copies and records of a file that somebody who was killed has left half done. What cannot be
// removed stands in nobody's way.
void RemoveUnfinished(jet::FileSystem& files, const std::string& file, const std::string& folder) {
  const std::string name = Utf8Of(PathOf(file).filename());
  std::vector<std::string> unfinished;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(PathOf(FolderOf(file, folder)), error)) {
    std::string path = Utf8Of(entry.path());
    if (!path.ends_with(jet::kUnfinished)) continue;
    path.resize(path.size() - std::strlen(jet::kUnfinished));
    std::string backup = Utf8Of(PathOf(path).filename());
    if (backup.ends_with(kRecordExtension)) backup.resize(backup.size() - std::strlen(kRecordExtension));
    if (!TimeInName(backup, name).first.empty()) unfinished.push_back(std::move(path));
  }
  const auto remove = [](auto removal) {
    try {
      removal();
    } catch (const jet::Error&) {
      // the next one tries again
    }
  };
  for (const std::string& path : unfinished) remove([&] { jet::RemoveUnfinished(files, path); });
  remove([&] { jet::Replacement::RemoveUnfinished(files, file); });
}

// Why the backup of that name, or its record, cannot be made; empty: they can, as far as can be told. The
// name of the record is the longer one, and nobody wants to hear of it when the run is done.
std::string FaultOfPlace(jet::FileSystem& files, const std::string& backup) {
  for (const std::string& path : {backup, backup + kRecordExtension}) {
    const std::string reason = files.WhyNotCreate(path + jet::kUnfinished);
    if (!reason.empty()) return fmt::format("The file {} cannot be made: {}.", path, reason);
  }
  return {};
}

// An error of making the file `path` tells of that, and not of the name that it has until it is complete.
template <typename Make>
void Named(const std::string& path, Make make) {
  try {
    make();
  } catch (const jet::Error& error) {
    std::string text = error.what();
    const std::string unfinished = path + jet::kUnfinished;
    if (const std::size_t at = text.find(unfinished); at != std::string::npos) {
      text.replace(at, unfinished.size(), path);
    }
    throw jet::Error(error.kind(), text);
  }
}

}  // namespace

std::string MakeBackup(jet::FileSystem& files, jet::File& file, const std::string& folder,
                       const jet::CopyProgress& progress) {
  const std::string original = files.ResolveLinks(file.path());
  RemoveUnfinished(files, original, folder);
  std::string path = NewBackupPath(files, original, folder);
  const std::string fault = FaultOfPlace(files, path);
  if (!fault.empty()) throw jet::Error(jet::ErrorKind::kIo, fault);
  Named(path, [&] { jet::CopyFile(files, file, path, progress); });
  return path;
}

std::string WhyNoBackup(jet::FileSystem& files, const std::string& file, const std::string& folder) {
  return FaultOfPlace(files, NewBackupPath(files, files.ResolveLinks(file), folder));
}

void RecordBackup(jet::FileSystem& files, const RunRecord& record) {
  RunRecord placed = record;
  // Whoever undoes the run may stand in another folder.
  placed.file = AbsolutePath(files, record.file);
  const std::string text = RecordText(placed, RecordFormat::kJson);
  const auto backup = files.Open(record.backup, jet::OpenMode::kRead);
  const std::string path = record.backup + kRecordExtension;
  Named(path, [&] {
    jet::CreateBeside(files, path,
                      jet::Bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()), *backup);
  });
}

std::vector<Backup> FindBackups(jet::FileSystem& files, const std::string& path, const std::string& folder) {
  const std::string file = files.ResolveLinks(path);
  std::vector<std::pair<std::pair<std::string, int>, Backup>> found;
  const std::string name = Utf8Of(PathOf(file).filename());
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(PathOf(FolderOf(file, folder)), error)) {
    const auto time = TimeInName(Utf8Of(entry.path().filename()), name);
    if (time.first.empty() || !entry.is_regular_file(error)) continue;
    Backup backup;
    backup.path = Utf8Of(entry.path());
    backup.made = ReadableTime(time.first);
    backup.size = entry.file_size(error);
    backup.says = SayingOf(backup.path);
    found.emplace_back(time, std::move(backup));
  }
  std::ranges::sort(found, std::greater<>(), [](const auto& item) { return item.first; });
  std::vector<Backup> backups;
  for (auto& [time, backup] : found) backups.push_back(std::move(backup));
  return backups;
}

namespace {

// The file, opened for writing. With `force` it may be damaged beyond being opened as a database.
class CurrentFile {
 public:
  CurrentFile(jet::FileSystem& files, const std::string& path, bool force) {
    try {
      // Takes in a journal that waits, and keeps everybody else out.
      database_ = jet::Database::Open(files, path, jet::OpenMode::kReadWrite);
    } catch (const jet::Error& error) {
      const bool damaged =
          error.kind() == jet::ErrorKind::kCorrupt || error.kind() == jet::ErrorKind::kNotSupported;
      if (!force || !damaged || files.Exists(jet::JournalPath(files, path))) throw;
      file_ = files.Open(path, jet::OpenMode::kReadWrite);
    }
  }
  jet::File& get() { return database_ ? database_->pages().file() : *file_; }
  void Close() {
    database_.reset();
    file_.reset();
  }

 private:
  std::unique_ptr<jet::Database> database_;
  std::unique_ptr<jet::File> file_;
};

// The backup of the run that left the file as it is; null when there is none. Several files may have their
// backups in one folder, and clocks go back: what the record says decides, not the name.
const Backup* FindOwn(const std::vector<Backup>& backups, const std::string& now) {
  for (const Backup& backup : backups) {
    try {
      const RecordedState state = ReadRecord(backup.path + kRecordExtension);
      if (state.after == now && state.before != now) return &backup;
    } catch (const jet::Error&) {
      continue;  // without a record it proves nothing
    }
  }
  return nullptr;
}

// The newest backup that is of this file, as far as anything tells, and not what the file is already.
const Backup* FindToForce(jet::FileSystem& files, const std::vector<Backup>& backups, const std::string& file,
                          const std::string& now) {
  const std::string path = AbsolutePath(files, file);
  for (const Backup& backup : backups) {
    try {
      const RecordedState state = ReadRecord(backup.path + kRecordExtension);
      // Beside the file the name tells enough; a folder may have been moved. Elsewhere others have files of
      // that name.
      const bool is_beside =
          PathOf(path).parent_path() == PathOf(AbsolutePath(files, backup.path)).parent_path();
      if (!is_beside && AbsolutePath(files, state.file) != path) continue;
    } catch (const jet::Error&) {
      // its run never came to its end
    }
    if (jet::Fingerprint(*files.Open(backup.path, jet::OpenMode::kRead)) != now) return &backup;
  }
  return nullptr;
}

// The backup to put back; `now` is what the file is.
const Backup& Choose(jet::FileSystem& files, const std::vector<Backup>& backups, const std::string& file,
                     const std::string& folder, const std::string& now, bool force) {
  if (const Backup* own = FindOwn(backups, now)) return *own;
  if (!force) {
    StateFor(backups.front().path, false);  // says what is wrong with the newest one, if it is that
    throw jet::Error(
        jet::ErrorKind::kIo,
        fmt::format(
            "{} is not what the run of {} left: it was changed since, or that run did not "
            "end as it should. Nothing was changed. With vntfix undo --force the newest backup of it is "
            "put back all the same, and what is there now becomes a backup.",
            file, backups.front().made));
  }
  if (const Backup* newest = FindToForce(files, backups, file, now)) return *newest;
  throw jet::Error(jet::ErrorKind::kNotFound,
                   fmt::format("There is no backup of {} in the folder {} that differs from what it is now.",
                               file, AbsolutePath(files, FolderOf(file, folder))));
}

// The first fault in a database; empty: it is sound.
std::string FaultIn(jet::FileSystem& files, const std::string& path) {
  try {
    const auto database = jet::Database::Open(files, path, jet::OpenMode::kRead);
    for (const jet::Finding& finding : jet::CheckDatabase(*database)) {
      if (finding.fatal) return finding.text;
    }
  } catch (const jet::Error& error) {
    if (error.is_obstacle()) throw;
    return error.what();
  }
  return {};
}

// Refuses a backup that is not what was copied: by what its record says or, where none does, when it is no
// sound database, such as a part of one.
void RequireWhole(jet::FileSystem& files, const std::string& backup, const std::string& content,
                  const std::string& recorded) {
  constexpr const char* kRest =
      "Nothing was changed. With it moved away, vntfix undo --force puts the next older backup back.";
  if (!recorded.empty() && content != recorded) {
    throw jet::Error(jet::ErrorKind::kCorrupt,
                     fmt::format("The backup {} is not what it was when it was made. {}", backup, kRest));
  }
  const std::string fault = recorded.empty() ? FaultIn(files, backup) : "";
  if (!fault.empty()) {
    throw jet::Error(
        jet::ErrorKind::kCorrupt,
        fmt::format("The backup {} has no record that tells what it was, and is damaged: {}{} {}", backup,
                    fault, fault.ends_with('.') ? "" : ".", kRest));
  }
}

}  // namespace

Undone UndoLastRun(jet::FileSystem& files, const std::string& file, const std::string& folder, bool force,
                   const jet::CopyProgress& progress) {
  const std::vector<Backup> backups = FindBackups(files, file, folder);
  if (backups.empty()) {
    throw jet::Error(jet::ErrorKind::kNotFound,
                     fmt::format("There is no backup of {} in the folder {}.", file,
                                 AbsolutePath(files, FolderOf(file, folder))));
  }
  CurrentFile current(files, file, force);
  RunRecord record;
  record.kind = RecordKind::kUndo;
  record.file = file;
  record.started = std::chrono::system_clock::now();
  // Both files are looked through and copied.
  constexpr std::uint64_t kPasses = 4;
  std::uint64_t passed = 0;
  const auto advance = [&](std::uint64_t done, std::uint64_t all) {
    if (progress) progress(passed * all + done, kPasses * all);
    if (done == all) ++passed;
  };
  record.before = jet::Fingerprint(current.get(), advance);
  const Backup& chosen = Choose(files, backups, file, folder, record.before, force);
  const RecordedState state = StateFor(chosen.path, force);
  const auto backup = files.Open(chosen.path, jet::OpenMode::kRead);
  record.after = jet::Fingerprint(*backup, advance);
  RequireWhole(files, chosen.path, record.after, state.before);
  const auto rights = platform::FileRights::Of(PathOf(file));
  record.backup = MakeBackup(files, current.get(), folder, advance);
  std::optional<jet::Replacement> replacement;
  try {
    replacement.emplace(files, file, *backup, current.get(), advance);
    record.ended = std::chrono::system_clock::now();
    RecordBackup(files, record);
  } catch (...) {
    files.Remove(record.backup);
    throw;
  }
  const jet::FileStamp stamp = current.get().Stamp();
  // Some systems replace no file that is open.
  current.Close();
  if (files.Open(file, jet::OpenMode::kRead)->Stamp() != stamp) {
    // They tell of an undoing that did not come about.
    files.Remove(record.backup + kRecordExtension);
    files.Remove(record.backup);
    throw jet::Error(jet::ErrorKind::kIo,
                     fmt::format("{} was changed by another program meanwhile. It stays as it is.", file));
  }
  replacement->Commit();
  Undone undone{chosen.path, record.backup, state.kind == RecordKind::kUndo, {}};
  if (!rights.GiveTo(PathOf(file))) {
    undone.remark = fmt::format(
        "{} has another owner or group now, and whoever could open it before may be unable to.", file);
  }
  return undone;
}

}  // namespace vnt
