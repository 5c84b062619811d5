#include "tests/host_model.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

#include "tests/faults.h"

namespace halden {
namespace {

struct RandomChoices {
  explicit RandomChoices(unsigned seed) : random(seed) {}
  int Below(int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); }
  std::uint32_t Number() { return static_cast<std::uint32_t>(random()); }
  std::mt19937 random;
};

/// The number in an environment variable, which is not for the suite but for longer runs and replays.
int FromEnvironment(const char* variable, int otherwise) {
  const char* text = std::getenv(variable);
  return text ? std::atoi(text) : otherwise;
}

/// HALDEN_HOST_SEED=seed replays a host; HALDEN_HOST_CALLS sets the number of calls, 2000 for each host.
TEST(HostModel, RandomCallsInAnyOrderMatchTheModel) {
  constexpr int kCallsOfHost = 2000;
  const int hosts = FromEnvironment("HALDEN_HOST_CALLS", 8000) / kCallsOfHost;
  const int first_seed = FromEnvironment("HALDEN_HOST_SEED", 0);
  for (int seed = first_seed; seed < first_seed + hosts; ++seed) {
    RandomChoices choices(seed);
    HostModel<RandomChoices> host(choices);
    for (int call = 0; call < kCallsOfHost; ++call) {
      const std::string difference = host.Step();
      ASSERT_TRUE(difference.empty()) << "seed " << seed << ": " << difference;
    }
  }
}

/// HALDEN_SOAK_PAUSE is the longest pause in milliseconds: the shorter, the more calls in the fifty days.
TEST(HostModel, FiftyDaysMatchTheModelAndLeakNothing) {
  constexpr std::uint64_t kFiftyDays = 50ull * 24 * 3600 * 1000;
  constexpr unsigned kSeed = 7;
  RandomChoices choices(kSeed);
  HostModel<RandomChoices> host(choices, FromEnvironment("HALDEN_SOAK_PAUSE", 6 * 3600 * 1000));
  std::uint32_t tick = host.Clock().GetTickCount();
  std::int64_t live = 0;
  for (std::uint64_t elapsed = 0; elapsed < kFiftyDays;) {
    const std::string difference = host.Step();
    ASSERT_TRUE(difference.empty()) << "seed " << kSeed << ", after " << elapsed << " ms: " << difference;
    elapsed += host.Clock().GetTickCount() - tick;
    tick = host.Clock().GetTickCount();
    if (!host.Fresh() || host.FramesRead() == 0) continue;
    if (live == 0) live = LiveAllocations();
    ASSERT_LE(std::abs(LiveAllocations() - live), 1) << "blocks in use, of which one may be the model's";
  }
  EXPECT_GT(host.FramesRead(), 10000u);
}

}  // namespace
}  // namespace halden
