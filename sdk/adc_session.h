#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "backends/devices/replay_device.h"
#include "backends/system_platform.h"
#include "driver/driver.h"
#include "sdk/arrival_times.h"
#include "sdk/heard.h"

namespace halden::sdk {

/// What an AdcSession is opened on.
struct SessionSource {
  std::unique_ptr<SystemPlatform> system;
  bool somebody_answers = false;    ///< the port dialog is answered, or may be shown
  ReplayDevice* capture = nullptr;  ///< the device of a captured file on a virtual clock; null for others
  double line_rate = 1;             ///< for a captured file: lines per second, for the times of frames
};

/// A driver with one object, which reads frames in a blocking way and knows when they arrived. All calls
/// belong to one thread. Throws std::bad_alloc where it says nothing else.
class AdcSession {
 public:
  enum class Wait { kFrames, kTimedOut, kLost, kEnded, kNotRecording };

  explicit AdcSession(SessionSource source);

  IADC3& Adc() { return *adc_; }
  SystemPlatform& System() { return *source_.system; }
  const Platform& TappedPlatform() const { return tapped_; }
  const ListeningTap& Tap() const { return tap_; }
  LinkState Link() const { return driver_.Link(); }

  /// Finds the device and makes all its channels the columns of a frame. False: none was found.
  bool Detect();
  /// The channels of a frame. Only while no recording runs.
  void SetColumns(std::vector<std::int16_t> channels);
  const std::vector<std::int16_t>& Columns() const { return columns_; }

  /// Starts a recording, from which times count. False with the reason in the driver's LastError.
  bool Start();
  /// One pass of the messages, in which the ticks run.
  void Serve();
  /// Blocks until a frame waits, or returns why none does after `timeout` seconds. Serves the ticks.
  Wait WaitForFrame(double timeout);
  /// Takes whole frames into `codes`, oldest first, and returns how many. `times` is null or has room for a
  /// time per frame.
  std::size_t Take(std::span<std::int16_t> codes, double* times);
  std::size_t Waiting() { return static_cast<std::size_t>(adc_->InputCountKadrs()); }

  /// The last whole line, ANSI, without its line end.
  const std::string& LastLine() const { return line_; }
  bool RingWasFull() const { return ring_was_full_; }
  double LongestPause() const { return longest_pause_; }
  /// Overruns since the recording was started.
  std::uint64_t Overruns() const { return source_.system->Overruns().value_or(0) - overruns_; }

 private:
  double Now();
  void NotePass();
  void StampNewFrames();
  void Listen(std::string_view received) noexcept;

  SessionSource source_;
  ListeningTap tap_;
  Platform tapped_;   // the system's platform with tap_ as its device library
  std::string line_;  // the last whole line
  std::string rest_;  // the bytes after it
  std::uint32_t last_tick_;
  std::uint64_t elapsed_ms_ = 0;
  Driver driver_;
  std::shared_ptr<IADC3> adc_;

  std::vector<std::int16_t> columns_;
  bool started_ = false;
  double start_ = 0;  // seconds on the clock
  double last_pass_ = 0;
  double longest_pause_ = 0;
  bool ring_was_full_ = false;
  std::uint64_t overruns_ = 0;  // of the system, when the recording was started

  // The times of the frames that wait are the last waiting_ of the first stamped_ elements of times_.
  ArrivalTimes arrivals_;
  std::vector<double> times_;
  std::size_t stamped_ = 0;
  std::size_t waiting_ = 0;
  std::uint64_t converted_ = 0;  // frames of a captured file that have a time
};

}  // namespace halden::sdk
