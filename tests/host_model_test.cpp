#include "tests/host_model.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

namespace halden {
namespace {

struct RandomChoices {
  explicit RandomChoices(unsigned seed) : random(seed) {}
  int Below(int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); }
  std::uint32_t Number() { return static_cast<std::uint32_t>(random()); }
  std::mt19937 random;
};

/// HALDEN_HOST_CALLS in the environment asks for another number of calls than the suite's.
TEST(HostModel, AnyCallsInAnyOrderAnswerAsTheModelDoes) {
  constexpr int kCallsOfAHost = 2000;
  const char* asked = std::getenv("HALDEN_HOST_CALLS");
  const int calls = asked ? std::atoi(asked) : 8000;
  for (int call = 0, seed = 0; call < calls && !HasFailure(); ++seed) {
    RandomChoices choices(seed);
    HostModel<RandomChoices> host(choices);
    for (int i = 0; i < kCallsOfAHost && !HasFailure(); ++i, ++call)
      EXPECT_EQ(host.Step(), "") << "call " << i << " of host " << seed;
  }
}

}  // namespace
}  // namespace halden
