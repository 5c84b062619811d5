#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "host/channels.h"
#include "host/progress.h"
#include "model/IADC3.h"
#include "sdk/line_watch.h"

namespace halden::host {

/// The driver as a host holds it: loaded, with one object. The destructor releases both.
class Session {
 public:
  virtual ~Session() = default;

  /// Finds the device and says what was found, or why nothing was. May take seconds for each silent device,
  /// in which a stop signal ends the process.
  bool Detect(Progress& progress);
  /// Says how the lines of the device are understood, and begins to watch them. Call it once the ranges are
  /// chosen.
  virtual void BeginWatching(Progress&) {}
  /// What is odd about the lines since the last call; each thing is reported once. Empty where lines can't be
  /// seen.
  virtual std::vector<sdk::Observation> TakeObservations() { return {}; }
  /// Whether the device that was open doesn't answer any more.
  virtual bool DeviceLost() const { return false; }
  /// Whether the device will never send again, because it is a replayed file at its end.
  virtual bool DeviceEnded() const { return false; }
  /// Only after Detect has returned true.
  IADC3& Adc() { return *Object(); }
  /// Rests until the driver's next tick is due, a message comes or a signal arrives, `at_most` at the
  /// longest, and serves the message queue, from which the ticks come. Call it in a loop.
  virtual void Serve(std::chrono::milliseconds at_most) = 0;

  /// Lets the driver go, and with it the device. Nothing but FindAgain may be called then.
  virtual void Release() {}
  /// After Release: looks for the device that was in use, for a moment if it isn't plugged in, else for as
  /// long as Detect takes and with its treatment of stop signals. True if it was found; then the session is
  /// as after Detect. Never asks the user.
  virtual bool FindAgain(Progress&) { return false; }
  /// Puts every channel on the finest range that holds the values of a second, or of 20 lines if those take
  /// longer (10 s at most), and says which. Channels that `chosen` names keep theirs. Call it after
  /// BeginWatching. Does nothing where lines can't be seen.
  virtual void ChooseRanges(const std::vector<RangeChoice>& /*chosen*/, Progress&) {}
  /// The driver's rate and what it is: "Rate 99.5" once measured, "highest 960.0" before, "user's rate 12.5".
  virtual std::string RateText();
  /// Lines that the driver has received; 0 where they can't be counted.
  virtual std::uint64_t LinesReceived() const { return 0; }
  /// Bytes that the driver has received; 0 where they can't be counted.
  virtual std::uint64_t BytesReceived() const { return 0; }
  /// Bytes that the driver has received since the last line end.
  virtual std::uint64_t PartLineReceived() const { return 0; }
  /// How often the system has reported, since the device was opened, that received bytes were lost because
  /// they weren't read in time; 0 where it can't say.
  virtual std::uint64_t Overruns() const { return 0; }
  /// What a person should know and no result has said: one line each, returned once.
  virtual std::vector<std::string> TakeNotices() { return {}; }

  /// Seconds from any start, on a clock that never jumps.
  virtual double Now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  }

 protected:
  /// Null if the driver could not be loaded.
  virtual IADC3* Object() = 0;
  /// Lets the driver look for a device, with the port dialog as the last resort.
  virtual bool Find(Progress&) { return Adc().Test(); }
  /// Why the last detection recognised no device: one line for each that it tried. Empty where that isn't
  /// known.
  virtual std::vector<std::string> WhyNotRecognised() const { return {}; }
  /// What kind of device is in use, such as "simulated device "; empty for a real one.
  virtual std::string KindOfDevice() const { return {}; }

 private:
  void SayWhyNot(Progress& progress);
};

}  // namespace halden::host
