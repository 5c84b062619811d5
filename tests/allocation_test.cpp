#include <cstdlib>
#include <gtest/gtest.h>
#include <new>

#include "tests/allocations.h"
#include "tests/driver_fixture.h"

namespace halden {
namespace {

TEST(SteadyState, TicksFramesAndReadsAllocateNothing) {
  for (const char* device :
       {"sim:columns=4,separator=semicolon,rate=500", "sim:columns=1,rate=500",
        "sim:columns=16,unit=mV,label=T=,rate=200,baud=921600", "sim:decimal=comma,unit=V,rate=200"}) {
    Driver driver({device});
    ASSERT_TRUE(driver.adc->Test());
    driver.adc->InputChannels({0, 0, 99});
    ASSERT_TRUE(driver.adc->StartRecord());
    driver.sim.clock().RunFor(500);
    std::vector<std::int16_t> data(3000);
    const std::uint64_t before = AllocationCount();
    std::int32_t frames = 0;
    for (int i = 0; i < 20; ++i) {
      driver.sim.clock().RunFor(100);
      auto room = static_cast<std::int32_t>(data.size());
      std::int32_t left = 0;
      frames += driver.adc->GetData(data.data(), room, left);
    }
    EXPECT_EQ(AllocationCount(), before) << device;
    EXPECT_GT(frames, 300) << device;
  }
}

}  // namespace
}  // namespace halden
