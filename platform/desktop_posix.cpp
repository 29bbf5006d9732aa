// The desktop of systems with X or Wayland: xdg-open and browsers, a settings file per user, unixODBC's
// installer.
//
// The per-user settings store is $XDG_CONFIG_HOME/vntfix/VNTFixdb.ini (else under ~/.config), an INI file:
//
//   [Settings]
//   MainLeft=1200
//
// It is replaced whole through a temporary file beside it, so that a crash leaves the old or the new one.

#include <fcntl.h>
#include <odbcinst.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "access/base/text.h"
#include "platform/desktop.h"
#include "platform/home_posix.h"

namespace vnt::platform {
namespace fs = std::filesystem;
namespace {

std::string FindProgram(const std::string& name) {
  const std::string path = Environment("PATH");
  for (std::size_t start = 0; start <= path.size();) {
    const std::size_t end = std::min(path.find(':', start), path.size());
    std::string candidate = path.substr(start, end - start) + "/" + name;
    if (end > start && access(candidate.c_str(), X_OK) == 0) return candidate;
    start = end + 1;
  }
  return {};
}

// Runs in the middle process; only calls that are safe after a fork. The opener's own exit code is awaited
// for a moment: a refusal comes at once, whereas some openers stay as long as the document is shown.
[[noreturn]] void RunOpener(const char* program, const char* path) {
  constexpr int kFailed = 1;
  setsid();
  const pid_t opener = fork();
  if (opener < 0) _exit(kFailed);
  if (opener == 0) {
    const int null = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(null, stream);
    execl(program, program, path, static_cast<char*>(nullptr));
    _exit(kFailed);
  }
  for (int wait = 0; wait < 75; ++wait) {
    int status = 0;
    if (waitpid(opener, &status, WNOHANG) == opener) {
      _exit(WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : kFailed);
    }
    const timespec pause{0, 20'000'000};
    nanosleep(&pause, nullptr);
  }
  _exit(0);
}

// False when there is no such program, or it refuses.
bool OpenWith(const std::string& name, const std::string& path) {
  const std::string program = name.find('/') == std::string::npos ? FindProgram(name) : name;
  if (program.empty()) return false;
  const pid_t middle = fork();
  if (middle < 0) return false;
  if (middle == 0) RunOpener(program.c_str(), path.c_str());
  int status = 0;
  while (waitpid(middle, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// The first line that a command prints; empty when it fails or prints nothing.
std::string FirstLine(const std::string& program, const std::string& request, const std::string& argument) {
  std::string command = "'" + program + "' query " + request + " '";
  for (const char c : argument) {
    if (c == '\'') command += "'\\'";
    command += c;
  }
  command += "' 2>/dev/null";
  FILE* const output = popen(command.c_str(), "re");
  if (output == nullptr) return {};
  std::string line;
  for (int c = std::getc(output); c != EOF; c = std::getc(output)) line += static_cast<char>(c);
  if (pclose(output) != 0) return {};
  return line.substr(0, line.find('\n'));
}

// xdg-open hands to the browser what no program is associated with, and the browser offers to save it. False
// when the desktop says that there is none.
bool HasProgramFor(const std::string& path) {
  const std::string xdg_mime = FindProgram("xdg-mime");
  if (xdg_mime.empty()) return true;
  const std::string type = FirstLine(xdg_mime, "filetype", path);
  return type.empty() || !FirstLine(xdg_mime, "default", type).empty();
}

std::vector<std::string> ReadLines(const fs::path& file) {
  std::vector<std::string> lines;
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// Sets one line of the settings file, which this program alone writes.
void SetLine(std::vector<std::string>& lines, std::string_view section, std::string_view key,
             std::string_view value) {
  const std::string header = "[" + std::string(section) + "]";
  const std::string entry = std::string(key) + "=" + std::string(value);
  auto line = std::find_if(lines.begin(), lines.end(),
                           [&](const std::string& text) { return jet::EqualNames(text, header); });
  if (line == lines.end()) {
    lines.push_back(header);
    lines.push_back(entry);
    return;
  }
  for (++line; line != lines.end() && !line->starts_with('['); ++line) {
    if (!jet::EqualNames(line->substr(0, line->find('=')), key)) continue;
    *line = entry;
    return;
  }
  lines.insert(line, entry);
}

}  // namespace

bool OpenDocument(const std::string& path) {
  std::error_code ignored;
  return fs::exists(path, ignored) && HasProgramFor(path) && OpenWith("xdg-open", path);
}

bool OpenInBrowser(const std::string& path) {
  if (OpenDocument(path)) return true;
  std::vector<std::string> browsers;
  std::istringstream named(Environment("BROWSER"));
  for (std::string browser; std::getline(named, browser, ':');) browsers.push_back(browser);
  browsers.insert(browsers.end(), {"x-www-browser", "www-browser"});
  return std::ranges::any_of(browsers, [&](const std::string& browser) { return OpenWith(browser, path); });
}

void SaveUserSetting(std::string_view section, std::string_view key, int value) {
  SaveUserSetting(section, key, std::to_string(value));
}

void SaveUserSetting(std::string_view section, std::string_view key, std::string_view value) {
  if (value.find_first_of("\r\n") != std::string_view::npos) return;  // would be lines of their own
  std::error_code ignored;  // placement is a convenience; a full disk must not disturb the end of the program
  const fs::path folder = UserConfigFolder();
  fs::create_directories(folder, ignored);
  const fs::path file = folder / "VNTFixdb.ini";
  const fs::path temporary = folder / ("VNTFixdb.ini." + std::to_string(getpid()));
  std::vector<std::string> lines = ReadLines(file);
  SetLine(lines, section, key, value);
  {
    std::ofstream stream(temporary, std::ios::trunc);
    for (const std::string& line : lines) stream << line << '\n';
    stream.close();
    if (!stream) {
      fs::remove(temporary, ignored);
      return;
    }
  }
  fs::rename(temporary, file, ignored);
}

std::string ReadUserSetting(std::string_view section, std::string_view key) {
  const std::string header = "[" + std::string(section) + "]";
  bool within = false;
  for (const std::string& line : ReadLines(fs::path(UserConfigFolder()) / "VNTFixdb.ini")) {
    if (line.starts_with('[')) {
      within = jet::EqualNames(line, header);
      continue;
    }
    const std::size_t end = line.find('=');
    if (within && end != std::string::npos && jet::EqualNames(line.substr(0, end), key)) {
      return line.substr(end + 1);
    }
  }
  return {};
}

bool AddDataSource(std::string_view driver, std::string_view attributes) {
  const std::string driver_text(driver);
  const std::string attribute_text(attributes);
  return SQLConfigDataSource(nullptr, ODBC_ADD_DSN, driver_text.c_str(), attribute_text.c_str()) != 0;
}

// The server is not called: one without other clients restarts when a caller hangs up, and would then be away
// for the toolkit's own call.
bool HasDisplay() { return !Environment("WAYLAND_DISPLAY").empty() || !Environment("DISPLAY").empty(); }

}  // namespace vnt::platform
