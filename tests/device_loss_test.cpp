#include <gtest/gtest.h>

#include "tests/faulty_driver.h"
#include "tests/framing_model.h"

namespace halden {
namespace {

/// What a driver does while its device goes.
enum State { kIdle, kRecording, kWindowShown };

TEST(DeviceLoss, AtEveryByteLeavesTheWholeLinesThatWereReceived) {
  const std::string bytes = "1;2\r\n-3.5;40\r\n5;6\r\r7;8\r\n9;10\r\n11";
  for (const State state : {kIdle, kRecording, kWindowShown})
    for (std::size_t byte = 0; byte <= bytes.size(); ++byte) {
      SCOPED_TRACE(std::to_string(state) + ", byte " + std::to_string(byte));
      FaultyDriver driver({"sim:silent"});
      PacedDevice& device = driver.sim.device(0);
      const auto detect = [&] {
        driver.adc = driver.apartment.CreateObject();
        std::string lines;
        for (int line = 0; line < 300; ++line) lines += "0;0\r\n";
        driver.SayWhileProbed(lines);
        EXPECT_TRUE(driver.adc->Test());
        driver.sim.clock().RunFor(60);
      };
      const auto speak = [&] {
        EXPECT_TRUE(state == kIdle || driver.adc->StartRecord());
        device.Feed(bytes.substr(0, byte));
      };
      const auto leave = [&] {
        device.Feed(bytes.substr(byte));
        device.Unplug();
      };
      detect();
      driver.machine.d2xx.received.clear();
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
      driver.adc.reset();
      EXPECT_TRUE(driver.faults.AllClosed());
      device.Plug();
      detect();
    }
}

}  // namespace
}  // namespace halden
