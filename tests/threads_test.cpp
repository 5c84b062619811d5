#include <gtest/gtest.h>
#include <thread>

#include "tests/driver_fixture.h"

namespace halden {
namespace {

/// Frames of a few lives, one behind the other.
std::vector<std::int16_t> Lives() {
  std::vector<std::int16_t> codes;
  Driver driver({"sim:text=words,rate=2000,baud=921600", "sim:columns=3,rate=2000,baud=921600"});
  for (int life = 0; life < 5; ++life) {
    driver.adc->Test();
    driver.adc->StartRecord();
    driver.sim.clock().RunFor(300);
    driver.sim.toolkit().Play({user::Wait(60)});
    driver.adc->StopRecord();
    driver.adc->ShowSetting();
    const KadrTable frames = driver.adc->InputData();
    codes.insert(codes.end(), frames.Codes.begin(), frames.Codes.end());
    driver.adc.reset();
    driver.adc = driver.apartment.CreateObject();
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
