#include "backends/sim/virtual_clock.h"

#include <utility>

namespace halden {

void VirtualClock::ServeMessages() {
  ++now_;
  queue_.Serve();
}

std::unique_ptr<PeriodicTimer> VirtualClock::NewTimer(std::uint32_t interval_ms, std::function<void()> tick) {
  return queue_.NewTimer(interval_ms, std::move(tick));
}

void VirtualClock::RunFor(std::uint32_t milliseconds) {
  const std::uint32_t start = now_;
  while (now_ - start < milliseconds) ServeMessages();
}

}  // namespace halden
