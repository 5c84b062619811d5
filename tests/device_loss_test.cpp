#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

#include "tests/faulty_driver.h"
#include "tests/framing_model.h"

namespace halden {
namespace {

/// A driver with a device that says just what it is given, detected.
struct FedDriver : FaultyDriver {
  FedDriver() : FaultyDriver({"sim:silent"}) { Detect(); }

  void Detect() {
    adc = apartment.CreateObject();
    std::string lines;
    for (int line = 0; line < 300; ++line) lines += "0;0\r\n";
    SayWhileProbed(lines);
    adc->Test();
    sim.clock().RunFor(60);
    machine.d2xx.received.clear();
  }

  void Record() {
    adc->InputSizeData(32768);
    adc->InputChannels({0});
    adc->ChannelRange(0, 9);
    EXPECT_TRUE(adc->StartRecord());
  }
};

enum State { kIdle, kRecording, kWindowShown };

TEST(DeviceLoss, AtEveryByteLeavesTheWholeLinesThatWereReceived) {
  const std::string bytes = "1;2\r\n-3.5;40\r\n5;6\r\r7;8\r\n9;10\r\n11";
  for (const State state : {kIdle, kRecording, kWindowShown})
    for (std::size_t byte = 0; byte <= bytes.size(); ++byte) {
      SCOPED_TRACE(std::to_string(state) + ", byte " + std::to_string(byte));
      FedDriver driver;
      PacedDevice& device = driver.sim.device(0);
      const auto speak = [&] {
        if (state != kIdle) driver.Record();
        device.Feed(bytes.substr(0, byte));
      };
      const auto leave = [&] {
        device.Feed(bytes.substr(byte));
        device.Unplug();
      };
      if (state == kWindowShown) {
        driver.sim.toolkit().Play({user::Do([&](MemoryWindow&) { speak(); }), user::Wait(60),
                                   user::Do([&](MemoryWindow&) { leave(); }), user::Wait(200)});
        driver.adc->ShowSetting();
      } else {
        speak();
        driver.sim.clock().RunFor(60);
        leave();
        driver.sim.clock().RunFor(200);
      }
      std::string received = driver.machine.d2xx.received;
      EXPECT_EQ(received, bytes.substr(0, byte));
      std::vector<std::string> lines = LinesOfPass(received);
      std::erase(lines, "");
      EXPECT_EQ(driver.adc->InputCountKadrs(), state == kIdle ? 0 : static_cast<int>(lines.size()));
      EXPECT_TRUE(driver.adc->Test());
      driver.adc.reset();
      EXPECT_EQ(driver.faults.OpenHandles(), 0u);
      device.Plug();
      driver.Detect();
      EXPECT_TRUE(driver.adc->Detected());
    }
}

}  // namespace
}  // namespace halden
