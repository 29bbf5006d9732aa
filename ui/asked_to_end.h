// Signals (SIGTERM, SIGINT, SIGHUP) for a program with windows. What runs meets them as vntfix does
// (access/base/interruption.h); here is what else there is to end: boxes that wait for an answer, and the
// window.
#pragma once

#include <wx/timer.h>

namespace vnt::ui {

// The number of the signal; 0: none has come. Who would show a box then says it elsewhere: nobody may be
// there to answer.
int SignalToEnd();

// While this lives, a signal closes the boxes that are open and, when nothing runs, the main window.
class EndWatch : public wxTimer {
 public:
  EndWatch();

 private:
  void Notify() override;
};

}  // namespace vnt::ui
