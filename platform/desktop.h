// What the program asks of the desktop: documents opened by their own program, the per-user settings store,
// ODBC data sources, and whether a display is there.
#pragma once

#include <string>
#include <string_view>

namespace vnt::platform {

// Opens a document (UTF-8 path) with its associated program, maximised where the system allows; false when
// the file is missing or nothing can open it.
bool OpenDocument(const std::string& path);

// The same for a page of HTML, for which there are more ways: where the desktop has no opener, a browser that
// $BROWSER names or that the system calls by a common name.
bool OpenInBrowser(const std::string& path);

// Per-user settings store of the application: a number or a text of one line under section and key. What
// cannot be saved is lost silently: it is convenience only.
void SaveUserSetting(std::string_view section, std::string_view key, int value);
void SaveUserSetting(std::string_view section, std::string_view key, std::string_view value);
// Empty when there is none.
std::string ReadUserSetting(std::string_view section, std::string_view key);

// Registers a data source with the ODBC installer (SQLConfigDataSource, request "add"). `attributes` is the
// list of items, each followed by one NUL, with a second NUL at the end. False when the installer refuses.
bool AddDataSource(std::string_view driver, std::string_view attributes);

// Whether somebody may see a window: a display is named (that it answers is known when the toolkit has
// started on it); on Windows, the process belongs to an interactive session.
bool HasDisplay();

}  // namespace vnt::platform
