#include "backends/linux/terminal/posix_terminal.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "backends/linux/terminal/terminal_guard.h"

namespace halden {

namespace {

constexpr int kMode = O_RDWR | O_NOCTTY | O_CLOEXEC;

/// A job in the background has a terminal, but not its user.
bool InBackground(int fd) {
  const pid_t foreground = tcgetpgrp(fd);
  return foreground >= 0 && foreground != getpgrp();
}

/// -1: there is none that could draw a window.
int OpenTerminal() {
  const char* kind = std::getenv("TERM");
  if (!kind || std::string_view(kind).empty() || std::string_view(kind) == "dumb") return -1;
  int fd = open("/dev/tty", kMode);
  for (int standard = STDIN_FILENO; fd < 0 && standard <= STDOUT_FILENO; ++standard) {
    const char* name = isatty(standard) ? ttyname(standard) : nullptr;
    if (name) fd = open(name, kMode);
  }
  if (fd >= 0 && InBackground(fd)) {
    close(fd);
    return -1;
  }
  return fd;
}

}  // namespace

bool PosixTerminal::Available() const {
  if (fd_ >= 0) return true;
  const int fd = OpenTerminal();
  if (fd >= 0) close(fd);
  return fd >= 0;
}

bool PosixTerminal::Open() {
  hung_up_ = false;
  fd_ = OpenTerminal();
  if (fd_ >= 0 && !terminal_guard::Take(fd_)) {
    close(fd_);
    fd_ = -1;
  }
  return fd_ >= 0;
}

void PosixTerminal::Close() {
  if (fd_ < 0) return;
  terminal_guard::Release();
  close(fd_);
  fd_ = -1;
}

TerminalSize PosixTerminal::Size() const {
  constexpr TerminalSize kUsual{80, 24};
  winsize size = {};
  if (ioctl(fd_, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return kUsual;
  constexpr int kMost = 1000;  // of each; more is nobody's screen, and costs memory by the square
  return {std::min<int>(size.ws_col, kMost), std::min<int>(size.ws_row, kMost)};
}

std::string PosixTerminal::Read() {
  std::string bytes;
  pollfd waiting{fd_, POLLIN, 0};
  while (!hung_up_ && poll(&waiting, 1, 0) > 0) {
    char buffer[256];
    const ssize_t count = read(fd_, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count > 0) bytes.append(buffer, static_cast<std::size_t>(count));
    if (count < 0 || (waiting.revents & (POLLHUP | POLLERR))) hung_up_ = true;
    if (count <= 0) break;
  }
  return bytes;
}

void PosixTerminal::Write(std::string_view output) {
  while (!output.empty() && !Ended()) {
    const ssize_t written = write(fd_, output.data(), output.size());
    if (written < 0 && errno != EINTR) {
      hung_up_ = true;
    } else if (written > 0) {
      output.remove_prefix(static_cast<std::size_t>(written));
    }
  }
}

bool PosixTerminal::TakeScreenLost() {
  return terminal_guard::TakeResumed();
}

bool PosixTerminal::Ended() const {
  return hung_up_ || terminal_guard::EndRequested();
}

}  // namespace halden
