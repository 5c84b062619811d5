#pragma once

#include <chrono>
#include <string>

namespace halden::host {

/// What a person is told on standard error. Quiet, it tells nothing but failures.
class Progress {
 public:
  explicit Progress(bool quiet);

  void Say(const std::string& line);
  /// What goes on now, for a person at a terminal alone; the next line takes its place.
  void Hint(const std::string& state);
  void Fail(const std::string& reason);
  /// Whether it is time for Update again: ten times a second on a terminal, else once.
  bool Due() const;
  /// The state of things. On a terminal it is redrawn in place.
  void Update(const std::string& state);

 private:
  std::chrono::milliseconds Pace() const { return std::chrono::milliseconds(terminal_ ? 100 : 1000); }
  void Put(const std::string& line);
  void EndRedrawnLine();

  bool quiet_;
  bool terminal_;
  bool line_open_ = false;
  std::chrono::steady_clock::time_point due_;
};

}  // namespace halden::host
