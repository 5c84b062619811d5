#include "platform/sim/sim_device.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "platform/sim/sim_platform.h"
#include "tests/allocations.h"

namespace halden {
namespace {

/// Opens the only device of `option` and gives what it has said after `milliseconds`.
class Listening {
 public:
  explicit Listening(const std::string& option, std::uint32_t start_tick = 0)
      : sim_({option}, {.start_tick = start_tick}), buffer_(ByteQueue::kCapacity, '\0') {}

  FT_STATUS Open() { return device().Open(); }
  std::string Hear(std::uint32_t milliseconds) {
    clock().Sleep(milliseconds);
    std::uint32_t read = 0;
    if (device().Read(buffer_.data(), ByteQueue::kCapacity, &read) != FT_OK) return "failed";
    return buffer_.substr(0, read);
  }
  PacedDevice& device() { return sim_.device(0); }
  VirtualClock& clock() { return sim_.clock(); }

 private:
  SimPlatform sim_;
  std::string buffer_;
};

std::ptrdiff_t Lines(const std::string& text) {
  return std::count(text.begin(), text.end(), '\r');
}

TEST(SimDevice, SpeaksLinesInTheFormThatItsOptionNames) {
  const struct {
    std::string keys, first_lines;
  } cases[] = {
      {"columns=3", "100.05\t200.10\t300.15\r\n100.05\t200.10\t300.15\r\n"},
      {"columns=1,end=cr", "100.05\r100.05\r"},
      {"columns=2,separator=semicolon,decimal=comma,end=lf", "100,05;200,10\n100,05;200,10\n"},
      {"columns=2,separator=blank,unit=mV", "100.05mV 200.10mV\r\n"},
      {"columns=2,separator=paren,label=T=", "T=100.05(T=200.10\r\n"},
      {"columns=1,signal=ramp", "-1000.00\r\n-994.95\r\n-989.90\r\n"},
      {"columns=1,signal=sine", "0.00\r\n28.25\r\n56.50\r\n"},
      {"text=words", "warming up, please wait\nsensor not ready\n"},
      {"columns=1,silent=2", ""},
  };
  for (const auto& c : cases) {
    Listening sim("sim:signal=constant," + c.keys);
    ASSERT_EQ(sim.Open(), FT_OK);
    EXPECT_EQ(sim.Hear(1000).substr(0, c.first_lines.size()), c.first_lines) << c.keys;
  }
}

TEST(SimDevice, EverySignalStaysWithinItsLimitsAndNoiseFollowsItsSeed) {
  for (const SimSignal signal : {SimSignal::Sine, SimSignal::Ramp, SimSignal::Noise, SimSignal::Constant}) {
    std::set<int> columns;
    int low = 0, high = 0;
    for (std::uint64_t line = 0; line < 40000; ++line) {
      const int sample = SampleAt(signal, line, 1, 4, 1);
      low = std::min(low, sample);
      high = std::max(high, sample);
    }
    for (int column = 0; column < 40; ++column) columns.insert(SampleAt(signal, 7, column, 40, 1));
    EXPECT_GE(low, -20000);
    EXPECT_LE(high, 20000);
    EXPECT_TRUE(signal == SimSignal::Constant || (low < -17000 && high > 17000));
    EXPECT_GT(columns.size(), 20u) << "columns differ";
  }
  EXPECT_NE(SampleAt(SimSignal::Noise, 5, 0, 1, 1), SampleAt(SimSignal::Noise, 5, 0, 1, 2));
  std::set<int> ramp;
  for (std::uint64_t line = 0; line < 40001; ++line) ramp.insert(SampleAt(SimSignal::Ramp, line, 0, 1, 1));
  EXPECT_EQ(ramp.size(), 40001u);
}

TEST(SimDevice, KeepsItsRateExactlyHoweverOftenItIsAsked) {
  for (const std::uint32_t step : {1u, 7u, 50u, 1000u}) {
    Listening sim("sim:columns=1,rate=100,signal=ramp", 0xFFFFFFFF - 3000);
    ASSERT_EQ(sim.Open(), FT_OK);
    std::string said;
    while (sim.clock().GetTickCount() + 3001 < 7000) said += sim.Hear(step);
    Listening at_once("sim:columns=1,rate=100,signal=ramp");
    ASSERT_EQ(at_once.Open(), FT_OK);
    EXPECT_EQ(said, at_once.Hear(7000)) << step;
    EXPECT_EQ(Lines(said), 700) << "the line due at 7000 has only begun";
  }
}

TEST(SimDevice, NoByteComesFasterThanTheLineCarriesIt) {
  Listening sim("sim:columns=40,rate=1000,baud=9600");
  ASSERT_EQ(sim.Open(), FT_OK);
  for (int i = 1; i <= 100; ++i) EXPECT_NEAR(static_cast<double>(sim.Hear(10).size()), 9.6, 1.0);
  EXPECT_NEAR(static_cast<double>(sim.Hear(60000).size()), 57600.0, 1.0);

  Listening fallback("sim:columns=40,rate=1000,baud=9600,speaks_at=19200");
  ASSERT_EQ(fallback.Open(), FT_OK);
  EXPECT_NEAR(static_cast<double>(fallback.Hear(1000).size()), 1920.0, 1.0);
}

TEST(SimDevice, IsHeardAsNoiseWithoutALineEndUntilItsRateIsSet) {
  Listening sim("sim:baud=230400,speaks_at=250000,rate=200");
  ASSERT_EQ(sim.Open(), FT_OK);
  std::string noise = sim.Hear(1500);
  EXPECT_GT(noise.size(), 5000u);
  EXPECT_EQ(Lines(noise), 0);
  EXPECT_GT(std::set<char>(noise.begin(), noise.end()).size(), 200u);
  sim.clock().Sleep(3);
  ASSERT_EQ(sim.device().SetBaudRate(250000), FT_OK);
  const std::string said = sim.Hear(1000);
  EXPECT_NEAR(static_cast<double>(Lines(said)), 200.0, 1.0);
  EXPECT_EQ(said.substr(said.find('\n') + 1).find_first_not_of("0123456789.-\t\r\n"), std::string::npos);
  ASSERT_EQ(sim.device().SetBaudRate(245001), FT_OK);
  EXPECT_GT(Lines(sim.Hear(100)), 0) << "2 % off is still understood";
  ASSERT_EQ(sim.device().SetBaudRate(244999), FT_OK);
  EXPECT_EQ(Lines(sim.Hear(1000)), 0);
}

TEST(SimDevice, TalksOnWhileNobodyListens) {
  Listening sim("sim:columns=1,rate=2,signal=ramp,baud=300");  // 30 bytes a second
  sim.clock().Sleep(10100);
  ASSERT_EQ(sim.Open(), FT_OK);
  EXPECT_EQ(sim.Hear(1000), "9.00\r\n-893.95\r\n-88") << "from the fourth byte of the line begun at 10000";
  sim.device().Close();
  sim.clock().Sleep(4000);
  ASSERT_EQ(sim.Open(), FT_OK);
  EXPECT_EQ(sim.Hear(500), "8.50\r\n-84");
}

TEST(SimDevice, SilenceEndsWithNoBacklog) {
  Listening sim("sim:columns=1,rate=10,silent=5");
  ASSERT_EQ(sim.Open(), FT_OK);
  EXPECT_EQ(sim.Hear(5000), "");
  EXPECT_EQ(Lines(sim.Hear(1000)), 10);
  Listening mute("sim:silent");
  ASSERT_EQ(mute.Open(), FT_OK);
  EXPECT_EQ(mute.Hear(1000000), "");
}

TEST(SimDevice, TheReceiveQueueKeepsTheOldestAndLosesTheRest) {
  Listening sim("sim:silent");
  ASSERT_EQ(sim.Open(), FT_OK);
  for (int round = 0; round < 5; ++round) {  // the border of the ring lies elsewhere each time
    const std::string first(20000 + round, 'a');
    const std::string rest(ByteQueue::kCapacity, 'b');
    sim.device().Feed(first);
    sim.device().Feed(rest);
    sim.device().Feed("c");
    EXPECT_EQ(sim.Hear(0), first + rest.substr(first.size()));
    sim.device().Feed("d");
    EXPECT_EQ(sim.Hear(0), "d");
  }
}

TEST(SimDevice, IsGoneForGoodAfterItsTime) {
  Listening sim("sim:unplug_after=1.5");
  sim.clock().Sleep(5000);
  ASSERT_TRUE(sim.device().Present()) << "counted from the opening";
  ASSERT_EQ(sim.Open(), FT_OK);
  EXPECT_NE(sim.Hear(1499), "failed");
  EXPECT_EQ(sim.Hear(1), "failed");
  EXPECT_FALSE(sim.device().Present());
  std::uint32_t count = 0;
  EXPECT_NE(sim.device().GetQueueStatus(&count), FT_OK);
  EXPECT_NE(sim.device().Write("x", 1, &count), FT_OK);
  EXPECT_NE(sim.device().SetBaudRate(9600), FT_OK);
  EXPECT_NE(sim.device().Purge(FT_PURGE_RX), FT_OK);
  sim.device().Plug();
  EXPECT_EQ(sim.Hear(100), "failed") << "until it is opened anew";
  sim.device().Close();
  EXPECT_EQ(sim.Open(), FT_OK);
  EXPECT_GT(Lines(sim.Hear(1000)), 0);
}

TEST(SimDevice, TellsInOrderWhatWasDoneToIt) {
  std::vector<std::string> calls;
  VirtualClock clock;
  SimDevice device(clock, {});
  device.LogCallsTo(&calls);
  std::uint32_t count = 0;
  device.Open();
  device.SetBaudRate(9600);
  device.SetDataCharacteristics(7, 2, 1);
  device.SetDataCharacteristics(9, 0, 0);
  device.SetLatencyTimer(5);
  device.Purge(3);
  device.SetDtr(true);
  device.SetRts(false);
  device.Write("hi", 2, &count);
  device.Close();
  EXPECT_EQ(calls, (std::vector<std::string>{"open", "baud 9600", "data 7 2 1", "latency 5", "purge 3",
                                             "dtr 1", "rts 0", "write hi", "close"}));
}

TEST(SimDevice, AllocatesNothingOnceItSpeaks) {
  Listening sim("sim:columns=40,label=Temperature,unit=degrees,rate=50,signal=noise,baud=921600");
  int ticks = 0;
  std::vector<char> buffer(ByteQueue::kCapacity);
  std::uint32_t read = 0;
  ASSERT_EQ(sim.Open(), FT_OK);
  const auto timer = sim.clock().NewTimer(50, [&] {
    ++ticks;
    sim.device().Read(buffer.data(), ByteQueue::kCapacity, &read);
  });
  timer->Enable(true);
  const std::uint64_t before = AllocationCount();
  sim.clock().RunFor(10000);
  EXPECT_EQ(AllocationCount() - before, 0u);
  EXPECT_EQ(ticks, 200);
  EXPECT_GT(read, 1000u);
}

}  // namespace
}  // namespace halden
