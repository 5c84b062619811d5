#include <cstdlib>
#include <gtest/gtest.h>
#include <new>

#include "tests/driver_fixture.h"

namespace {

std::size_t allocations = 0;

void* Allocate(std::size_t size) {
  ++allocations;
  if (void* block = std::malloc(size)) return block;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}

namespace halden {
namespace {

TEST(SteadyState, TicksFramesAndReadsAllocateNothing) {
  for (const char* device :
       {"sim:columns=4,separator=semicolon,rate=500", "sim:columns=1,rate=500",
        "sim:columns=16,unit=mV,label=T=,rate=200,baud=921600", "sim:decimal=comma,unit= V,rate=200"}) {
    Driver driver({device});
    ASSERT_TRUE(driver.adc->Test());
    driver.adc->InputChannels({0, 0, 99});
    ASSERT_TRUE(driver.adc->StartRecord());
    driver.sim.clock().RunFor(500);
    std::vector<std::int16_t> data(3000);
    const std::size_t before = allocations;
    std::int32_t frames = 0;
    for (int i = 0; i < 20; ++i) {
      driver.sim.clock().RunFor(100);
      auto room = static_cast<std::int32_t>(data.size());
      std::int32_t left = 0;
      frames += driver.adc->GetData(data.data(), room, left);
    }
    EXPECT_EQ(allocations, before) << device;
    EXPECT_GT(frames, 300) << device;
  }
}

}  // namespace
}  // namespace halden
