// Where backups and their records are, and whose: what making them and undoing have in common.
#pragma once

#include <string>

#include "access/base/error.h"
#include "access/file/file.h"
#include "run/backup.h"

namespace vnt {

inline constexpr const char* kRecordExtension = ".json";

// That of the file where `folder` is empty.
std::string FolderOf(const std::string& file, const std::string& folder);
// Of the file itself, also where the path is a link to it.
std::string AbsolutePath(jet::FileSystem& files, const std::string& path);

// The backup of that path with its record, for the database `file`.
Backup BackupAt(jet::FileSystem& files, const std::string& path, const std::string& file);
// Whether the backup is of that database for all that name, place and record tell.
bool IsOf(jet::FileSystem& files, const Backup& backup, const std::string& file);

// An error of `make` tells of the file by the name that its user knows, and not by the one that it has
// meanwhile.
template <typename Make>
void InWordsOf(const std::string& meanwhile, const std::string& name, Make make) {
  try {
    make();
  } catch (const jet::Error& error) {
    std::string text = error.what();
    const std::size_t at = text.find(meanwhile);
    if (at != std::string::npos) text.replace(at, meanwhile.size(), name);
    throw jet::Error(error.kind(), text);
  }
}

}  // namespace vnt
