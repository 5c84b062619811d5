#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/channels.h"
#include "host/output.h"
#include "host/trace.h"
#include "model/IADC3.h"

// A recording is a source of frames, the sinks that keep them, and a summary.

namespace halden::host {

/// A part of a recording. In seconds; `start` counts from the start of the recording.
struct Stretch {
  double start = 0;
  double length = 0;
};

/// The figures of a recording, for the summary.
struct RecordingSummary {
  std::string port;  ///< "COM5"
  int channels = 0;  ///< of the device
  std::size_t columns = 0;
  float rate_max = 0;       ///< frames per second that the baud rate allows
  float rate = 0;           ///< the driver's Rate at the end
  std::int64_t frames = 0;  ///< number of frames in every file
  bool timed = true;        ///< false for a conversion without line rate, where the next three are undefined
  double seconds = 0;
  double first_time = 0;       ///< time of the first frame, seconds from the start; 0 without frames
  double last_time = 0;        ///< time of the last frame
  bool ring_full = false;      ///< the driver's ring was full at some time, so frames may be missing
  std::uint64_t overruns = 0;  ///< how often the system reported that received bytes were lost
  std::vector<Stretch> gaps;   ///< when the device wasn't read, so that bytes may have been lost
  /// For a conversion: bytes and lines before the first frame, which were used to recognise the device.
  std::uint64_t skipped_bytes = 0;
  std::uint64_t skipped_lines = 0;
  std::uint64_t unfinished_bytes =
      0;                      ///< bytes at the end of the file that are left out: no line end follows
  std::vector<Stretch> away;  ///< when the device was unplugged

  double FramesPerSecond() const { return seconds > 0 ? static_cast<double>(frames) / seconds : 0; }
};

/// Takes the frames out of a driver that records.
class FrameSource {
 public:
  /// `width` is the number of codes in a frame, above 0. `adc` must outlive the source.
  FrameSource(IADC3& adc, std::size_t width);

  /// Takes the oldest waiting frames, at most one block of them; empty if none are waiting. Valid until the
  /// next call. Allocates nothing.
  std::span<const std::int16_t> Next();
  /// Whether a call of Next has found the ring full.
  bool RingWasFull() const { return ring_full_; }

 private:
  IADC3& adc_;
  std::vector<std::int16_t> block_;
  bool ring_full_ = false;
};

/// Writes the frames of a recording in one format.
class FrameSink {
 public:
  virtual ~FrameSink() = default;

  /// Takes frames, in the order of the recording. Does nothing after a failure.
  virtual void Take(const Frames& frames) = 0;
  /// Called when the process may end without Finish from now on: writes as much as possible.
  virtual void Pause(const RecordingSummary&) {}
  /// Called once, when the recording is over. Ok and Failure are final afterwards.
  virtual void Finish(const RecordingSummary& summary) = 0;
  /// Forces all frames taken so far to the disk.
  virtual void Sync() {}
  /// Whether the sink can take more frames now. False while the reader of a pipe is behind.
  virtual bool Ready() const { return true; }
  /// False after a failure, and when the reader of a pipe is gone: further frames are ignored.
  virtual bool Ok() const = 0;
  /// One line that says what could not be written and why; empty if nothing failed.
  virtual const std::string& Failure() const = 0;
  /// How many of the frames taken are completely in the file. -1 for a sink that doesn't store frames.
  virtual std::int64_t Written() const { return -1; }
  /// Bytes in the file.
  virtual std::uint64_t Size() const { return 0; }
};

/// A column of times before the others.
enum class TimeColumn {
  kNone,
  kRelative,  ///< seconds since the start of the recording
  kAbsolute   ///< the time of day
};

/// How the files of a recording are written.
struct FileOptions {
  Existing existing = Existing::kOverwrite;
  bool raw_codes = false;  ///< codes instead of values, where the format has both
  TimeColumn time = TimeColumn::kNone;
  std::chrono::system_clock::time_point start = {};  ///< of the recording
};

/// Comma-separated values: a line of column names, then a line for each frame. `path` "-" is standard output.
/// The time of day is written as 2026-11-26T14:03:07.250+01:00. Each Take hands its lines to the system. A
/// continued file must have the same column names; an incomplete last line is removed.
std::unique_ptr<FrameSink> NewCsvSink(const std::string& path, std::vector<Column> columns,
                                      const FileOptions& options);

/// A self-contained SVG picture: each channel as a line over time, with axes, grid and legend. Channels of
/// very different size get separate panels, up to eight. Written at each Pause and when the recording is
/// over.
std::unique_ptr<FrameSink> NewPictureSink(const std::string& path, std::vector<Column> columns,
                                          const FileOptions& options);

/// numpy's .npy format: a float32 array of frames by columns. If times are wanted they are in a second file,
/// TimesPath(path): a float64 array in seconds, which for the time of day count from 1970 (UTC). After each
/// Take both files are valid, so a kill loses nothing that was written. A continued file must have the same
/// number of columns.
std::unique_ptr<FrameSink> NewNpySink(const std::string& path, std::vector<Column> columns,
                                      const FileOptions& options);

/// When a recording begins a new file. 0: no limit.
struct Rotation {
  std::uint64_t bytes = 0;  ///< size that ends a file
  double seconds = 0;       ///< length of recording in each file

  bool Never() const { return bytes == 0 && seconds == 0; }
};

/// Splits a recording into numbered files. `open` makes the sink for file `number`, counting from 1. A file
/// is opened when its first frame arrives.
std::unique_ptr<FrameSink> NewRotatingSink(const Rotation& rotation,
                                           std::function<std::unique_ptr<FrameSink>(int number)> open);

/// "data.csv" becomes "data-001.csv".
std::string NumberedPath(const std::string& path, int number);

/// "data.npy" becomes "data-time.npy".
std::string TimesPath(const std::string& path);

}  // namespace halden::host
