#include <gtest/gtest.h>
#include <thread>

#include "backends/sim/sim_platform.h"
#include "driver/driver.h"
#include "sdk/c/halden_text.h"
#include "tests/scratch_files.h"

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

/// Frames that a simulated device sends in half a second through the C interface; 0 on failure.
std::size_t FramesThroughTheCInterface() {
  const ScratchDirectory directory;
  const std::string registry = directory / "my.reg";
  const char* device = "sim:columns=2,rate=1000";
  halden_options options{};
  options.struct_size = sizeof options;
  options.devices = &device;
  options.device_count = 1;
  options.registry_file = registry.c_str();
  halden_adc* adc = nullptr;
  if (halden_open(&options, &adc, nullptr, 0) != HALDEN_OK) return 0;
  halden_detect(adc);
  halden_start(adc);
  std::vector<std::int16_t> codes(2000);
  std::size_t all = 0;
  for (std::size_t frames = 0; all < 500; all += frames)
    if (halden_read_codes(adc, codes.data(), codes.size(), 2, nullptr, &frames, nullptr) != HALDEN_OK) break;
  halden_close(adc);
  return all;
}

TEST(Threads, HandlesOfTheCInterfaceAreIndependent) {
  std::size_t other = 0;
  std::thread thread([&] { other = FramesThroughTheCInterface(); });
  EXPECT_GE(FramesThroughTheCInterface(), 500U);
  thread.join();
  EXPECT_GE(other, 500U);
}

}  // namespace
}  // namespace halden
