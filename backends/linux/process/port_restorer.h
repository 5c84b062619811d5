#pragma once

#include <atomic>
#include <csignal>
#include <memory>
#include <string>
#include <sys/stat.h>

struct termios2;

namespace halden {

/// Restores a port's settings when the process ends while the port is open, and its HUPCL flag when the port
/// is no longer needed.
///
/// With HUPCL, closing a port drops DTR, and opening it again raises DTR, which resets many boards. So while
/// the program runs the flag stays cleared, also while the port is closed: only the first opening raises DTR.
/// A pseudo-terminal has no DTR, and its flag isn't touched.
///
/// As long as there is something to restore, the settings are also restored when the process ends in another
/// way: by exit(), or by a signal whose action is the default one. For these signals handlers are installed,
/// which end the process as the signal would have. A signal that the process handles or ignores is left to
/// it; its handler may call RestoreAll. What remains is SIGKILL and a power failure: then the port stays raw,
/// at the last rate and format, with HUPCL cleared. Locks end with the process in any case.
class PortRestorer {
 public:
  PortRestorer();
  /// Calls LetGo.
  ~PortRestorer();
  PortRestorer(const PortRestorer&) = delete;
  PortRestorer& operator=(const PortRestorer&) = delete;

  /// The tty at `path` has just been opened with these settings, which are about to be changed. `fd` must
  /// stay open until Closing.
  void Opened(int fd, const std::string& path, const termios2& found);
  /// All settings of the open port are as they were found, except for HUPCL, which is cleared. The caller is
  /// about to close it.
  void Closing();
  /// Sets HUPCL on the closed port again if it was set when the port was first opened. This drops DTR,
  /// because it opens and closes the port. Does nothing if the port's name now leads to another device.
  void LetGo();

  /// Restores all ports of the process that are open, or closed with HUPCL still cleared. They can't be used
  /// any more: the process must be about to end. Async-signal-safe.
  static void RestoreAll() noexcept;

  /// Installs the handlers for those signals that have the default action now if there is a port to restore,
  /// and removes them if there is none. For code that has restored the action of a signal.
  static void UpdateHandlers();
  /// Whether the action ends the process: the default one, or a handler of this class.
  static bool EndsProcess(const struct sigaction& action);

 private:
  enum State { kNothingToRestore, kOpen, kClosedWithoutHupcl };

  void Restore() const;
  void RestoreHupcl() const;

  // Written while `state_` is kNothingToRestore, since a signal handler may read them in the other states.
  int fd_ = -1;
  std::string path_;
  struct stat node_ {};                 // to check whether `path_` still leads to the same device
  std::unique_ptr<termios2> settings_;  // to restore
  bool has_hupcl_ = false;              // the port had HUPCL when it was first opened

  std::atomic<State> state_ = kNothingToRestore;
  std::atomic<PortRestorer*> next_ = nullptr;  // in the list of all
};

/// Whether `fd` is the device's end of a pseudo-terminal.
bool IsPseudoTerminal(int fd);
bool IsPseudoTerminal(const struct stat& status);

}  // namespace halden
