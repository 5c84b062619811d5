#include <algorithm>
#include <gtest/gtest.h>

#include "tests/faulty_driver.h"

namespace halden {
namespace {

const std::string kRecording = "1;2\r\n-3.5;40\r\n5;6\r\r7;8\r\n9;10\r\n11";

struct LossyDriver : FedDriver {
  void Lose(std::size_t byte) {
    sim.device(0).Feed(kRecording.substr(byte));
    sim.device(0).Unplug();
  }
  /// Lines with something in them of what was received.
  int WholeLines() const {
    const std::string& bytes = machine.d2xx.received;
    int lines = 0;
    for (std::size_t cr = 0; (cr = bytes.find('\r', cr)) != std::string::npos; ++cr)
      lines += cr > 0 && bytes[cr - 1] != '\r';
    return lines;
  }
};

enum State { kIdle, kRecordingRuns, kWindowShown };

TEST(DeviceLoss, AtEveryByteLeavesTheWholeLinesThatWereReceived) {
  for (const State state : {kIdle, kRecordingRuns, kWindowShown})
    for (std::size_t byte = 0; byte <= kRecording.size(); ++byte) {
      SCOPED_TRACE(std::to_string(state) + ", byte " + std::to_string(byte));
      LossyDriver driver;
      const auto start = [&] {
        EXPECT_TRUE(state == kIdle || driver.adc->StartRecord());
        driver.sim.device(0).Feed(kRecording.substr(0, byte));
      };
      if (state == kWindowShown) {
        driver.sim.toolkit().Play({user::Do([&](MemoryWindow&) { start(); }), user::Wait(60),
                                   user::Do([&](MemoryWindow&) { driver.Lose(byte); }), user::Wait(200)});
        driver.adc->ShowSetting();
      } else {
        start();
        driver.sim.clock().RunFor(60);
        driver.Lose(byte);
        driver.sim.clock().RunFor(200);
      }
      EXPECT_EQ(driver.machine.d2xx.received, kRecording.substr(0, byte));
      EXPECT_EQ(driver.adc->InputCountKadrs(), state == kIdle ? 0 : driver.WholeLines());
      EXPECT_TRUE(driver.adc->Test());
      driver.adc.reset();
      EXPECT_EQ(driver.faults.OpenHandles(), 0u);
      driver.sim.device(0).Plug();
      driver.Detect();
    }
}

}  // namespace
}  // namespace halden
