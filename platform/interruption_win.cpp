#include "platform/interruption.h"

#include <windows.h>

namespace vnt::platform {
namespace {

// The numbers that the same requests have elsewhere.
constexpr int kInterrupt = 2;
constexpr int kTerminate = 15;
constexpr int kHangUp = 1;

// After the closing of its console a process has about five seconds before the system ends it.
constexpr DWORD kClosingMilliseconds = 4800;

std::atomic<std::atomic<int>*> current_request{nullptr};

int NumberOf(DWORD event) {
  switch (event) {
    case CTRL_C_EVENT:
      return kInterrupt;
    case CTRL_BREAK_EVENT:
      return kTerminate;
    default:
      return kHangUp;
  }
}

// Runs on a thread of its own.
BOOL WINAPI Note(DWORD event) {
  std::atomic<int>* const request = current_request.load();
  int nobody = 0;
  if (request == nullptr || !request->compare_exchange_strong(nobody, NumberOf(event))) return FALSE;
  // The system ends the process as soon as this returns from one of the others.
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(kClosingMilliseconds);
  return TRUE;
}

}  // namespace

InterruptionScope::InterruptionScope(std::atomic<int>& request) {
  current_request = &request;
  SetConsoleCtrlHandler(Note, TRUE);
}

InterruptionScope::~InterruptionScope() {
  SetConsoleCtrlHandler(Note, FALSE);
  current_request = nullptr;
}

}  // namespace vnt::platform
