// Runs the tests inside a started toolkit.

#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/init.h>

#include <clocale>
#include <iostream>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  int toolkit_argc = 1;
  auto* app = new wxApp;
  app->SetExitOnFrameDelete(false);
  wxApp::SetInstance(app);
  if (!wxEntryStart(toolkit_argc, argv)) {
    std::cerr << "The tests of the window need a display.\n";
    return 1;
  }
  std::setlocale(LC_NUMERIC, "C");
  const int result = RUN_ALL_TESTS();
  wxEntryCleanup();
  return result;
}
