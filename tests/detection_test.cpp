#include <algorithm>
#include <gtest/gtest.h>

#include "tests/driver_fixture.h"

namespace halden {
namespace {

using Calls = std::vector<std::string>;

/// Lets a silent device say `bytes` while it is listened to. Two passes on, since the opening serves the
/// queue before it purges the device.
void Say(Driver& driver, const std::string& bytes) {
  VirtualClock& clock = driver.sim.clock();
  clock.Post(
      [&driver, &clock, bytes] { clock.Post([&driver, bytes] { driver.sim.device(0).Feed(bytes); }); });
}

TEST(Detection, FirstDeviceThatSpeaksWinsAndTheOthersAreLeftAlone) {
  Driver driver({"sim:silent,com=3", "sim:busy", "sim:columns=5,com=6", "sim"});
  bool found = false;
  EXPECT_NEAR(driver.TimeOf([&] { found = driver.adc->Test(); }), 2001 + 500, 490)
      << "the silent one's share";
  ASSERT_TRUE(found);
  EXPECT_EQ(driver.adc->BasePort(), 6);
  EXPECT_EQ(driver.adc->ChannelsCount(), 5);
  EXPECT_EQ(driver.sim.calls(0).back(), "close");
  EXPECT_EQ(driver.sim.calls(3), Calls());
  EXPECT_EQ(driver.sim.calls(2),
            (Calls{"open", "baud 115200", "data 8 0 0", "latency 5", "purge 3", "dtr 1", "rts 1"}));
  EXPECT_EQ(driver.TimeOf([&] { EXPECT_TRUE(driver.adc->Test()); }), 0u);
}

TEST(Detection, TriesTheRateThatAChipMayReallyTalkAt) {
  const struct {
    int configured, speaks_at;
    bool found;
    int passes;
  } cases[] = {{230400, 250000, true, 2},   {460800, 500000, true, 2},  {921600, 1000000, true, 2},
               {1843200, 2000000, true, 2}, {230400, 500000, false, 2}, {115200, 250000, false, 1},
               {250000, 230400, false, 1}};
  for (const auto& c : cases) {
    const std::string rates =
        "baud=" + std::to_string(c.configured) + ",speaks_at=" + std::to_string(c.speaks_at);
    Driver driver({"sim:rate=400," + rates});
    EXPECT_EQ(driver.adc->Test(), c.found) << rates;
    const Calls& calls = driver.sim.calls(0);
    EXPECT_EQ(calls[1], "baud " + std::to_string(c.configured));
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "purge 3"), c.passes) << rates;
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "baud " + std::to_string(c.speaks_at)), c.found)
        << rates;
    EXPECT_EQ(calls.back() == "close", !c.found) << rates;
  }
}

TEST(Detection, TakesWhatCameAndTheRateOfItsLines) {
  const struct {
    std::string device;
    std::size_t line, lines;  ///< bytes of a line, and how many come; the first counts as cut off
    std::int16_t port;
    float rate_max;
  } cases[] = {{"baud=230400,com=32767", 16, 3, 32767, 1200},
               {"baud=250000,com=1", 16, 5, 1, 1562},
               {"baud=300,com=2", 67, 3, 2, 1},
               {"baud=300,com=none", 16, 3, -1, 50}};
  for (const auto& c : cases) {
    Driver driver({"sim:silent," + c.device});
    std::string bytes;
    for (std::size_t i = 0; i < c.lines; ++i) bytes += std::string(c.line - 4, '0') + ";2\r\n";
    Say(driver, bytes + "7");
    EXPECT_NEAR(driver.TimeOf([&] { EXPECT_TRUE(driver.adc->Test()); }), 2003, 5);
    EXPECT_EQ(driver.adc->BasePort(), c.port);
    EXPECT_EQ(driver.adc->ChannelsCount(), 2);
    EXPECT_EQ(driver.adc->RateMax(), c.rate_max);
    EXPECT_EQ(driver.adc->Rate(), c.rate_max);
    driver.sim.device(0).Feed(";8\r");
    driver.sim.clock().RunFor(100);
    EXPECT_EQ(driver.adc->GetChannel(0), 140) << "the line that was cut off";
  }
}

TEST(Detection, TheUsersWordStandsWhereNoDeviceIsUnderstood) {
  using namespace user;
  const struct {
    std::string device, heard, rate;
    bool found;
    float rate_taken, rate_max;
  } cases[] = {{"silent,baud=115200", "", "5", true, 5, 3600},
               {"silent,baud=9600", "12", "300", true, 300, 300},
               {"silent,baud=9600", "1;2\r", "1000", true, 300, 300},
               {"text=words", "", "0.5", true, 0.5, 3600},
               {"busy", "", "5", false, 10, 1000}};
  for (const auto& c : cases) {
    Driver driver({"sim:com=5," + c.device});
    if (!c.heard.empty()) Say(driver, c.heard);
    driver.sim.toolkit().Play({PickRow("cboCh", 2), Type("cboRate", c.rate), Press("cmdOK")});
    EXPECT_EQ(driver.adc->Test(), c.found) << c.device;
    EXPECT_EQ(driver.adc->Rate(), c.rate_taken) << c.device << c.rate;
    EXPECT_EQ(driver.adc->RateMax(), c.rate_max) << c.device;
    EXPECT_EQ(driver.adc->ChannelsCount(), c.found ? 3 : 0);
    EXPECT_EQ(driver.adc->BasePort(), c.found ? 5 : 1);
    EXPECT_EQ(driver.adc->LastError(), "");
    if (!c.found || c.device == "text=words") continue;
    driver.sim.device(0).Feed("\r7;8\r7;8\r7;8\r");
    driver.sim.clock().RunFor(100);
    EXPECT_EQ(driver.adc->GetChannel(0), 140);
  }
}

}  // namespace
}  // namespace halden
