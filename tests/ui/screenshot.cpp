// Writes a picture of the main window, with a database open, to the file named on the command line.

#include <wx/app.h>
#include <wx/dcmemory.h>
#include <wx/dcscreen.h>
#include <wx/image.h>
#include <wx/init.h>
#include <wx/uiaction.h>
#include <wx/utils.h>

#include <iostream>

#include "program/program_state.h"
#include "ui/main_frame.h"

namespace vnt::ui {
namespace {

class NoServices : public WindowServices {
 public:
  void EndProgram(int) override {}
};

void Settle() {
  for (int round = 0; round < 60; ++round) {
    wxYield();
    wxMilliSleep(10);
  }
}

bool WritePicture(const wxString& file) {
  NoServices services;
  State().data_level = 1;
  auto* window = new frmMain(services);
  window->SetDatabasePanel("/data/notices.mdb");
  window->ShowWindow();
  wxUIActionSimulator().MouseMove(0, 0);  // else a tooltip shows where the pointer happens to be
  Settle();
  wxBitmap bitmap(window->GetSize());
  wxMemoryDC target(bitmap);
  wxScreenDC screen;
  target.Blit(wxPoint(0, 0), window->GetSize(), &screen, window->GetScreenPosition());
  target.SelectObject(wxNullBitmap);
  wxImage::AddHandler(new wxPNGHandler);
  return bitmap.ConvertToImage().SaveFile(file, wxBITMAP_TYPE_PNG);
}

}  // namespace
}  // namespace vnt::ui

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: window_screenshot FILE.png\n";
    return 2;
  }
  int toolkit_argc = 1;
  wxApp::SetInstance(new wxApp);
  if (!wxEntryStart(toolkit_argc, argv)) {
    std::cerr << "window_screenshot needs a display.\n";
    return 1;
  }
  const bool written = vnt::ui::WritePicture(wxString::FromUTF8(argv[1]));
  wxEntryCleanup();
  return written ? 0 : 1;
}
