#pragma once

#include <chrono>
#include <string>

namespace halden::host {

/// What a person reads on standard error. With `quiet` only failures are printed. Texts may come from devices
/// and files; they are made printable.
///
/// On a terminal the state is redrawn in place: Update leaves the cursor on the state's line, and Say and
/// Fail move on to the next line first.
class Progress {
 public:
  explicit Progress(bool quiet);

  void Say(const std::string& line);
  /// What is going on now. Only shown on a terminal, where the next line replaces it.
  void Hint(const std::string& state);
  /// Prints "halden-host: REASON", even when quiet.
  void Fail(const std::string& reason);
  /// Prints "warning: TEXT", unless quiet.
  void Warn(const std::string& text);
  /// Whether it is time for another Update: after 100 ms on a terminal, else after 1 s. Never when quiet.
  bool Due() const;
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
