#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace halden::host {

/// What becomes of a file that is there already. Devices and pipes are simply written to.
enum class Existing {
  kRefuse,     ///< it is left alone, and can't be written
  kOverwrite,  ///< it is replaced
  kContinue    ///< it is written on at its end
};

/// Whether the file could be written, tried without changing or creating it: one line that says why not;
/// empty if it could. `path` "-" is standard output, and empty is no file: both can.
std::string WhyNotWritable(const std::string& path, Existing existing);

/// A file or standard output, written in blocks. After the first failure it ignores what is written and
/// remembers why, so that callers may check once at the end.
class Output {
 public:
  static constexpr std::chrono::milliseconds kForever{-1};

  /// "-" is standard output.
  explicit Output(const std::string& path, Existing existing = Existing::kOverwrite);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Write(std::string_view text);
  /// Hands everything written so far to the system. What the reader of a pipe or a terminal doesn't take now
  /// is kept for the next call.
  void Flush();
  /// Whether the last Flush has kept something. Writing on is allowed, but only takes memory.
  bool Waiting() const { return !block_.empty(); }
  /// Makes what was flushed survive a power failure.
  void Sync();
  /// Replaces the file's first bytes and goes on at its end. Not for standard output.
  void RewriteStart(std::string_view bytes);
  /// Flushes and closes. A reader of a pipe that takes nothing for as long as `patience` is given up, which
  /// is a failure; after a stop signal it only gets half a second. Failures of earlier writes may show here.
  void Close(std::chrono::milliseconds patience = kForever);
  /// After a failure, for files of lines: takes away what was written of the last line.
  void CutToWholeLine();

  bool Ok() const { return !closed_pipe_ && failure_.empty(); }
  /// The reader of standard output has gone, as `head` does when it has enough. That is not a failure.
  bool ClosedPipe() const { return closed_pipe_; }
  /// One line that says what could not be written and why; empty if nothing failed.
  const std::string& Failure() const { return failure_; }
  /// Line ends handed to the system.
  std::int64_t Lines() const { return lines_; }
  /// Bytes handed to the system; of a continued file, with those that it held.
  std::uint64_t Size() const { return size_; }

 private:
  void Open(Existing existing);
  bool Pass(std::string_view piece);
  void WaitForReader(std::chrono::milliseconds patience);
  void Fail();
  std::string Name() const { return path_ == "-" ? "standard output" : path_; }

  std::string path_;
  std::FILE* file_ = nullptr;  ///< null when closed, or if it could not be opened
  bool may_block_ = false;     ///< a pipe or a terminal, whose reader may be slow
  std::string block_;          ///< written, but not yet handed to the system
  std::int64_t lines_ = 0;
  std::uint64_t size_ = 0;
  std::uint64_t part_line_ = 0;  ///< bytes handed to the system since the last line end
  std::string failure_;
  bool closed_pipe_ = false;
};

}  // namespace halden::host
