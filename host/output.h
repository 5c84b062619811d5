#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace halden::host {

/// A file or standard output, written in blocks. After the first failure it ignores what is written and
/// remembers why, so that callers may check once at the end.
class Output {
 public:
  /// "-" is standard output. An existing file is overwritten.
  explicit Output(const std::string& path);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Write(std::string_view text);
  /// Hands everything written so far to the system.
  void Flush();
  /// Replaces the file's first bytes and goes on at its end. Not for standard output.
  void RewriteStart(std::string_view bytes);
  /// Flushes and closes. Failures of earlier writes may only show here.
  void Close();

  bool Ok() const { return !closed_pipe_ && failure_.empty(); }
  /// The reader of standard output has gone, as `head` does when it has enough. That is not a failure.
  bool ClosedPipe() const { return closed_pipe_; }
  /// One line that says what could not be written and why; empty if nothing failed.
  const std::string& Failure() const { return failure_; }

 private:
  void Fail();

  std::string path_;
  std::FILE* file_;    ///< null when closed, or if it could not be opened
  std::string block_;  ///< written, but not yet handed to the system; at most kBlock bytes
  std::string failure_;
  bool closed_pipe_ = false;
};

}  // namespace halden::host
