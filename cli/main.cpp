#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>
#else
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
  SetConsoleOutputCP(CP_UTF8);
  // The same line ends as everywhere, in results and in messages.
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  return arguments;
}
bool IsTerminal() { return _isatty(_fileno(stderr)) != 0; }
#else
std::vector<std::string> Arguments(int argc, char** argv) { return {argv + 1, argv + argc}; }
bool IsTerminal() { return isatty(STDERR_FILENO) != 0; }
#endif

}  // namespace

int main(int argc, char** argv) {
  vnt::platform::OccupyStandardStreams();
  vnt::platform::LetLargeFilesFail();
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);
  return vnt::cli::Run(Arguments(argc, argv), {std::cin, std::cout, std::cerr, IsTerminal()});
}
