#pragma once

#include <cstdint>
#include <memory>

#include "driver/line_explanation.h"
#include "model/IADC3.h"
#include "platform/platform.h"

namespace halden {

/// What a driver knows about the device in use and IADC3 doesn't offer. Valid once Test has returned true.
struct LinkState {
  LineFormat format;       ///< as learnt from the last analysed lines
  std::int32_t baud = 0;   ///< line rate of the port, bits per second
  bool auto_rate = false;  ///< Rate is measured from the lines; otherwise it is the user's
};

/// A driver in its initial state: the store that its objects share, and everything that works on the store.
/// It and its objects belong to one thread. The platform must outlive it, and it must outlive its objects.
class Driver {
 public:
  /// Throws std::bad_alloc.
  explicit Driver(Platform& platform);
  ~Driver();

  /// Returns a new object of the driver's class, or null if there is no memory for it. The first object sets
  /// the driver up, without touching a device. Releasing the last one closes the port and saves the settings;
  /// if it is released inside a running Test or ShowSetting, that happens when the call returns.
  std::shared_ptr<IADC3> CreateObject() noexcept;

  /// Makes one pass of the message queue, in which the driver's ticks run. A host whose thread has no message
  /// loop must call it between its polls, at least every 50 ms. May sleep for 1 ms.
  void ServeMessages() noexcept;
  /// Blocks the thread until the message queue has something to do, a signal arrives, or `at_most_ms`
  /// milliseconds have passed.
  void WaitForMessages(std::uint32_t at_most_ms) noexcept;

  /// May be called at any time; see LinkState for when the result means something.
  LinkState Link() const noexcept;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace halden
