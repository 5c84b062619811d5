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

/// A stretch of a recording, in seconds from its start.
struct Stretch {
  double start = 0;
  double length = 0;
};

/// What a recording amounts to.
struct RecordingSummary {
  std::string port;  ///< "COM5"
  int channels = 0;  ///< of the device
  std::size_t columns = 0;
  float rate_max = 0;       ///< frames per second that the line could carry
  float rate = 0;           ///< the driver's Rate at the end
  std::int64_t frames = 0;  ///< that every file holds
  bool timed = true;        ///< false if a file is converted without a line rate: the next three mean nothing
  double seconds = 0;
  double first_time = 0;       ///< of the first frame, seconds from the start; 0 without frames
  double last_time = 0;        ///< of the last frame
  bool ring_full = false;      ///< the driver's ring was full at some time, so frames may be missing
  std::uint64_t overruns = 0;  ///< how often the system reported that received bytes were lost
  std::vector<Stretch> gaps;   ///< in which nobody took the device's bytes, and some may be lost
  /// Before the first frame, of a converted file: bytes by which the device was recognised, and their lines.
  std::uint64_t skipped_bytes = 0;
  std::uint64_t skipped_lines = 0;
  std::uint64_t unfinished_bytes = 0;  ///< lost at the end of the file, since no line end follows them
  std::vector<Stretch> away;           ///< in which the device was gone

  double FramesPerSecond() const { return seconds > 0 ? static_cast<double>(frames) / seconds : 0; }
};

/// Takes the frames out of a driver that records.
class FrameSource {
 public:
  /// `width` is the number of codes in a frame, above 0. `adc` must outlive the source.
  FrameSource(IADC3& adc, std::size_t width);

  /// The oldest frames that wait, at most as many as fit into one block; empty if none wait. Valid until the
  /// next call. Allocates nothing.
  std::span<const std::int16_t> Next();
  /// Whether a call of Next has found the ring full.
  bool RingWasFull() const { return ring_full_; }

 private:
  IADC3& adc_;
  std::vector<std::int16_t> block_;
  bool ring_full_ = false;
};

/// Keeps the frames of a recording in one form.
class FrameSink {
 public:
  virtual ~FrameSink() = default;

  /// Takes frames, in the order of the recording. Does nothing after a failure.
  virtual void Take(const Frames& frames) = 0;
  /// The recording may be ended without Finish from here on: keeps what it can.
  virtual void Pause(const RecordingSummary&) {}
  /// The recording is over. Called once; whether everything was written is known afterwards.
  virtual void Finish(const RecordingSummary& summary) = 0;
  /// Makes what was taken survive a power failure.
  virtual void Sync() {}
  /// Whether it is ready for more: false while the reader of a pipe has yet to take what it was given.
  virtual bool Ready() const { return true; }
  /// Whether more frames are of use: false after a failure, and when the reader of a pipe has gone.
  virtual bool Ok() const = 0;
  /// One line that says what could not be written and why; empty if nothing failed.
  virtual const std::string& Failure() const = 0;
  /// The frames, of those that it has taken, which are in the file as a whole. -1 for a sink whose file holds
  /// no frames.
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

/// Comma-separated values, a line for each frame, after a line of column names. `path` "-" is standard
/// output. The time of day is written as 2026-11-26T14:03:07.250+01:00. Each Take hands its lines to the
/// system. A continued file must have the same names; if it ends within a line, that is taken away.
std::unique_ptr<FrameSink> NewCsvSink(const std::string& path, std::vector<Column> columns,
                                      const FileOptions& options);

/// An SVG picture that needs no other file: a line for each channel over the seconds at which its frames
/// came, with axes, grid and legend. Channels of very different size get up to eight panels. It is written
/// at each Pause and when the recording is over.
std::unique_ptr<FrameSink> NewPictureSink(const std::string& path, std::vector<Column> columns,
                                          const FileOptions& options);

/// numpy's own format: a float32 array of frames by columns. A second file, whose name ends in "-time", gets
/// the frames' times, if asked for: a float64 array in seconds, for the time of day since 1970 (UTC). After
/// each Take both files are complete, so that a kill loses nothing that was written. A continued file must
/// have as many columns.
std::unique_ptr<FrameSink> NewNpySink(const std::string& path, std::vector<Column> columns,
                                      const FileOptions& options);

/// When a recording goes on in the next file. Zero: no limit.
struct Rotation {
  std::uint64_t bytes = 0;  ///< once a file has as many
  double seconds = 0;       ///< of frames in each file

  bool Never() const { return bytes == 0 && seconds == 0; }
};

/// Spreads a recording over numbered files. `open` makes the sink for the `number`th, from 1; the next one is
/// opened when the first frame for it comes.
std::unique_ptr<FrameSink> NewRotatingSink(const Rotation& rotation,
                                           std::function<std::unique_ptr<FrameSink>(int number)> open);

/// "data.csv" becomes "data-001.csv".
std::string NumberedPath(const std::string& path, int number);

/// "data.npy" becomes "data-time.npy".
std::string TimesPath(const std::string& path);

}  // namespace halden::host
