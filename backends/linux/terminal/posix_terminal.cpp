#include "backends/linux/terminal/posix_terminal.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "backends/linux/process/ending_signals.h"
#include "backends/linux/process/port_restorer.h"

namespace halden {

namespace {

/// Alternate screen, no wrapping at the right edge; and back, with plain text and the cursor shown.
constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?7l";
constexpr std::string_view kLeave = "\x1b[0m\x1b[?7h\x1b[?25h\x1b[?1049l";

// Signals while the terminal is open, and what the handlers do:
//
// - An ending signal: OnEnding leaves the terminal and repeats the signal with its previous action, which
//   usually ends the process. By the default action it ends for sure, so the ports are restored too. If the
//   process has a handler and survives, end_requested makes the toolkit close its windows.
// - SIGTSTP (Ctrl-Z): OnStop leaves the terminal and stops the process. When the process continues, it enters
//   the terminal again, and resumed makes the toolkit redraw.
// - SIGSTOP can't be caught: the shell resets the mode, but the screen stays ours until SIGCONT.
// - SIGCONT: OnContinue enters the terminal, and resumed makes the toolkit redraw.

// What the handlers need, written before they are installed. A handler may interrupt any of the functions
// below, and another handler.
termios original_mode;
termios form_mode;
std::array<struct sigaction, NSIG> before;  // the previous action of each signal, by its number

std::atomic<int> held_fd = -1;            // -1: no terminal is open, and no handler has anything to do
std::atomic<bool> entered = false;        // the terminal is in our use, not in the shell's
std::atomic<bool> end_requested = false;  // a signal asked the process to end, and the process survived it
std::atomic<bool> resumed = false;        // the process was stopped and continued since TakeScreenLost
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "signal handlers use them");

/// Writes everything, unless the terminal is gone. Safe in a signal handler, as are the next three functions.
void WriteAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(held_fd, text.data(), text.size());
    if (written < 0 && errno != EINTR) return;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
}

/// The terminal belongs to another job. Changing it now would stop this process (SIGTTOU).
bool InBackground(int fd) {
  const pid_t foreground = tcgetpgrp(fd);
  return foreground >= 0 && foreground != getpgrp();
}

/// Gives the terminal back to the shell. In a background job the shell has it already.
void Leave() {
  if (held_fd < 0 || !entered) return;
  if (!InBackground(held_fd)) {
    WriteAll(kLeave);
    tcsetattr(held_fd, TCSANOW, &original_mode);
  }
  // Cleared last: a handler that interrupts the lines above repeats all of them.
  entered = false;
}

/// Switches the terminal to our mode and screen. Does nothing if that was done already.
void Enter() {
  if (held_fd < 0 || entered.exchange(true)) return;
  // TCSAFLUSH drops pending input: keys pressed before a window was visible weren't meant for it.
  tcsetattr(held_fd, TCSAFLUSH, &form_mode);
  WriteAll(kEnter);
  // An ending signal that the process survives may have left the terminal before these two lines entered it.
  if (!end_requested) return;
  entered = true;
  Leave();
}

/// Drops unsent output first: a terminal that takes none (Ctrl-S) would block Leave and keep the process
/// alive.
void LeaveAtOnce() {
  if (held_fd >= 0 && entered && !InBackground(held_fd)) tcflush(held_fd, TCOFLUSH);
  Leave();
}

/// Gives the terminal back, restores the previous action of the signal and raises it again. The signal is
/// blocked in here, so that action takes place when this handler returns.
void OnEnding(int signal) {
  const int saved_errno = errno;
  LeaveAtOnce();
  end_requested = true;
  if (IsDefault(before[signal])) PortRestorer::RestoreAll();
  sigaction(signal, &before[signal], nullptr);
  raise(signal);
  errno = saved_errno;
}

/// Enters again, since the program that had the terminal meanwhile may have changed it.
void OnContinue(int) {
  const int saved_errno = errno;
  // Cleared so that Enter does its work even after SIGSTOP, when Leave never ran.
  entered = false;
  if (!end_requested) Enter();
  resumed = true;
  errno = saved_errno;
}

/// Stops the process from within the handler, so that the code after the stop runs when it continues.
void OnStop(int signal) {
  const int saved_errno = errno;
  struct sigaction ours = {};
  Leave();
  sigaction(signal, &before[signal], &ours);
  sigset_t stop = {};
  sigset_t mask = {};
  sigemptyset(&stop);
  sigaddset(&stop, signal);
  raise(signal);
  pthread_sigmask(SIG_UNBLOCK, &stop, &mask);  // the process stops here
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  sigaction(signal, &ours, nullptr);
  if (!end_requested) Enter();
  resumed = true;
  errno = saved_errno;
}

/// Installs a handler and stores the previous action. A signal that the process ignores stays ignored.
void Install(int signal, void (*handler)(int)) {
  sigaction(signal, nullptr, &before[signal]);
  if (before[signal].sa_handler == SIG_IGN && !(before[signal].sa_flags & SA_SIGINFO)) return;
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  // SIGCONT between OnEnding and the end of the process would enter the terminal again.
  if (handler == OnEnding) sigaddset(&action.sa_mask, SIGCONT);
  sigaction(signal, &action, nullptr);
}

void InstallIfDefault(int signal) {
  struct sigaction now = {};
  sigaction(signal, nullptr, &now);
  if (PortRestorer::EndsProcess(now)) Install(signal, OnEnding);
}

/// Restores the previous action, unless the process has installed another one meanwhile.
void Restore(int signal, void (*handler)(int)) {
  struct sigaction now = {};
  sigaction(signal, nullptr, &now);
  if (now.sa_handler == handler) sigaction(signal, &before[signal], nullptr);
}

/// Reads the current mode and derives ours from it: each key arrives immediately and unchanged, without echo,
/// and a read never waits. The keys that send signals (Ctrl-C, Ctrl-Z) keep doing so.
bool ReadModes(int fd) {
  if (tcgetattr(fd, &original_mode) != 0) return false;
  form_mode = original_mode;
  form_mode.c_iflag &= ~static_cast<tcflag_t>(ICRNL | INLCR | IGNCR | IXON | ISTRIP);
  form_mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | IEXTEN);
  form_mode.c_cc[VMIN] = 0;
  form_mode.c_cc[VTIME] = 0;
  return true;
}

/// Enters the terminal on `fd` and installs the handlers. False: one is open already, or `fd` is no terminal.
bool Acquire(int fd) {
  // exit() during a window, called by a host's handler for instance, gives the terminal back as well.
  static const bool at_exit = std::atexit(Leave) == 0;
  if (!at_exit || held_fd >= 0 || !ReadModes(fd)) return false;
  end_requested = false;
  resumed = false;
  held_fd = fd;
  for (const int signal : kEndingSignals) Install(signal, OnEnding);
  ForEachEndingSignal(InstallIfDefault);
  Install(SIGTSTP, OnStop);
  Install(SIGCONT, OnContinue);
  Enter();
  return true;
}

/// Undoes Acquire. The ending signals' handlers go last, so that no signal finds the terminal unguarded.
void Release() {
  Leave();
  Restore(SIGTSTP, OnStop);
  Restore(SIGCONT, OnContinue);
  Leave();  // one of the two handlers may have entered again
  for (int signal = 1; signal < NSIG; ++signal) Restore(signal, OnEnding);
  PortRestorer::UpdateHandlers();  // a port may have been opened or closed meanwhile
  held_fd = -1;
}

/// A new descriptor of the terminal; -1 if no terminal can show a window now.
int OpenTerminal() {
  constexpr int kMode = O_RDWR | O_NOCTTY | O_CLOEXEC;
  const char* kind = std::getenv("TERM");
  if (!kind || std::string_view(kind).empty() || std::string_view(kind) == "dumb") return -1;
  // Opened by name, since the stream itself may be open for writing only.
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
  if (fd_ >= 0 && !Acquire(fd_)) {
    close(fd_);
    fd_ = -1;
  }
  return fd_ >= 0;
}

void PosixTerminal::Abandon() noexcept {
  LeaveAtOnce();
}

void PosixTerminal::Close() {
  if (fd_ < 0) return;
  Release();
  close(fd_);
  fd_ = -1;
}

TerminalSize PosixTerminal::Size() const {
  // For a terminal that doesn't know its size, a serial console for instance.
  constexpr TerminalSize kUsual{80, 24};
  constexpr int kMost = 1000;  // columns and rows; limits the memory of a screen if the size is absurd
  winsize size = {};
  if (ioctl(fd_, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return kUsual;
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

/// Waits while the terminal takes no output, until a signal asks the process to end.
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
  return resumed.exchange(false);
}

bool PosixTerminal::Ended() const {
  return hung_up_ || end_requested;
}

}  // namespace halden
