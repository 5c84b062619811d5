#include <gtest/gtest.h>

#include "backends/sim/virtual_clock.h"

namespace halden {
namespace {

TEST(MessageQueue, TicksOnItsGridAlsoAcrossTheWrapOfTheCountAndMakesUpForNothing) {
  for (const std::uint32_t start : {0u, 0xFFFFFFFFu - 120, 0x7FFFFFFFu - 60}) {
    VirtualClock clock(start);
    std::vector<std::uint32_t> ticks;
    const auto timer = clock.NewTimer(50, [&] { ticks.push_back(clock.GetTickCount() - start); });
    clock.RunFor(60);
    timer->Enable(true);
    clock.RunFor(120);
    timer->Enable(true);
    clock.RunFor(60);
    timer->Enable(false);
    clock.RunFor(60);
    timer->Enable(true);
    clock.Sleep(275);
    clock.RunFor(30);
    EXPECT_EQ(ticks, (std::vector<std::uint32_t>{110, 160, 210, 576, 600})) << start;
  }
}

TEST(MessageQueue, ATickIsNotServedInsideItselfAndMayMakeAndEndTimers) {
  VirtualClock clock;
  std::string served;
  std::unique_ptr<PeriodicTimer> first, second;
  first = clock.NewTimer(10, [&, text = std::string(64, 'a')] {
    second = clock.NewTimer(30, [&] { served += 'b'; });
    second->Enable(true);
    clock.RunFor(15);
    first.reset();
    clock.ServeMessages();
    served += text.front();
  });
  first->Enable(true);
  clock.RunFor(50);
  EXPECT_EQ(served, "ab");
}

}  // namespace
}  // namespace halden
