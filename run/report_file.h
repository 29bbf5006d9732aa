// Files of text that are written whole, or stay what they were.
#pragma once

#include <string>
#include <string_view>

#include "access/file/file.h"

namespace vnt {

// Makes the file, or puts one with that content in its place: whoever looks finds the former or the new one,
// whole, and so does whoever looks after a power cut. The new one has the rights of the former. jet::Error:
// the former stays; kReadOnly and kLocked also when it may not be written to.
void ReplaceWhole(jet::FileSystem& files, const std::string& path, std::string_view content);

// The same for a report, wherever its user wants it: to a device or a pipe that somebody reads from it is
// just written, and where no file may be made beside it, into the one that is there. False when it could not
// be written in full, or a database or a journal stands there.
bool WriteReportFile(const std::string& path, std::string_view text);

// What stands there until the report does: whoever is killed leaves it, and not the report of a former run.
// Nothing goes to a device or a pipe.
bool BeginReportFile(const std::string& path, std::string_view text);

// Whether a report of that name would take the place of a database or of a journal.
bool WouldOverwriteDatabase(const std::string& path);

}  // namespace vnt
