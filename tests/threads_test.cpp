#include <gtest/gtest.h>
#include <thread>

#include "backends/sim/sim_platform.h"
#include "driver/driver.h"

namespace halden {
namespace {

/// Frames of a few lives, one behind the other.
std::vector<std::int16_t> Lives() {
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

TEST(Threads, ApartmentsSideBySideShareNothing) {
  std::vector<std::int16_t> other;
  std::thread thread([&] { other = Lives(); });
  const std::vector<std::int16_t> own = Lives();
  thread.join();
  EXPECT_GT(own.size(), 1000u);
  EXPECT_EQ(own, other);
}

}  // namespace
}  // namespace halden
