// Access's lock file: who has a database open.
//
// `x.ldb` lies beside `x.mdb`, `x.laccdb` beside `x.accdb`. It holds up to 255 entries of 64 bytes: the name
// of the computer and the name of the user, 32 bytes each, filled up with zeros. Entries are not cleared when
// a user leaves, and the file stays after a crash, so its content proves nothing. The truth is in byte-range
// locks on the lock file itself, far beyond its end: the user of entry i (from 1) holds byte 0x10000000 + i.
// Source: Microsoft's documentation of the locking of Jet databases.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace jet::internal {

inline constexpr std::uint64_t kUserLockBase = 0x10000001;  // of the first entry
inline constexpr std::size_t kLockFileEntries = 255;
inline constexpr std::size_t kLockFileEntryBytes = 64;

// Extension of the lock file of a database path, with the dot; empty when Access would not make one.
std::string_view LockFileExtension(std::string_view database_path);

// The users of the entries for which `in_use(entry)` says so (entries count from 0), such as
// "ADMIN on PC7, JOE on PC8". Bytes that are not ASCII are taken for Windows-1252's lower part, Latin-1.
std::string LockFileUsers(std::string_view content, const std::function<bool(std::size_t)>& in_use);

}  // namespace jet::internal
