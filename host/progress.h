#pragma once

#include <chrono>
#include <string>

namespace halden::host {

/// Messages for the user on standard error. With `quiet` only failures are printed. Texts may come from
/// devices and files, so they are made printable.
///
/// On a terminal the state is redrawn in place: Update leaves the cursor on the state's line, and Say and
/// Fail move on to the next line first.
class Progress {
 public:
  explicit Progress(bool quiet);

  void Say(const std::string& line);
  /// Shows what the program is doing. Only on a terminal, where the next line replaces it.
  void Hint(const std::string& state);
  /// Prints "halden-host: REASON", even when quiet.
  void Fail(const std::string& reason);
  /// Prints "warning: TEXT", unless quiet.
  void Warn(const std::string& text);
  /// Whether it is time for the next Update: 100 ms after the last on a terminal, else 1 s. Never when quiet.
  bool Due() const;
  /// Prints the current state of the recording.
  void Update(const std::string& state);

 private:
  std::chrono::milliseconds Pace() const { return std::chrono::milliseconds(terminal_ ? 100 : 1000); }
  void Put(const std::string& line);
  void EndRedrawnLine();

  bool quiet_;
  bool terminal_;           ///< standard error is a terminal
  bool line_open_ = false;  ///< the cursor is on a state that Update has drawn
  std::chrono::steady_clock::time_point due_;
};

}  // namespace halden::host
