#pragma once

#include <cstdint>
#include <memory>

#include "driver/line_explanation.h"
#include "model/IADC3.h"
#include "platform/platform.h"

namespace halden {

/// What a driver knows of the device in use that IADC3 doesn't say. Means something after a Test that gave
/// true.
struct LinkState {
  LineFormat format;       ///< as learnt last
  std::int32_t baud = 0;   ///< line rate of the port, bits per second
  bool auto_rate = false;  ///< Rate follows the lines; else it is the user's
};

/// One fresh driver: the store that its objects share and everything that works on it. One thread makes it,
/// calls it and destroys it. The platform must outlive it, and it must outlive its objects.
class Driver {
 public:
  /// Throws std::bad_alloc.
  explicit Driver(Platform& platform);
  ~Driver();

  /// A new object of the driver's class. The first one sets the driver up (the device is not touched yet),
  /// the release of the last one closes the port and saves the settings; a release inside a running Test or
  /// ShowSetting takes effect when that call returns. Null without memory for it.
  std::shared_ptr<IADC3> CreateObject() noexcept;

  /// One pass of the message queue, which the driver's ticks come inside. A host whose thread has no message
  /// loop of its own makes it between its polls, at least every 50 ms; may rest for 1 ms.
  void ServeMessages() noexcept;
  /// Blocks the thread until a pass has something to do, a signal arrives, or `at_most_ms` have passed.
  void WaitForMessages(std::uint32_t at_most_ms) noexcept;

  LinkState Link() const noexcept;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace halden
