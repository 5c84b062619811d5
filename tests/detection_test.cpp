#include <algorithm>
#include <gtest/gtest.h>

#include "tests/driver_fixture.h"

namespace halden {
namespace {

using Calls = std::vector<std::string>;

TEST(Detection, FirstDeviceThatSpeaksWinsAndTheOthersAreLeftAlone) {
  Driver driver({"sim:silent,com=3", "sim:busy", "sim:columns=5,com=6", "sim"});
  bool found = false;
  const std::uint32_t time = driver.TimeOf([&] { found = driver.adc->Test(); });
  EXPECT_GT(time, 2001u);  // the silent one's share
  EXPECT_LT(time, 4002u);
  ASSERT_TRUE(found);
  EXPECT_EQ(driver.adc->BasePort(), 6);
  EXPECT_EQ(driver.adc->ChannelsCount(), 5);
  EXPECT_EQ(driver.sim.calls(0).back(), "close");
  EXPECT_EQ(driver.sim.calls(3), Calls());
  EXPECT_EQ(driver.sim.calls(2),
            (Calls{"open", "baud 115200", "data 8 0 0", "latency 5", "purge 3", "dtr 1", "rts 1"}));
  EXPECT_EQ(driver.TimeOf([&] { EXPECT_TRUE(driver.adc->Test()); }), 0u);
}

TEST(Detection, WithoutDevicesItSaysSo) {
  Driver driver({});
  EXPECT_FALSE(driver.adc->Test());
  EXPECT_EQ(driver.adc->LastError(), "No FTDI ports found!");
  EXPECT_TRUE(driver.adc->StartRecord());
  EXPECT_EQ(driver.adc->LastError(), "");
}

TEST(Detection, RateMaxComesFromRateAndLineLength) {
  const struct {
    const char* device;
    float rate_max;
  } cases[] = {{"sim:columns=1,signal=constant,baud=300,rate=2", 4},
               {"sim:columns=40,signal=noise,baud=300,speaks_at=300,rate=0.7", 1}};
  for (const auto& c : cases) {
    Driver driver({c.device});
    if (!driver.adc->Test()) continue;
    EXPECT_GE(driver.adc->RateMax(), 1) << c.device;
    EXPECT_EQ(driver.adc->Rate(), driver.adc->RateMax());
  }
}

TEST(Detection, TriesTheRateThatAChipMayReallyTalkAt) {
  const struct {
    int configured, speaks_at;
    bool found;
    std::uint32_t time;
  } cases[] = {{230400, 250000, true, 0},   {460800, 500000, true, 0},  {921600, 1000000, true, 0},
               {1843200, 2000000, true, 0}, {230400, 500000, false, 0}, {115200, 250000, false, 0},
               {250000, 230400, false, 0}};
  for (const auto& c : cases) {
    Driver driver(
        {"sim:rate=400,baud=" + std::to_string(c.configured) + ",speaks_at=" + std::to_string(c.speaks_at)});
    EXPECT_EQ(driver.adc->Test(), c.found) << c.configured;
    const Calls& calls = driver.sim.calls(0);
    const std::string raised = "baud " + std::to_string(c.speaks_at);
    const auto at = std::find(calls.begin(), calls.end(), raised);
    ASSERT_EQ(at != calls.end(), c.found) << c.configured;
    if (c.found) {
      EXPECT_EQ(*(at + 1), "purge 3");
      EXPECT_EQ(calls[1], "baud " + std::to_string(c.configured));
    } else {
      EXPECT_EQ(calls.back(), "close");
    }
  }
}

TEST(Detection, TextThatNeverAnalysesIsClosedAfterOnePass) {
  Driver driver({"sim:text=words", "sim:columns=2,com=none"});
  EXPECT_TRUE(driver.adc->Test());
  EXPECT_EQ(std::count(driver.sim.calls(0).begin(), driver.sim.calls(0).end(), "purge 3"), 1);
  EXPECT_EQ(driver.adc->ChannelsCount(), 2);
  EXPECT_EQ(driver.adc->BasePort(), -1);
}

TEST(Detection, TakesWhatCameWhenADeviceStops) {
  Driver driver({"sim:silent,baud=9600"});
  VirtualClock& clock = driver.sim.clock();
  // One pass later, since the opening serves the queue before it purges the device.
  clock.Post([&] { clock.Post([&] { driver.sim.device(0).Feed("1;2\r\n3;4\r\n5;6\r\n7"); }); });
  EXPECT_NEAR(driver.TimeOf([&] { EXPECT_TRUE(driver.adc->Test()); }), 2003, 5);
  EXPECT_EQ(driver.adc->RateMax(), 171);  // 9600 / 8 / 7
  driver.sim.device(0).Feed(";8\r");
  driver.sim.clock().RunFor(100);
  EXPECT_EQ(driver.adc->GetChannel(0), 140);
  EXPECT_EQ(driver.adc->GetChannel(1), 160);
}

TEST(Detection, ADeviceLostAfterwardsIsSilentAndStaysDetected) {
  Driver driver({"sim:unplug_after=20"});
  ASSERT_TRUE(driver.adc->Test());
  driver.sim.clock().RunFor(30000);
  EXPECT_TRUE(driver.adc->Test());
  EXPECT_TRUE(driver.adc->StartRecord());
  driver.sim.clock().RunFor(1000);
  EXPECT_EQ(driver.adc->InputCountKadrs(), 0);
  driver.adc.reset();
  EXPECT_EQ(driver.sim.calls(0).back(), "close");
  driver.sim.device(0).Plug();
  driver.adc = driver.apartment.CreateObject();  // takes a new list
  EXPECT_FALSE(driver.adc->Detected());
  EXPECT_TRUE(driver.adc->Test());
}

TEST(Detection, AHostThatCallsInFromItsWaitHarmsNothing) {
  Driver driver({"sim:silent=1"});
  bool inner = true;
  driver.sim.clock().Post([&] {
    inner = driver.adc->Test();
    EXPECT_TRUE(driver.adc->StartRecord());
    driver.adc->ShowSetting();
    auto second = driver.apartment.CreateObject();
    EXPECT_EQ(second->ChannelsCount(), 0);
    second.reset();
    EXPECT_FALSE(driver.adc->Busy());  // any release stops a recording
    driver.adc->StartRecord();
  });
  EXPECT_TRUE(driver.adc->Test());
  EXPECT_FALSE(inner);
  driver.sim.clock().RunFor(1000);
  EXPECT_GT(driver.adc->InputCountKadrs(), 50);
}

TEST(Detection, TheLastReleaseInsideItWaitsForItsEnd) {
  Driver driver({"sim"});
  IADC3* adc = driver.adc.get();
  driver.sim.clock().Post([&] { driver.adc.reset(); });
  EXPECT_TRUE(adc->Test());
  EXPECT_EQ(driver.sim.calls(0).back(), "close");
  driver.sim.clock().RunFor(1000);
  driver.adc = driver.apartment.CreateObject();
  EXPECT_EQ(driver.adc->ChannelsCount(), 0);
  EXPECT_TRUE(driver.adc->Test());
}

}  // namespace
}  // namespace halden
