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

/// The loaded driver with one object, as a host has it. The destructor releases both.
class Session {
 public:
  virtual ~Session() = default;

  /// Finds the device and prints what was found, or why nothing was. May take several seconds for each silent
  /// device; meanwhile a stop signal ends the process.
  bool Detect(Progress& progress);
  /// Prints how the device's lines are read, and begins to watch them. Call this once the ranges are chosen.
  virtual void BeginWatching(Progress&) {}
  /// The new observations about the lines; each is returned once. Empty if the session can't see the lines.
  virtual std::vector<sdk::Observation> TakeObservations() { return {}; }
  /// Whether calls on the open device have failed, usually because it was unplugged.
  virtual bool DeviceLost() const { return false; }
  /// Whether the device will never send again, because it is a replayed file at its end.
  virtual bool DeviceEnded() const { return false; }
  /// The driver object. Only after Detect has returned true.
  IADC3& Adc() { return *Object(); }
  /// Sleeps until the driver's next tick is due, a message or a signal arrives, or `at_most` has passed; then
  /// serves the message queue, which runs the ticks. Call this in a loop.
  virtual void Serve(std::chrono::milliseconds at_most) = 0;

  /// Releases the driver, which closes the device. Only FindAgain may be called after this.
  virtual void Release() {}
  /// After Release: looks for the device that was in use. If it isn't plugged in, returns false after a short
  /// wait; otherwise detects it, which takes as long as Detect and treats stop signals the same way. If it
  /// was found the session is as after Detect. Never asks the user.
  virtual bool FindAgain(Progress&) { return false; }
  /// Sets every channel to the finest range that holds its values of one second, or of 20 lines if those take
  /// longer (10 s at most), and prints them. Channels in `chosen` keep their range. Call this after
  /// BeginWatching. Does nothing if the session can't see the lines.
  virtual void ChooseRanges(const std::vector<RangeChoice>& /*chosen*/, Progress&) {}
  /// The driver's rate for the user: "Rate 99.5" once measured, "highest 960.0" before, or "user's
  /// rate 12.5".
  virtual std::string RateText();
  /// Lines that the driver has received; 0 if the session can't count them.
  virtual std::uint64_t LinesReceived() const { return 0; }
  /// Bytes that the driver has received; 0 if the session can't count them.
  virtual std::uint64_t BytesReceived() const { return 0; }
  /// Bytes that the driver has received since the last line end.
  virtual std::uint64_t PartLineReceived() const { return 0; }
  /// How often the system has reported, since the device was opened, that received bytes were lost because
  /// they weren't read in time; 0 if it doesn't report that.
  virtual std::uint64_t Overruns() const { return 0; }
  /// The last whole line as received, UTF-8; empty if the session can't see the lines.
  virtual std::string LastLine() const { return {}; }
  /// Warnings for the user that no return value carried, one line each. Each is returned once.
  virtual std::vector<std::string> TakeNotices() { return {}; }

  /// Seconds from any start, on a clock that never jumps.
  virtual double Now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  }

 protected:
  /// Null if the driver could not be loaded.
  virtual IADC3* Object() = 0;
  /// Makes the driver look for a device, with the port dialog as the last resort.
  virtual bool Find(Progress&) { return Adc().Test(); }
  /// Why the last detection recognised no device: one line for each device it tried. Empty if that isn't
  /// known.
  virtual std::vector<std::string> WhyNotRecognised() const { return {}; }
  /// What kind of device is in use, such as "simulated device "; empty for a real one.
  virtual std::string KindOfDevice() const { return {}; }

 private:
  void SayWhyNot(Progress& progress);
};

}  // namespace halden::host
