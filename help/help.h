// The help file, shown by whatever program the desktop has for it.
#pragma once

#include <string_view>

namespace vnt {

// Opens the help file. When it is missing or nothing can show it: a critical message, and then the guide in
// the browser, if that was installed; without a browser a message on where the guide is.
//
// The argument is not used, and must not be: the file always lies at one fixed place on drive C:, where the
// installation of the program family puts it, while callers pass the bare name they know it by.
void ShowHelpFile(std::string_view file_name);

}  // namespace vnt
