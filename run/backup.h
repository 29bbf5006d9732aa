// Copies of a database made before a run, and the way back.
//
// A backup is NAME.YYYYMMDD-HHMMSS.bak beside the database (the file itself, where it is named by a link) or
// in a folder of choice; beside it, under its name and ".json", stands the record of the run that it was made
// for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "access/file/copy_file.h"
#include "access/file/file.h"
#include "run/run_record.h"

namespace vnt {

// A durable copy of the file with its rights; gives its path. What a backup or an undoing of this file that
// was killed has left half done is removed. jet::Error, also where its record could not be made.
std::string MakeBackup(jet::FileSystem& files, jet::File& file, const std::string& folder,
                       const jet::CopyProgress& progress = {});

// Why no backup of the file with its record can be made in the folder, or beside it when that is empty;
// empty: one can, as far as can be told without making it.
std::string WhyNoBackup(jet::FileSystem& files, const std::string& file, const std::string& folder);

// Writes the record beside the backup that it names, with the rights of that. jet::Error.
void RecordBackup(jet::FileSystem& files, const RunRecord& record);

struct Backup {
  std::string path;
  std::string made;        // "2026-11-22 05:04:07", local time
  std::uint64_t size = 0;  // bytes
  std::string says;        // what its record says of the run: its outcome, or why it cannot be used
  std::optional<RecordedState> record;
  std::string record_fault;  // why there is none, in a sentence
  // In a folder that several databases may share, one without a record may be of any of that name.
  bool is_surely_of_it = true;
};
// Those of the database, newest first: beside it by their name, in another folder by the path in their
// record. `folder` is empty for that of the database.
std::vector<Backup> FindBackups(jet::FileSystem& files, const std::string& path, const std::string& folder);

// What is wrong with a backup, without a full stop: it is not what its record says that was copied, or a
// fault that a check finds. Empty: nothing. jet::Error when it cannot be looked at.
std::string DamageOf(jet::FileSystem& files, const Backup& backup);

struct Undone {
  std::string restored;               // the backup whose content the database has now
  std::string kept;                   // the backup of what it had before; empty: it was missing
  bool of_undoing = false;            // what was undone was an undoing
  bool durable = true;                // false: a power cut may bring back what the database had before
  std::string remark;                 // a sentence on what could not be kept; empty: all was
  std::vector<std::string> warnings;  // sentences on backups that are damaged, or may be of another file
};
// Puts the backup of the run back that left the database as it is, and makes what was there a backup in its
// turn, so that undoing can be undone. With `force`, where no run left it so, the newest backup of it that is
// sound and differs from it, also when the database is damaged or missing; those that are damaged, or may be
// of another file, are passed over with a warning. `from` names the backup instead (a path, or a name in the
// folder of the backups); one that is damaged or of another file is taken with `force` only. Owner and rights
// stay those of the database as far as this user may keep them. Refused with a jet::Error, and nothing is
// touched: kNotFound when there is no such backup; kIo when the database is not what a run left; kCorrupt
// when the backup is not what it was when it was made, or has no record that can be read, or is what a
// damaged database was before an undoing; whatever keeps the database from being opened for writing. What
// `progress` throws leaves everything as it was.
Undone UndoLastRun(jet::FileSystem& files, const std::string& file, const std::string& folder, bool force,
                   const jet::CopyProgress& progress = {}, const std::string& from = {});

}  // namespace vnt
