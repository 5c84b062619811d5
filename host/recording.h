#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/channels.h"
#include "host/trace.h"
#include "model/IADC3.h"

// A recording is a source of frames, the sinks that keep them, and a summary.

namespace halden::host {

/// What a recording amounts to.
struct RecordingSummary {
  std::string port;  ///< "COM5"
  int channels = 0;  ///< of the device
  std::size_t columns = 0;
  float rate_max = 0;  ///< frames per second that the line could carry
  float rate = 0;      ///< the driver's Rate at the end
  std::int64_t frames = 0;
  double seconds = 0;
  bool ring_full = false;  ///< the driver's ring was full at some time, so frames may be missing

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
  /// The recording is over. Called once; whether everything was written is known afterwards.
  virtual void Finish(const RecordingSummary& summary) = 0;
  /// Whether more frames are of use: false after a failure, and when the reader of a pipe has gone.
  virtual bool Ok() const = 0;
  /// One line that says what could not be written and why; empty if nothing failed.
  virtual const std::string& Failure() const = 0;
};

/// Comma-separated values, a line for each frame, after a line of column names. `path` "-" is standard
/// output. With `raw_codes` the values are codes. Each Take hands its lines to the system.
std::unique_ptr<FrameSink> NewCsvSink(const std::string& path, std::vector<Column> columns, bool raw_codes);

/// An SVG picture that needs no other file: a line for each channel over the seconds at which its frames
/// came, with axes, grid and legend. Channels of very different size get up to eight panels. It is written
/// when the recording is over.
std::unique_ptr<FrameSink> NewPictureSink(const std::string& path, std::vector<Column> columns);

/// numpy's own format: a float32 array of frames by columns. With `times_path`, not empty, a second file gets
/// the frames' times, a float64 array in seconds. After each Take both files are complete, so that a kill
/// loses nothing that was written.
std::unique_ptr<FrameSink> NewNpySink(const std::string& path, const std::string& times_path,
                                      std::vector<Column> columns);

}  // namespace halden::host
