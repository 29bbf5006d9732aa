#include "startup/unshown_window.h"

namespace vnt {

bool UnshownWindow::Automatic_Fix() {
  RunObserver nobody;
  const RunResult result = RunFixes(selection_, nobody);
  return !result.refused && !result.failed();
}

}  // namespace vnt
