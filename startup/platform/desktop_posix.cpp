// The desktop of systems with X or Wayland: xdg-open, a settings file per user, unixODBC's installer.
//
// The per-user settings store is $XDG_CONFIG_HOME/vntfix/VNTFixdb.ini (else under ~/.config), an INI file:
//
//   [Settings]
//   MainLeft=1200
//
// It is replaced whole through a temporary file beside it, so that a crash leaves the old or the new one.

#include <fcntl.h>
#include <netdb.h>
#include <odbcinst.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <vector>

#include "startup/platform/desktop.h"
#include "startup/platform/home_posix.h"
#include "startup/platform/text.h"

namespace vnt::platform {
namespace fs = std::filesystem;
namespace {

std::string FindProgram(const std::string& name) {
  const std::string path = Environment("PATH");
  for (std::size_t start = 0; start <= path.size();) {
    const std::size_t end = std::min(path.find(':', start), path.size());
    const std::string candidate = path.substr(start, end - start) + "/" + name;
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

bool CanConnect(int family, const sockaddr* address, socklen_t length) {
  const int handle = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (handle < 0) return false;
  const bool connected = connect(handle, address, length) == 0;
  close(handle);
  return connected;
}

// `name` with a leading NUL is an abstract socket.
bool CanConnectLocal(const std::string& name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (name.size() >= sizeof(address.sun_path)) return false;
  std::memcpy(address.sun_path, name.data(), name.size());
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
  return CanConnect(AF_UNIX, reinterpret_cast<const sockaddr*>(&address), length);
}

bool CanConnectTcp(const std::string& host, int port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return false;
  bool connected = false;
  for (const addrinfo* it = found; it != nullptr && !connected; it = it->ai_next) {
    connected = CanConnect(it->ai_family, it->ai_addr, it->ai_addrlen);
  }
  freeaddrinfo(found);
  return connected;
}

// "[host]:number[.screen]"
bool CanConnectX(const std::string& display) {
  const std::size_t colon = display.rfind(':');
  if (colon == std::string::npos) return false;
  const std::string host = display.substr(0, colon);
  const int number = std::atoi(display.c_str() + colon + 1);
  if (host.empty() || host == "unix") {
    const std::string name = "/tmp/.X11-unix/X" + std::to_string(number);
    return CanConnectLocal(name) || CanConnectLocal('\0' + name);
  }
  constexpr int kFirstPort = 6000;
  return CanConnectTcp(host, kFirstPort + number);
}

bool CanConnectWayland(const std::string& name) {
  if (name.starts_with('/')) return CanConnectLocal(name);
  return CanConnectLocal(Environment("XDG_RUNTIME_DIR") + "/" + name);
}

std::vector<std::string> ReadLines(const fs::path& file) {
  std::vector<std::string> lines;
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// Sets one line of the settings file, which this program alone writes.
void SetLine(std::vector<std::string>& lines, std::string_view section, std::string_view key, int value) {
  const std::string header = "[" + std::string(section) + "]";
  const std::string entry = std::string(key) + "=" + std::to_string(value);
  auto line = std::find_if(lines.begin(), lines.end(),
                           [&](const std::string& text) { return EqualNoCase(text, header); });
  if (line == lines.end()) {
    lines.push_back(header);
    lines.push_back(entry);
    return;
  }
  for (++line; line != lines.end() && !line->starts_with('['); ++line) {
    if (!EqualNoCase(line->substr(0, line->find('=')), key)) continue;
    *line = entry;
    return;
  }
  lines.insert(line, entry);
}

}  // namespace

bool OpenDocument(const std::string& path) {
  std::error_code ignored;
  if (!fs::exists(path, ignored)) return false;
  const std::string program = FindProgram("xdg-open");
  if (program.empty()) return false;
  const pid_t middle = fork();
  if (middle < 0) return false;
  if (middle == 0) RunOpener(program.c_str(), path.c_str());
  int status = 0;
  while (waitpid(middle, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void SaveUserSetting(std::string_view section, std::string_view key, int value) {
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

bool AddDataSource(std::string_view driver, std::string_view attributes) {
  const std::string driver_text(driver);
  const std::string attribute_text(attributes);
  return SQLConfigDataSource(nullptr, ODBC_ADD_DSN, driver_text.c_str(), attribute_text.c_str()) != 0;
}

bool HasDisplay() {
  const std::string wayland = Environment("WAYLAND_DISPLAY");
  if (!wayland.empty() && CanConnectWayland(wayland)) return true;
  const std::string x = Environment("DISPLAY");
  return !x.empty() && CanConnectX(x);
}

}  // namespace vnt::platform
