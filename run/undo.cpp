// The way back to a backup: which one is taken, how it is tested, and how it takes the place of the database.
//
// What is put back is what its record says that was copied or, where no record does, a sound database. What
// the database was until then is a backup before anything is touched.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "access/base/error.h"
#include "access/check/check.h"
#include "access/file/copy_file.h"
#include "access/store/database.h"
#include "platform/file_rights.h"
#include "platform/paths.h"
#include "run/backup.h"
#include "run/backup_names.h"

namespace vnt {
namespace {

using platform::PathOf;
using platform::Utf8Of;

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

std::string ContentOf(jet::FileSystem& files, const Backup& backup) {
  return jet::Fingerprint(*files.Open(backup.path, jet::OpenMode::kRead));
}

bool IsWhatWasCopied(const Backup& backup, const std::string& content) {
  return !backup.record || backup.record->before.empty() || backup.record->before == content;
}

constexpr const char* kNotWhatItWas = "it is not what it was when it was made";

// The first fault in a database, without a full stop; empty: it is sound.
std::string FaultIn(jet::FileSystem& files, const std::string& path) {
  std::string fault;
  try {
    const auto database = jet::Database::Open(files, path, jet::OpenMode::kRead);
    const std::vector<jet::Finding> findings = jet::CheckDatabase(*database);
    const auto fatal = std::ranges::find_if(findings, &jet::Finding::fatal);
    if (fatal != findings.end()) fault = fatal->text;
  } catch (const jet::Error& error) {
    if (error.is_obstacle()) throw;
    fault = error.what();
  }
  if (fault.ends_with('.')) fault.pop_back();
  return fault;
}

// The backup of the run that left the file as it is; null when there is none. Clocks go back: what the record
// says decides, not the name.
const Backup* FindOwn(const std::vector<Backup>& backups, const std::string& now) {
  const auto own = std::ranges::find_if(backups, [&](const Backup& backup) {
    return backup.record && backup.record->after == now && backup.record->before != now;
  });
  return own == backups.end() ? nullptr : &*own;
}

// Which backup is put back. `now` is what the file is; empty: it is missing.
class Choice {
 public:
  Choice(jet::FileSystem& files, const std::string& file, const std::string& folder, std::string now)
      : files_(files),
        file_(file),
        folder_(AbsolutePath(files, FolderOf(file, folder))),
        now_(std::move(now)) {}

  // That of the run which left the file so, or none.
  const Backup& OfTheLastRun(const std::vector<Backup>& backups) {
    const Backup* const own = FindOwn(backups, now_);
    if (own == nullptr) RefuseUnproven(backups.front());
    std::string damage;
    if (!IsWhatWasCopied(*own, ContentOf(files_, *own))) {
      damage = kNotWhatItWas;
    } else if (own->record->kind == RecordKind::kUndo) {
      // It was damaged when somebody had a sound one put into its place.
      damage = FaultIn(files_, own->path);
    }
    if (damage.empty()) return *own;
    throw jet::Error(
        jet::ErrorKind::kCorrupt,
        fmt::format("The backup {} is damaged: {}. Nothing was changed. vntfix undo --force passes it "
                    "over and puts the newest sound one back; with --from {} --force it is put back "
                    "all the same.",
                    own->path, damage, own->path));
  }

  // The newest sound one that is of this file and not what that is already.
  const Backup& Newest(const std::vector<Backup>& backups) {
    if (const Backup* const own = FindOwn(backups, now_);
        own != nullptr && own->record->kind != RecordKind::kUndo) {
      if (IsWhatWasCopied(*own, ContentOf(files_, *own))) return *own;
    }
    for (const Backup& backup : backups) {
      if (!backup.is_surely_of_it) {
        warnings_.push_back(
            fmt::format("The backup {} was passed over: it has no record that tells of which file it "
                        "is. With --from it is put back all the same.",
                        backup.path));
        continue;
      }
      if (ContentOf(files_, backup) == now_) continue;
      const std::string damage = DamageOf(files_, backup);
      if (damage.empty()) return backup;
      warnings_.push_back(
          fmt::format("The backup {} was passed over, because it is damaged: {}.", backup.path, damage));
    }
    std::string text = fmt::format("There is no sound backup of {} in the folder {}{}.", file_, folder_,
                                   now_.empty() ? "" : " that differs from what it is now");
    for (const std::string& warning : warnings_) text += " " + warning;
    throw jet::Error(jet::ErrorKind::kNotFound, text);
  }

  const Backup& Named(const Backup& backup, bool force) {
    if (ContentOf(files_, backup) == now_) {
      throw jet::Error(
          jet::ErrorKind::kNotFound,
          fmt::format("{} is what the backup {} holds already. Nothing was changed.", file_, backup.path));
    }
    if (backup.record && !backup.is_surely_of_it) {
      Warn(fmt::format("The backup {} is of {}, as its record says.", backup.path, backup.record->file),
           force);
    }
    if (const std::string damage = DamageOf(files_, backup); !damage.empty()) {
      Warn(fmt::format("The backup {} is damaged: {}.", backup.path, damage), force);
    }
    return backup;
  }

  std::vector<std::string> TakeWarnings() { return std::move(warnings_); }

 private:
  [[noreturn]] void RefuseUnproven(const Backup& newest) {
    if (!newest.record) {
      throw jet::Error(
          jet::ErrorKind::kCorrupt,
          fmt::format(
              "Nothing tells what the run left for which the backup {} was made: {} "
              "Nothing was changed. With vntfix undo --force it is put back all the same, and what is "
              "there now becomes a backup.",
              newest.path, newest.record_fault));
    }
    throw jet::Error(
        jet::ErrorKind::kIo,
        fmt::format(
            "{} is not what the run of {} left: it was changed since, or that run did not "
            "end as it should. Nothing was changed. With vntfix undo --force the newest sound backup of it "
            "is put back all the same, and what is there now becomes a backup.",
            file_, newest.made));
  }
  void Warn(const std::string& sentence, bool force) {
    if (!force) {
      throw jet::Error(jet::ErrorKind::kCorrupt,
                       sentence + " Nothing was changed. With --force it is put back all the same.");
    }
    warnings_.push_back(sentence + " It is put back all the same.");
  }

  jet::FileSystem& files_;
  const std::string& file_;
  const std::string folder_;
  const std::string now_;
  std::vector<std::string> warnings_;
};

// The backup that is named, by its path or by its name in the folder of the backups.
Backup NamedBackup(jet::FileSystem& files, const std::string& file, const std::string& folder,
                   const std::string& from) {
  const bool is_name = PathOf(from).parent_path().empty() && !files.Exists(from);
  return BackupAt(files, is_name ? Utf8Of(PathOf(FolderOf(file, folder)) / PathOf(from)) : from, file);
}

// What has the name of the file while it is being copied is no name for its user: jet::Replacement's, and
// that of any copy.
template <typename Copy>
void InWordsOfTheFile(const std::string& file, Copy copy) {
  constexpr const char* kReplacement = ".undo";
  InWordsOf(file + jet::kUnfinished, file, [&] {
    InWordsOf(file + kReplacement, file,
              [&] { InWordsOf(file + kReplacement + jet::kUnfinished, file, copy); });
  });
}

// Nothing is there that could be kept.
void PutBackMissing(jet::FileSystem& files, const std::string& file, const Backup& chosen,
                    const jet::CopyProgress& progress) {
  if (const std::string journal = jet::JournalPath(files, file); files.Exists(journal)) {
    throw jet::Error(
        jet::ErrorKind::kExists,
        fmt::format("The journal {} of a database of that name is there. Move it away first, or put "
                    "the database beside it again.",
                    journal));
  }
  const auto backup = files.Open(chosen.path, jet::OpenMode::kRead);
  InWordsOfTheFile(file, [&] { jet::CopyFile(files, *backup, file, progress); });
}

void PutBack(jet::FileSystem& files, const std::string& file, const std::string& folder, const Backup& chosen,
             CurrentFile& current, RunRecord& record, Undone& undone, const jet::CopyProgress& advance) {
  const auto backup = files.Open(chosen.path, jet::OpenMode::kRead);
  record.after = jet::Fingerprint(*backup, advance);
  const auto rights = platform::FileRights::Of(PathOf(file));
  record.backup = MakeBackup(files, current.get(), folder, advance);
  std::optional<jet::Replacement> replacement;
  try {
    InWordsOfTheFile(files.ResolveLinks(file),
                     [&] { replacement.emplace(files, file, *backup, current.get(), advance); });
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
  undone.durable = replacement->Commit();
  std::vector<std::string> remarks;
  if (!undone.durable) {
    remarks.push_back(
        fmt::format("{} is back, but its folder could not be written to the disk: a power cut may bring back "
                    "what it was until now.",
                    file));
  }
  if (!rights.GiveTo(PathOf(file))) {
    remarks.push_back(fmt::format(
        "{} has another owner or group now, and whoever could open it before may be unable to.", file));
  }
  undone.remark = fmt::to_string(fmt::join(remarks, " "));
}

}  // namespace

std::string DamageOf(jet::FileSystem& files, const Backup& backup) {
  if (!IsWhatWasCopied(backup, ContentOf(files, backup))) return kNotWhatItWas;
  return FaultIn(files, backup.path);
}

Undone UndoLastRun(jet::FileSystem& files, const std::string& file, const std::string& folder, bool force,
                   const jet::CopyProgress& progress, const std::string& from) {
  const std::vector<Backup> backups =
      from.empty() ? FindBackups(files, file, folder) : std::vector{NamedBackup(files, file, folder, from)};
  if (backups.empty()) {
    throw jet::Error(jet::ErrorKind::kNotFound,
                     fmt::format("There is no backup of {} in the folder {}.", file,
                                 AbsolutePath(files, FolderOf(file, folder))));
  }
  const bool is_missing = !files.Exists(file);
  if (is_missing && !force) {
    throw jet::Error(
        jet::ErrorKind::kNotFound,
        fmt::format("The file {} is missing, and there are backups of it. With vntfix undo --force the "
                    "newest sound one is put back.",
                    file));
  }
  std::optional<CurrentFile> current;
  if (!is_missing) current.emplace(files, file, force);
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
  if (current) record.before = jet::Fingerprint(current->get(), advance);
  Choice choice(files, file, folder, record.before);
  const Backup& chosen = !from.empty() ? choice.Named(backups.front(), force)
                         : force       ? choice.Newest(backups)
                                       : choice.OfTheLastRun(backups);
  Undone undone;
  undone.restored = chosen.path;
  undone.of_undoing = chosen.record && chosen.record->kind == RecordKind::kUndo;
  undone.warnings = choice.TakeWarnings();
  if (current) {
    PutBack(files, file, folder, chosen, *current, record, undone, advance);
    undone.kept = record.backup;
  } else {
    PutBackMissing(files, files.ResolveLinks(file), chosen, progress);
  }
  return undone;
}

}  // namespace vnt
