#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace halden::host {

/// A file or standard output, written in blocks. After a failure it swallows what comes and remembers why.
class Output {
 public:
  /// "-" is standard output; a file that exists is overwritten.
  explicit Output(const std::string& path);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Write(std::string_view text);
  /// Hands everything written so far to the system.
  void Flush();
  /// Flushes and closes: only then it is known whether everything has arrived.
  void Close();

  bool Ok() const { return !closed_pipe_ && failure_.empty(); }
  /// Whoever read standard output has gone, which is a way to say "enough" and no failure.
  bool ClosedPipe() const { return closed_pipe_; }
  /// One line that says what could not be written and why; empty if nothing failed.
  const std::string& Failure() const { return failure_; }

 private:
  void Fail();

  std::string path_;
  std::FILE* file_;
  std::string block_;
  std::string failure_;
  bool closed_pipe_ = false;
};

}  // namespace halden::host
