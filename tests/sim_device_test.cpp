#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "platform/devices/device_options.h"
#include "platform/sim/virtual_clock.h"

namespace halden {
namespace {

/// The simulated device of an option; what it says is heard in steps of so many milliseconds.
class Listening {
 public:
  explicit Listening(const std::string& option, std::uint32_t start_tick = 0)
      : clock(start_tick), device(clock, std::get<SimSettings>(*ParseDeviceOption(option, &error_))) {
    EXPECT_EQ(device.Open(), FT_OK);
  }

  std::string Hear(std::uint32_t milliseconds) {
    clock.Sleep(milliseconds);
    std::uint32_t read = 0;
    if (device.Read(buffer_.data(), ByteQueue::kCapacity, &read) != FT_OK) return "failed";
    return buffer_.substr(0, read);
  }

 private:
  std::string error_;
  std::string buffer_ = std::string(ByteQueue::kCapacity, '\0');

 public:
  VirtualClock clock;
  SimDevice device;
};

std::ptrdiff_t Lines(const std::string& text) {
  return std::count(text.begin(), text.end(), '\r');
}

TEST(DeviceOptions, TakeValuesWithinTheirBordersAndNameTheRest) {
  for (const char* const good :
       {"sim",
        "sim:rate=0.1,baud=300,speaks_at=12000000,com=32767,serial=0123456789ABCDEF,busy,unplug_after=0",
        "sim:columns=1000,com=none,seed=18446744073709551615,label=a=b,text=numbers",
        "tty:/dev/pts/3,baud=250000", "linux,baud=230400", "linux", "d2xx",
        "replay:C:\\a=b c.txt,rate=10000,loop"}) {
    std::string error;
    EXPECT_TRUE(ParseDeviceOption(good, &error)) << error;
  }
  const std::pair<std::string, std::string> bad_ones[] = {
      {"", "--device : no such kind of device, the kinds are sim, replay:FILE, tty:PATH, linux and d2xx"},
      {"sim:rate=0.09", "--device sim: key \"rate\" takes 0.1 to 10000, not \"0.09\""},
      {"sim:columns", "--device sim: key \"columns\" takes 1 to 1000, not \"\""},
      {"sim:signal=square",
       "--device sim: key \"signal\" takes sine, ramp, noise or constant, not \"square\""},
      {"tty", "--device tty: takes a path behind the colon"},
      {"tty:/dev/ttyS0,rate=5", "--device tty: no key \"rate\", the keys are baud"},
      {"d2xx:all", "--device d2xx: takes no keys, not \"all\""}};
  for (const auto& [option, expected] : bad_ones) {
    std::string error;
    EXPECT_FALSE(ParseDeviceOption(option, &error)) << option;
    EXPECT_EQ(error, expected);
  }
  for (const std::string value :
       {"rate=nan", "columns=0", "columns=99999999999", "columns=4x", "baud=299", "busy=1", "com=0",
        "com=32768", "silent=-1", "serial=12345678901234567", "label=U1"}) {
    std::string error;
    EXPECT_FALSE(ParseDeviceOption("sim:" + value, &error)) << value;
    EXPECT_NE(error.find(", not \"" + value.substr(value.find('=') + 1) + "\""), std::string::npos) << error;
  }
}

TEST(SimDevice, SpeaksLinesInTheFormThatItsOptionNames) {
  const std::pair<std::string, std::string> cases[] = {
      {"columns=3", "100.05\t200.10\t300.15\r\n100.05\t200.10\t300.15\r\n"},
      {"columns=1,end=cr", "100.05\r100.05\r"},
      {"columns=2,separator=semicolon,decimal=comma,end=lf", "100,05;200,10\n100,05;200,10\n"},
      {"columns=2,separator=blank,unit=mV", "100.05mV 200.10mV\r\n"},
      {"columns=2,separator=paren,label=T=", "T=100.05(T=200.10\r\n"},
      {"columns=1,signal=ramp", "-1000.00\r\n-994.95\r\n-989.90\r\n"},
      {"columns=2,signal=sine", "0.00\t0.00\r\n28.25\t-28.25\r\n"},
      {"text=words", "warming up, please wait\nsensor not ready\n"},
      {"columns=1,silent=2", ""},
  };
  for (const auto& [keys, said] : cases)
    EXPECT_EQ(Listening("sim:signal=constant," + keys).Hear(1000).substr(0, said.size()), said) << keys;
}

TEST(SimDevice, SignalsFillTheirRangeAndTellColumnsApart) {
  for (const SimSignal signal : {SimSignal::Sine, SimSignal::Ramp, SimSignal::Noise}) {
    std::set<int> first, second;
    for (std::uint64_t line = 0; line < 40001; ++line) {
      first.insert(SampleAt(signal, line, 0, 4, 1));
      second.insert(SampleAt(signal, 7, static_cast<int>(line % 40), 40, line / 40));
    }
    EXPECT_NEAR(*first.begin(), -19000, 1000);
    EXPECT_NEAR(*first.rbegin(), 19000, 1000);
    EXPECT_GT(second.size(), signal == SimSignal::Noise ? 20000u : 20u) << "noise follows its seed";
    EXPECT_TRUE(signal != SimSignal::Ramp || first.size() == 40001);
  }
}

TEST(SimDevice, KeepsItsRateExactlyHoweverOftenItIsAsked) {
  const std::string at_once = Listening("sim:columns=1,rate=100,signal=ramp").Hear(7000);
  EXPECT_EQ(Lines(at_once), 700) << "the line due at 7000 has only begun";
  for (const std::uint32_t step : {1u, 7u, 50u, 1000u}) {
    Listening sim("sim:columns=1,rate=100,signal=ramp", 0xFFFFFFFF - 3000);
    std::string said;
    while (sim.clock.GetTickCount() + 3001 < 7000) said += sim.Hear(step);
    EXPECT_EQ(said, at_once) << step;
  }
}

TEST(SimDevice, NoByteComesFasterThanTheLineCarriesIt) {
  Listening sim("sim:columns=40,rate=1000,baud=9600");
  for (int i = 1; i <= 100; ++i) EXPECT_NEAR(static_cast<double>(sim.Hear(10).size()), 9.6, 1.0);
  EXPECT_NEAR(static_cast<double>(sim.Hear(60000).size()), 57600.0, 1.0);
  EXPECT_NEAR(static_cast<double>(Listening("sim:columns=40,baud=9600,speaks_at=19200").Hear(1000).size()),
              1920.0, 1.0);
}

TEST(SimDevice, IsHeardAsNoiseWithoutALineEndUntilItsRateIsSet) {
  Listening sim("sim:baud=230400,speaks_at=250000,rate=200");
  const std::string noise = sim.Hear(1500);
  EXPECT_EQ(Lines(noise), 0);
  EXPECT_GT(std::set<char>(noise.begin(), noise.end()).size(), 200u);
  const std::pair<std::uint32_t, std::ptrdiff_t> rates[] = {{250000, 200}, {245001, 200}, {244999, 0}};
  for (const auto& [rate, lines] : rates) {
    ASSERT_EQ(sim.device.SetBaudRate(rate), FT_OK);
    EXPECT_NEAR(static_cast<double>(Lines(sim.Hear(1000))), static_cast<double>(lines), 1.0) << rate;
  }
}

TEST(SimDevice, TalksOnWhileNobodyListensAndLeavesNoBacklog) {
  Listening sim("sim:columns=1,rate=2,signal=ramp,baud=300");  // 30 bytes a second
  const auto open_after = [&](std::uint32_t milliseconds) {
    sim.device.Close();
    sim.clock.Sleep(milliseconds);
    EXPECT_EQ(sim.device.Open(), FT_OK);
  };
  open_after(10100);
  EXPECT_EQ(sim.Hear(1000), "9.00\r\n-893.95\r\n-88") << "from the fourth byte of the line begun at 10000";
  open_after(4000);
  EXPECT_EQ(sim.Hear(500), "8.50\r\n-84");
  Listening late("sim:columns=1,rate=10,silent=5");
  EXPECT_EQ(late.Hear(5000), "");
  EXPECT_EQ(Lines(late.Hear(1000)), 10);
}

TEST(SimDevice, TheReceiveQueueKeepsTheOldestAndLosesTheRest) {
  Listening sim("sim:silent");
  for (int round = 0; round < 5; ++round) {  // the border of the ring lies elsewhere each time
    const std::string first(20000 + round, 'a');
    const std::string rest(ByteQueue::kCapacity, 'b');
    for (const std::string& bytes : {first, rest, std::string("c")}) sim.device.Feed(bytes);
    EXPECT_EQ(sim.Hear(0), first + rest.substr(first.size()));
  }
}

TEST(SimDevice, GoesAfterItsTimeAndIsBackWhenItIsOpenedAnew) {
  Listening sim("sim:unplug_after=1.5");
  EXPECT_NE(sim.Hear(1499), "failed");
  EXPECT_EQ(sim.Hear(1), "failed");
  EXPECT_FALSE(sim.device.Present());
  EXPECT_NE(sim.device.SetBaudRate(9600), FT_OK);
  sim.device.Plug();
  EXPECT_EQ(sim.Hear(100), "failed");
  sim.device.Close();
  EXPECT_EQ(sim.device.Open(), FT_OK);
  EXPECT_GT(Lines(sim.Hear(1000)), 0);
}

TEST(ReplayDevice, KeepsThePaceThatItsOptionNames) {
  const auto replayed = [](const std::string& bytes, const std::string& keys, std::uint32_t step) {
    VirtualClock clock;
    std::string error;
    const auto option = ParseDeviceOption("replay:file" + keys, &error);
    ReplayDevice device(clock, std::get<ReplaySettings>(*option), "R", bytes);
    device.Open();
    clock.Sleep(12345);
    device.Close();
    EXPECT_EQ(device.Open(), FT_OK) << "starts at the first byte again";
    std::vector<std::string> steps;
    for (int i = 0; i < 5; ++i) {
      std::string said(100, '\0');
      std::uint32_t read = 0;
      device.Read(said.data(), 100, &read);
      steps.push_back(said.substr(0, read));
      clock.Sleep(step);
    }
    return steps;
  };
  using Steps = std::vector<std::string>;
  EXPECT_EQ(replayed("1\r\n2\r\r3\n4", ",rate=10", 100), (Steps{"1\r\n", "2\r", "\r", "3\n", "4"}));
  EXPECT_EQ(replayed("1\r\n2\r", ",rate=20", 100), (Steps{"1\r\n", "2\r", "", "", ""}));
  EXPECT_EQ(replayed("1\r2\r3", ",rate=10,loop", 100), (Steps{"1\r", "2\r", "3", "1\r", "2\r"}));
  EXPECT_EQ(replayed("abcdefghij\rk", ",baud=300", 100), (Steps{"", "abc", "def", "ghi", "j\rk"}));
  EXPECT_EQ(replayed("abcdef\rgh", ",baud=300,rate=1", 200), (Steps{"", "abcdef", "\r", "", ""}));
  EXPECT_EQ(replayed("", ",loop", 100), (Steps{"", "", "", "", ""}));
}

}  // namespace
}  // namespace halden
