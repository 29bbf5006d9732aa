// Locks of files on Windows, and who holds them.
//
// Our own programs keep out of each other's way by locks on single bytes far behind every content. A writer
// also holds the byte whose number is that of its process, which tells others who it is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "access/file/system_win.h"

namespace jet::internal {

enum LockByte : std::uint64_t { kWriterByte, kContentByte, kFirstProcessByte = std::uint64_t{1} << 32 };

bool TryLock(HANDLE handle, LockByte byte, bool alone);
void Unlock(HANDLE handle, LockByte byte);
// Others hold the content for themselves only as long as it takes to bring a file up to date.
bool LockPatiently(HANDLE handle, bool alone);

void HoldProcessByte(HANDLE handle);
// The process that holds its byte; 0 when none does. On a file server the number may be that of another
// machine's process.
DWORD WriterProcess(HANDLE handle);
// "vntfix, process 4711", or the process alone where its program may not be seen.
std::string ProcessName(DWORD process);
// Who has a file open for writing or will not share it, such as " (vntfix, process 4711)"; empty when the
// system does not tell.
std::string HolderOf(const std::wstring& path);
bool IsRemote(HANDLE handle);

// Whether somebody locks an entry of a lock file; tried by locking it for a moment.
bool IsEntryLocked(HANDLE handle, std::size_t entry);

}  // namespace jet::internal
