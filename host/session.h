#pragma once

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
  /// Serves the message queue, from which the driver's ticks come. Call it at least every 50 ms; rests for up
  /// to 1 ms.
  virtual void Serve() = 0;

 protected:
  /// Null if the driver could not be loaded.
  virtual IADC3* Object() = 0;
  /// What the last detection has tried, for a person; empty where that isn't known.
  virtual std::string WhatWasTried() const { return {}; }

 private:
  std::string WhyNotDetected();
};

}  // namespace halden::host
