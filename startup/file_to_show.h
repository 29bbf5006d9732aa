// The database that the window opens when it starts, where a file manager asks for one.
//
// It cannot be named on the command line, which means an unattended run whatever stands there; VNTFIX_OPEN
// names it, and vntfixdb-open sets that. Nobody who clicks on a file asks for it to be changed, so a file
// that opening alone would write to is left for File, Open Database.
#pragma once

#include <string>

namespace vnt {

// The absolute path (UTF-8) of the file that VNTFIX_OPEN names; empty: none.
std::string FileToShow();

// Why the file stays unopened, as a sentence for the user; empty: opening it writes nothing, or fails and
// says why itself.
std::string WhyNotShown(const std::string& path);

}  // namespace vnt
