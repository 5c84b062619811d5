#include "host/progress.h"

#include <cstdio>

#include "host/printable_text.h"
#include "host/process.h"

namespace halden::host {

using std::chrono::steady_clock;

// "\x1b[K" erases what a longer text has left on the rest of the terminal's line.

Progress::Progress(bool quiet) : quiet_(quiet), terminal_(ErrorIsTerminal()) {}

void Progress::Say(const std::string& line) {
  if (quiet_) return;
  EndRedrawnLine();
  Put(line);
  due_ = steady_clock::now() + Pace();
}

void Progress::Hint(const std::string& state) {
  if (!quiet_ && terminal_) std::fputs((Printable(state) + "\x1b[K\r").c_str(), stderr);
}

void Progress::Fail(const std::string& reason) {
  EndRedrawnLine();
  Put("halden-host: " + reason);
}

void Progress::Warn(const std::string& text) {
  Say("warning: " + text);
}

bool Progress::Due() const {
  return !quiet_ && steady_clock::now() >= due_;
}

void Progress::Update(const std::string& state) {
  if (quiet_) return;
  const std::string shown = Printable(state);
  std::fputs((terminal_ ? "\r" + shown + "\x1b[K" : shown + "\n").c_str(), stderr);
  line_open_ = terminal_;
  due_ = steady_clock::now() + Pace();
}

void Progress::Put(const std::string& line) {
  std::fputs((Printable(line) + (terminal_ ? "\x1b[K\n" : "\n")).c_str(), stderr);
}

void Progress::EndRedrawnLine() {
  if (line_open_) std::fputs("\n", stderr);
  line_open_ = false;
}

}  // namespace halden::host
