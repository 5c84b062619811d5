#pragma once

#include <string>

#include "host/progress.h"
#include "model/IADC3.h"

namespace halden::host {

/// The driver as a host holds it: loaded, with one object. Its end releases the object and the driver.
class Session {
 public:
  virtual ~Session() = default;

  /// Only after a Detect that gave true.
  IADC3& Adc() { return *Object(); }
  /// Lets the driver's ticks come; to be called between polls, at least every 50 ms.
  virtual void Serve() = 0;
  /// Finds the device and tells what was found, or why none was.
  bool Detect(Progress& progress);

 protected:
  /// Null if the driver could not be loaded.
  virtual IADC3* Object() = 0;
  /// What detection has tried; empty if nobody knows.
  virtual std::string WhatWasTried() const { return {}; }

 private:
  std::string WhyNotDetected();
};

}  // namespace halden::host
