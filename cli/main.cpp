#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>

#include <io.h>
#include <shellapi.h>
#else
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "cli/cli.h"
#include "platform/environment.h"

namespace {

#ifdef _WIN32
// The arguments as UTF-8, whatever the code page of the console.
std::vector<std::string> Arguments(int, char**) {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, text.data(), size, nullptr, nullptr);
    text.pop_back();
    arguments.push_back(std::move(text));
  }
  LocalFree(wide);
  return arguments;
}
// What is printed is UTF-8; the console gets its own code page back for what runs in it next.
UINT former_code_page = 0;
void PrepareConsole() {
  former_code_page = GetConsoleOutputCP();
  if (former_code_page == 0 || SetConsoleOutputCP(CP_UTF8) == 0) return;  // there is none
  std::atexit([] { SetConsoleOutputCP(former_code_page); });
}
bool IsTerminal() { return _isatty(_fileno(stderr)) != 0; }
bool OutIsPiped() { return GetFileType(GetStdHandle(STD_OUTPUT_HANDLE)) == FILE_TYPE_PIPE; }
std::size_t WidthOfOut() {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info) == 0) return 0;
  return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left) + 1;
}
#else
std::vector<std::string> Arguments(int argc, char** argv) { return {argv + 1, argv + argc}; }
void PrepareConsole() {}
bool IsTerminal() { return isatty(STDERR_FILENO) != 0; }
bool OutIsPiped() {
  struct stat status;
  return fstat(STDOUT_FILENO, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}
std::size_t WidthOfOut() {
  winsize size{};
  return isatty(STDOUT_FILENO) != 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}
#endif

}  // namespace

int main(int argc, char** argv) {
  vnt::platform::PrepareStandardStreams();
  PrepareConsole();
  vnt::platform::LetLargeFilesFail();
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);
  return vnt::cli::Run(Arguments(argc, argv),
                       {std::cin, std::cout, std::cerr, IsTerminal(), WidthOfOut(), OutIsPiped()});
}
