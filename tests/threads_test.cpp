#include <gtest/gtest.h>
#include <thread>

#include "backends/sim/sim_platform.h"
#include "driver/driver.h"

namespace halden {
namespace {

/// The frames of five consecutive lives of a driver.
std::vector<std::int16_t> FramesOfFiveLives() {
  std::vector<std::int16_t> codes;
  SimPlatform sim({"sim:text=words,rate=2000,baud=921600", "sim:columns=3,rate=2000,baud=921600"});
  Driver driver(sim.platform());
  for (int life = 0; life < 5; ++life) {
    std::shared_ptr<IADC3> adc = driver.CreateObject();
    adc->Test();
    adc->StartRecord();
    sim.clock().RunFor(300);
    sim.toolkit().Play({user::Wait(60)});
    adc->StopRecord();
    adc->ShowSetting();
    const FrameTable frames = adc->InputData();
    codes.insert(codes.end(), frames.Codes.begin(), frames.Codes.end());
  }
  return codes;
}

TEST(Threads, DriversOnTwoThreadsShareNothing) {
  std::vector<std::int16_t> other;
  std::thread thread([&] { other = FramesOfFiveLives(); });
  const std::vector<std::int16_t> own = FramesOfFiveLives();
  thread.join();
  EXPECT_GT(own.size(), 1000u);
  EXPECT_EQ(own, other);
}

}  // namespace
}  // namespace halden
