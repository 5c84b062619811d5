#pragma once

#include <string>
#include <string_view>

namespace halden {

struct TerminalSize {
  int columns = 0;
  int rows = 0;
  bool operator==(const TerminalSize&) const = default;
};

/// The user's screen and keyboard, driven by escape sequences. No call waits for the user.
class TextTerminal {
 public:
  virtual ~TextTerminal() = default;

  /// Whether Open would succeed now. May be called at any time.
  virtual bool Available() const = 0;
  /// Switches the terminal from the shell's use to ours, with an empty screen. False: there is no terminal,
  /// and nothing has changed.
  virtual bool Open() = 0;
  /// Gives the terminal back in the state that Open found. Does nothing if it isn't open.
  virtual void Close() = 0;

  // The calls below need an open terminal.

  /// The size at this moment; the user may resize the terminal at any time. At least 1 by 1.
  virtual TerminalSize Size() const = 0;
  /// The bytes that keys have sent since the last call; empty if there are none. A key may arrive in pieces.
  virtual std::string Read() = 0;
  /// UTF-8 and escape sequences. Output to a terminal that has hung up is dropped.
  virtual void Write(std::string_view output) = 0;
  /// True once after the screen has lost what was written to it, so that all of it must be drawn again.
  virtual bool TakeScreenLost() = 0;
  /// The user is gone: the terminal hung up, or a signal asked the process to end. Stays true until the next
  /// Open.
  virtual bool Ended() const = 0;
};

/// The controlling terminal of the process, or else the one on standard input or output. It is found even if
/// the standard streams are redirected.
///
/// While it is open, a signal that ends the process gives the terminal back first, and so does stopping the
/// process (Ctrl-Z) until it continues. Afterwards the signal acts as it would have without this class.
/// Signals that the process ignores stay ignored. A handler of the process for a signal that asks it to end
/// (SIGINT, SIGTERM, SIGHUP, SIGQUIT) or for a fault runs once the terminal is given back; one for any other
/// signal runs as if this class didn't exist. SIGXFSZ is left to the process.
///
/// Only one can be open in a process, since a signal handler finds its state in static memory.
class PosixTerminal final : public TextTerminal {
 public:
  ~PosixTerminal() override { Close(); }

  /// False in a background job too, and where TERM is missing, empty or "dumb".
  bool Available() const override;
  bool Open() override;
  void Close() override;
  TerminalSize Size() const override;
  std::string Read() override;
  void Write(std::string_view output) override;
  bool TakeScreenLost() override;
  bool Ended() const override;

  /// Gives back the terminal that is open in this process, if any, because the process is about to end. No
  /// object that had it open may be used afterwards. Async-signal-safe.
  static void Abandon() noexcept;

 private:
  int fd_ = -1;  // -1: not open
  bool hung_up_ = false;
};

}  // namespace halden
