#include "backends/linux/terminal/terminal_guard.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <termios.h>
#include <unistd.h>

namespace halden::terminal_guard {

namespace {

/// Alternate screen, no wrapping at the right edge; and back, with the cursor shown.
constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?7l";
constexpr std::string_view kLeave = "\x1b[0m\x1b[?7h\x1b[?25h\x1b[?1049l";

constexpr std::array kEndings = {SIGINT, SIGTERM, SIGHUP,  SIGQUIT, SIGABRT,
                                 SIGBUS, SIGFPE,  SIGSEGV, SIGILL,  SIGPIPE};

// What the handlers need. Written before they are set.
termios shells_mode;
termios our_mode;
std::array<struct sigaction, kEndings.size()> ending_before;
struct sigaction stop_before;
struct sigaction continue_before;

std::atomic<int> held_fd = -1;
std::atomic<bool> entered = false;
std::atomic<bool> end_requested = false;
std::atomic<bool> resumed = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

void WriteAll(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(held_fd, text.data(), text.size());
    if (written < 0 && errno != EINTR) return;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
}

/// The terminal is another job's then, and touching it stops the process.
bool InBackground() {
  const pid_t foreground = tcgetpgrp(held_fd);
  return foreground >= 0 && foreground != getpgrp();
}

void Leave() {
  if (held_fd < 0 || !entered) return;
  if (!InBackground()) {
    WriteAll(kLeave);
    tcsetattr(held_fd, TCSANOW, &shells_mode);
  }
  entered = false;  // only now: a signal that comes in between does all of it again
}

void Enter() {
  if (held_fd < 0 || entered.exchange(true)) return;
  // Keys pressed before there was a window to see were not meant for it.
  tcsetattr(held_fd, TCSAFLUSH, &our_mode);
  WriteAll(kEnter);
  // A signal that the process outlives may have come in between.
  if (!end_requested) return;
  entered = true;
  Leave();
}

/// The signal acts as it would have without us once this handler has returned.
void OnEnding(int signal) {
  const int saved_errno = errno;
  if (entered && !InBackground())
    tcflush(held_fd, TCOFLUSH);  // else a terminal that takes nothing would keep the process alive
  Leave();
  end_requested = true;
  for (std::size_t i = 0; i < kEndings.size(); ++i) {
    if (kEndings[i] == signal) sigaction(signal, &ending_before[i], nullptr);
  }
  raise(signal);
  errno = saved_errno;
}

void OnContinue(int) {
  const int saved_errno = errno;
  // Whoever had the terminal meanwhile may have changed it.
  entered = false;
  if (!end_requested) Enter();
  resumed = true;
  errno = saved_errno;
}

void OnStop(int signal) {
  const int saved_errno = errno;
  struct sigaction ours = {};
  Leave();
  sigaction(signal, &stop_before, &ours);
  sigset_t stop = {};
  sigset_t mask = {};
  sigemptyset(&stop);
  sigaddset(&stop, signal);
  raise(signal);
  pthread_sigmask(SIG_UNBLOCK, &stop, &mask);  // the process stands here
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  sigaction(signal, &ours, nullptr);
  if (!end_requested) Enter();
  resumed = true;
  errno = saved_errno;
}

/// Leaves alone what the process has chosen to ignore.
void Handle(int signal, void (*handler)(int), struct sigaction* before) {
  sigaction(signal, nullptr, before);
  if (before->sa_handler == SIG_IGN && !(before->sa_flags & SA_SIGINFO)) return;
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  if (handler == OnEnding) sigaddset(&action.sa_mask, SIGCONT);  // else it enters before the process ends
  sigaction(signal, &action, nullptr);
}

/// Leaves alone what the process has set meanwhile.
void Restore(int signal, void (*handler)(int), const struct sigaction& before) {
  struct sigaction now = {};
  sigaction(signal, nullptr, &now);
  if (now.sa_handler == handler) sigaction(signal, &before, nullptr);
}

bool ReadModes(int fd) {
  if (tcgetattr(fd, &shells_mode) != 0) return false;
  our_mode = shells_mode;
  our_mode.c_iflag &= ~static_cast<tcflag_t>(ICRNL | INLCR | IGNCR | IXON | ISTRIP);
  our_mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | IEXTEN);
  our_mode.c_cc[VMIN] = 0;
  our_mode.c_cc[VTIME] = 0;
  return true;
}

}  // namespace

bool Take(int fd) {
  static const bool at_exit = std::atexit(Leave) == 0;
  if (!at_exit || held_fd >= 0 || !ReadModes(fd)) return false;
  end_requested = false;
  resumed = false;
  held_fd = fd;
  for (std::size_t i = 0; i < kEndings.size(); ++i) Handle(kEndings[i], OnEnding, &ending_before[i]);
  Handle(SIGTSTP, OnStop, &stop_before);
  Handle(SIGCONT, OnContinue, &continue_before);
  Enter();
  return true;
}

void Release() {
  Leave();
  Restore(SIGTSTP, OnStop, stop_before);
  Restore(SIGCONT, OnContinue, continue_before);
  Leave();  // one of the two may have entered again
  for (std::size_t i = 0; i < kEndings.size(); ++i) Restore(kEndings[i], OnEnding, ending_before[i]);
  held_fd = -1;
}

bool EndRequested() {
  return end_requested;
}

bool TakeResumed() {
  return resumed.exchange(false);
}

}  // namespace halden::terminal_guard
