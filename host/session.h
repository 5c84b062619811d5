#pragma once

#include <memory>
#include <string>

#include "driver/apartment.h"
#include "host/progress.h"
#include "model/IADC3.h"
#include "platform/machine.h"

namespace halden::host {

/// The driver as a host holds it: loaded, with one object. Its end releases the object and the driver.
class Session {
 public:
  /// `machine` must outlive the session.
  explicit Session(Machine& machine);

  /// Only after a Detect that gave true.
  IADC3& Adc() { return *adc_; }
  /// Lets the driver's ticks come; to be called between polls, at least every 50 ms.
  void Serve() { apartment_.ServeMessages(); }
  /// Finds the device and tells what was found, or why none was.
  bool Detect(Progress& progress);

 private:
  std::string WhyNotDetected();

  Machine& machine_;
  Apartment apartment_;
  std::shared_ptr<IADC3> adc_;
};

}  // namespace halden::host
