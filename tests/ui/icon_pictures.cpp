// Writes the program's icon, one PNG a size, into the folder named on the command line.

#include <wx/app.h>
#include <wx/bitmap.h>
#include <wx/image.h>
#include <wx/init.h>

#include <iostream>

#include "ui/app_icon.h"

namespace {

bool WritePictures(const wxString& folder) {
  wxImage::AddHandler(new wxPNGHandler);
  const wxIconBundle icons = vnt::ui::ProgramIcon();
  for (std::size_t i = 0; i < icons.GetIconCount(); ++i) {
    const wxIcon icon = icons.GetIconByIndex(i);
    wxBitmap bitmap;
    bitmap.CopyFromIcon(icon);
    const wxString file = wxString::Format("%s/%03d.png", folder, icon.GetWidth());
    if (!bitmap.ConvertToImage().SaveFile(file, wxBITMAP_TYPE_PNG)) return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: icon_pictures FOLDER\n";
    return 2;
  }
  int toolkit_argc = 1;
  wxApp::SetInstance(new wxApp);
  if (!wxEntryStart(toolkit_argc, argv)) {
    std::cerr << "icon_pictures needs a display.\n";
    return 1;
  }
  const bool written = WritePictures(wxString::FromUTF8(argv[1]));
  wxEntryCleanup();
  return written ? 0 : 1;
}
