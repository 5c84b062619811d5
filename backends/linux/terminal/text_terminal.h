#pragma once

#include <string>
#include <string_view>

namespace halden {

struct TerminalSize {
  int columns = 0;
  int rows = 0;
  bool operator==(const TerminalSize&) const = default;
};

/// A terminal that a user sits at and that understands the usual escape sequences. Nothing here waits for the
/// user.
class TextTerminal {
 public:
  virtual ~TextTerminal() = default;

  /// Whether there is one that could be opened now.
  virtual bool Available() const = 0;
  /// Takes the terminal over, with an empty screen. False: there is none.
  virtual bool Open() = 0;
  /// Gives it back as it was. Nothing happens if it isn't open.
  virtual void Close() = 0;

  // The rest only while it is open.

  virtual TerminalSize Size() const = 0;
  /// The bytes that keys have sent since the last call.
  virtual std::string Read() = 0;
  virtual void Write(std::string_view output) = 0;
  /// Whether the screen has lost since the last call what was written to it.
  virtual bool TakeScreenLost() = 0;
  /// The user has gone: the terminal hung up, or a signal told the process to end.
  virtual bool Ended() const = 0;
};

}  // namespace halden
