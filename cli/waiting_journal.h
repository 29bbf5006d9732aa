// The journal beside a database file: whose work is in it, and whether it waits to be brought into the file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "access/file/file.h"

namespace vnt::cli {

struct JournalFacts {
  std::string path;
  std::uint64_t size = 0;
  std::string changed;  // local time, as FileTime() gives it
  bool in_use = false;  // its program is at work
  std::string fault;    // why it could not be looked at; empty: it was
};

// None when there is no journal.
std::optional<JournalFacts> FindJournal(jet::FileSystem& files, const std::string& path, jet::File& file);

// One sentence for a user about the journal that a run which did not end left beside the file; empty when
// none waits, or the file cannot be opened. `writes`: the command brings it into the file.
std::string WaitingJournal(jet::FileSystem& files, const std::string& path, bool writes);

// Of a file's stamp, in local time: "2026-03-29 02:30:00".
std::string FileTime(std::int64_t nanoseconds);

}  // namespace vnt::cli
