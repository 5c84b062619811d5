#include "backends/linux/linux_clock.h"

#include <cerrno>
#include <ctime>
#include <utility>

namespace halden {

std::uint32_t LinuxClock::GetTickCount() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::uint64_t milliseconds = std::uint64_t(now.tv_sec) * 1000 + std::uint64_t(now.tv_nsec) / 1000000;
  return static_cast<std::uint32_t>(milliseconds);
}

void LinuxClock::Sleep(std::uint32_t milliseconds) {
  timespec end{};
  clock_gettime(CLOCK_MONOTONIC, &end);
  end.tv_sec += milliseconds / 1000;
  end.tv_nsec += long{milliseconds % 1000} * 1000000;
  if (end.tv_nsec >= 1000000000) {
    ++end.tv_sec;
    end.tv_nsec -= 1000000000;
  }
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
  }
}

void LinuxClock::ServeMessages() {
  if (queue_.Serve()) return;
  constexpr timespec kRest{0, 1000000};
  nanosleep(&kRest, nullptr);
}

std::unique_ptr<PeriodicTimer> LinuxClock::NewTimer(std::uint32_t interval_ms, std::function<void()> tick) {
  return queue_.NewTimer(interval_ms, std::move(tick));
}

}  // namespace halden
