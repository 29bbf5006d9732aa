// Runs a program as a service runs: on a window station that nobody sees. run_unseen PROGRAM [ARGUMENT]
// The exit status is the program's; 99 when it could not be started or waits for more than 20 seconds.
#include <windows.h>

#include <string>

namespace {

constexpr int kNotRun = 99;
constexpr DWORD kPatience = 20'000;  // milliseconds

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc < 2) return kNotRun;
  const HWINSTA seen = GetProcessWindowStation();
  const HWINSTA unseen = CreateWindowStationW(L"Unseen", 0, GENERIC_ALL, nullptr);
  if (unseen == nullptr || SetProcessWindowStation(unseen) == 0) return kNotRun;
  if (CreateDesktopW(L"Default", nullptr, nullptr, 0, GENERIC_ALL, nullptr) == nullptr) return kNotRun;
  SetProcessWindowStation(seen);

  std::wstring command = L"\"" + std::wstring(argv[1]) + L"\"";
  if (argc > 2) command += L" " + std::wstring(argv[2]);
  wchar_t desktop[] = L"Unseen\\Default";
  STARTUPINFOW start = {};
  start.cb = sizeof start;
  start.lpDesktop = desktop;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
  start.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
  start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION process = {};
  if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                     &process) == 0) {
    return kNotRun;
  }
  if (WaitForSingleObject(process.hProcess, kPatience) != WAIT_OBJECT_0) {
    TerminateProcess(process.hProcess, kNotRun);
    return kNotRun;
  }
  DWORD code = kNotRun;
  GetExitCodeProcess(process.hProcess, &code);
  return static_cast<int>(code);
}
