#include "backends/linux/process/port_restorer.h"

#include <asm/termbits.h>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "backends/linux/process/ending_signals.h"

namespace halden {
namespace {

// The list of all restorers. The mutex is for the threads that change it. A signal handler can't wait for
// one: it walks the list as it is, and the thread that changes it has signals blocked meanwhile.
std::mutex list_mutex;
std::atomic<PortRestorer*> first = nullptr;
static_assert(std::atomic<PortRestorer*>::is_always_lock_free, "signal handlers use it");

/// Restores the ports and ends the process by the signal's default action. The signal is blocked in here, so
/// that happens when the handler returns.
void OnEnding(int signal) {
  const int saved_errno = errno;
  PortRestorer::RestoreAll();
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  sigaction(signal, &action, nullptr);
  raise(signal);
  errno = saved_errno;
}

bool IsOurs(const struct sigaction& action) {
  return !(action.sa_flags & SA_SIGINFO) && action.sa_handler == OnEnding;
}

/// Gives a signal this handler if it has the default action, or the default action if it has this handler.
void Exchange(int signal, bool install) {
  struct sigaction now = {};
  sigaction(signal, nullptr, &now);
  if (install ? !IsDefault(now) : !IsOurs(now)) return;
  struct sigaction action = {};
  action.sa_handler = install ? OnEnding : SIG_DFL;
  // After a stack overflow a handler needs an alternate stack, if the program has set one up.
  action.sa_flags = install ? SA_ONSTACK : 0;
  sigfillset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

}  // namespace

PortRestorer::PortRestorer() : settings_(std::make_unique<termios2>()) {
  static const bool at_exit = std::atexit([] { RestoreAll(); }) == 0;
  static_cast<void>(at_exit);  // if that fails (no memory), only exit() with an open port isn't covered
  const SignalsBlocked blocked;
  const std::lock_guard lock(list_mutex);
  next_ = first.load();
  first = this;
}

PortRestorer::~PortRestorer() {
  LetGo();
  const SignalsBlocked blocked;
  const std::lock_guard lock(list_mutex);
  std::atomic<PortRestorer*>* link = &first;
  while (link->load() != this) link = &link->load()->next_;
  *link = next_.load();
}

void PortRestorer::Opened(int fd, const std::string& path, const termios2& found) {
  struct stat node {};
  fstat(fd, &node);
  const bool same = node.st_dev == node_.st_dev && node.st_ino == node_.st_ino;
  if (!same) LetGo();
  const SignalsBlocked blocked;
  state_ = kNothingToRestore;
  has_hupcl_ = !IsPseudoTerminal(node) && ((found.c_cflag & HUPCL) || (same && has_hupcl_));
  fd_ = fd;
  path_ = path;
  node_ = node;
  *settings_ = found;
  if (has_hupcl_) settings_->c_cflag |= HUPCL;
  settings_->c_lflag &= ~(ECHO | ECHONL);
  state_ = kOpen;
  UpdateHandlers();
}

void PortRestorer::Closing() {
  state_ = has_hupcl_ ? kClosedWithoutHupcl : kNothingToRestore;
  UpdateHandlers();
}

void PortRestorer::LetGo() {
  if (state_ == kClosedWithoutHupcl) RestoreHupcl();
  has_hupcl_ = false;
  state_ = kNothingToRestore;
  UpdateHandlers();
}

void PortRestorer::RestoreAll() noexcept {
  for (const PortRestorer* port = first; port; port = port->next_) port->Restore();
}

/// Async-signal-safe, as is RestoreHupcl.
void PortRestorer::Restore() const {
  if (state_ == kClosedWithoutHupcl) RestoreHupcl();
  if (state_ != kOpen) return;
  // Unsent bytes that the device doesn't accept would delay the end of the process.
  ioctl(fd_, TCFLSH, TCOFLUSH);
  ioctl(fd_, TCSETS2, settings_.get());
  if (!IsPseudoTerminal(node_)) ioctl(fd_, TIOCNXCL);
}

/// Opening the port doesn't reset the board: DTR is still high, because HUPCL was cleared when it closed.
void PortRestorer::RestoreHupcl() const {
  struct stat now {};
  if (stat(path_.c_str(), &now) != 0 || now.st_dev != node_.st_dev || now.st_ino != node_.st_ino) return;
  const int fd = open(path_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  termios2 settings{};
  if (fd >= 0 && ioctl(fd, TCGETS2, &settings) == 0) {
    settings.c_cflag |= HUPCL;
    ioctl(fd, TCSETS2, &settings);
  }
  if (fd >= 0) close(fd);
}

void PortRestorer::UpdateHandlers() {
  const std::lock_guard lock(list_mutex);
  const PortRestorer* port = first;
  while (port && port->state_ == kNothingToRestore) port = port->next_;
  ForEachEndingSignal([port](int signal) { Exchange(signal, port != nullptr); });
  Exchange(SIGXFSZ, port != nullptr);
}

bool PortRestorer::EndsProcess(const struct sigaction& action) {
  return IsDefault(action) || IsOurs(action);
}

bool IsPseudoTerminal(const struct stat& status) {
  // The kernel's device numbers for /dev/pts.
  constexpr unsigned kFirstMajor = 136;
  constexpr unsigned kLastMajor = 143;
  return S_ISCHR(status.st_mode) && major(status.st_rdev) >= kFirstMajor &&
         major(status.st_rdev) <= kLastMajor;
}

bool IsPseudoTerminal(int fd) {
  struct stat status {};
  return fstat(fd, &status) == 0 && IsPseudoTerminal(status);
}

}  // namespace halden
