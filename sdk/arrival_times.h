#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>

namespace halden::sdk {

/// Gives frames the times at which their lines came. Frames carry no stamp of their own: a poll only shows
/// that they came since the driver's tick before. Within that span they are spread by the pace that was
/// measured over the last seconds.
///
/// Times never run backwards and never overtake the poll that brought the frame. A regular device gets
/// regular times; after a pause each time is right to within one tick (50 ms).
class ArrivalTimes {
 public:
  /// Call it for each poll, in order, with the frames that it brought, also with none. `now` is the poll's
  /// time in seconds from any start, not below that of the poll before. Fills `times`, which has one element
  /// per frame.
  void Poll(double now, std::span<double> times);

  /// Frames per second over the last seconds; 0 until two polls have brought frames.
  double Pace() const;

 private:
  static constexpr double kTick = 0.05;  // seconds between two ticks of the driver
  static constexpr double kWindow = 4;   // seconds over which the pace is measured

  struct Mark {
    double time;           // of a poll that brought frames
    std::uint64_t frames;  // that had come by then
  };

  void Measure(double now, std::size_t frames);

  std::deque<Mark> marks_;  // of the last kWindow seconds, oldest first
  std::uint64_t frames_ = 0;
  double last_poll_ = 0;
  double last_time_ = 0;  // given last
  bool polled_ = false;
};

}  // namespace halden::sdk
