// What was installed with the programs for everybody who uses them.
#pragma once

#include <string>
#include <string_view>

namespace vnt::platform {

// A file on drive C: ("c:\kv_soft\...") that is only read: the user's own, else on other systems than Windows
// the one in the folder vntfix/c of the data folders. Those are $XDG_DATA_DIRS, else /usr/local/share and
// /usr/share; and last share beside the folder of the program. Where there is none, the path that the user's
// own would have.
std::string FindOnDriveC(std::string_view path);

// The first page of the user guide: doc/vntfix/guide/index.html in one of the data folders; on Windows
// guide\index.html beside the program. Empty when it was not installed.
std::string GuideFile();

}  // namespace vnt::platform
