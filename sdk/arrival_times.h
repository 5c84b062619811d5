#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>

namespace halden::sdk {

/// Estimates when the line of each frame arrived. Frames have no timestamp: a poll only shows that they
/// arrived since the driver's previous tick. Within that span they are spaced by the pace measured over the
/// last seconds.
///
/// Times never decrease and are never later than the poll that brought the frame. A regular device gets
/// regular times; after a pause each time is right to within one tick (50 ms).
class ArrivalTimes {
 public:
  /// Call this once per poll, also for a poll that brought no frames. `now` is the time of the poll in
  /// seconds since an arbitrary start; it must not decrease. `times` has one element for each frame that the
  /// poll brought and is filled with their times.
  void Poll(double now, std::span<double> times);

  /// Frames per second over the last seconds; 0 until two polls have brought frames.
  double Pace() const;

 private:
  static constexpr double kTick = 0.05;  // seconds between two ticks of the driver
  static constexpr double kWindow = 4;   // seconds over which the pace is measured

  /// A poll that brought frames.
  struct Mark {
    double time;
    std::uint64_t frames;  // received in total, including this poll
  };

  void Measure(double now, std::size_t frames);

  std::deque<Mark> marks_;  // of the last kWindow seconds, oldest first
  std::uint64_t frames_ = 0;
  double last_poll_ = 0;  // `now` of the previous poll
  double last_time_ = 0;  // time of the previous frame
  bool polled_ = false;
};

}  // namespace halden::sdk
