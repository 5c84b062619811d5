#pragma once

#include <chrono>
#include <string>

#include "host/progress.h"
#include "model/IADC3.h"

namespace halden::host {

/// The driver as a host holds it: loaded, with one object. The destructor releases both.
class Session {
 public:
  virtual ~Session() = default;

  /// Finds the device and says what was found, or why nothing was. May take seconds for each silent device.
  bool Detect(Progress& progress);
  /// Only after Detect has returned true.
  IADC3& Adc() { return *Object(); }
  /// Rests until the driver's next tick is due, a message comes or a signal arrives, `at_most` at the
  /// longest, and serves the message queue, from which the ticks come. Call it in a loop.
  virtual void Serve(std::chrono::milliseconds at_most) = 0;

  /// Seconds from any start, on a clock that never jumps.
  virtual double Now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  }

 protected:
  /// Null if the driver could not be loaded.
  virtual IADC3* Object() = 0;
  /// What the last detection has tried, for a person; empty where that isn't known.
  virtual std::string WhatWasTried() const { return {}; }

 private:
  std::string WhyNotDetected();
};

}  // namespace halden::host
