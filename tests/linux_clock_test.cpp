#include "platform/linux/linux_clock.h"

#include <gtest/gtest.h>

namespace halden {
namespace {

TEST(LinuxClock, MovesWithSleepAndMakesUpForNoMissedTick) {
  LinuxClock clock;
  int ticks = 0;
  const auto timer = clock.NewTimer(1, [&] { ++ticks; });
  timer->Enable(true);
  const std::uint32_t start = clock.GetTickCount();
  clock.Sleep(4);
  const std::uint32_t slept = clock.GetTickCount() - start;
  EXPECT_GE(slept, 4u);
  EXPECT_LT(slept, 1000u);
  EXPECT_EQ(ticks, 0);
  clock.ServeMessages();
  EXPECT_EQ(ticks, 1);
}

TEST(LinuxClock, RestsInAPassThatServesNothing) {
  LinuxClock clock;
  const std::uint32_t start = clock.GetTickCount();
  for (int i = 0; i < 3; ++i) clock.ServeMessages();
  EXPECT_GE(clock.GetTickCount() - start, 2u);
}

}  // namespace
}  // namespace halden
