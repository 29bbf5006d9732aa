// The connections of the process: the opening of an Ingres data source, the release at the end, and the
// choice of another database in the window.
#pragma once

#include <functional>
#include <string>

#include "db/error.h"

namespace vnt {

// What the window's database panel says while none is open.
inline constexpr char kNoDatabaseText[] = "no database open";

// What is said of a database that only older versions of the program family can use.
inline constexpr char kOldVersionText[] =
    "This database is an old version.  Please use VNTfixV7 for Version 7 only.";

// Opens the main and the second connection on the data source named by the current database, for the
// logged-on user. An error ends it quietly, since the fixes then report what fails; gives what the driver
// says, or nothing.
std::string OpenIngresDatabase();

// Closes the connections, which makes what was executed durable. False when an error was reported.
bool CloseDatabases();

// Between runs an Access file belongs to whoever wants it: makes everything durable and lets go of it, until
// a connection is used again. False when an error was reported.
bool ReleaseDatabases();
// Looks the file up again, before a run. False when it cannot be opened any more, which was reported.
bool ResumeDatabases();

// The report of an error of opening: with the file's name and what can be done, where the error tells
// neither.
void ShowOpeningError(const db::DbError& error, const std::string& path);

// Makes `path` the current database and opens it with `open`, which leaves the program's state alone when it
// raises a DbError: the error is reported and the database that was open before stays open. `set_panel` gets
// the new text of the window's database panel, before any message about it; it is not called when the panel
// keeps its text.
void OpenChosenDatabase(const std::string& path, const std::function<void()>& open,
                        const std::function<void(const std::string&)>& set_panel);

}  // namespace vnt
