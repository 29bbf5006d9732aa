// The program's icon, drawn at every size that desktops ask for.
#pragma once

#include <wx/iconbndl.h>

namespace vnt::ui {

wxIconBundle ProgramIcon();

}  // namespace vnt::ui
