// The main window of an unattended run: its boxes as they load, and nothing on a screen.
#pragma once

#include "run/fix_runner.h"
#include "startup/run_modes.h"

namespace vnt {

class UnshownWindow : public MainWindow {
 public:
  bool Automatic_Fix() override;
  void ClearDefaultselection() override { selection_.reset(); }
  void SetDatabasePanel(const std::string&) override {}
  void OpenFile(const std::string&) override {}
  void ShowWindow() override {}

 private:
  FixSelection selection_ = DefaultSelection();
};

}  // namespace vnt
