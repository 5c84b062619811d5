#include <gtest/gtest.h>

#include "backends/sim/virtual_clock.h"

namespace halden {
namespace {

TEST(MessageQueue, TicksStayOnTheirGridAcrossTheWrapAndMissedOnesAreDropped) {
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

TEST(MessageQueue, AWaitEndsWithTheNextTickOrMessage) {
  VirtualClock clock(0xFFFFFFFFu - 30);
  const std::uint32_t start = clock.GetTickCount();
  std::vector<std::uint32_t> passes;
  const auto wait_and_serve = [&](std::uint32_t at_most) {
    clock.WaitForMessages(at_most);
    clock.ServeMessages();
    passes.push_back(clock.GetTickCount() - start);
  };
  int ticks = 0;
  const auto timer = clock.NewTimer(50, [&] { ++ticks; });
  wait_and_serve(20);
  timer->Enable(true);  // due at 70 and 120
  wait_and_serve(1000);
  wait_and_serve(10);
  clock.Post([] {});
  wait_and_serve(1000);
  wait_and_serve(1000);
  EXPECT_EQ(passes, (std::vector<std::uint32_t>{20, 70, 80, 81, 120}));
  EXPECT_EQ(ticks, 2);
}

TEST(MessageQueue, TicksNeverNestAndMayCreateAndDestroyTimers) {
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
