#include "tests/host_model.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

#include "tests/allocations.h"

namespace halden {
namespace {

struct RandomChoices {
  explicit RandomChoices(unsigned seed) : random(seed) {}
  int Below(int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); }
  std::uint32_t Number() { return static_cast<std::uint32_t>(random()); }
  std::mt19937 random;
};

/// What the environment asks for in place of what the suite does.
int Asked(const char* variable, int otherwise) {
  const char* asked = std::getenv(variable);
  return asked ? std::atoi(asked) : otherwise;
}

TEST(HostModel, AnyCallsInAnyOrderAnswerAsTheModelDoes) {
  constexpr int kCallsOfAHost = 2000;
  const int calls = Asked("HALDEN_HOST_CALLS", 8000);
  for (int call = 0, seed = 0; call < calls && !HasFailure(); ++seed) {
    RandomChoices choices(seed);
    HostModel<RandomChoices> host(choices);
    for (int i = 0; i < kCallsOfAHost && !HasFailure(); ++i, ++call)
      EXPECT_EQ(host.Step(), "") << "call " << i << " of host " << seed;
  }
}

/// HALDEN_SOAK_PAUSE is the longest pause in milliseconds: the shorter, the more happens in the fifty days.
TEST(HostModel, FiftyDaysLoseNothingButWhatTheRulesDrop) {
  constexpr std::uint64_t kFiftyDays = 50ull * 24 * 3600 * 1000;
  RandomChoices choices(7);
  HostModel<RandomChoices> host(choices, Asked("HALDEN_SOAK_PAUSE", 6 * 3600 * 1000));
  std::uint32_t tick = host.Clock().GetTickCount();
  std::int64_t live = 0;
  for (std::uint64_t elapsed = 0; elapsed < kFiftyDays && !HasFailure();) {
    EXPECT_EQ(host.Step(), "") << "after " << elapsed << " ms";
    elapsed += host.Clock().GetTickCount() - tick;
    tick = host.Clock().GetTickCount();
    if (!host.Fresh()) continue;
    if (live == 0) live = LiveAllocations();
    EXPECT_LE(std::abs(LiveAllocations() - live), 5) << "but for what the model holds";
  }
  std::printf("%llu frames\n", static_cast<unsigned long long>(host.Frames()));
  EXPECT_GT(host.Frames(), 10000u);
}

}  // namespace
}  // namespace halden
