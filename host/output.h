#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace halden::host {

/// What to do with a file that already exists. Devices and pipes are always written to.
enum class Existing {
  kRefuse,     ///< fail and leave it alone
  kOverwrite,  ///< replace it
  kContinue    ///< append to it
};

/// Checks whether a file can be written, without changing or creating it. Returns one line that says why not,
/// or "". Always "" for `path` "-" (standard output) and for an empty `path` (no file).
std::string WhyNotWritable(const std::string& path, Existing existing);

/// A file or standard output, written in blocks. The first failure is remembered, and everything written
/// after it is ignored, so callers need to check only once, at the end.
class Output {
 public:
  static constexpr std::chrono::milliseconds kForever{-1};

  /// "-" is standard output.
  explicit Output(const std::string& path, Existing existing = Existing::kOverwrite);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Write(std::string_view text);
  /// Hands everything written so far to the system. Bytes that the reader of a pipe or terminal doesn't take
  /// now are kept for the next call.
  void Flush();
  /// Whether the last Flush kept bytes. Writing more is allowed, but it stays in memory.
  bool Waiting() const { return !block_.empty(); }
  /// Forces flushed bytes to the disk, so that they survive a power failure.
  void Sync();
  /// Replaces the file's first bytes; later writes go to its end as before. Not for standard output.
  void RewriteStart(std::string_view bytes);
  /// Flushes and closes. Fails if the reader of a pipe takes nothing for `patience`, or, after a stop signal,
  /// for half a second. Failures of earlier writes may only be reported here.
  void Close(std::chrono::milliseconds patience = kForever);
  /// For text files, after a failure: removes the last line if it is incomplete.
  void CutToWholeLine();

  bool Ok() const { return !closed_pipe_ && failure_.empty(); }
  /// Whether the reader of standard output has closed it, as `head` does. That isn't a failure.
  bool ClosedPipe() const { return closed_pipe_; }
  /// One line that says what could not be written and why; empty if nothing failed.
  const std::string& Failure() const { return failure_; }
  /// Line ends handed to the system.
  std::int64_t Lines() const { return lines_; }
  /// Bytes handed to the system; for a continued file, including its old content.
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
