#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/linux_clock.h"
#include "platform/sim/virtual_clock.h"

namespace halden {
namespace {

TEST(MessageQueue, TicksOnItsGridAlsoAcrossTheWrapOfTheCountAndMakesUpForNothing) {
  for (const std::uint32_t start : {0u, 0xFFFFFFFFu - 120, 0x7FFFFFFFu - 60}) {
    VirtualClock clock(start);
    std::vector<std::uint32_t> ticks;
    const auto timer = clock.NewTimer(50, [&] { ticks.push_back(clock.GetTickCount() - start); });
    clock.RunFor(60);
    EXPECT_TRUE(ticks.empty()) << "off until enabled";
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

TEST(MessageQueue, TimersComeAndGoInsideATickWhichIsNotServedInsideItself) {
  VirtualClock clock;
  std::string served;
  std::unique_ptr<PeriodicTimer> first, second, third;
  std::vector<std::unique_ptr<PeriodicTimer>> more;
  first = clock.NewTimer(10, [&, text = std::string(64, 'a')] {
    second.reset();
    for (int i = 0; i < 100; ++i) more.push_back(clock.NewTimer(30, [&] { served += 'd'; }));
    for (const auto& timer : more) timer->Enable(true);
    clock.RunFor(15);
    third->Enable(false);
    first.reset();
    clock.ServeMessages();
    served += text.front();
  });
  second = clock.NewTimer(10, [&] { served += 'b'; });
  third = clock.NewTimer(10, [&] { served += 'c'; });
  for (PeriodicTimer* timer : {first.get(), second.get(), third.get()}) timer->Enable(true);
  clock.RunFor(50);
  EXPECT_EQ(served, "cca" + std::string(100, 'd'));
}

TEST(MessageQueue, MessagesComeInOrderOnceAndBeforeTicks) {
  VirtualClock clock;
  std::string served;
  const auto timer = clock.NewTimer(1, [&] { served += 't'; });
  timer->Enable(true);
  clock.Post([&] {
    served += 'a';
    clock.Post([&] { served += 'd'; });
  });
  clock.Post([&] { served += 'b'; });
  clock.ServeMessages();
  EXPECT_EQ(served, "abt") << "what a message posts waits for the next pass";
  clock.Post([&] { clock.ServeMessages(); });
  clock.Post([&] { served += 'e'; });
  clock.ServeMessages();
  EXPECT_EQ(served, "abtdet") << "the nested pass serves what still waits";
}

TEST(LinuxClock, MovesWithSleepAndRestsInAPassThatServesNothing) {
  LinuxClock clock;
  int ticks = 0;
  const auto timer = clock.NewTimer(1, [&] { ++ticks; });
  timer->Enable(true);
  std::uint32_t start = clock.GetTickCount();
  clock.Sleep(4);
  EXPECT_GE(clock.GetTickCount() - start, 4u);
  EXPECT_EQ(ticks, 0);
  clock.ServeMessages();
  EXPECT_EQ(ticks, 1);
  timer->Enable(false);
  start = clock.GetTickCount();
  for (int i = 0; i < 3; ++i) clock.ServeMessages();
  EXPECT_GE(clock.GetTickCount() - start, 2u);
}

}  // namespace
}  // namespace halden
