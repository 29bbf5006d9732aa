#include "run/backup.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <regex>
#include <utility>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "access/base/error.h"
#include "access/file/copy_file.h"
#include "platform/paths.h"
#include "run/backup_names.h"

namespace vnt {
namespace {

namespace fs = std::filesystem;
using platform::PathOf;
using platform::Utf8Of;

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

void ReadRecordOf(Backup& backup) {
  try {
    backup.record = ReadRecord(backup.path + kRecordExtension);
    backup.says = backup.record->kind == RecordKind::kUndo ? "undone"
                  : backup.record->after.empty() ? backup.record->outcome + ", what it left is not known"
                                                 : backup.record->outcome;
  } catch (const jet::Error& error) {
    backup.record_fault = error.what();
    backup.says = error.kind() == jet::ErrorKind::kNotFound
                      ? "without a record: the run did not come to its end"
                      : "with a damaged record";
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

}  // namespace

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

std::string MakeBackup(jet::FileSystem& files, jet::File& file, const std::string& folder,
                       const jet::CopyProgress& progress) {
  const std::string original = files.ResolveLinks(file.path());
  RemoveUnfinished(files, original, folder);
  std::string path = NewBackupPath(files, original, folder);
  const std::string fault = FaultOfPlace(files, path);
  if (!fault.empty()) throw jet::Error(jet::ErrorKind::kIo, fault);
  InWordsOf(path + jet::kUnfinished, path, [&] { jet::CopyFile(files, file, path, progress); });
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
  InWordsOf(path + jet::kUnfinished, path, [&] {
    jet::CreateBeside(files, path,
                      jet::Bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()), *backup);
  });
}

std::vector<Backup> FindBackups(jet::FileSystem& files, const std::string& path, const std::string& folder) {
  const std::string file = AbsolutePath(files, path);
  std::vector<std::pair<std::pair<std::string, int>, Backup>> found;
  const std::string name = Utf8Of(PathOf(file).filename());
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(PathOf(FolderOf(file, folder)), error)) {
    const auto time = TimeInName(Utf8Of(entry.path().filename()), name);
    if (time.first.empty() || !entry.is_regular_file(error)) continue;
    Backup backup = BackupAt(files, Utf8Of(entry.path()), file);
    if (backup.record && !IsOf(files, backup, file)) continue;
    backup.made = ReadableTime(time.first);
    found.emplace_back(time, std::move(backup));
  }
  std::ranges::sort(found, std::greater<>(), [](const auto& item) { return item.first; });
  std::vector<Backup> backups;
  for (auto& [time, backup] : found) backups.push_back(std::move(backup));
  return backups;
}

Backup BackupAt(jet::FileSystem& files, const std::string& path, const std::string& file) {
  std::error_code ignored;
  Backup backup;
  backup.path = path;
  backup.size = fs::file_size(PathOf(path), ignored);
  ReadRecordOf(backup);
  backup.is_surely_of_it = IsOf(files, backup, file);
  return backup;
}

bool IsOf(jet::FileSystem& files, const Backup& backup, const std::string& file) {
  const std::string path = AbsolutePath(files, file);
  // Beside the file the name tells enough; a folder may have been moved. Elsewhere others have files of that
  // name.
  const bool is_beside =
      PathOf(path).parent_path() == PathOf(AbsolutePath(files, backup.path)).parent_path() &&
      !TimeInName(Utf8Of(PathOf(backup.path).filename()), Utf8Of(PathOf(path).filename())).first.empty();
  if (is_beside) return true;
  if (!backup.record) return false;
  std::error_code ignored;
  return AbsolutePath(files, backup.record->file) == path ||
         fs::equivalent(PathOf(backup.record->file), PathOf(path), ignored);
}

}  // namespace vnt
